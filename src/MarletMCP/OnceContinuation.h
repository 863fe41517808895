#pragma once

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "MarletBase/Async.h"

namespace marlet {

// Carries one outcome to one waiter, whichever comes first. Every outcome after the first is ignored, so that events
// which may come twice or late can be reported without a thought. Safe from any thread.
template <class T>
class OnceContinuation {
public:
    OnceContinuation() = default;
    OnceContinuation(const OnceContinuation&) = delete;
    OnceContinuation& operator=(const OnceContinuation&) = delete;

    void resume(T value) { finish({nullptr, std::move(value)}); }
    void resume(std::exception_ptr error) { finish({error, T()}); }

    // The outcome, or its error. To be awaited once; the object must live until then.
    Async<T> wait() {
        auto initiation = [this](auto handler) { this->setWaiter(std::move(handler)); };
        co_return co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>,
                                                       void(std::exception_ptr, T)>(initiation,
                                                                                    boost::asio::use_awaitable);
    }

private:
    struct Result {
        std::exception_ptr error;
        T value;
    };
    using Continuation = std::function<void(Result)>;

    void finish(Result outcome) {
        Continuation waiter;
        {
            std::scoped_lock guard(lock);
            if (std::exchange(isFinished, true)) {
                return;
            }
            if (!continuation) {
                result = std::move(outcome);
                return;
            }
            waiter = std::exchange(continuation, nullptr);
        }
        waiter(std::move(outcome));
    }

    template <class Handler>
    void setWaiter(Handler handler) {
        auto executor = boost::asio::get_associated_executor(handler);
        auto shared = std::make_shared<Handler>(std::move(handler));
        // The guard keeps the waiter's loop running while nothing else is to be done there.
        Continuation waiter = [shared, executor, work = boost::asio::make_work_guard(executor)](Result outcome) {
            boost::asio::post(executor, [shared, outcome = std::move(outcome)]() mutable {
                std::move (*shared)(outcome.error, std::move(outcome.value));
            });
        };
        std::optional<Result> early;
        {
            std::scoped_lock guard(lock);
            if (!result) {
                continuation = std::move(waiter);
                return;
            }
            early = std::exchange(result, std::nullopt);
        }
        waiter(std::move(*early));
    }

    std::mutex lock;
    bool isFinished = false;
    std::optional<Result> result;
    Continuation continuation;
};

}  // namespace marlet
