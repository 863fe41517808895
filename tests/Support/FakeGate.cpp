#include "TestSupport/FakeGate.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>

namespace marlet {

void FakeGate::open() {
    std::vector<std::weak_ptr<boost::asio::steady_timer>> released;
    {
        std::scoped_lock guard(lock);
        opened = true;
        released.swap(waiting);
    }
    // A timer belongs to its own executor.
    for (const auto& waiter : released) {
        if (std::shared_ptr<boost::asio::steady_timer> timer = waiter.lock()) {
            boost::asio::post(timer->get_executor(), [timer] { timer->cancel(); });
        }
    }
}

bool FakeGate::isOpen() const {
    std::scoped_lock guard(lock);
    return opened;
}

bool FakeGate::isReached() const {
    std::scoped_lock guard(lock);
    return reached;
}

bool FakeGate::awaitReached() const {
    std::unique_lock guard(lock);
    return arrival.wait_for(guard, std::chrono::seconds(30), [this] { return reached; });
}

Async<void> FakeGate::pass() {
    Executor executor = co_await boost::asio::this_coro::executor;
    auto timer = std::make_shared<boost::asio::steady_timer>(executor, boost::asio::steady_timer::time_point::max());
    {
        std::scoped_lock guard(lock);
        reached = true;
        arrival.notify_all();
        if (opened) {
            co_return;
        }
        waiting.emplace_back(timer);
    }
    boost::system::error_code cancelled;
    co_await timer->async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
}

}  // namespace marlet
