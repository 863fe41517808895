// Adding and removing accounts, and changing a token.
#include "TestSupport/ServicesHarness.h"

namespace marlet {
namespace {

const Account work{UUID::parse("00000000-0000-4000-8000-000000000001").value(), BackendKind::gitlab, "Work",
                   *URL::parse("https://tasks.example")};

Project projectOfWork(const std::string& id) {
    Project project;
    project.id = id;
    project.accountID = work.id;
    project.name = id;
    return project;
}

TaskItem remoteTask(const std::string& id, const std::string& projectID, const std::string& title) {
    TaskItem item;
    item.id = id;
    item.projectID = projectID;
    item.title = title;
    item.updatedAt = dateFromSeconds(1'700'000'000);
    return item;
}

// Every backend made from here on lists these projects, each with one task.
void serve(ServicesHarness& harness, const std::vector<std::string>& projectIDs) {
    harness.makeBackend = [projectIDs](const Account& account, const std::string&) {
        auto backend = std::make_shared<ScriptedBackend>(account);
        backend->onFetchProjects = [projectIDs] {
            std::vector<Project> projects;
            projects.reserve(projectIDs.size());
            for (const std::string& id : projectIDs) {
                projects.push_back(projectOfWork(id));
            }
            return projects;
        };
        backend->onFetchTasks = [](const std::string& projectID, std::optional<Date>) {
            return std::vector<TaskItem>{remoteTask("1", projectID, "Task of " + projectID)};
        };
        return backend;
    };
}

std::vector<std::string> titles(const std::vector<TaskSnapshot>& tasks) {
    std::vector<std::string> result;
    result.reserve(tasks.size());
    for (const TaskSnapshot& task : tasks) {
        result.push_back(task.item.title);
    }
    return result;
}

TEST(AccountStoriesTest, verifyingAsksAFreshBackendAndKeepsNothing) {
    ServicesHarness harness;
    serve(harness, {"a", "b"});

    std::vector<Project> projects = harness.run(harness.services().verify(work, "token"));

    EXPECT_EQ(projects, (std::vector<Project>{projectOfWork("a"), projectOfWork("b")}));
    EXPECT_EQ(harness.credentials->token(work.id), std::nullopt);
    EXPECT_TRUE(harness.run(harness.store().accounts()).empty());
    harness.run(harness.services().verify(work, "token"));
    EXPECT_EQ(harness.made.size(), 2U);
}

TEST(AccountStoriesTest, verifyingALocalAccountGivesItsProjects) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount("On This Mac", "Garden");

    std::vector<Project> projects = harness.run(harness.services().verify(account, ""));

    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects.at(0).name, "Garden");
    EXPECT_TRUE(harness.made.empty());
}

TEST(AccountStoriesTest, aFailureOfVerifyingReachesTheCallerAsItIs) {
    ServicesHarness harness;
    harness.makeBackend = [](const Account& account, const std::string&) {
        auto backend = std::make_shared<ScriptedBackend>(account);
        backend->onFetchProjects = []() -> std::vector<Project> { throw BackendError::http(503); };
        return backend;
    };

    try {
        harness.run(harness.services().verify(work, "token"));
        ADD_FAILURE() << "verified";
    } catch (const BackendError& error) {
        EXPECT_EQ(error, BackendError::http(503));
    }
}

TEST(AccountStoriesTest, anAddedAccountIsSyncedAtOnceInItsSubscribedProjectsAlone) {
    ServicesHarness harness;
    serve(harness, {"a", "b", "c"});

    harness.run(harness.services().addAccount(
        work, "secret", {projectOfWork("a"), projectOfWork("b"), projectOfWork("c")}, {"a", "c"}));

    EXPECT_EQ(harness.credentials->token(work.id), "secret");
    std::vector<AccountSyncState> accounts = harness.run(harness.store().accounts());
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts.at(0).account, work);
    EXPECT_EQ(accounts.at(0).lastProjectRefresh, harness.clock->now());
    EXPECT_EQ(harness.run(harness.store().projectSnapshots(work.id, false)).size(), 3U);
    EXPECT_EQ(harness.made.size(), 1U);
    EXPECT_EQ(harness.remote(work).takeCalls(), (std::vector<std::string>{"fetchTasks a full", "fetchTasks c full"}));
    std::vector<std::string> found = titles(harness.tasks());
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), (std::set<std::string>{"Task of a", "Task of c"}));
}

TEST(AccountStoriesTest, anAccountWhoseFirstSyncFailsIsAddedAndSaysWhy) {
    ServicesHarness harness;
    harness.makeBackend = [](const Account& account, const std::string&) {
        auto backend = std::make_shared<ScriptedBackend>(account);
        backend->onFetchTasks = [](const std::string&, std::optional<Date>) -> std::vector<TaskItem> {
            throw BackendError::unauthorized();
        };
        return backend;
    };

    harness.run(harness.services().addAccount(work, "secret", {projectOfWork("a")}, {"a"}));

    std::vector<AccountSyncState> accounts = harness.run(harness.store().accounts());
    ASSERT_EQ(accounts.size(), 1U);
    EXPECT_EQ(accounts.at(0).syncError, "The server rejected the access token.");
}

TEST(AccountStoriesTest, addingALocalAccountSubscribesItsFirstProjectAndStoresNoToken) {
    ServicesHarness harness;

    Account account = harness.addLocalAccount("At Home", "Garden");

    EXPECT_EQ(account.kind, BackendKind::local);
    EXPECT_EQ(account.displayName, "At Home");
    EXPECT_EQ(account.baseURL.text(), "marlet://local");
    std::vector<ProjectSnapshot> projects = harness.run(harness.store().projectSnapshots(account.id, true));
    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects.at(0).name, "Garden");
    EXPECT_EQ(projects.at(0).accountName, "At Home");
    EXPECT_EQ(harness.credentials->token(account.id), std::nullopt);
}

TEST(AccountStoriesTest, tasksOfTheFirstProjectReachTheStoreInTheSyncThatAddingRuns) {
    ServicesHarness harness;
    Account account{UUID::random(), BackendKind::local, "At Home", *defaultBaseURL(BackendKind::local)};
    LocalTaskDatabase& database = harness.services().localTasks();
    Project project = harness.run(database.createProject("Garden", account.id, harness.clock->now()));
    harness.run(database.createTask({.title = "Water the beans"}, account.id, project.id, harness.clock->now()));

    harness.run(harness.services().addAccount(account, "", {project}, {project.id}));

    EXPECT_EQ(titles(harness.tasks()), std::vector<std::string>{"Water the beans"});
}

TEST(AccountStoriesTest, aNewTokenTakesTheProjectsAndSyncs) {
    ServicesHarness harness;
    serve(harness, {"a"});
    harness.run(harness.services().addAccount(work, "old", {projectOfWork("a")}, {"a"}));
    std::shared_ptr<TaskBackend> before = harness.run(harness.services().backend(work));
    serve(harness, {"a", "b"});
    harness.clock->advance(60);

    harness.run(harness.services().updateToken("new", work));

    EXPECT_EQ(harness.credentials->token(work.id), "new");
    EXPECT_EQ(harness.run(harness.services().token(work.id)), "new");
    EXPECT_EQ(harness.run(harness.services().token(UUID::random())), std::nullopt);
    EXPECT_EQ(harness.run(harness.store().projectSnapshots(work.id, false)).size(), 2U);
    EXPECT_EQ(harness.run(harness.store().accounts()).at(0).lastProjectRefresh, harness.clock->now());
    EXPECT_NE(harness.run(harness.services().backend(work)), before);
    EXPECT_EQ(harness.remote(work).takeCalls().size(), 1U);
}

TEST(AccountStoriesTest, aNewTokenForgetsThatTheServerRejectedProbesAndHints) {
    ServicesHarness harness;
    serve(harness, {"a"});
    harness.run(harness.services().addAccount(work, "old", {projectOfWork("a")}, {"a"}));
    harness.run(harness.store().setProbeRejected(harness.clock->now(), work.id));
    harness.run(harness.store().setHintRejected(harness.clock->now(), work.id));

    harness.run(harness.services().updateToken("new", work));

    AccountSyncState state = harness.run(harness.store().accounts()).at(0);
    EXPECT_FALSE(state.probeRejectedAt || state.hintRejectedAt);
}

TEST(AccountStoriesTest, aTokenThatTheServerRefusesChangesNothing) {
    ServicesHarness harness;
    serve(harness, {"a"});
    harness.run(harness.services().addAccount(work, "old", {projectOfWork("a")}, {"a"}));
    AccountSyncState before = harness.run(harness.store().accounts()).at(0);
    std::shared_ptr<TaskBackend> backend = harness.run(harness.services().backend(work));
    harness.makeBackend = [](const Account& account, const std::string&) {
        auto refusing = std::make_shared<ScriptedBackend>(account);
        refusing->onFetchProjects = []() -> std::vector<Project> { throw BackendError::unauthorized(); };
        return refusing;
    };
    harness.clock->advance(60);

    EXPECT_THROW(harness.run(harness.services().updateToken("bad", work)), BackendError);

    EXPECT_EQ(harness.credentials->token(work.id), "old");
    EXPECT_EQ(harness.run(harness.store().accounts()).at(0), before);
    EXPECT_EQ(harness.run(harness.services().backend(work)), backend);
}

TEST(AccountStoriesTest, aRemovedAccountLeavesNoTokenAndNoTasks) {
    ServicesHarness harness;
    serve(harness, {"a"});
    harness.run(harness.services().addAccount(work, "secret", {projectOfWork("a")}, {"a"}));

    harness.run(harness.services().removeAccount(work.id));

    EXPECT_TRUE(harness.run(harness.store().accounts()).empty());
    EXPECT_TRUE(harness.tasks().empty());
    EXPECT_EQ(harness.credentials->token(work.id), std::nullopt);
}

TEST(AccountStoriesTest, whatWasDoneBeforeAFailureStaysDoneWhenAnAccountIsAdded) {
    ServicesHarness harness;
    serve(harness, {"a"});

    EXPECT_THROW(harness.run(harness.services().addAccount(work, "secret", {projectOfWork("a")}, {"a", "gone"})),
                 StoreError);

    EXPECT_EQ(harness.credentials->token(work.id), "secret");
    EXPECT_EQ(harness.run(harness.store().subscribedProjects(work.id)).size(), 1U);
    EXPECT_TRUE(harness.made.empty());  // the sync, which comes last, didn't run
}

TEST(AccountStoriesTest, anAccountThatTheStoreDoesntKnowKeepsItsTokenAndItsLocalTasks) {
    ServicesHarness harness;
    LocalTaskDatabase& database = harness.services().localTasks();
    harness.run(database.createProject("Garden", work.id, harness.clock->now()));
    harness.credentials->setToken("secret", work.id);

    EXPECT_THROW(harness.run(harness.services().removeAccount(work.id)), StoreError);

    EXPECT_EQ(harness.credentials->token(work.id), "secret");
    EXPECT_EQ(harness.run(database.projects(work.id)).size(), 1U);
}

TEST(AccountStoriesTest, aRemovedLocalAccountIsGoneFromBothStores) {
    ServicesHarness harness;
    Account account = harness.addLocalAccount();
    Account other = harness.addLocalAccount("Elsewhere", "Attic");
    harness.createTask(account, "Water the beans");
    harness.push(account);

    harness.run(harness.services().removeAccount(account.id));

    EXPECT_TRUE(harness.tasks().empty());
    EXPECT_TRUE(harness.run(harness.store().projectSnapshots(account.id, false)).empty());
    EXPECT_TRUE(harness.run(harness.services().localTasks().projects(account.id)).empty());
    EXPECT_EQ(harness.run(harness.services().localTasks().projects(other.id)).size(), 1U);
}

TEST(AccountStoriesTest, removingAnAccountGoesOnToItsEndWhenTheCallerIsCancelled) {
    ServicesHarness harness;
    serve(harness, {"a"});
    harness.run(harness.services().addAccount(work, "secret", {projectOfWork("a")}, {"a"}));
    boost::asio::cancellation_signal cancellation;
    bool isFinished = false;
    boost::asio::co_spawn(harness.loop.executor(), harness.services().removeAccount(work.id),
                          boost::asio::bind_cancellation_slot(cancellation.slot(),
                                                              [&](const std::exception_ptr&) { isFinished = true; }));
    harness.loop.runReady();

    cancellation.emit(boost::asio::cancellation_type::terminal);
    harness.loop.runUntil([&] { return isFinished; });

    EXPECT_TRUE(harness.run(harness.store().accounts()).empty());
    EXPECT_EQ(harness.credentials->token(work.id), std::nullopt);
}

}  // namespace
}  // namespace marlet
