#include "MarletClient/Turns.h"

#include <boost/asio/as_tuple.hpp>

namespace marlet {

Turns::Turns(const Executor& executor) : given(executor, boost::asio::steady_timer::time_point::max()) {}

Async<Turns::Turn> Turns::take(std::string name) {
    while (taken.contains(name)) {
        co_await given.async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
    }
    taken.insert(name);
    co_return Turn(nullptr, [this, name](void*) {
        taken.erase(name);
        given.cancel();
    });
}

}  // namespace marlet
