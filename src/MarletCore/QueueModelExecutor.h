#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include "MarletBase/Async.h"
#include "MarletBase/Database.h"

namespace marlet {

// The serial queue that a persistent store's operations run on: one named thread, jobs one at a time and in order.
// Owns the context. Its destructor runs what was enqueued before it, then ends the thread.
class QueueModelExecutor {
public:
    QueueModelExecutor(ModelContainer container, const std::string& label);
    QueueModelExecutor(const QueueModelExecutor&) = delete;
    QueueModelExecutor& operator=(const QueueModelExecutor&) = delete;
    ~QueueModelExecutor();

    // To be used on this executor only.
    ModelContext& modelContext();

    // From any thread.
    void enqueue(std::function<void()> job);

    // Whether the calling thread is this executor's.
    bool isCurrent() const;

    // Runs the plain function `work` here and gives its result, or throws what it threw, on the caller's own executor.
    // `work` runs to its end also when the caller is cancelled meanwhile. The caller's loop must outlive this executor:
    // its thread may still be on the way out of the loop when the caller has resumed.
    template <class Work>
    auto run(Work work) -> Async<std::invoke_result_t<Work&>>;

private:
    class Queue;

    ModelContext context;
    std::unique_ptr<Queue> queue;
};

namespace detail {

// Where a job leaves its outcome for the coroutine that waits for it.
template <class Result>
struct JobOutcome {
    std::optional<Result> value;
    std::exception_ptr error;

    template <class Work>
    void take(Work& work) {
        value.emplace(work());
    }
    Result get() {
        if (error) {
            std::rethrow_exception(error);
        }
        return std::move(*value);
    }
};

template <>
struct JobOutcome<void> {
    std::exception_ptr error;

    template <class Work>
    void take(Work& work) {
        work();
    }
    void get() {
        if (error) {
            std::rethrow_exception(error);
        }
    }
};

}  // namespace detail

template <class Work>
auto QueueModelExecutor::run(Work work) -> Async<std::invoke_result_t<Work&>> {
    // Shared with the job: the waiting coroutine may be destroyed with its executor while the job still runs.
    struct State {
        explicit State(Work&& given) : work(std::move(given)) {}
        Work work;
        detail::JobOutcome<std::invoke_result_t<Work&>> outcome;
    };
    auto state = std::make_shared<State>(std::move(work));
    auto initiate = [this, state](auto handler) {
        auto executor = boost::asio::get_associated_executor(handler);
        auto guard = boost::asio::make_work_guard(executor);
        auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        enqueue([state, executor, guard = std::move(guard), waiting]() mutable {
            try {
                state->outcome.take(state->work);
            } catch (...) {
                state->outcome.error = std::current_exception();
            }
            // Nothing of the outcome stays with this thread: an error is looked at and freed by the caller's.
            boost::asio::post(executor, [state = std::move(state), waiting = std::move(waiting)]() mutable {
                state.reset();
                std::move (*waiting)();
            });
        });
    };
    co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void()>(std::move(initiate),
                                                                                       boost::asio::use_awaitable);
    co_return state->outcome.get();
}

}  // namespace marlet
