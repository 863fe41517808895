#pragma once

#include <boost/asio/steady_timer.hpp>
#include <list>
#include <memory>
#include <mutex>

#include "MarletBase/Clock.h"

namespace marlet {

// A clock that the test moves by hand.
class VirtualClock final : public Clock {
public:
    explicit VirtualClock(Date start = dateFromSeconds(1'800'000'000)) : current(start) {}

    Date now() const override;
    Async<void> sleep(std::chrono::duration<double> duration) override;

    // Wakes, in the order of their times, the sleepers whose time has come. They go on when the loop runs.
    void advance(double seconds);

    size_t sleeperCount() const;

private:
    struct Sleeper {
        Date wakeAt;
        bool isDue = false;
        std::unique_ptr<boost::asio::steady_timer> timer;
    };

    mutable std::mutex lock;
    Date current;
    std::list<std::shared_ptr<Sleeper>> sleepers;
};

}  // namespace marlet
