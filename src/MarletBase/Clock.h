#pragma once

#include "MarletBase/Async.h"
#include "MarletBase/Date.h"

namespace marlet {

// The time of day and the passing of time. Only the outermost layers ask it; the store and the sync engine's
// decisions take dates as arguments.
class Clock {
public:
    virtual ~Clock() = default;

    virtual Date now() const = 0;

    // Waits on the caller's executor, by a clock that goes on steadily when the time of day is set.
    // Cancelling the caller ends the wait with boost::system::system_error(operation_aborted).
    virtual Async<void> sleep(std::chrono::duration<double> duration) = 0;
};

class SystemClock final : public Clock {
public:
    Date now() const override;
    Async<void> sleep(std::chrono::duration<double> duration) override;
};

}  // namespace marlet
