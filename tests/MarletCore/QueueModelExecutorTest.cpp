#include "MarletCore/QueueModelExecutor.h"

#include <gtest/gtest.h>

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
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
    std::thread::id testThread = std::this_thread::get_id();
    auto operation = [](QueueModelExecutor& queue) -> Async<std::pair<bool, std::thread::id>> {
        bool ranOnQueue = co_await queue.run([&queue] { return queue.isCurrent(); });
        co_return std::pair(ranOnQueue, std::this_thread::get_id());
    };
    EXPECT_EQ(runToEnd(operation(executor)), std::pair(true, testThread));
    EXPECT_FALSE(executor.isCurrent());
}

TEST(QueueModelExecutorTest, anErrorOfTheJobReachesTheCaller) {
    QueueModelExecutor executor(ModelContainer::inMemory(emptySchema), "io.tolvane.Marlet.test");
    EXPECT_THROW(runToEnd(executor.run([] { throw DatabaseError("broken"); })), DatabaseError);
}

}  // namespace
}  // namespace marlet
