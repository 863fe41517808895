#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// A counting service with two tasks, fully synced, at the time when its next full fetch is due.
struct DueForFullFetch {
    explicit DueForFullFetch(SyncPolicy policy = {})
        : setup(withOldProjectList(policy)), service(setup.addAccount("Home", {.counting = true}, {"p"})) {
        service.add("p", {.id = "1"});
        service.add("p", {.id = "2"});
        setup.sync(service);
        fullSync = setup.clock.now();
        setup.advance(7200);
        service.takeCalls();
    }

    static SyncPolicy withOldProjectList(SyncPolicy policy) {
        policy.projectRefreshInterval = 1e9;
        return policy;
    }

    SyncSetup setup;
    RemoteService& service;
    Date fullSync;
};

TEST(CountCheckTest, countsThatAgreePutTheFullFetchOffAndADueDeltaIsFetched) {
    DueForFullFetch due;

    due.setup.tick();

    EXPECT_THAT(due.service.backend->calls, ElementsAre("taskCount p", StartsWith("fetchTasks p since")));
    EXPECT_EQ(due.setup.project(due.service).lastCountCheckAt, due.setup.clock.now());
    EXPECT_EQ(due.setup.project(due.service).lastFullSyncAt, due.fullSync);
}

TEST(CountCheckTest, countsThatAgreeFetchNothingWhileTheDeltaIsNotDue) {
    SyncPolicy policy;
    policy.maxDeltaInterval = policy.deltaInterval = 14400;
    DueForFullFetch due(policy);

    due.setup.tick();
    EXPECT_THAT(due.service.takeCalls(), ElementsAre("taskCount p"));

    due.setup.tickAfter(30);
    EXPECT_THAT(due.service.takeCalls(), IsEmpty());
}

TEST(CountCheckTest, aProjectWhoseCountsAgreeIsCountedAgainAFullIntervalAfterTheCheck) {
    SyncPolicy policy;
    policy.maxDeltaInterval = policy.deltaInterval = 1e9;
    DueForFullFetch due(policy);
    due.setup.tickAfter(60);

    EXPECT_EQ(due.setup.secondsUntil(due.service, "taskCount"), 7200);
    EXPECT_EQ(due.setup.project(due.service).lastFullSyncAt, due.fullSync);
}

TEST(CountCheckTest, aHigherCountOnTheServerGivesADeltaAndIsNoted) {
    DueForFullFetch due;
    due.service.add("p", {.id = "3"});

    due.setup.tick();

    EXPECT_THAT(due.service.backend->calls, ElementsAre("taskCount p", StartsWith("fetchTasks p since")));
    EXPECT_EQ(due.setup.project(due.service).lastCountCheckAt, due.setup.clock.now());
    EXPECT_EQ(due.setup.snapshots(due.service).size(), 3u);
}

TEST(CountCheckTest, aLowerCountOnTheServerGivesAFullFetchAndIsNotNoted) {
    DueForFullFetch due;
    due.service.remove("p", "1");

    due.setup.tick();

    EXPECT_THAT(due.service.backend->calls, ElementsAre("taskCount p", "fetchTasks p full"));
    EXPECT_EQ(due.setup.project(due.service).lastCountCheckAt, std::nullopt);
    EXPECT_EQ(due.setup.snapshots(due.service).size(), 1u);
}

TEST(CountCheckTest, aServiceThatCannotTellIsFetchedInFull) {
    DueForFullFetch due;
    due.service.counting->onTaskCount = [](const std::string&) { return std::nullopt; };

    due.setup.tick();

    EXPECT_THAT(due.service.backend->calls, ElementsAre("taskCount p", "fetchTasks p full"));
    EXPECT_EQ(due.setup.project(due.service).lastCountCheckAt, std::nullopt);
}

TEST(CountCheckTest, aTaskThatTheServerHasNotSeenYetIsNotCounted) {
    DueForFullFetch due;
    due.setup.run(due.setup.store.createTask({.title = "Plant"}, due.service.id(), "p", due.setup.clock.now()));
    due.service.fail("createTask", BackendError::rejected("Not today."));

    due.setup.tick();

    EXPECT_THAT(due.service.backend->calls,
                ElementsAre("createTask Plant in p", "taskCount p", StartsWith("fetchTasks p since")));
}

TEST(CountCheckTest, aProjectThatWasNeverFetchedInFullIsNotCounted) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {.counting = true}, {"p"});
    setup.tick();
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p full"));
}

TEST(CountCheckTest, agreeingCountsPutAFullFetchOffForTheSafetyIntervalAndNoLonger) {
    DueForFullFetch due;
    due.setup.tick();
    due.setup.advance(86400 - 7200 - 30);
    due.service.takeCalls();

    due.setup.tick();
    EXPECT_EQ(due.service.takeCalls().front(), "taskCount p");
    due.setup.advance(7200);
    due.service.takeCalls();
    due.setup.tick();

    EXPECT_THAT(due.service.takeCalls(), ElementsAre("fetchTasks p full"));
    EXPECT_EQ(due.setup.project(due.service).lastFullSyncAt, due.setup.clock.now());
}

TEST(CountCheckTest, atTheSafetyIntervalItselfTheCountIsNotAskedAnyMore) {
    DueForFullFetch due;
    due.setup.advance(86400 - 7200);
    due.setup.tick();
    EXPECT_THAT(due.service.backend->calls, ElementsAre("fetchTasks p full"));
}

TEST(CountCheckTest, aCountThatAgreesTakesAUnitOfTheBudgetWhenNothingIsFetched) {
    SyncPolicy policy;
    policy.maxFetchesPerTick = 2;
    policy.maxDeltaInterval = policy.deltaInterval = 1e9;
    SyncSetup setup(policy);
    RemoteService& service = setup.addSyncedAccount("Home", {.counting = true}, {"a", "b", "c"});

    setup.tickAfter(7200);
    EXPECT_THAT(service.takeCalls(), ElementsAre("taskCount a", "taskCount b"));
    setup.tickAfter(30);
    EXPECT_THAT(service.takeCalls(), ElementsAre("taskCount c"));
}

TEST(CountCheckTest, aCountAndTheFetchThatFollowsItTakeOneUnitTogether) {
    SyncPolicy policy;
    policy.maxFetchesPerTick = 2;
    SyncSetup setup(policy);
    RemoteService& service = setup.addAccount("Home", {.counting = true}, {"a", "b", "c"});
    for (const std::string& projectID : {"a", "b", "c"}) {
        service.add(projectID, {.id = "1"});
    }
    setup.sync(service);
    service.takeCalls();

    setup.tickAfter(7200);

    EXPECT_THAT(service.takeCalls(), ElementsAre("taskCount a", StartsWith("fetchTasks a since"), "taskCount b",
                                                 StartsWith("fetchTasks b since")));
}

TEST(CountCheckTest, aHintOnAProjectWhoseCountsAgreeTakesASecondUnit) {
    for (int64_t budget : {1, 2}) {
        SyncPolicy policy;
        policy.maxFetchesPerTick = budget;
        policy.maxDeltaInterval = policy.deltaInterval = 1e9;
        SyncSetup setup(policy);
        RemoteService& service = setup.addAccount("Home", {.counting = true, .hinting = true}, {"p"});
        service.add("p", {.id = "1"});
        setup.sync(service);
        service.takeCalls();
        setup.advance(7200);
        service.change("p", "1", [](TaskItem& item) { item.title = "Beans"; });

        setup.tick();

        bool isServed = budget == 2;
        EXPECT_EQ(service.countCalls("taskCount"), 1u);
        EXPECT_EQ(service.countCalls("fetchTasks p since"), isServed ? 1u : 0u);
        EXPECT_EQ(setup.account(service).hintedThrough.has_value(), isServed);
        EXPECT_EQ(setup.project(service).actedHintAt.has_value(), isServed);
    }
}

TEST(CountCheckTest, aProjectThatGoesDuringItsCountIsTheAccountsFailure) {
    DueForFullFetch due;
    due.service.counting->onTaskCount = [](const std::string&) { return 2; };
    Latch count = due.service.hold("taskCount");
    auto pass = due.setup.loop.start(due.setup.engine->tick(due.setup.clock.now()));
    due.setup.loop.runUntil([&] { return count.isReached(); });

    due.setup.run(due.setup.store.removeProject(due.service.id(), "p"));
    count.open();
    due.setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_EQ(due.setup.account(due.service).syncError, "The project no longer exists.");
    EXPECT_THAT(due.service.backend->calls, ElementsAre("taskCount p"));
}

TEST(CountCheckTest, withoutBudgetNothingIsCounted) {
    SyncPolicy policy;
    policy.maxFetchesPerTick = 0;
    DueForFullFetch due(policy);
    due.setup.tick();
    EXPECT_THAT(due.service.backend->calls, IsEmpty());
}

TEST(CountCheckTest, aServiceThatCannotCountIsFetchedInFullEachFullInterval) {
    SyncPolicy policy;
    policy.maxDeltaInterval = policy.deltaInterval = 1e9;
    SyncSetup setup(policy);
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"p"});
    EXPECT_EQ(setup.secondsUntil(service, "fetchTasks p full"), 7200);
}

TEST(CountCheckTest, anExplicitPassCountsNothing) {
    DueForFullFetch due;
    due.setup.sync(due.service, SyncEngine::Mode::delta);
    EXPECT_THAT(due.service.backend->calls, ElementsAre(StartsWith("fetchTasks p since")));
}

}  // namespace
}  // namespace marlet
