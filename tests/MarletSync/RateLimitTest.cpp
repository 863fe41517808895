#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

struct Limited {
    explicit Limited(std::optional<double> seconds) : service(setup.addAccount("Home", {}, {"p"})) {
        service.add("p", {.id = "1"});
        setup.sync(service);
        setup.advance(180);
        std::optional<Date> until;
        if (seconds) {
            until = setup.clock.now() + *seconds;
        }
        service.fail("fetchTasks", BackendError::rateLimited(until));
        setup.tick();
        service.recover();
        service.takeCalls();
    }

    SyncSetup setup;
    RemoteService& service;
};

TEST(RateLimitTest, automaticPassesSkipTheAccountItsPushesIncludedUntilTheDate) {
    Limited limited(300);
    limited.setup.rename(limited.service, "1", "Beans");

    EXPECT_EQ(limited.setup.secondsUntil(limited.service, "updateTask"), 300);

    EXPECT_EQ(limited.setup.account(limited.service).syncError, std::nullopt);
}

TEST(RateLimitTest, aLimitWithNoDateBlocksTheAccountForTheBackoffRelaxedOrNot) {
    for (bool relaxed : {false, true}) {
        Limited limited(std::nullopt);
        limited.setup.run(limited.setup.engine->setRelaxed(relaxed));
        limited.setup.rename(limited.service, "1", "Beans");
        EXPECT_EQ(limited.setup.account(limited.service).syncError, "Rate limited by the server.");
        EXPECT_EQ(limited.setup.secondsUntil(limited.service, "updateTask"), 900);
    }
}

TEST(RateLimitTest, anExplicitPassRunsAllTheSameAndItsSuccessClearsTheBlock) {
    Limited limited(3600);

    limited.setup.sync(limited.service);
    EXPECT_THAT(limited.service.takeCalls(), ElementsAre("fetchTasks p full"));
    EXPECT_EQ(limited.setup.account(limited.service).syncError, std::nullopt);

    limited.setup.rename(limited.service, "1", "Beans");
    limited.setup.tickAfter(30);
    EXPECT_THAT(limited.service.takeCalls(), ElementsAre("updateTask 1"));
}

TEST(RateLimitTest, anExplicitPassThatFailsLeavesTheBlock) {
    Limited limited(3600);
    limited.service.fail("fetchTasks", BackendError::http(500));
    limited.setup.sync(limited.service);
    limited.service.recover();
    limited.service.takeCalls();

    limited.setup.tickAfter(180);

    EXPECT_THAT(limited.service.takeCalls(), IsEmpty());
    EXPECT_EQ(limited.setup.account(limited.service).syncError, "The server responded with HTTP 500.");
}

TEST(RateLimitTest, pushNowForABlockedAccountReturnsAtOnce) {
    Limited limited(3600);
    limited.setup.rename(limited.service, "1", "Beans");
    int provided = limited.setup.providerCalls;

    limited.setup.push(limited.service);
    EXPECT_THAT(limited.service.takeCalls(), IsEmpty());
    EXPECT_EQ(limited.setup.providerCalls, provided);

    limited.setup.advance(3600);
    limited.setup.push(limited.service);
    EXPECT_THAT(limited.service.takeCalls(), ElementsAre("updateTask 1"));
}

TEST(RateLimitTest, aLimitMetByAPushBlocksAsWell) {
    Limited limited(0);
    limited.setup.rename(limited.service, "1", "Beans");
    limited.service.fail("updateTask", BackendError::rateLimited(limited.setup.clock.now() + 600));

    limited.setup.push(limited.service);
    limited.service.recover();

    EXPECT_EQ(limited.setup.secondsUntil(limited.service, "updateTask"), 600);
}

TEST(RateLimitTest, aLimitMetByARefreshOfTheListBlocksAsWell) {
    Limited limited(0);
    limited.service.fail("fetchProjects", BackendError::rateLimited(limited.setup.clock.now() + 600));

    EXPECT_THROW(
        limited.setup.run(limited.setup.engine->refreshProjects(limited.service.id(), limited.setup.clock.now())),
        BackendError);
    limited.service.recover();

    EXPECT_EQ(limited.setup.secondsUntil(limited.service, "fetchTasks"), 600);
}

TEST(RateLimitTest, otherAccountsGoOn) {
    Limited limited(3600);
    RemoteService& other = limited.setup.addAccount("Work", {}, {"p"});

    limited.setup.tickAfter(30);

    EXPECT_THAT(limited.service.takeCalls(), IsEmpty());
    EXPECT_THAT(other.takeCalls(), ElementsAre("fetchTasks p full"));
}

TEST(RateLimitTest, aRestartForgetsTheBlock) {
    Limited limited(3600);

    limited.setup.restart();
    limited.setup.tickAfter(180);

    EXPECT_THAT(limited.service.takeCalls(), Not(IsEmpty()));
}

TEST(RateLimitTest, anyOtherAccountFailureIsTriedAgainOnTheNextTick) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.fail("fetchTasks", BackendError::http(503));
    setup.tick();
    EXPECT_EQ(setup.secondsUntil(service, "fetchTasks"), 30);
}

}  // namespace
}  // namespace marlet
