#include "MarletBase/Clock.h"

#include <boost/asio/steady_timer.hpp>

namespace marlet {

Date SystemClock::now() const {
    return std::chrono::system_clock::now();
}

Async<void> SystemClock::sleep(std::chrono::duration<double> duration) {
    Executor executor = co_await boost::asio::this_coro::executor;
    boost::asio::steady_timer timer(executor);
    timer.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(duration));
    co_await timer.async_wait(boost::asio::use_awaitable);
}

}  // namespace marlet
