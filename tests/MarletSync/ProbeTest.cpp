#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string probeCall = "latestTaskUpdates";
const std::string hintCall = "notifiedTaskUpdates";

// A probing service with one task in each project, synced. What the probe and the hints answer is the test's.
struct Probed {
    explicit Probed(std::vector<std::string> projectIDs = {"a", "b", "c"},
                    Capabilities capabilities = {.probing = true}, SyncPolicy policy = {})
        : setup(policy), service(setup.addAccount("Home", capabilities, projectIDs)) {
        for (const std::string& projectID : projectIDs) {
            service.add(projectID, {.id = "1"});
        }
        service.probing->onLatestTaskUpdates = [this](Date) { return newest; };
        if (service.hinting) {
            service.hinting->onNotifiedTaskUpdates = [this](Date) { return hints; };
        }
        setup.sync(service);
        synced = setup.clock.now();
        service.takeCalls();
        setup.advance(60);
    }

    std::vector<std::string> callsOfTick() {
        setup.tick();
        return service.takeCalls();
    }
    AccountSyncState account() { return setup.account(service); }

    SyncSetup setup;
    RemoteService& service;
    std::optional<std::map<std::string, Date>> newest = std::map<std::string, Date>();
    ChangeHints hints;
    Date synced;
};

TEST(ProbeTest, aProbeTakesThePlaceOfPolling) {
    Probed probed;
    probed.setup.advance(7200 - 120);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("latestTaskUpdates since 1799999400"));
    EXPECT_EQ(probed.account().lastProbeAt, probed.setup.clock.now());
    EXPECT_EQ(probed.account().probedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, theNextProbeReachesBackBeforeTheDateCovered) {
    Probed probed;
    probed.setup.tick();
    probed.service.takeCalls();
    probed.setup.advance(360);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("latestTaskUpdates since 1799999460"));
}

TEST(ProbeTest, anAccountWithNoProjectThatEverSyncedIsNotProbed) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {.probing = true}, {"p"});
    setup.tick();
    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchTasks p full"));
    EXPECT_EQ(setup.account(service).lastProbeAt, std::nullopt);
    setup.tickAfter(30);
    EXPECT_THAT(service.takeCalls(), ElementsAre(StartsWith(probeCall)));
}

TEST(ProbeTest, projectsWithAnEntryNewerThanTheirCursorAreFetched) {
    Probed probed;
    probed.newest = {{"a", probed.synced + 0}, {"c", probed.synced + 30}};
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall), "fetchTasks c since 1800000000"));
    EXPECT_EQ(probed.account().probedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, aProjectWithoutACursorIsDueByAnyEntry) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {.probing = true}, {"p"});
    service.probing->onLatestTaskUpdates = [](Date) { return std::map<std::string, Date>{{"p", dateFromSeconds(1)}}; };
    setup.tickAfter(60);
    EXPECT_THAT(service.takeCalls(), ElementsAre(StartsWith(probeCall), "fetchTasks p full"));
}

TEST(ProbeTest, anAnswerOfNoMapMakesEverySyncedProjectNotYetFetchedDue) {
    Probed probed({"a", "b", "c"});
    probed.service.addProject("d");
    probed.setup.run(probed.setup.store.replaceProjects(probed.service.projects(), probed.service.id(), probed.synced));
    probed.setup.run(probed.setup.store.setSubscribed(true, probed.service.id(), "d"));
    probed.newest.reset();
    EXPECT_THAT(probed.callsOfTick(),
                ElementsAre("fetchTasks d full", StartsWith(probeCall), StartsWith("fetchTasks a since"),
                            StartsWith("fetchTasks b since"), StartsWith("fetchTasks c since")));
}

TEST(ProbeTest, aProjectWhoseFirstFetchIsRefusedIsNotTriedTwiceInOnePass) {
    Probed probed({"a"});
    probed.service.addProject("d");
    probed.setup.run(probed.setup.store.replaceProjects(probed.service.projects(), probed.service.id(), probed.synced));
    probed.setup.run(probed.setup.store.setSubscribed(true, probed.service.id(), "d"));
    probed.service.fail("fetchTasks d", BackendError::notFound());
    probed.newest = {{"d", probed.synced + 30}};

    EXPECT_THAT(probed.callsOfTick(), ElementsAre("fetchTasks d full", StartsWith(probeCall)));

    EXPECT_EQ(probed.account().quietProbes, 1);
    EXPECT_EQ(probed.account().probedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, overdueProjectsAreFetchedFirstAndThenLeftOutOfTheProbe) {
    Probed probed;
    probed.setup.advance(7200);
    probed.newest = {{"a", probed.synced + 30}};
    EXPECT_THAT(probed.callsOfTick(),
                ElementsAre("fetchTasks a full", "fetchTasks b full", "fetchTasks c full", StartsWith(probeCall)));
    EXPECT_EQ(probed.account().quietProbes, 1);
}

TEST(ProbeTest, overdueProjectsAreCountedFirstByAServiceThatCan) {
    Probed probed({"a", "b", "c", "d"}, {.counting = true, .probing = true});
    probed.service.counting->onTaskCount = [](const std::string& projectID) -> std::optional<int64_t> {
        if (projectID == "d") {
            return std::nullopt;
        }
        return projectID == "a" ? 1 : projectID == "b" ? 2 : 0;
    };
    probed.setup.advance(7200);
    probed.newest = {{"a", probed.synced + 30}, {"b", probed.synced + 30}, {"c", probed.synced + 30}};

    EXPECT_THAT(
        probed.callsOfTick(),
        ElementsAre("taskCount a", "taskCount b", StartsWith("fetchTasks b since"), "taskCount c", "fetchTasks c full",
                    "taskCount d", "fetchTasks d full", StartsWith(probeCall), StartsWith("fetchTasks a since")));

    EXPECT_EQ(probed.setup.project(probed.service, "a").lastCountCheckAt, probed.setup.clock.now());
}

TEST(ProbeTest, aCountTakesItsUnitWhateverComesOfItAndTheWalkEndsWithTheBudget) {
    SyncPolicy policy;
    policy.maxFetchesPerTick = 2;
    Probed probed({"a", "b", "c"}, {.counting = true, .probing = true}, policy);
    probed.setup.advance(7200);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("taskCount a", "taskCount b", StartsWith(probeCall)));
    probed.setup.advance(30);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("taskCount c"));
}

TEST(ProbeTest, anOverdueProjectThatIsRefusedSaysSoAndTheWalkGoesOn) {
    Probed probed;
    probed.setup.advance(7200);
    probed.service.fail("fetchTasks a", BackendError::notFound());
    EXPECT_THAT(probed.callsOfTick(),
                ElementsAre("fetchTasks a full", "fetchTasks b full", "fetchTasks c full", StartsWith(probeCall)));
    EXPECT_EQ(probed.setup.projectError(probed.service, "a"), "Not found on the server.");
}

TEST(ProbeTest, anAccountFailureOfAnOverdueProjectEndsTheAccountsPass) {
    Probed probed;
    probed.setup.advance(7200);
    probed.service.fail("fetchTasks a", BackendError::unauthorized());
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("fetchTasks a full"));
    EXPECT_EQ(probed.account().syncError, "The server rejected the access token.");
}

TEST(ProbeTest, betweenProbesNothingIsFetchedButWhatIsOverdue) {
    Probed probed;
    probed.setup.tick();
    probed.service.takeCalls();
    probed.setup.advance(330);
    EXPECT_THAT(probed.callsOfTick(), IsEmpty());
}

TEST(ProbeTest, aQuietAccountIsProbedLessAndLessOften) {
    Probed probed;
    probed.setup.tick();
    for (double interval : {360, 720, 1440, 1800, 1800}) {
        EXPECT_EQ(probed.setup.secondsUntil(probed.service, probeCall), interval);
    }
    EXPECT_EQ(probed.account().quietProbes, 6);
}

TEST(ProbeTest, aRelaxedQuietAccountIsProbedFourTimesLessOften) {
    Probed probed;
    probed.setup.run(probed.setup.engine->setRelaxed(true));
    probed.setup.tick();
    for (double interval : {1440, 2880, 5760, 7200, 7200}) {
        EXPECT_EQ(probed.setup.secondsUntil(probed.service, probeCall), interval);
    }
}

TEST(ProbeTest, aProbeThatFindsSomethingEndsTheAccountsQuiet) {
    Probed probed;
    probed.setup.tick();
    probed.setup.advance(360);
    probed.newest = {{"a", probed.synced + 100}};
    probed.setup.tick();
    EXPECT_EQ(probed.account().quietProbes, 0);
    probed.newest->clear();
    EXPECT_EQ(probed.setup.secondsUntil(probed.service, probeCall), 180);
}

TEST(ProbeTest, aRefusedProbeFetchesNothingMoreInThatTickAndThenTheProjectsAreWalkedForADay) {
    Probed probed({"a"}, {.hinting = true, .probing = true});
    probed.service.fail(probeCall, BackendError::http(404));
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall)));
    EXPECT_EQ(probed.account().probeRejectedAt, probed.setup.clock.now());
    EXPECT_EQ(probed.account().syncError, std::nullopt);
    probed.service.recover();

    probed.setup.advance(180);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(hintCall), StartsWith("fetchTasks a since")));
    probed.setup.advance(86400 - 180 - 30);
    EXPECT_THAT(probed.callsOfTick(), Not(Contains(StartsWith(probeCall))));
    probed.setup.advance(30);
    EXPECT_THAT(probed.callsOfTick(), Contains(StartsWith(probeCall)));
    EXPECT_EQ(probed.account().probeRejectedAt, std::nullopt);
}

TEST(ProbeTest, clearingTheRejectionsEndsTheWaitEarly) {
    Probed probed;
    probed.service.fail(probeCall, BackendError::http(403));
    probed.setup.tick();
    probed.service.recover();
    probed.service.takeCalls();

    probed.setup.run(probed.setup.engine->clearRejections(probed.service.id()));

    EXPECT_EQ(probed.account().probeRejectedAt, std::nullopt);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall)));
}

TEST(ProbeTest, ofTheHintsOnlyDeletionsCountBesideAProbe) {
    Probed probed({"a", "b"}, {.hinting = true, .probing = true});
    probed.hints = {{"a", {probed.synced + 30, std::nullopt}}, {"b", {probed.synced + 30, probed.synced + 30}}};

    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall), StartsWith(hintCall), "fetchTasks b full"));

    EXPECT_EQ(probed.setup.project(probed.service, "a").actedHintAt, std::nullopt);
    EXPECT_EQ(probed.setup.project(probed.service, "b").actedHintAt, probed.synced + 30);
    EXPECT_EQ(probed.account().hintedThrough, probed.setup.clock.now());
    EXPECT_EQ(probed.account().quietProbes, 0);
}

TEST(ProbeTest, aDeletionIsDoneWithByTheFullFetchThatWasDueAnyway) {
    Probed probed({"a"}, {.hinting = true, .probing = true});
    probed.setup.advance(7200);
    probed.hints = {{"a", {probed.synced + 30, probed.synced + 30}}};
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("fetchTasks a full", StartsWith(probeCall), StartsWith(hintCall)));
    EXPECT_EQ(probed.setup.project(probed.service, "a").actedHintAt, probed.synced + 30);
}

TEST(ProbeTest, aDeletionInAProjectFetchedByDeltaIsFetchedInFull) {
    Probed probed({"a"}, {.counting = true, .hinting = true, .probing = true});
    probed.setup.advance(7200);
    probed.service.add("a", {.id = "2"});
    probed.hints = {{"a", {probed.synced + 30, probed.synced + 30}}};
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("taskCount a", StartsWith("fetchTasks a since"),
                                                  StartsWith(probeCall), StartsWith(hintCall), "fetchTasks a full"));
}

TEST(ProbeTest, aProbeWithoutAHintRequestMovesItsOwnDateOnly) {
    Probed probed({"a"}, {.hinting = true, .probing = true});
    probed.setup.tick();
    Date firstHint = probed.setup.clock.now();
    probed.setup.advance(360);
    probed.service.hinting->offersHints = false;
    probed.setup.tick();
    EXPECT_EQ(probed.account().hintedThrough, firstHint);
    EXPECT_EQ(probed.account().probedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, outOfBudgetAfterTwoOfFiveTheDateCoveredStaysAndTheNextProbeFindsTheRest) {
    SyncPolicy policy;
    policy.maxFetchesPerTick = 2;
    Probed probed({"a", "b", "c", "d", "e"}, {.probing = true}, policy);
    for (const std::string& projectID : {"a", "b", "c", "d", "e"}) {
        probed.service.change(projectID, "1", [](TaskItem& item) { item.title = "Changed"; });
        (*probed.newest)[projectID] = probed.service.find(projectID, "1")->updatedAt.value();
    }

    EXPECT_THAT(probed.callsOfTick(),
                ElementsAre(StartsWith(probeCall), StartsWith("fetchTasks a"), StartsWith("fetchTasks b")));
    EXPECT_EQ(probed.account().probedThrough, std::nullopt);

    probed.setup.advance(180);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre("latestTaskUpdates since 1799999400", StartsWith("fetchTasks c"),
                                                  StartsWith("fetchTasks d")));
    probed.setup.advance(180);
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall), StartsWith("fetchTasks e")));
    EXPECT_EQ(probed.account().probedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, aFoundProjectThatIsRefusedKeepsTheDateCoveredAndTheOthersAreFetched) {
    Probed probed;
    probed.newest = {{"a", probed.synced + 30}, {"b", probed.synced + 30}};
    probed.service.fail("fetchTasks a", BackendError::rejected("Closed."));

    EXPECT_THAT(probed.callsOfTick(),
                ElementsAre(StartsWith(probeCall), StartsWith("fetchTasks a"), StartsWith("fetchTasks b")));

    EXPECT_EQ(probed.setup.projectError(probed.service, "a"), "Closed.");
    EXPECT_EQ(probed.account().probedThrough, std::nullopt);
    EXPECT_EQ(probed.account().syncError, std::nullopt);
}

TEST(ProbeTest, aDeletionWhoseFetchIsRefusedIsFoundAgain) {
    Probed probed({"a"}, {.hinting = true, .probing = true});
    probed.hints = {{"a", {probed.synced + 30, probed.synced + 30}}};
    probed.service.fail("fetchTasks a", BackendError::notFound());
    probed.setup.tick();
    EXPECT_EQ(probed.setup.project(probed.service, "a").actedHintAt, std::nullopt);
    EXPECT_EQ(probed.account().hintedThrough, std::nullopt);

    probed.service.recover();
    probed.service.takeCalls();
    probed.setup.advance(180);
    EXPECT_THAT(probed.callsOfTick(), Contains("fetchTasks a full"));
    EXPECT_EQ(probed.account().hintedThrough, probed.setup.clock.now());
}

TEST(ProbeTest, anAccountFailureOfAFoundProjectEndsTheAccountsPass) {
    Probed probed;
    probed.newest = {{"a", probed.synced + 30}, {"b", probed.synced + 30}};
    probed.service.fail("fetchTasks a", BackendError::http(500));
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall), StartsWith("fetchTasks a")));
    EXPECT_EQ(probed.account().syncError, "The server responded with HTTP 500.");
    EXPECT_EQ(probed.account().probedThrough, std::nullopt);
}

TEST(ProbeTest, aHintFailureOfTheAccountEndsItsPassWithTheProbeUncovered) {
    Probed probed({"a"}, {.hinting = true, .probing = true});
    probed.service.fail(hintCall, BackendError::rateLimited(std::nullopt));
    probed.newest = {{"a", probed.synced + 30}};
    EXPECT_THAT(probed.callsOfTick(), ElementsAre(StartsWith(probeCall), StartsWith(hintCall)));
    EXPECT_EQ(probed.account().probedThrough, std::nullopt);
    EXPECT_EQ(probed.account().syncError, "Rate limited by the server.");
}

TEST(ProbeTest, anExplicitPassDoesNotProbe) {
    Probed probed({"a"});
    probed.setup.sync(probed.service, SyncEngine::Mode::delta);
    EXPECT_THAT(probed.service.takeCalls(), ElementsAre(StartsWith("fetchTasks a since")));
}

}  // namespace
}  // namespace marlet
