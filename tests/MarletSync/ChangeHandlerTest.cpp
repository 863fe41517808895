#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::SizeIs;

struct Told {
    std::vector<std::vector<RemoteChange>> changes;
    Latch latch;
    bool fails = false;
};

Async<void> hear(Told* told, std::vector<RemoteChange> changes) {
    told->changes.push_back(std::move(changes));
    co_await told->latch.pass();
    if (told->fails) {
        throw std::runtime_error("Nobody listens");
    }
}

SyncEngine::ChangeHandler handlerFor(Told& told) {
    return [told = &told](std::vector<RemoteChange> changes) { return hear(told, std::move(changes)); };
}

TEST(ChangeHandlerTest, theHandlerHearsTheChangesOfEachFetchThatHasAny) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"a", "b", "c"});
    Told told;
    told.latch.open();
    setup.run(setup.engine->setChangeHandler(handlerFor(told)));
    setup.advance(180);
    service.add("a", {.id = "1", .title = "Beans"});
    service.add("c", {.id = "2", .title = "Peas"});

    setup.tick();

    ASSERT_THAT(told.changes, SizeIs(2));
    ASSERT_THAT(told.changes[0], SizeIs(1));
    EXPECT_EQ(told.changes[0][0].title, "Beans");
    EXPECT_EQ(told.changes[0][0].projectName, "Project a");
    EXPECT_TRUE(told.changes[0][0].isNew);
    EXPECT_EQ(told.changes[1][0].title, "Peas");
}

TEST(ChangeHandlerTest, thePassWaitsForTheHandler) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"a", "b"});
    Told told;
    setup.run(setup.engine->setChangeHandler(handlerFor(told)));
    setup.advance(180);
    service.add("a", {.id = "1"});

    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return told.latch.isReached(); });
    EXPECT_THAT(service.takeCalls(), SizeIs(1));

    told.latch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });
    EXPECT_THAT(service.takeCalls(), SizeIs(1));
}

TEST(ChangeHandlerTest, aHandlerThatFailsHoldsNothingUp) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"a", "b"});
    Told told;
    told.latch.open();
    told.fails = true;
    setup.run(setup.engine->setChangeHandler(handlerFor(told)));
    setup.advance(180);
    service.add("a", {.id = "1"});

    setup.tick();

    EXPECT_THAT(told.changes, SizeIs(1));
    EXPECT_THAT(service.takeCalls(), SizeIs(2));
    EXPECT_EQ(setup.account(service).syncError, std::nullopt);
}

TEST(ChangeHandlerTest, aHandlerMayBeReplacedWhileItRunsAndClearedAgain) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"p"});
    Told told;
    setup.run(setup.engine->setChangeHandler(handlerFor(told)));
    setup.advance(180);
    service.add("p", {.id = "1"});
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return told.latch.isReached(); });

    setup.run(setup.engine->setChangeHandler({}));
    told.latch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });
    setup.advance(180);
    service.add("p", {.id = "2"});
    setup.tick();

    EXPECT_THAT(told.changes, SizeIs(1));
    EXPECT_THAT(setup.snapshots(service), SizeIs(2));
}

TEST(ChangeHandlerTest, thisComputersOwnChangeIsNoNews) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    setup.sync(service);
    Told told;
    told.latch.open();
    setup.run(setup.engine->setChangeHandler(handlerFor(told)));
    setup.advance(180);
    setup.rename(service, "1", "Beans");

    setup.tick();

    EXPECT_THAT(told.changes, SizeIs(0));
    EXPECT_EQ(service.find("p", "1")->title, "Beans");
}

}  // namespace
}  // namespace marlet
