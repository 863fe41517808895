#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string hintCall = "notifiedTaskUpdates";

// A hinting service with one task in each project, synced, at the time of the next hint request, with polling out of
// the way. Its hints are what the test puts into `hints`.
struct Hinted {
    explicit Hinted(std::vector<std::string> projectIDs = {"p"}, SyncPolicy policy = seldomPolling())
        : setup(policy), service(setup.addAccount("Home", {.hinting = true}, projectIDs)) {
        for (const std::string& projectID : projectIDs) {
            service.add(projectID, {.id = "1"});
        }
        service.hinting->onNotifiedTaskUpdates = [this](Date) { return hints; };
        setup.sync(service);
        synced = setup.clock.now();
        service.takeCalls();
        setup.advance(180);
    }

    static SyncPolicy seldomPolling() {
        SyncPolicy policy;
        policy.deltaInterval = policy.maxDeltaInterval = policy.fullInterval = 1e9;
        return policy;
    }
    std::vector<std::string> callsOfTick() {
        setup.tick();
        return service.takeCalls();
    }

    SyncSetup setup;
    RemoteService& service;
    ChangeHints hints;
    Date synced;
};

TEST(HintTest, theFirstRequestReachesBackBeforeTheOldestSyncAndTheNextBeforeTheDateCovered) {
    Hinted hinted;

    EXPECT_THAT(hinted.callsOfTick(), ElementsAre("notifiedTaskUpdates since 1799999400"));
    EXPECT_EQ(hinted.setup.account(hinted.service).lastHintAt, hinted.setup.clock.now());
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, hinted.setup.clock.now());

    hinted.setup.advance(180);
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre("notifiedTaskUpdates since 1799999580"));
}

TEST(HintTest, theFirstRequestReachesBackBeforeTheProjectThatWasSyncedLongestAgo) {
    for (const std::string& syncedLater : {"a", "b"}) {
        Hinted hinted({"a", "b"});
        hinted.setup.run(hinted.setup.engine->syncNow(hinted.service.id(), syncedLater, SyncEngine::Mode::delta,
                                                      hinted.setup.clock.now()));
        hinted.service.takeCalls();
        EXPECT_THAT(hinted.callsOfTick(), ElementsAre("notifiedTaskUpdates since 1799999400"));
    }
}

TEST(HintTest, hintsAreAskedForEachHintInterval) {
    Hinted hinted;
    hinted.setup.tick();
    EXPECT_EQ(hinted.setup.secondsUntil(hinted.service, hintCall), 180);
    EXPECT_EQ(hinted.setup.secondsUntil(hinted.service, hintCall), 180);
}

TEST(HintTest, aServiceThatOffersNoneIsNotAsked) {
    Hinted hinted;
    hinted.service.hinting->offersHints = false;
    EXPECT_THAT(hinted.callsOfTick(), IsEmpty());
}

TEST(HintTest, anAccountWithNoProjectThatEverSyncedIsNotAsked) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {.hinting = true}, {"p"});
    setup.tick();
    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchTasks p full"));
    EXPECT_EQ(setup.account(service).lastHintAt, std::nullopt);
}

TEST(HintTest, anExplicitPassAsksForNone) {
    Hinted hinted;
    hinted.setup.sync(hinted.service, SyncEngine::Mode::delta);
    EXPECT_EQ(hinted.service.countCalls(hintCall), 0u);
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, std::nullopt);
}

TEST(HintTest, aNewerChangeGivesADeltaBeforeItsTime) {
    Hinted hinted;
    Date changed = hinted.synced + 60;
    hinted.hints["p"] = {changed, std::nullopt};

    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), "fetchTasks p since 1800000000"));

    EXPECT_EQ(hinted.setup.project(hinted.service).actedHintAt, changed);
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, hinted.setup.clock.now());
}

TEST(HintTest, aHintOlderThanTheCursorCausesNoFetch) {
    Hinted hinted;
    hinted.hints["p"] = {hinted.synced, std::nullopt};
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall)));
    EXPECT_EQ(hinted.setup.project(hinted.service).actedHintAt, std::nullopt);
}

TEST(HintTest, aDeletionNotActedOnCausesAFullFetchEvenWithAnOldLatestChange) {
    Hinted hinted;
    hinted.hints["p"] = {hinted.synced - 1000, hinted.synced - 1000};
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), "fetchTasks p full"));
    EXPECT_EQ(hinted.setup.project(hinted.service).actedHintAt, hinted.synced - 1000);
}

TEST(HintTest, aHintThatWasCarriedOutIsNotCarriedOutAgain) {
    Hinted hinted;
    hinted.hints["p"] = {hinted.synced + 60, hinted.synced + 60};
    hinted.setup.tick();
    hinted.service.takeCalls();
    hinted.setup.advance(180);
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall)));
}

TEST(HintTest, aDeletionActedOnWithANewerChangeGivesADelta) {
    Hinted hinted;
    hinted.hints["p"] = {hinted.synced + 60, hinted.synced + 60};
    hinted.setup.tick();
    hinted.service.takeCalls();
    hinted.setup.advance(180);
    hinted.hints["p"].latest = hinted.synced + 200;
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), StartsWith("fetchTasks p since")));
}

TEST(HintTest, aHintForAProjectThatNeverSyncedIsIgnoredAndItsFirstFetchCoversIt) {
    Hinted hinted;
    hinted.service.addProject("new");
    hinted.setup.run(hinted.setup.store.replaceProjects(hinted.service.projects(), hinted.service.id(), hinted.synced));
    hinted.setup.run(hinted.setup.store.setSubscribed(true, hinted.service.id(), "new"));
    hinted.hints["new"] = {hinted.synced + 60, hinted.synced + 60};

    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), "fetchTasks new full"));

    EXPECT_EQ(hinted.setup.project(hinted.service, "new").actedHintAt, std::nullopt);
}

TEST(HintTest, aProjectThatIsNotSubscribedIsNotFetched) {
    Hinted hinted;
    hinted.hints["elsewhere"] = {hinted.synced + 60, hinted.synced + 60};
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall)));
}

TEST(HintTest, aDueFullFetchStaysOneWhenTheHintAsksForADelta) {
    SyncPolicy policy = Hinted::seldomPolling();
    policy.fullInterval = 180;
    Hinted hinted({"p"}, policy);
    hinted.hints["p"] = {hinted.synced + 60, std::nullopt};
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), "fetchTasks p full"));
}

TEST(HintTest, aDueDeltaBecomesAFullFetchByADeletion) {
    Hinted hinted({"p"}, SyncPolicy{});
    hinted.hints["p"] = {hinted.synced + 60, hinted.synced + 60};
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall), "fetchTasks p full"));
}

TEST(HintTest, aHintThatLeadsToAFetchEndsTheProjectsQuiet) {
    Hinted hinted({"p"}, SyncPolicy{});
    for (double pause : {0, 360, 720}) {
        hinted.setup.tickAfter(pause);
    }
    EXPECT_EQ(hinted.setup.project(hinted.service).quietFetches, 3);
    hinted.hints["p"] = {hinted.setup.clock.now() + 1, std::nullopt};

    hinted.setup.tickAfter(180);

    // Set to zero before the fetch, which then brought nothing.
    EXPECT_EQ(hinted.setup.project(hinted.service).quietFetches, 1);
}

TEST(HintTest, aHintOnTheTenthProjectBeyondTheBudgetKeepsTheDateCovered) {
    Hinted hinted({"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}, SyncPolicy{});
    hinted.hints["j"] = {hinted.synced + 60, std::nullopt};

    hinted.setup.tick();
    EXPECT_EQ(hinted.service.countCalls("fetchTasks"), 9u);
    EXPECT_EQ(hinted.setup.account(hinted.service).lastHintAt, hinted.setup.clock.now());
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, std::nullopt);
    EXPECT_EQ(hinted.setup.project(hinted.service, "j").actedHintAt, std::nullopt);
}

TEST(HintTest, withoutAHintOnTheTenthProjectTheDateCoveredMoves) {
    Hinted hinted({"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}, SyncPolicy{});
    hinted.hints["a"] = {hinted.synced + 60, std::nullopt};
    hinted.setup.tick();
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, hinted.setup.clock.now());
}

TEST(HintTest, aHintedProjectThatIsRefusedIsFoundAgain) {
    Hinted hinted({"a", "b"});
    hinted.hints["a"] = {hinted.synced + 60, std::nullopt};
    hinted.service.fail("fetchTasks a", BackendError::notFound());

    hinted.setup.tick();
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, std::nullopt);
    EXPECT_EQ(hinted.setup.project(hinted.service, "a").actedHintAt, std::nullopt);

    hinted.service.recover();
    hinted.service.takeCalls();
    hinted.setup.advance(180);
    EXPECT_THAT(hinted.callsOfTick(),
                ElementsAre("notifiedTaskUpdates since 1799999400", StartsWith("fetchTasks a since")));
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, hinted.setup.clock.now());
}

TEST(HintTest, aRefusedProjectWithoutAHintDoesNotKeepTheDateBack) {
    Hinted hinted({"a", "b"}, SyncPolicy{});
    hinted.hints["b"] = {hinted.synced + 60, std::nullopt};
    hinted.service.fail("fetchTasks a", BackendError::notFound());
    hinted.setup.tick();
    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, hinted.setup.clock.now());
}

TEST(HintTest, aPassAtTheSameTimeThatReadNoHintsDoesNotMoveTheDateCovered) {
    Hinted hinted({"a", "b"});
    hinted.hints["a"] = {hinted.synced + 60, std::nullopt};
    hinted.service.fail("fetchTasks a", BackendError::notFound());
    hinted.setup.tick();

    hinted.setup.run(
        hinted.setup.engine->syncNow(hinted.service.id(), "b", SyncEngine::Mode::delta, hinted.setup.clock.now()));

    EXPECT_EQ(hinted.setup.account(hinted.service).hintedThrough, std::nullopt);
}

TEST(HintTest, a403SwitchesTheHintsOffForADayRelaxedOrNot) {
    for (bool relaxed : {false, true}) {
        Hinted hinted;
        hinted.setup.run(hinted.setup.engine->setRelaxed(relaxed));
        hinted.service.fail(hintCall, BackendError::http(403));
        hinted.setup.advance(relaxed ? 720 : 0);
        hinted.setup.tick();
        EXPECT_EQ(hinted.setup.account(hinted.service).hintRejectedAt, hinted.setup.clock.now());
        EXPECT_EQ(hinted.setup.account(hinted.service).lastHintAt, std::nullopt);
        hinted.service.recover();
        hinted.service.takeCalls();

        hinted.setup.advance(86400 - 30);
        EXPECT_THAT(hinted.callsOfTick(), Not(testing::Contains(StartsWith(hintCall))));
        hinted.setup.advance(30);
        EXPECT_THAT(hinted.callsOfTick(), testing::Contains(StartsWith(hintCall)));

        EXPECT_EQ(hinted.setup.account(hinted.service).hintRejectedAt, std::nullopt);
    }
}

TEST(HintTest, a401IsTheAccountsProblemAndEndsItsPass) {
    Hinted hinted;
    hinted.service.fail(hintCall, BackendError::unauthorized());

    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall)));

    EXPECT_EQ(hinted.setup.account(hinted.service).syncError, "The server rejected the access token.");
    EXPECT_EQ(hinted.setup.account(hinted.service).hintRejectedAt, std::nullopt);
}

TEST(HintTest, clearingTheRejectionsEndsTheWaitEarly) {
    Hinted hinted;
    hinted.service.fail(hintCall, BackendError::http(403));
    hinted.setup.tick();
    hinted.service.recover();
    hinted.service.takeCalls();

    hinted.setup.run(hinted.setup.engine->clearRejections(hinted.service.id()));

    EXPECT_EQ(hinted.setup.account(hinted.service).hintRejectedAt, std::nullopt);
    EXPECT_THAT(hinted.callsOfTick(), ElementsAre(StartsWith(hintCall)));
}

TEST(HintTest, aPassThatReadTheRejectionBeforeItWasClearedDoesNotBringItBack) {
    Hinted hinted;
    hinted.service.fail(hintCall, BackendError::http(403));
    hinted.setup.tick();
    hinted.service.recover();
    hinted.setup.restart();
    hinted.setup.rename(hinted.service, "1", "Beans");
    Latch push = hinted.service.hold("updateTask");
    auto pass = hinted.setup.loop.start(hinted.setup.engine->tick(hinted.setup.clock.now()));
    hinted.setup.loop.runUntil([&] { return push.isReached(); });

    hinted.setup.run(hinted.setup.engine->clearRejections(hinted.service.id()));
    hinted.service.takeCalls();
    push.open();
    hinted.setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_THAT(hinted.service.takeCalls(), ElementsAre(StartsWith(hintCall)));
}

}  // namespace
}  // namespace marlet
