#include "MarletMCP/BackgroundTasks.h"

#include <gtest/gtest.h>

#include <thread>

#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

Async<void> waitFor(boost::asio::steady_timer& gate) {
    boost::system::error_code cancelled;
    co_await gate.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
}

Async<void> count(std::atomic<int>& counter) {
    ++counter;
    co_return;
}

Async<void> fail() {
    throw std::runtime_error("Nobody listens");
    co_return;
}

}  // namespace

TEST(BackgroundTasksTest, workBeginsBehindItsStarterAndDrainWaitsForIt) {
    TestLoop loop;
    BackgroundTasks tasks(loop.executor());
    boost::asio::steady_timer gate(loop.executor(), boost::asio::steady_timer::time_point::max());

    tasks.start(waitFor(gate));
    auto drained = loop.start(tasks.drain());
    auto alsoDrained = loop.start(tasks.drain());
    loop.runReady();
    EXPECT_FALSE(drained->isFinished);

    gate.cancel();
    loop.runUntil([&] { return drained->isFinished && alsoDrained->isFinished; });
}

TEST(BackgroundTasksTest, withNoWorkDrainReturnsAtOnce) {
    TestLoop loop;
    BackgroundTasks tasks(loop.executor());
    auto drained = loop.start(tasks.drain());
    loop.runReady();
    EXPECT_TRUE(drained->isFinished);
}

TEST(BackgroundTasksTest, workThatFailsIsOverToo) {
    TestLoop loop;
    BackgroundTasks tasks(loop.executor());
    std::atomic<int> counter = 0;
    tasks.start(fail());
    tasks.start(count(counter));
    loop.runToEnd(tasks.drain());
    EXPECT_EQ(counter, 1);
}

TEST(BackgroundTasksTest, workCanBeStartedFromManyThreads) {
    boost::asio::thread_pool pool(4);
    BackgroundTasks tasks(pool.get_executor());
    std::atomic<int> counter = 0;
    {
        std::vector<std::jthread> starters;
        for (int thread = 0; thread < 4; ++thread) {
            starters.emplace_back([&] {
                for (int round = 0; round < 250; ++round) {
                    tasks.start(count(counter));
                }
            });
        }
    }
    boost::asio::co_spawn(pool, tasks.drain(), boost::asio::use_future).get();
    EXPECT_EQ(counter, 1000);
    pool.join();
}

}  // namespace marlet
