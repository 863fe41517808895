#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

SyncPolicy withoutFullFetches() {
    SyncPolicy policy;
    policy.fullInterval = 1e9;
    return policy;
}

// One quiet project with a task, synced once.
struct Quiet {
    explicit Quiet(SyncPolicy policy = withoutFullFetches(), Capabilities capabilities = {})
        : setup(policy), service(setup.addAccount("Home", capabilities, {"p"})) {
        service.add("p", {.id = "1"});
        setup.sync(service);
    }

    double secondsUntil(const std::string& call) { return setup.secondsUntil(service, call); }

    SyncSetup setup;
    RemoteService& service;
};

TEST(BackoffTest, aQuietProjectIsFetchedLessAndLessOften) {
    Quiet quiet;
    for (double interval : {180, 360, 720, 1440, 1800, 1800}) {
        EXPECT_EQ(quiet.secondsUntil("fetchTasks"), interval);
    }
}

TEST(BackoffTest, aRelaxedQuietProjectIsFetchedFourTimesLessOften) {
    Quiet quiet;
    quiet.setup.run(quiet.setup.engine->setRelaxed(true));
    for (double interval : {720, 1440, 2880, 5760, 7200, 7200}) {
        EXPECT_EQ(quiet.secondsUntil("fetchTasks"), interval);
    }
}

TEST(BackoffTest, aFetchThatBringsChangesEndsTheQuiet) {
    Quiet quiet;
    quiet.secondsUntil("fetchTasks");
    quiet.secondsUntil("fetchTasks");
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 2);
    quiet.service.change("p", "1", [](TaskItem& item) { item.title = "Beans"; });
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 720);
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 0);
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 180);
}

TEST(BackoffTest, aQuietCountThatStaysTheSameIsNotWrittenAgain) {
    Quiet quiet;
    constexpr int64_t untouched = 9;
    quiet.setup.run(quiet.setup.store.setQuietFetches(untouched, quiet.service.id(), "p"));
    quiet.service.change("p", "1", [](TaskItem& item) { item.title = "Beans"; });

    quiet.secondsUntil("fetchTasks");

    EXPECT_EQ(quiet.setup.snapshot(quiet.service, "1")->item.title, "Beans");
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, untouched);
}

TEST(BackoffTest, anExplicitFetchCountsLikeAnyOther) {
    Quiet quiet;
    quiet.setup.sync(quiet.service, SyncEngine::Mode::delta);
    quiet.setup.sync(quiet.service, SyncEngine::Mode::full);
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 2);
}

TEST(BackoffTest, aRefusedFetchSaysNothingAboutQuiet) {
    Quiet quiet;
    quiet.service.fail("fetchTasks", BackendError::notFound());
    quiet.secondsUntil("fetchTasks");
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 0);
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 30);
}

TEST(BackoffTest, resettingTheBackoffOfOneProjectEndsItsQuietAndTheAccounts) {
    SyncSetup setup(withoutFullFetches());
    RemoteService& service = setup.addSyncedAccount("Home", {.probing = true}, {"a", "b"});
    setup.sync(service);
    setup.tickAfter(30);
    EXPECT_EQ(setup.account(service).quietProbes, 1);

    setup.run(setup.engine->resetBackoff("a", service.id()));

    EXPECT_EQ(setup.project(service, "a").quietFetches, 0);
    EXPECT_EQ(setup.project(service, "b").quietFetches, 1);
    EXPECT_EQ(setup.account(service).quietProbes, 0);
    EXPECT_EQ(setup.secondsUntil(service, "latestTaskUpdates"), 180);
}

TEST(BackoffTest, resettingTheBackoffWithoutBothEndsEveryQuiet) {
    struct Given {
        bool project = false;
        bool account = false;
    };
    for (Given given : {Given{}, Given{.account = true}, Given{.project = true}}) {
        Quiet quiet;
        quiet.secondsUntil("fetchTasks");
        quiet.secondsUntil("fetchTasks");
        RemoteService& other = quiet.setup.addSyncedAccount("Work", {}, {"p"});
        quiet.setup.sync(other);

        std::optional<UUID> accountID = given.account ? std::optional(other.id()) : std::nullopt;
        std::optional<std::string> projectID = given.project ? std::optional<std::string>("p") : std::nullopt;
        quiet.setup.run(quiet.setup.engine->resetBackoff(projectID, accountID));

        EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 0);
        EXPECT_EQ(quiet.setup.project(other).quietFetches, 0);
        EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 180);
    }
}

TEST(BackoffTest, resettingTheBackoffOfAProjectThatHasGoneDoesNotFail) {
    Quiet quiet;
    quiet.setup.run(quiet.setup.engine->resetBackoff("gone", quiet.service.id()));
    quiet.setup.run(quiet.setup.engine->clearRejections(UUID::random()));
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 180);
}

TEST(RelaxedModeTest, stretchesTheFullInterval) {
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(300);
    policy.deltaInterval = policy.maxDeltaInterval = 1e9;
    Quiet quiet(policy);
    quiet.setup.run(quiet.setup.engine->setRelaxed(true));
    EXPECT_EQ(quiet.secondsUntil("fetchTasks p full"), 28800);
}

TEST(RelaxedModeTest, stretchesTheSafetyInterval) {
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(100);
    policy.deltaInterval = policy.maxDeltaInterval = 1e9;
    policy.fullInterval = 300;
    policy.safetyFullInterval = 3000;
    Quiet plain(policy, {.counting = true});
    EXPECT_EQ(plain.secondsUntil("fetchTasks p full"), 3000);
    Quiet relaxed(policy, {.counting = true});
    relaxed.setup.run(relaxed.setup.engine->setRelaxed(true));
    EXPECT_EQ(relaxed.secondsUntil("fetchTasks p full"), 12000);
}

TEST(RelaxedModeTest, stretchesTheHintInterval) {
    Quiet quiet(withoutFullFetches(), {.hinting = true});
    quiet.setup.run(quiet.setup.engine->setRelaxed(true));
    quiet.secondsUntil("notifiedTaskUpdates");
    EXPECT_EQ(quiet.secondsUntil("notifiedTaskUpdates"), 720);
    quiet.setup.run(quiet.setup.engine->setRelaxed(false));
    EXPECT_EQ(quiet.secondsUntil("notifiedTaskUpdates"), 180);
}

TEST(RelaxedModeTest, takesEffectAtTheNextDecisionOfARunningPass) {
    SyncSetup setup(withoutFullFetches());
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"a", "b"});
    setup.advance(180);
    Latch fetch = service.hold("fetchTasks a");
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.engine->setRelaxed(true));
    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_THAT(service.takeCalls(), Not(Contains(StartsWith("fetchTasks b"))));
}

TEST(RestartTest, quietCountsAndCheckDatesComeBackFromTheStore) {
    Quiet quiet(withoutFullFetches(), {.hinting = true});
    quiet.secondsUntil("fetchTasks");
    quiet.secondsUntil("fetchTasks");

    quiet.setup.restart();

    // The project was fetched just now, quiet for the second time; hints were read 150 s ago.
    EXPECT_EQ(quiet.secondsUntil("notifiedTaskUpdates"), 30);
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 720 - 30);
    EXPECT_EQ(quiet.setup.project(quiet.service).quietFetches, 3);
}

TEST(RestartTest, theDateOfTheLastHintRequestComesBack) {
    Quiet quiet(withoutFullFetches(), {.hinting = true});
    quiet.secondsUntil("notifiedTaskUpdates");

    quiet.setup.restart();

    EXPECT_EQ(quiet.secondsUntil("notifiedTaskUpdates"), 180);
}

TEST(RestartTest, theHintRequestGoesOnFromTheDateCovered) {
    Quiet quiet(withoutFullFetches(), {.hinting = true});
    quiet.secondsUntil("notifiedTaskUpdates");
    Date covered = quiet.setup.account(quiet.service).hintedThrough.value();

    quiet.setup.restart();
    quiet.secondsUntil("notifiedTaskUpdates");

    std::string since = std::to_string(static_cast<int64_t>(secondsSince1970(covered)) - 600);
    EXPECT_THAT(quiet.service.takeCalls(), Contains("notifiedTaskUpdates since " + since));
}

TEST(RestartTest, theProbesBackoffAndItsDateCoveredComeBack) {
    Quiet quiet(withoutFullFetches(), {.probing = true});
    quiet.secondsUntil("latestTaskUpdates");
    quiet.secondsUntil("latestTaskUpdates");
    Date covered = quiet.setup.account(quiet.service).probedThrough.value();

    quiet.setup.restart();

    EXPECT_EQ(quiet.secondsUntil("latestTaskUpdates"), 720);
    std::string since = std::to_string(static_cast<int64_t>(secondsSince1970(covered)) - 600);
    EXPECT_THAT(quiet.service.takeCalls(), ElementsAre("latestTaskUpdates since " + since));
}

TEST(RestartTest, rejectionsComeBack) {
    Quiet hinting(withoutFullFetches(), {.hinting = true});
    hinting.service.fail("notifiedTaskUpdates", BackendError::http(403));
    hinting.secondsUntil("notifiedTaskUpdates");
    hinting.setup.restart();
    hinting.service.takeCalls();
    hinting.setup.tickAfter(7200);
    EXPECT_THAT(hinting.service.takeCalls(), Not(Contains(StartsWith("notifiedTaskUpdates"))));

    Quiet probing(withoutFullFetches(), {.probing = true});
    probing.service.fail("latestTaskUpdates", BackendError::http(403));
    probing.secondsUntil("latestTaskUpdates");
    probing.setup.restart();
    probing.service.takeCalls();
    probing.setup.tickAfter(7200);
    EXPECT_THAT(probing.service.takeCalls(), ElementsAre(StartsWith("fetchTasks p since")));
}

TEST(RestartTest, aHintThatWasCarriedOutStaysSo) {
    Quiet quiet(withoutFullFetches(), {.hinting = true});
    Date deleted = quiet.setup.clock.now() + 10;
    quiet.service.hinting->onNotifiedTaskUpdates = [&](Date) { return ChangeHints{{"p", {deleted, deleted}}}; };
    quiet.secondsUntil("fetchTasks p full");

    quiet.setup.restart();
    quiet.secondsUntil("notifiedTaskUpdates");

    EXPECT_THAT(quiet.service.takeCalls(), Not(Contains("fetchTasks p full")));
}

TEST(RestartTest, aResetDuringTheFirstPassIsNotUndoneByWhatThePassHadRead) {
    Quiet quiet(withoutFullFetches(), {.probing = true});
    quiet.secondsUntil("latestTaskUpdates");
    quiet.secondsUntil("latestTaskUpdates");
    EXPECT_EQ(quiet.setup.account(quiet.service).quietProbes, 2);
    quiet.setup.restart();
    quiet.setup.rename(quiet.service, "1", "Beans");
    quiet.setup.advance(180);
    Latch push = quiet.service.hold("updateTask");
    auto pass = quiet.setup.loop.start(quiet.setup.engine->tick(quiet.setup.clock.now()));
    quiet.setup.loop.runUntil([&] { return push.isReached(); });

    quiet.setup.run(quiet.setup.engine->resetBackoff(std::nullopt, std::nullopt));
    quiet.service.takeCalls();
    push.open();
    quiet.setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_THAT(quiet.service.takeCalls(), Contains(StartsWith("latestTaskUpdates")));
}

TEST(RestartTest, withinARunTheMemoryWins) {
    Quiet quiet;
    quiet.secondsUntil("fetchTasks");
    quiet.setup.run(quiet.setup.store.setQuietFetches(4, quiet.service.id(), "p"));
    EXPECT_EQ(quiet.secondsUntil("fetchTasks"), 360);

    Quiet hinting(withoutFullFetches(), {.hinting = true});
    hinting.secondsUntil("notifiedTaskUpdates");
    Date later = hinting.setup.clock.now() + 1000;
    hinting.setup.run(hinting.setup.store.setChangeChecks(hinting.service.id(), {.lastHintAt = later}));
    EXPECT_EQ(hinting.secondsUntil("notifiedTaskUpdates"), 180);
}

}  // namespace
}  // namespace marlet
