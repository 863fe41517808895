#include "MarletMCP/BackgroundTasks.h"

#include <atomic>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>

namespace marlet {

class BackgroundTasks::State {
public:
    explicit State(Executor given)
        : executor(std::move(given)),
          strand(boost::asio::make_strand(executor)),
          allEnded(strand, boost::asio::steady_timer::time_point::max()) {}

    // On the strand.
    void workEnded() {
        if (--running == 0) {
            allEnded.cancel();
        }
    }

    static Async<void> waitForAll(std::shared_ptr<State> state) {
        while (state->running > 0) {
            boost::system::error_code cancelled;
            co_await state->allEnded.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
        }
    }

    Executor executor;
    Strand strand;
    // Counted up by whoever starts work, so that a drain that follows sees it; down on the strand, where drains wait.
    std::atomic<size_t> running = 0;
    boost::asio::steady_timer allEnded;  // cancelled to wake the drains
};

BackgroundTasks::BackgroundTasks(Executor executor) : state(std::make_shared<State>(std::move(executor))) {}

void BackgroundTasks::start(Async<void> work) {
    ++state->running;
    auto ended = [state = state](std::exception_ptr) { state->workEnded(); };
    boost::asio::co_spawn(state->executor, std::move(work),
                          boost::asio::bind_executor(state->strand, std::move(ended)));
}

Async<void> BackgroundTasks::drain() {
    co_await runOn(state->strand, State::waitForAll(state));
}

}  // namespace marlet
