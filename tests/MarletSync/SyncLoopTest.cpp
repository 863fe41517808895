#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

void runUntilPasses(SyncSetup& setup, int passes) {
    setup.loop.runUntil([&] { return setup.providerCalls >= passes && setup.clock.sleeperCount() == 1; });
}

Async<void> nothing() {
    co_return;
}

TEST(SyncLoopTest, theFirstPassRunsAtOnceAndTheNextOneTickIntervalAfterItsEnd) {
    SyncSetup setup;
    setup.addAccount("Home", {}, {"p"});

    setup.run(setup.engine->start());
    runUntilPasses(setup, 1);
    EXPECT_EQ(setup.providerCalls, 1);
    setup.advance(29);
    setup.loop.runReady();
    EXPECT_EQ(setup.providerCalls, 1);
    setup.advance(1);
    runUntilPasses(setup, 2);
    EXPECT_EQ(setup.providerCalls, 2);
}

TEST(SyncLoopTest, startingTwiceMakesOneLoop) {
    SyncSetup setup;
    setup.addAccount("Home", {}, {"p"});

    setup.run(setup.engine->start());
    setup.run(setup.engine->start());
    runUntilPasses(setup, 1);
    setup.advance(30);
    runUntilPasses(setup, 2);

    EXPECT_EQ(setup.providerCalls, 2);
    EXPECT_EQ(setup.clock.sleeperCount(), 1u);
}

TEST(SyncLoopTest, aRelaxedLoopWakesAsOftenAsEver) {
    SyncSetup setup;
    setup.addAccount("Home", {}, {"p"});
    setup.run(setup.engine->setRelaxed(true));

    setup.run(setup.engine->start());
    runUntilPasses(setup, 1);
    setup.advance(30);
    runUntilPasses(setup, 2);

    EXPECT_EQ(setup.providerCalls, 2);
}

TEST(SyncLoopTest, stoppingEndsTheSleepAtOnce) {
    SyncSetup setup;
    setup.run(setup.engine->start());
    setup.loop.runUntil([&] { return setup.clock.sleeperCount() == 1; });

    setup.run(setup.engine->stop());
    setup.run(setup.engine->drain());

    EXPECT_EQ(setup.clock.sleeperCount(), 0u);
}

TEST(SyncLoopTest, stoppingWithoutALoopDoesNothing) {
    SyncSetup setup;
    setup.run(setup.engine->stop());
    setup.run(setup.engine->drain());
    EXPECT_EQ(setup.clock.sleeperCount(), 0u);
}

TEST(SyncLoopTest, aPassThatRunsWhenTheLoopIsStoppedEndsAtItsOwnPace) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1", .title = "Water the beans"});
    Latch fetch = service.hold("fetchTasks");
    setup.run(setup.engine->start());
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.engine->stop());
    fetch.open();
    setup.run(setup.engine->drain());

    EXPECT_EQ(setup.snapshots(service).size(), 1u);
    EXPECT_EQ(setup.clock.sleeperCount(), 0u);
}

TEST(SyncLoopTest, aLoopStartedWhileAnOldPassRunsDropsItsFirstTick) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    setup.run(setup.engine->start());
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.engine->stop());
    setup.run(setup.engine->start());
    setup.loop.runUntil([&] { return setup.clock.sleeperCount() == 1; });
    EXPECT_EQ(setup.providerCalls, 1);

    fetch.open();
    setup.run(setup.engine->runExclusively(nothing));  // the old pass has ended
    setup.advance(30);
    runUntilPasses(setup, 2);
    EXPECT_EQ(setup.providerCalls, 2);
}

TEST(SyncLoopTest, drainWaitsForWhatRuns) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    auto pass =
        setup.loop.start(setup.engine->syncNow(std::nullopt, std::nullopt, SyncEngine::Mode::full, setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    auto drained = setup.loop.start(setup.engine->drain());
    setup.loop.runReady();
    EXPECT_FALSE(drained->isFinished);

    fetch.open();
    setup.loop.runUntil([&] { return drained->isFinished; });
    EXPECT_TRUE(setup.project(service).lastSyncedAt.has_value());
    setup.loop.runUntil([&] { return pass->isFinished; });
}

TEST(SyncLoopTest, aTickWhileAPassRunsReturnsAtOnce) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    auto first = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.tick();
    EXPECT_FALSE(first->isFinished);

    fetch.open();
    setup.loop.runUntil([&] { return first->isFinished; });
    EXPECT_EQ(setup.providerCalls, 1);
}

TEST(SyncLoopTest, syncNowWhileAPassRunsWaitsAndThenRuns) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    auto first = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    auto second =
        setup.loop.start(setup.engine->syncNow(service.id(), std::nullopt, SyncEngine::Mode::full, setup.clock.now()));
    setup.loop.runReady();
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p full"));

    fetch.open();
    setup.loop.runUntil([&] { return second->isFinished; });
    EXPECT_TRUE(first->isFinished);
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p full", "fetchTasks p full"));
}

TEST(SyncLoopTest, aCancelledCallerDoesNotCancelThePass) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    Latch fetch = service.hold("fetchTasks");
    boost::asio::cancellation_signal cancelling;
    boost::asio::co_spawn(setup.loop.executor(), setup.engine->tick(setup.clock.now()),
                          boost::asio::bind_cancellation_slot(cancelling.slot(), [](std::exception_ptr) {}));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    cancelling.emit(boost::asio::cancellation_type::terminal);
    fetch.open();
    setup.run(setup.engine->drain());

    EXPECT_EQ(setup.snapshots(service).size(), 1u);
}

TEST(SyncLoopTest, aBusyProjectIsFetchedOnEverySixthTick) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    std::vector<int> fetching;

    for (int tick = 1; tick <= 24; ++tick) {
        service.change("p", "1", [&](TaskItem& item) { item.title = std::to_string(tick); });
        setup.tickAfter(30);
        if (!service.takeCalls().empty()) {
            fetching.push_back(tick);
        }
    }

    EXPECT_THAT(fetching, ElementsAre(6, 12, 18, 24));
}

}  // namespace
}  // namespace marlet
