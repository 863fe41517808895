#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <string>

#include "MarletCore/TaskItem.h"

namespace marlet {

// What waits to go out to the server. Deleting isn't queued.
enum class PendingOperation { create, update };
BOOST_DESCRIBE_ENUM(PendingOperation, create, update)

// One task to send, as it was when the queue was read.
struct PendingPush {
    std::string key;
    PendingOperation operation = PendingOperation::update;
    int64_t revision = 0;  // completePush takes the answer only for this state of the task
    TaskItem item;

    bool operator==(const PendingPush&) const = default;
};

}  // namespace marlet
