#pragma once

#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <set>
#include <string>

#include "MarletBase/Async.h"

namespace marlet {

// Lets those in one at a time who name the same thing. To be used on the executor it was given, a loop of one thread.
class Turns {
public:
    explicit Turns(const Executor& executor);
    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    // Whoever holds it has the turn, and gives it back with it.
    using Turn = std::shared_ptr<void>;

    Async<Turn> take(std::string name);

private:
    std::set<std::string> taken;
    boost::asio::steady_timer given;  // cancelled whenever a turn is given back
};

}  // namespace marlet
