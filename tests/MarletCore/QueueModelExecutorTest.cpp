#include "MarletCore/QueueModelExecutor.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <future>
#include <thread>

#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {
namespace {

const DatabaseSchema emptySchema{"Empty", 1, "CREATE TABLE Thing (id INTEGER PRIMARY KEY)"};

TEST(QueueModelExecutorTest, jobsRunInTheOrderInWhichTheyWereEnqueued) {
    std::vector<int> order;
    {
        QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
        for (int number = 0; number < 100; ++number) {
            executor.enqueue([&order, number] { order.push_back(number); });
        }
    }
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(QueueModelExecutorTest, theCallerResumesOnItsOwnThreadWithTheResult) {
    TestLoop loop;
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
    std::thread::id testThread = std::this_thread::get_id();
    auto operation = [](QueueModelExecutor& queue) -> Async<std::pair<bool, std::thread::id>> {
        bool ranOnQueue = co_await queue.run([&queue] { return queue.isCurrent(); });
        co_return std::pair(ranOnQueue, std::this_thread::get_id());
    };
    EXPECT_EQ(loop.runToEnd(operation(executor)), std::pair(true, testThread));
    EXPECT_FALSE(executor.isCurrent());
}

TEST(QueueModelExecutorTest, anErrorOfTheJobReachesTheCaller) {
    TestLoop loop;
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
    EXPECT_THROW(loop.runToEnd(executor.run([] { throw DatabaseError("broken"); })), DatabaseError);
}

TEST(QueueModelExecutorTest, jobsOfManyThreadsRunOneAtATimeAndThoseOfEachThreadInOrder) {
    std::vector<std::pair<int, int>> ran;  // without a lock: only one job at a time may touch it
    {
        QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
        std::vector<std::thread> callers;
        for (int caller = 0; caller < 4; ++caller) {
            callers.emplace_back([&executor, &ran, caller] {
                for (int number = 0; number < 500; ++number) {
                    executor.enqueue([&ran, caller, number] { ran.emplace_back(caller, number); });
                }
            });
        }
        for (std::thread& caller : callers) {
            caller.join();
        }
    }
    ASSERT_EQ(ran.size(), 2000U);
    std::array<int, 4> next{};
    for (const auto& [caller, number] : ran) {
        ASSERT_EQ(number, next.at(static_cast<size_t>(caller))++);
    }
}

TEST(QueueModelExecutorTest, theThreadBearsTheEndOfTheLabel) {
    TestLoop loop;
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.local-tasks");
    std::string name = loop.runToEnd(executor.run([] {
        std::array<char, 16> text{};
        pthread_getname_np(pthread_self(), text.data(), text.size());
        return std::string(text.data());
    }));
    EXPECT_EQ(name, "let.local-tasks");
}

TEST(QueueModelExecutorTest, theWorkOfACancelledCallerIsDoneToItsEnd) {
    TestLoop loop;
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
    std::promise<void> begun;
    std::promise<void> mayEnd;
    bool isDone = false;
    bool hasResumed = false;
    boost::asio::cancellation_signal cancellation;
    auto work = [&] {
        begun.set_value();
        mayEnd.get_future().wait();
        isDone = true;
    };
    boost::asio::co_spawn(loop.executor(), executor.run(work),
                          boost::asio::bind_cancellation_slot(
                              cancellation.slot(), [&hasResumed](std::exception_ptr) { hasResumed = true; }));
    loop.runReady();
    begun.get_future().wait();

    cancellation.emit(boost::asio::cancellation_type::terminal);
    loop.runReady();
    EXPECT_FALSE(hasResumed);

    mayEnd.set_value();
    loop.runUntil([&] { return hasResumed; });
    EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace marlet
