#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "MarletBase/UUID.h"

namespace marlet {

// The lists that span projects: the user's plan, the starred, what changed since it was viewed, what was timed.
enum class TaskList { next, starred, updated, timing };
BOOST_DESCRIBE_ENUM(TaskList, next, starred, updated, timing)

struct TaskQuery {
    using List = TaskList;

    std::optional<UUID> accountID;
    std::optional<std::string> projectID;
    std::optional<List> list;
    bool includeCompleted = false;
    std::optional<std::string> parentID;  // only the children of this task
    std::optional<bool> canHaveChildren;
    std::optional<std::string> text;  // in title, notes or a label's name, or the whole number
    int64_t limit = std::numeric_limits<int64_t>::max();
};

}  // namespace marlet
