#include "MarletSync/SyncGateInternal.h"
#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

struct Order {
    std::vector<std::string> entered;
};

Async<void> noteAndWait(Order* order, std::string name, Latch latch) {
    order->entered.push_back(std::move(name));
    co_await latch.pass();
}

std::function<Async<void>()> visit(Order& order, const std::string& name, const Latch& latch) {
    return [order = &order, name, latch] { return noteAndWait(order, name, latch); };
}

Async<void> throwing() {
    throw StoreError::taskNotFound();
    co_return;
}

Async<int> seven() {
    co_return 7;
}

Async<void> visitGate(SyncGate* gate, Order* order, std::string name) {
    co_await gate->untilFree();
    SyncGate::Stay stay(*gate);
    order->entered.push_back(std::move(name));
}

TEST(SyncGateTest, threeWaitersAreServedInTheOrderInWhichTheyCameOnePerRelease) {
    SyncSetup setup;
    Order order;
    std::vector<Latch> latches(4);
    for (size_t index = 0; index < latches.size(); ++index) {
        setup.loop.start(setup.engine->runExclusively(visit(order, std::to_string(index), latches[index])));
    }
    setup.loop.runReady();
    EXPECT_THAT(order.entered, ElementsAre("0"));

    latches[0].open();
    setup.loop.runReady();
    EXPECT_THAT(order.entered, ElementsAre("0", "1"));
    latches[1].open();
    setup.loop.runReady();
    EXPECT_THAT(order.entered, ElementsAre("0", "1", "2"));
    latches[2].open();
    setup.loop.runReady();
    EXPECT_THAT(order.entered, ElementsAre("0", "1", "2", "3"));
    latches[3].open();
}

TEST(SyncGateTest, aNewcomerThatGetsInFirstSendsTheWokenWaiterToTheEndOfTheLine) {
    TestLoop loop;
    SyncGate gate;
    Order order;
    auto first = std::make_unique<SyncGate::Stay>(gate);
    loop.start(visitGate(&gate, &order, "woken"));
    loop.start(visitGate(&gate, &order, "next in line"));
    loop.runReady();

    first.reset();
    auto newcomer = std::make_unique<SyncGate::Stay>(gate);
    loop.runReady();
    EXPECT_TRUE(order.entered.empty());
    newcomer.reset();
    loop.runReady();

    EXPECT_THAT(order.entered, ElementsAre("next in line", "woken"));
    EXPECT_FALSE(gate.isTaken());
}

TEST(SyncGateTest, aBodyThatThrowsReleasesTheGateAndItsErrorReachesTheCaller) {
    SyncSetup setup;

    EXPECT_THROW(setup.run(setup.engine->runExclusively(throwing)), StoreError);

    Order order;
    Latch open;
    open.open();
    setup.run(setup.engine->runExclusively(visit(order, "after", open)));
    EXPECT_THAT(order.entered, ElementsAre("after"));
}

TEST(SyncGateTest, aBodysResultReachesTheCaller) {
    SyncSetup setup;
    EXPECT_EQ(setup.run(setup.engine->runExclusively(seven)), 7);
}

TEST(SyncGateTest, noPassRunsBesideAnExclusiveOperation) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Order order;
    Latch latch;
    setup.loop.start(setup.engine->runExclusively(visit(order, "body", latch)));
    setup.loop.runReady();

    setup.tick();
    auto pass =
        setup.loop.start(setup.engine->syncNow(std::nullopt, std::nullopt, SyncEngine::Mode::full, setup.clock.now()));
    auto push = setup.loop.start(setup.engine->pushNow(service.id(), setup.clock.now()));
    auto refresh = setup.loop.start(setup.engine->refreshProjects(service.id(), setup.clock.now()));
    setup.loop.runReady();
    EXPECT_EQ(setup.providerCalls, 0);

    latch.open();
    setup.loop.runUntil([&] { return pass->isFinished && push->isFinished && refresh->isFinished; });
    EXPECT_EQ(setup.providerCalls, 3);
}

TEST(SyncGateTest, settersDoNotWaitForThePass) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.engine->setRelaxed(true));
    setup.run(setup.engine->resetBackoff(std::nullopt, std::nullopt));
    setup.run(setup.engine->clearRejections(service.id()));
    EXPECT_FALSE(pass->isFinished);

    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });
}

}  // namespace
}  // namespace marlet
