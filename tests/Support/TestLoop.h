#pragma once

#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "MarletBase/Async.h"

namespace marlet {

// The event loop of one test, run by the test's own thread: suspending operations in ordinary test functions.
// Declare it before the stores and executors that it awaits, so that it outlives their threads.
class TestLoop {
public:
    TestLoop() = default;
    TestLoop(const TestLoop&) = delete;
    TestLoop& operator=(const TestLoop&) = delete;

    Executor executor() { return context.get_executor(); }

    // Runs the loop until the operation has ended; gives its value or throws its error.
    template <class T>
    T runToEnd(Async<T> operation) {
        auto outcome = start(std::move(operation));
        runUntil([&] { return outcome->isFinished; });
        if (outcome->error) {
            std::rethrow_exception(outcome->error);
        }
        if constexpr (!std::is_void_v<T>) {
            return std::move(*outcome->value);
        }
    }

    template <class T>
    struct Outcome {
        bool isFinished = false;
        std::exception_ptr error;
        std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> value;
    };

    // Starts the operation beside the test; it goes on whenever the loop runs.
    template <class T>
    std::shared_ptr<Outcome<T>> start(Async<T> operation) {
        auto outcome = std::make_shared<Outcome<T>>();
        if constexpr (std::is_void_v<T>) {
            boost::asio::co_spawn(context, std::move(operation), [outcome](std::exception_ptr error) {
                outcome->error = error;
                outcome->isFinished = true;
            });
        } else {
            boost::asio::co_spawn(context, std::move(operation), [outcome](std::exception_ptr error, T value) {
                outcome->error = error;
                if (!error) {
                    outcome->value.emplace(std::move(value));
                }
                outcome->isFinished = true;
            });
        }
        return outcome;
    }

    // Runs the loop until the condition holds. A loop that runs dry first, or takes longer than a minute of real time,
    // fails the test instead of hanging it.
    void runUntil(const std::function<bool()>& condition) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        size_t ends = 0;
        while (!condition()) {
            context.restart();
            ends = context.run_one_until(deadline) == 0 ? ends + 1 : 0;
            // A thread that let go of the loop's last work may stop it a moment later, when it has work again.
            if (ends > lateStops) {
                throw std::runtime_error("The loop ended before what the test waits for.");
            }
        }
    }

    // Runs what is ready now, and what that makes ready, without waiting for anything.
    void runReady() {
        context.restart();
        context.poll();
    }

private:
    // As many as there may be threads beside the loop, and some.
    static constexpr size_t lateStops = 8;

    boost::asio::io_context context;
};

// For a single operation that needs no loop of its own choosing. The loop stays: an executor's thread may still be
// on its way out of it when the operation has ended.
template <class T>
T runToEnd(Async<T> operation) {
    static TestLoop loop;
    return loop.runToEnd(std::move(operation));
}

}  // namespace marlet
