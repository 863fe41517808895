#include "MarletBase/Async.h"

#include <gtest/gtest.h>

#include <boost/asio/cancellation_signal.hpp>
#include <boost/system/system_error.hpp>

#include "MarletBase/Clock.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {
namespace {

Async<bool> runsOn(Strand strand) {
    co_return strand.running_in_this_thread();
}

Async<void> sleepThenNote(Clock& clock, double seconds, std::vector<std::string>& notes) {
    try {
        co_await clock.sleep(std::chrono::duration<double>(seconds));
        notes.emplace_back("woke");
    } catch (const boost::system::system_error& error) {
        notes.push_back(error.code() == boost::asio::error::operation_aborted ? "cancelled" : "failed");
    }
}

TEST(AsyncTest, aBodyRunsOnItsStrand) {
    TestLoop loop;
    Strand strand = boost::asio::make_strand(loop.executor());
    EXPECT_TRUE(loop.runToEnd(runOn(strand, runsOn(strand))));
}

TEST(AsyncTest, anErrorOfTheBodyReachesTheCaller) {
    TestLoop loop;
    auto failing = []() -> Async<int> {
        throw std::runtime_error("broken");
        co_return 0;
    };
    EXPECT_THROW(loop.runToEnd(runOn(boost::asio::make_strand(loop.executor()), failing())), std::runtime_error);
}

TEST(ClockTest, aSleepOnTheSystemClockEndsAndCanBeCancelled) {
    boost::asio::io_context context;
    SystemClock clock;
    std::vector<std::string> notes;
    boost::asio::cancellation_signal signal;
    boost::asio::co_spawn(context, sleepThenNote(clock, 0.001, notes), boost::asio::detached);
    boost::asio::co_spawn(context, sleepThenNote(clock, 3600, notes),
                          boost::asio::bind_cancellation_slot(signal.slot(), boost::asio::detached));
    boost::asio::post(context, [&] { signal.emit(boost::asio::cancellation_type::terminal); });
    context.run();
    std::sort(notes.begin(), notes.end());
    EXPECT_EQ(notes, (std::vector<std::string>{"cancelled", "woke"}));
}

TEST(ClockTest, aVirtualClockWakesThoseWhoseTimeHasCome) {
    TestLoop loop;
    VirtualClock clock;
    Date start = clock.now();
    std::vector<std::string> notes;
    auto sleeper = loop.start(sleepThenNote(clock, 30, notes));
    loop.runReady();
    clock.advance(29);
    loop.runReady();
    EXPECT_FALSE(sleeper->isFinished);
    clock.advance(1);
    loop.runReady();
    EXPECT_TRUE(sleeper->isFinished);
    EXPECT_EQ(clock.now(), start + std::chrono::seconds(30));
    EXPECT_EQ(clock.sleeperCount(), 0U);
}

}  // namespace
}  // namespace marlet
