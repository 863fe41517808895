#include "MarletSync/SyncGateInternal.h"

#include <boost/asio/redirect_error.hpp>

namespace marlet {

Async<void> WaitingLine::wait() {
    Executor executor = co_await boost::asio::this_coro::executor;
    auto waiter = std::make_shared<boost::asio::steady_timer>(executor, boost::asio::steady_timer::time_point::max());
    waiters.push_back(waiter);
    boost::system::error_code woken;
    co_await waiter->async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, woken));
}

void WaitingLine::wakeFirst() {
    if (!waiters.empty()) {
        waiters.front()->cancel();
        waiters.pop_front();
    }
}

void WaitingLine::wakeAll() {
    while (!waiters.empty()) {
        wakeFirst();
    }
}

Async<void> SyncGate::untilFree() {
    while (isSyncing) {
        co_await line.wait();
    }
}

}  // namespace marlet
