// The suspending operations of the engine, and how a serial object runs them.
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace marlet {

// A suspending operation. It starts when it is awaited, and resumes its caller on the caller's own executor.
template <class T = void>
using Async = boost::asio::awaitable<T>;

using Executor = boost::asio::any_io_executor;

// One call at a time between suspension points: what a serial object runs its operations on.
using Strand = boost::asio::strand<Executor>;

// Runs `body` on `strand`. Whoever cancels the caller doesn't cancel `body`: it runs to its end.
template <class T>
Async<T> runOn(Strand strand, Async<T> body) {
    boost::asio::cancellation_slot never;
    co_return co_await boost::asio::co_spawn(strand, std::move(body),
                                             boost::asio::bind_cancellation_slot(never, boost::asio::use_awaitable));
}

}  // namespace marlet
