#include "TestSupport/VirtualClock.h"

#include <algorithm>
#include <vector>

namespace marlet {

Date VirtualClock::now() const {
    std::scoped_lock guard(lock);
    return current;
}

Async<void> VirtualClock::sleep(std::chrono::duration<double> duration) {
    Executor executor = co_await boost::asio::this_coro::executor;
    auto sleeper = std::make_shared<Sleeper>();
    // Never expires by itself; advancing cancels it.
    sleeper->timer =
        std::make_unique<boost::asio::steady_timer>(executor, std::chrono::steady_clock::time_point::max());
    {
        std::scoped_lock guard(lock);
        sleeper->wakeAt = current + duration;
        sleepers.push_back(sleeper);
    }
    boost::system::error_code outcome;
    try {
        co_await sleeper->timer->async_wait(boost::asio::use_awaitable);
    } catch (const boost::system::system_error& ended) {
        outcome = ended.code();
    }
    bool wasDue = false;
    {
        std::scoped_lock guard(lock);
        sleepers.remove(sleeper);
        wasDue = sleeper->isDue;
    }
    if (!wasDue) {
        throw boost::system::system_error(outcome);
    }
}

void VirtualClock::advance(double seconds) {
    std::vector<std::shared_ptr<Sleeper>> due;
    {
        std::scoped_lock guard(lock);
        current = current + std::chrono::duration<double>(seconds);
        std::copy_if(sleepers.begin(), sleepers.end(), std::back_inserter(due),
                     [&](const auto& sleeper) { return !sleeper->isDue && sleeper->wakeAt <= current; });
        std::stable_sort(due.begin(), due.end(),
                         [](const auto& left, const auto& right) { return left->wakeAt < right->wakeAt; });
        for (const auto& sleeper : due) {
            sleeper->isDue = true;
        }
    }
    for (const auto& sleeper : due) {
        sleeper->timer->cancel();
    }
}

size_t VirtualClock::sleeperCount() const {
    std::scoped_lock guard(lock);
    return sleepers.size();
}

}  // namespace marlet
