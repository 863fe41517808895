#include "MarletMCP/OnceContinuation.h"

#include <gtest/gtest.h>

#include <thread>

#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

std::exception_ptr failure(const char* text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

TEST(OnceContinuationTest, anOutcomeThatComesFirstIsKeptForTheWaiter) {
    OnceContinuation<int> once;
    once.resume(7);

    EXPECT_EQ(runToEnd(once.wait()), 7);
}

TEST(OnceContinuationTest, aWaiterThatComesFirstGetsTheOutcome) {
    OnceContinuation<std::string> once;
    TestLoop loop;
    auto waiter = loop.start(once.wait());
    loop.runReady();
    ASSERT_FALSE(waiter->isFinished);

    once.resume("late");
    loop.runReady();

    ASSERT_TRUE(waiter->isFinished);
    EXPECT_EQ(waiter->value, "late");
}

TEST(OnceContinuationTest, anErrorIsThrownToTheWaiterInEitherOrder) {
    OnceContinuation<int> early;
    early.resume(failure("early"));
    EXPECT_THROW(runToEnd(early.wait()), std::runtime_error);

    OnceContinuation<int> late;
    TestLoop loop;
    auto waiter = loop.start(late.wait());
    loop.runReady();
    late.resume(failure("late"));
    loop.runReady();
    ASSERT_TRUE(waiter->isFinished);
    EXPECT_THROW(std::rethrow_exception(waiter->error), std::runtime_error);
}

TEST(OnceContinuationTest, everyOutcomeAfterTheFirstIsIgnored) {
    OnceContinuation<int> once;
    once.resume(1);
    once.resume(2);
    once.resume(failure("late"));
    EXPECT_EQ(runToEnd(once.wait()), 1);

    once.resume(3);
    once.resume(failure("later still"));
}

TEST(OnceContinuationTest, aLateFailureDoesNotResumeTwice) {
    OnceContinuation<int> once;
    TestLoop loop;
    auto waiter = loop.start(once.wait());
    loop.runReady();
    once.resume(1);
    once.resume(failure("late"));
    loop.runReady();

    EXPECT_EQ(waiter->value, 1);
    EXPECT_FALSE(waiter->error);
}

TEST(OnceContinuationTest, ofManyThreadsOneDecides) {
    for (int round = 0; round < 50; ++round) {
        OnceContinuation<int> once;
        std::vector<std::thread> threads;
        for (int value = 1; value <= 4; ++value) {
            threads.emplace_back([&once, value] { once.resume(value); });
        }
        int outcome = runToEnd(once.wait());
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_GE(outcome, 1);
        EXPECT_LE(outcome, 4);
    }
}

}  // namespace
}  // namespace marlet
