#include <gmock/gmock.h>

#include "MarletBase/Coding.h"
#include "StoreFixture.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST(PushQueueTest, aCreatedTaskWaitsUnderAnIdOfItsOwn) {
    StoreFixture fixture;
    TaskDraft draft{"Sow peas", "Deep.", noon + 86400.0, {"garden", "spring"}, std::nullopt};

    std::string key = runToEnd(fixture.store.createTask(draft, fixture.account.id, "p1", noon));

    TaskSnapshot task = runToEnd(fixture.store.taskSnapshot(key)).value();
    EXPECT_THAT(task.item.id, StartsWith("local-"));
    EXPECT_TRUE(UUID::parse(task.item.id.substr(6)));
    EXPECT_EQ(task.pendingOperation, PendingOperation::create);
    EXPECT_FALSE(task.isUnread);
    TaskItem expected;
    expected.id = task.item.id;
    expected.projectID = "p1";
    expected.kind = TaskKind::issue;
    expected.title = "Sow peas";
    expected.notes = "Deep.";
    expected.createdAt = noon;
    expected.dueDate = noon + 86400.0;
    expected.labels = {{"garden", std::nullopt}, {"spring", std::nullopt}};
    EXPECT_EQ(task.item, expected);
    EXPECT_THAT(fixture.pushes(), ElementsAre(PendingPush{key, PendingOperation::create, 0, expected}));
}

TEST(PushQueueTest, theKindOfANewTaskFollowsTheService) {
    for (BackendKind kind : allCases<BackendKind>()) {
        StoreFixture fixture(kind);
        bool isTask = kind == BackendKind::vikunja || kind == BackendKind::local;
        std::string key = fixture.create("Sow peas");
        EXPECT_EQ(runToEnd(fixture.store.task(key))->kind, isTask ? TaskKind::task : TaskKind::issue) << code(kind);
    }
}

TEST(PushQueueTest, theTypeOfANewTaskIsTheDraftsOrElseTheAccounts) {
    StoreFixture jira(BackendKind::jira);
    auto typeOf = [&](std::optional<std::string> given) {
        TaskDraft draft;
        draft.typeName = std::move(given);
        std::string key = runToEnd(jira.store.createTask(draft, jira.account.id, "p1", noon));
        return runToEnd(jira.store.task(key))->typeName;
    };
    EXPECT_EQ(typeOf(" Bug\n"), "Bug");
    EXPECT_EQ(typeOf("  "), "Task");
    EXPECT_EQ(typeOf(std::nullopt), "Task");
    runToEnd(jira.store.setDefaultTaskType(" Story ", jira.account.id));
    EXPECT_EQ(typeOf(std::nullopt), "Story");

    StoreFixture other(BackendKind::gitlab);
    EXPECT_EQ(runToEnd(other.store.task(other.create("Sow peas")))->typeName, std::nullopt);
}

TEST(PushQueueTest, aTaskNeedsItsProject) {
    StoreFixture fixture;
    try {
        runToEnd(fixture.store.createTask({}, fixture.account.id, "p9", noon));
        FAIL();
    } catch (const StoreError& error) {
        EXPECT_EQ(error.kind(), StoreError::Kind::projectNotFound);
    }
}

TEST(PushQueueTest, anEditCanNeitherMoveNorRenumberATask) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});

    runToEnd(fixture.store.editTask(fixture.key("1"), noon, [](TaskItem& task) {
        task.id = "2";
        task.projectID = "p2";
        task.title = "Water the peas";
    }));

    TaskItem edited = fixture.task("1").value();
    EXPECT_EQ(edited.title, "Water the peas");
    EXPECT_EQ(edited.projectID, "p1");
    EXPECT_THAT(fixture.ids(), ElementsAre("1"));
}

TEST(PushQueueTest, twoEditsBeforeAPushSendOneUpdateWithTheLastStateAndTheFirstTime) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    fixture.rename("1", "First", noon + 1.0);
    fixture.rename("2", "Other", noon + 2.0);
    fixture.rename("1", "Second", noon + 3.0);

    std::vector<PendingPush> pushes = fixture.pushes();

    ASSERT_EQ(pushes.size(), 2U);
    EXPECT_EQ(pushes.at(0).item.title, "Second");  // still in front: its first edit was the oldest
    EXPECT_EQ(pushes.at(0).operation, PendingOperation::update);
    EXPECT_EQ(pushes.at(0).revision, 2);
}

TEST(PushQueueTest, anEditOfACreatedTaskLeavesItToBeCreated) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    runToEnd(fixture.store.editTask(key, noon + 1.0, [](TaskItem& task) { task.title = "Sow beans"; }));
    EXPECT_EQ(fixture.pushes().at(0).operation, PendingOperation::create);
    EXPECT_EQ(fixture.pushes().at(0).item.title, "Sow beans");
}

TEST(PushQueueTest, editingOrDeletingATaskThatHasGoneFails) {
    StoreFixture fixture;
    auto nothing = [](TaskItem&) {};
    EXPECT_THROW(runToEnd(fixture.store.editTask(fixture.key("1"), noon, nothing)), StoreError);
    EXPECT_THROW(runToEnd(fixture.store.editTask(UUID::random(), noon, nothing)), StoreError);
    EXPECT_THROW(runToEnd(fixture.store.deleteTask(fixture.key("1"))), StoreError);
    EXPECT_THROW(runToEnd(fixture.store.retryPush(UUID::random())), StoreError);
    EXPECT_THROW(runToEnd(fixture.store.discardLocalChanges(UUID::random())), StoreError);
}

TEST(PushQueueTest, anEditByLocalIDReachesTheTask) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    UUID localID = fixture.snapshot("1")->localID;
    runToEnd(fixture.store.editTask(localID, noon, [](TaskItem& task) { task.title = "Water the peas"; }));
    EXPECT_EQ(fixture.task("1")->title, "Water the peas");
}

TEST(PushQueueTest, anAcceptedPushIsTakenAndClean) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "Water the peas");
    TaskItem answer = fixture.item("1", noon + 9.0, "Water the peas!");

    runToEnd(fixture.store.completePush(fixture.key("1"), 1, answer));

    EXPECT_EQ(fixture.task("1"), answer);
    EXPECT_EQ(fixture.snapshot("1")->pendingOperation, std::nullopt);
    EXPECT_THAT(fixture.pushes(), IsEmpty());
}

TEST(PushQueueTest, aTaskEditedDuringItsPushGoesOutAgain) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "First", noon + 1.0);
    PendingPush sent = fixture.pushes().at(0);
    fixture.rename("1", "Second", noon + 2.0);

    runToEnd(fixture.store.completePush(sent.key, sent.revision, sent.item));

    EXPECT_EQ(fixture.task("1")->title, "Second");
    std::vector<PendingPush> pushes = fixture.pushes();
    ASSERT_EQ(pushes.size(), 1U);
    EXPECT_EQ(pushes.at(0).operation, PendingOperation::update);
    EXPECT_EQ(pushes.at(0).item.title, "Second");
    runToEnd(fixture.store.completePush(sent.key, pushes.at(0).revision, pushes.at(0).item));
    EXPECT_THAT(fixture.pushes(), IsEmpty());
}

TEST(PushQueueTest, aTaskThatGoesOutAgainKeepsItsPlaceInTheQueue) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    fixture.rename("1", "First", noon + 1.0);
    PendingPush sent = fixture.pushes().at(0);
    fixture.rename("2", "Other", noon + 2.0);
    fixture.rename("1", "Second", noon + 3.0);

    runToEnd(fixture.store.completePush(sent.key, sent.revision, sent.item));

    EXPECT_EQ(fixture.pushes().at(0).item.id, "1");
}

TEST(PushQueueTest, anAcceptedPushClearsTheRefusalAlsoWhenTheTaskGoesOutAgain) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "First");
    fixture.rename("1", "Second");
    runToEnd(fixture.store.failPush(fixture.key("1"), "No."));

    runToEnd(fixture.store.completePush(fixture.key("1"), 1, fixture.item("1")));

    EXPECT_EQ(fixture.snapshot("1")->pushError, std::nullopt);
    EXPECT_EQ(fixture.pushes().size(), 1U);
}

TEST(PushQueueTest, anAnswerToWhatWasDiscardedMeanwhileIsTaken) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "First");
    runToEnd(fixture.store.discardLocalChanges(fixture.key("1")));

    runToEnd(fixture.store.completePush(fixture.key("1"), 1, fixture.item("1", noon + 1.0, "First!")));

    EXPECT_EQ(fixture.task("1")->title, "First!");
    EXPECT_EQ(fixture.snapshot("1")->pendingOperation, std::nullopt);
}

TEST(PushQueueTest, aTaskEditedDuringItsCreationTakesTheServersName) {
    StoreFixture fixture;
    std::string key = fixture.create("First");
    UUID localID = runToEnd(fixture.store.taskSnapshot(key))->localID;
    PendingPush sent = fixture.pushes().at(0);
    runToEnd(fixture.store.editTask(key, noon, [](TaskItem& task) { task.title = "Second"; }));

    runToEnd(fixture.store.completePush(key, sent.revision, fixture.item("7", noon, "First")));

    EXPECT_FALSE(runToEnd(fixture.store.task(key)));
    TaskSnapshot task = runToEnd(fixture.store.taskSnapshot(localID)).value();
    EXPECT_EQ(task.key, fixture.key("7"));
    EXPECT_EQ(task.item.title, "Second");
    EXPECT_EQ(task.pendingOperation, PendingOperation::update);
}

TEST(PushQueueTest, aCreationThatLostALabelIsNamedKeepsItsLabelsAndGoesOutAsAnUpdate) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas", noon, {"garden", "spring"});
    UUID localID = runToEnd(fixture.store.taskSnapshot(key))->localID;
    TaskItem answer = fixture.item("7", noon, "Sow peas");
    answer.labels = {{"garden", "#00ff00"}};

    runToEnd(fixture.store.completePush(key, 0, answer));

    TaskSnapshot task = runToEnd(fixture.store.taskSnapshot(localID)).value();
    EXPECT_EQ(task.key, fixture.key("7"));
    EXPECT_EQ(task.item.id, "7");
    EXPECT_EQ(task.item.labels, (std::vector<TaskLabel>{{"garden", std::nullopt}, {"spring", std::nullopt}}));
    EXPECT_EQ(task.pendingOperation, PendingOperation::update);
    EXPECT_EQ(task.item.updatedAt, std::nullopt);
}

TEST(PushQueueTest, aCreationWithItsLabelsInAnotherOrderAndColourIsTakenAsItIs) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas", noon, {"garden", "spring"});
    TaskItem answer = fixture.item("7", noon, "Sow peas");
    answer.labels = {{"spring", "#ff0000"}, {"garden", "#00ff00"}};

    runToEnd(fixture.store.completePush(key, 0, answer));

    EXPECT_EQ(fixture.task("7"), answer);
    EXPECT_THAT(fixture.pushes(), IsEmpty());
}

// What the local state asks for beside labels, and what the answer lacks of it.
struct LostInCreation {
    const char* name;
    void (*ask)(TaskItem& task);
};

class LostInCreationTest : public testing::TestWithParam<LostInCreation> {};

TEST_P(LostInCreationTest, whatACreationLostGoesOutAsAnUpdate) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    runToEnd(fixture.store.editTask(key, noon, GetParam().ask));

    runToEnd(fixture.store.completePush(key, 1, fixture.item("7", noon, "Sow peas")));

    std::vector<PendingPush> pushes = fixture.pushes();
    ASSERT_EQ(pushes.size(), 1U);
    EXPECT_EQ(pushes.at(0).operation, PendingOperation::update);
    TaskItem asked = pushes.at(0).item;
    GetParam().ask(asked);
    EXPECT_EQ(pushes.at(0).item, asked);
}

INSTANTIATE_TEST_SUITE_P(Fields, LostInCreationTest,
                         testing::Values(LostInCreation{"parent",
                                                        [](TaskItem& task) {
                                                            task.parent = TaskParent{"3", ""};
                                                        }},
                                         LostInCreation{"completion", [](TaskItem& task) { task.isCompleted = true; }},
                                         LostInCreation{"status", [](TaskItem& task) { task.status = "Doing"; }},
                                         LostInCreation{"estimate", [](TaskItem& task) { task.estimate = 3; }}),
                         [](const auto& info) { return info.param.name; });

TEST(PushQueueTest, whatOnlyTheServerHasIsTakenWithACreation) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    TaskItem answer = fixture.item("7", noon, "Sow peas");
    answer.status = "To do";
    answer.estimate = 1;
    answer.isCompleted = true;

    runToEnd(fixture.store.completePush(key, 0, answer));

    EXPECT_EQ(fixture.task("7"), answer);
    EXPECT_THAT(fixture.pushes(), IsEmpty());
}

TEST(PushQueueTest, anUpdateThatLostALabelIsTakenAsItIs) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.editTask(fixture.key("1"), noon, [](TaskItem& task) {
        task.labels = {{"garden", std::nullopt}};
        task.parent = TaskParent{"3", "Beds"};
    }));

    runToEnd(fixture.store.completePush(fixture.key("1"), 1, fixture.item("1")));

    EXPECT_EQ(fixture.task("1"), fixture.item("1"));
    EXPECT_THAT(fixture.pushes(), IsEmpty());
}

TEST(PushQueueTest, ownChangesDontMakeATaskUnread) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2"), fixture.item("3")});
    runToEnd(fixture.store.markViewed(fixture.key("1"), noon + 1.0));
    runToEnd(fixture.store.markViewed(fixture.key("2"), noon + 100.0));
    for (const char* id : {"1", "2", "3"}) {
        fixture.rename(id, "Water the peas");
        runToEnd(fixture.store.completePush(fixture.key(id), 1, fixture.item(id, noon + 50.0)));
    }

    EXPECT_FALSE(fixture.snapshot("1")->isUnread);  // moved up to the answer's date
    EXPECT_TRUE(fixture.snapshot("3")->isUnread);   // never viewed, and not by this either
    fixture.applyDelta({fixture.item("1", noon + 51.0), fixture.item("2", noon + 99.0)});
    EXPECT_TRUE(fixture.snapshot("1")->isUnread);
    EXPECT_FALSE(fixture.snapshot("2")->isUnread);  // the later view stands
}

TEST(PushQueueTest, aRefusedTaskLeavesTheQueueUntilItIsRetriedOrEdited) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    fixture.rename("1", "First");
    fixture.rename("2", "Second");
    runToEnd(fixture.store.failPush(fixture.key("1"), "Title too long."));
    EXPECT_EQ(fixture.pushes().size(), 1U);
    EXPECT_EQ(fixture.snapshot("1")->pushError, "Title too long.");
    EXPECT_EQ(fixture.snapshot("1")->pendingOperation, PendingOperation::update);

    runToEnd(fixture.store.retryPush(fixture.key("1")));
    EXPECT_EQ(fixture.pushes().size(), 2U);

    runToEnd(fixture.store.failPush(fixture.key("1"), "Title too long."));
    runToEnd(fixture.store.retryPush(fixture.snapshot("1")->localID));
    EXPECT_EQ(fixture.pushes().size(), 2U);

    runToEnd(fixture.store.failPush(fixture.key("1"), "Title too long."));
    fixture.rename("1", "Short");
    EXPECT_EQ(fixture.pushes().size(), 2U);
    EXPECT_EQ(fixture.snapshot("1")->pushError, std::nullopt);
}

TEST(PushQueueTest, answersForATaskThatHasGoneAreDropped) {
    StoreFixture fixture;
    EXPECT_NO_THROW(runToEnd(fixture.store.completePush(fixture.key("1"), 0, fixture.item("1"))));
    EXPECT_NO_THROW(runToEnd(fixture.store.failPush(fixture.key("1"), "No.")));
    EXPECT_NO_THROW(runToEnd(fixture.store.retryPush(fixture.key("1"))));
    EXPECT_NO_THROW(runToEnd(fixture.store.discardLocalChanges(fixture.key("1"))));
    EXPECT_THAT(fixture.snapshots(), IsEmpty());
}

TEST(PushQueueTest, discardingACreatedTaskDeletesIt) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    runToEnd(fixture.store.discardLocalChanges(key));
    EXPECT_THAT(fixture.snapshots(), IsEmpty());
}

TEST(PushQueueTest, discardingAnEditLeavesTheRowUntilTheNextFullFetch) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "Water the peas");
    runToEnd(fixture.store.failPush(fixture.key("1"), "No."));

    runToEnd(fixture.store.discardLocalChanges(fixture.snapshot("1")->localID));

    EXPECT_EQ(fixture.task("1")->title, "Water the peas");
    EXPECT_EQ(fixture.snapshot("1")->pendingOperation, std::nullopt);
    EXPECT_EQ(fixture.snapshot("1")->pushError, std::nullopt);
    EXPECT_EQ(fixture.projectState()->lastFullSyncAt, std::nullopt);
    fixture.applyFull({fixture.item("1")});
    EXPECT_EQ(fixture.task("1")->title, "Water the beans");
    fixture.rename("1", "Water the oaks");
    EXPECT_EQ(fixture.pushes().at(0).revision, 2);  // never reset
}

TEST(PushQueueTest, discardingWhatIsCleanChangesNothing) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.discardLocalChanges(fixture.key("1")));
    EXPECT_EQ(fixture.projectState()->lastFullSyncAt, noon);
}

TEST(PushQueueTest, aDeletedTaskTakesItsPendingChangeAndItsLogsAlong) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    disk->track("1");
    disk->rename("1", "Water the peas");

    runToEnd(disk->store.deleteTask(disk->key("1")));

    EXPECT_THAT(disk->pushes(), IsEmpty());
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM StoredTimeLog"), 0);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM TaskSearch"), 0);
}

TEST(PushQueueTest, anAnswerWhoseTaskAFetchHasBroughtAlreadyMakesOneTaskOfTheTwo) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    UUID localID = runToEnd(fixture.store.taskSnapshot(key))->localID;
    fixture.applyDelta({fixture.item("7", noon, "Sow peas")});
    fixture.track("7", 60);

    runToEnd(fixture.store.completePush(key, 0, fixture.item("7", noon, "Sow peas")));

    EXPECT_THAT(fixture.ids(), ElementsAre("7"));
    EXPECT_EQ(fixture.snapshot("7")->localID, localID);
    EXPECT_EQ(fixture.snapshot("7")->trackedTime, 60);
    EXPECT_EQ(fixture.snapshot("7")->lastStartedAt, noon);
}

TEST(PushQueueTest, whatTheUserDidToACopyOutlivesIt) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    runToEnd(fixture.store.startTimer(key, noon + 3.0));
    runToEnd(fixture.store.setNext(true, key));
    fixture.applyDelta({fixture.item("7", noon, "Sow peas")});
    fixture.rename("7", "Sow beans", noon + 5.0);
    runToEnd(fixture.store.setStarred(true, fixture.key("7")));
    PendingPush sent = fixture.pushes().back();

    runToEnd(fixture.store.completePush(key, 0, fixture.item("7", noon, "Sow peas")));

    std::vector<PendingPush> pushes = fixture.pushes();
    ASSERT_EQ(pushes.size(), 1U);
    EXPECT_EQ(pushes.at(0).operation, PendingOperation::update);
    EXPECT_EQ(pushes.at(0).item.title, "Sow beans");
    EXPECT_TRUE(fixture.snapshot("7")->isNext);
    EXPECT_TRUE(fixture.snapshot("7")->isStarred);
    EXPECT_TRUE(fixture.snapshot("7")->isTiming);
    EXPECT_EQ(fixture.snapshot("7")->lastStartedAt, noon + 3.0);
    fixture.rename("7", "Sow oats", noon + 6.0);
    runToEnd(fixture.store.completePush(sent.key, sent.revision, sent.item));
    EXPECT_EQ(fixture.task("7")->title, "Sow oats");
}

}  // namespace
}  // namespace marlet
