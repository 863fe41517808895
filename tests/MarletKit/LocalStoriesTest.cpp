// Tasks that are kept on this computer, from the store to the local task database and back.
#include "TestSupport/ServicesHarness.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

std::vector<TaskItem> databaseTasks(ServicesHarness& harness, const Account& account) {
    return harness.run(harness.services().localTasks().tasks(account.id, harness.projectID(account), std::nullopt));
}

std::vector<std::string> projectNames(ServicesHarness& harness, const Account& account) {
    std::vector<ProjectSnapshot> projects = harness.run(harness.store().projectSnapshots(account.id, true));
    std::vector<std::string> names;
    names.reserve(projects.size());
    for (const ProjectSnapshot& project : projects) {
        names.push_back(project.name);
    }
    return names;
}

template <class Operation>
std::string errorText(ServicesHarness& harness, Operation&& operation) {
    try {
        harness.run(operation());
    } catch (const LocalizedError& error) {
        return error.errorDescription();
    }
    return "no error";
}

TEST(LocalStoriesTest, aTaskGetsItsNumberWithThePush) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, {.title = "Water the beans", .notes = "Twice", .labels = {"garden"}});

    harness.push(account);

    TaskSnapshot task = harness.task(id);
    EXPECT_EQ(task.item.id, "1");
    EXPECT_EQ(task.item.reference(), "#1");
    EXPECT_EQ(task.item.title, "Water the beans");
    EXPECT_TRUE(task.item.canHaveChildren);
    EXPECT_EQ(task.pendingOperation, std::nullopt);
    EXPECT_EQ(databaseTasks(harness, account), std::vector<TaskItem>{task.item});
}

TEST(LocalStoriesTest, anEditReachesTheDatabaseAndBothSidesAgreeAfterTheNextPass) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID bed = harness.createTask(account, "Dig the bed");
    UUID beans = harness.createTask(account, "Sow the beans");
    harness.push(account);
    harness.clock->advance(60);
    std::string bedID = harness.task(bed).item.id;

    harness.edit(beans, [bedID](TaskItem& item) {
        item.isCompleted = true;
        item.priority = 2;
        item.parent = TaskParent{bedID, "Dig the bed"};
    });
    harness.push(account);
    harness.syncNow(account, SyncEngine::Mode::full);

    TaskSnapshot task = harness.task(beans);
    EXPECT_TRUE(task.item.isCompleted);
    EXPECT_EQ(task.item.parent, (TaskParent{bedID, "Dig the bed"}));
    EXPECT_EQ(task.item.updatedAt, harness.clock->now());
    EXPECT_EQ(task.pendingOperation, std::nullopt);
    EXPECT_EQ(databaseTasks(harness, account), (std::vector<TaskItem>{harness.task(bed).item, task.item}));
}

TEST(LocalStoriesTest, aParentThatTheDatabaseRefusesIsToldOnTheTask) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);

    harness.edit(id, [](TaskItem& item) { item.parent = TaskParent{item.id, item.title}; });
    harness.push(account);

    EXPECT_EQ(harness.task(id).pushError, "A task can't be placed below itself or one of its subtasks.");
}

TEST(LocalStoriesTest, aCommentIsKeptAndRead) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);
    std::string key = harness.task(id).key;

    TaskComment comment = harness.run(harness.services().addComment("They are up", key));

    EXPECT_EQ(comment.body, "They are up");
    EXPECT_EQ(comment.createdAt, harness.clock->now());
    EXPECT_EQ(harness.run(harness.services().comments(key)), std::vector<TaskComment>{comment});
}

TEST(LocalStoriesTest, aLocalTaskCanBeReadRaw) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);

    std::string raw = harness.run(harness.services().rawTask(harness.task(id).key));

    EXPECT_TRUE(raw.starts_with("{\"assignees\":[]")) << raw;
    EXPECT_NE(raw.find("\"title\":\"Sow the beans\""), std::string::npos) << raw;
}

TEST(LocalStoriesTest, aDeletedTaskIsGoneFromBothStoresAndItsChildrenStandAlone) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID bed = harness.createTask(account, "Dig the bed");
    UUID beans = harness.createTask(account, "Sow the beans");
    harness.push(account);
    std::string bedID = harness.task(bed).item.id;
    harness.edit(beans, [bedID](TaskItem& item) { item.parent = TaskParent{bedID, "Dig the bed"}; });
    harness.syncNow(account);
    harness.clock->advance(60);

    harness.run(harness.services().deleteLocalTask(bed));
    harness.syncNow(account);

    std::vector<TaskSnapshot> left = harness.tasks();
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left.at(0).localID, beans);
    EXPECT_EQ(left.at(0).item.parent, std::nullopt);
    EXPECT_EQ(databaseTasks(harness, account), std::vector<TaskItem>{left.at(0).item});
}

TEST(LocalStoriesTest, aTaskThatWasNeverPushedIsDeletedFromTheStoreAlone) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");

    harness.run(harness.services().deleteLocalTask(id));

    EXPECT_TRUE(harness.tasks().empty());
    EXPECT_TRUE(databaseTasks(harness, account).empty());
}

TEST(LocalStoriesTest, aTaskThatTheDatabaseLostIsStillDeletedFromTheStore) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);
    harness.run(harness.services().localTasks().deleteTask(harness.task(id).item, account.id, harness.clock->now()));

    harness.run(harness.services().deleteLocalTask(id));

    EXPECT_TRUE(harness.tasks().empty());
}

TEST(LocalStoriesTest, deletingAnUnknownTaskSaysThatItNoLongerExists) {
    ServicesHarness harness;
    EXPECT_EQ(errorText(harness, [&] { return harness.services().deleteLocalTask(UUID::random()); }),
              "The task no longer exists.");
}

TEST(LocalStoriesTest, aTaskOfAnotherServiceCannotBeDeleted) {
    ServicesHarness harness;
    Account account = harness.addRemoteAccount();
    UUID id = harness.createTask(account, "Not ours");

    EXPECT_EQ(errorText(harness, [&] { return harness.services().deleteLocalTask(id); }),
              "Only tasks kept on this Mac can be deleted.");
    EXPECT_EQ(harness.tasks().size(), 1U);
}

TEST(LocalStoriesTest, deletingALocalTaskDuringAPassWaitsForIt) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);
    Account remote = harness.addRemoteAccount();
    harness.remote(remote).onCall = [&](const std::string&) { return harness.clock->sleep(std::chrono::seconds(10)); };
    auto pass = harness.loop.start(
        harness.sync().syncNow(remote.id, std::nullopt, SyncEngine::Mode::full, harness.clock->now()));
    harness.loop.runUntil([&] { return harness.clock->sleeperCount() == 1; });

    auto deletion = harness.loop.start(harness.services().deleteLocalTask(id));
    for (int look = 0; look < 20; ++look) {
        EXPECT_EQ(harness.tasks(account.id).size(), 1U);
    }
    EXPECT_FALSE(deletion->isFinished);
    EXPECT_EQ(databaseTasks(harness, account).size(), 1U);

    harness.remote(remote).onCall = nullptr;
    harness.clock->advance(10);
    harness.loop.runUntil([&] { return pass->isFinished && deletion->isFinished; });
    EXPECT_EQ(deletion->error, nullptr);
    EXPECT_TRUE(harness.tasks(account.id).empty());
}

TEST(LocalStoriesTest, projectsAreMadeRenamedAndDeletedOnBothSides) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount("On This Mac", "Garden");

    Project attic = harness.run(harness.services().createLocalProject("Attic", account.id));
    EXPECT_EQ(projectNames(harness, account), (std::vector<std::string>{"Attic", "Garden"}));
    harness.run(harness.services().renameLocalProject(attic.id, "Workshop", account.id));
    EXPECT_EQ(projectNames(harness, account), (std::vector<std::string>{"Garden", "Workshop"}));

    harness.run(harness.services().deleteLocalProject(attic.id, account.id));

    EXPECT_EQ(projectNames(harness, account), std::vector<std::string>{"Garden"});
    EXPECT_EQ(harness.run(harness.services().localTasks().projects(account.id)).size(), 1U);
}

TEST(LocalStoriesTest, aProjectThatTheDatabaseDoesNotKnowIsNotFound) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();

    EXPECT_EQ(errorText(harness, [&] { return harness.services().renameLocalProject("x", "y", account.id); }),
              "Not found on the server.");
    EXPECT_EQ(errorText(harness, [&] { return harness.services().deleteLocalProject("x", account.id); }),
              "Not found on the server.");
}

TEST(LocalStoriesTest, aDeletedProjectTakesItsTasksFromTheStoreToo) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    harness.push(account);
    harness.run(harness.store().setStarred(true, id));

    harness.run(harness.services().deleteLocalProject(harness.projectID(account), account.id));

    EXPECT_TRUE(harness.tasks().empty());
    EXPECT_TRUE(harness.run(harness.store().projectSnapshots(account.id, false)).empty());
}

TEST(LocalStoriesTest, everythingIsThereAgainAfterARestart) {
    TemporaryFolder folder;
    ServicesHarness harness(folder.path());
    Account account = harness.addLocalAccount();
    UUID pushed = harness.createTask(account, "Sow the beans");
    harness.push(account);
    harness.run(harness.services().addComment("They are up", harness.task(pushed).key));
    UUID waiting = harness.createTask(account, "Stake the beans");
    TaskSnapshot before = harness.task(pushed);

    harness.restart();

    EXPECT_EQ(harness.task(pushed), before);
    EXPECT_EQ(harness.run(harness.services().comments(before.key)).size(), 1U);
    harness.push(account);
    EXPECT_EQ(harness.task(waiting).item.id, "2");
    harness.syncNow(account, SyncEngine::Mode::full);
    EXPECT_EQ(harness.tasks().size(), 2U);
}

// The database has made the task, and the process died before the store could note its number.
void createWithoutAnswer(ServicesHarness& harness, const Account& account, UUID id) {
    TaskItem item = harness.task(id).item;
    TaskDraft draft{.title = item.title, .originID = item.id};
    harness.run(harness.services().localTasks().createTask(draft, account.id, item.projectID, harness.clock->now()));
}

TEST(LocalStoriesTest, aCreateWhoseAnswerWasLostInACrashMakesNoDuplicate) {
    TemporaryFolder folder;
    ServicesHarness harness(folder.path());
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    createWithoutAnswer(harness, account, id);

    harness.restart();
    harness.edit(id, [](TaskItem& item) { item.title = "Sow the peas"; });
    harness.syncNow(account, SyncEngine::Mode::full);

    std::vector<TaskSnapshot> tasks = harness.tasks();
    ASSERT_EQ(tasks.size(), 1U);
    EXPECT_EQ(tasks.at(0).localID, id);
    EXPECT_EQ(tasks.at(0).item.id, "1");
    EXPECT_EQ(tasks.at(0).item.title, "Sow the peas");
    EXPECT_EQ(databaseTasks(harness, account), std::vector<TaskItem>{tasks.at(0).item});
}

TEST(LocalStoriesTest, aTaskDeletedAfterALostAnswerDoesNotComeBack) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");
    createWithoutAnswer(harness, account, id);

    harness.run(harness.services().deleteLocalTask(id));
    harness.syncNow(account, SyncEngine::Mode::full);

    EXPECT_TRUE(harness.tasks().empty());
    EXPECT_TRUE(databaseTasks(harness, account).empty());
}

TEST(LocalStoriesTest, theBackgroundLoopPushesWhatWaits) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    UUID id = harness.createTask(account, "Sow the beans");

    harness.run(harness.sync().start());
    harness.loop.runUntil([&] { return harness.clock->sleeperCount() == 1; });

    EXPECT_EQ(harness.task(id).item.id, "1");
}

}  // namespace
}  // namespace marlet
