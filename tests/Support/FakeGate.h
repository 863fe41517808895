#pragma once

#include <boost/asio/steady_timer.hpp>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "MarletBase/Async.h"

namespace marlet {

// Where something waits until the test lets it go on, once and for all. Safe from any thread.
class FakeGate {
public:
    void open();
    bool isOpen() const;
    // Whether somebody has come here.
    bool isReached() const;
    // Blocks until somebody comes here. False when nobody does for half a minute.
    bool awaitReached() const;

    Async<void> pass();

private:
    mutable std::mutex lock;
    mutable std::condition_variable arrival;
    bool opened = false;
    bool reached = false;
    std::vector<std::weak_ptr<boost::asio::steady_timer>> waiting;  // who waits owns it
};

}  // namespace marlet
