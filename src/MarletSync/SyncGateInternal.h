#pragma once

#include <boost/asio/steady_timer.hpp>
#include <deque>
#include <memory>

#include "MarletBase/Async.h"

namespace marlet {

// Those who wait for something to happen, first come first served. To be used on one strand.
class WaitingLine {
public:
    // Joins the end of the line, until woken.
    Async<void> wait();
    // The woken goes on later, not inside this call.
    void wakeFirst();
    void wakeAll();

private:
    // A timer that never expires: its context owns who waits, so what still waits when the context goes is freed.
    std::deque<std::shared_ptr<boost::asio::steady_timer>> waiters;
};

// Lets one piece of work in at a time. To be used on one strand, where the test whether the gate is free and the
// taking of it can't be separated.
//
//            a Stay begins                      the Stay ends
//   free ----------------------> taken (isSyncing) -----------> free, and the first in line looks again
class SyncGate {
public:
    // The gate is taken for as long as this lives.
    class Stay {
    public:
        explicit Stay(SyncGate& taken) : gate(taken) { gate.isSyncing = true; }
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;
        ~Stay() {
            gate.isSyncing = false;
            gate.line.wakeFirst();
        }

    private:
        SyncGate& gate;
    };

    bool isTaken() const { return isSyncing; }
    // Waits until the gate is free; the caller takes it before it suspends again. Someone who came while the woken was
    // on the way may have been faster: the woken then goes to the end of the line.
    Async<void> untilFree();

private:
    bool isSyncing = false;
    WaitingLine line;
};

}  // namespace marlet
