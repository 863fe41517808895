#pragma once

#include <memory>

#include "MarletBase/Async.h"

namespace marlet {

// Work that nobody waits for when it is started, such as a push behind a tool's answer, owned so that it can be waited
// for before what it uses goes away. Safe to call from any executor.
class BackgroundTasks {
public:
    explicit BackgroundTasks(Executor executor);
    BackgroundTasks(const BackgroundTasks&) = delete;
    BackgroundTasks& operator=(const BackgroundTasks&) = delete;

    // Returns at once. What the work throws is dropped.
    void start(Async<void> work);

    // Waits until no work is under way.
    Async<void> drain();

private:
    class State;
    std::shared_ptr<State> state;
};

}  // namespace marlet
