// Internal to MarletStore.
#pragma once

#include <optional>

#include "MarletBase/Database.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

// The timer that runs, with the task that it times. No value also for a log that has lost its task.
std::optional<ActiveTimer> runningTimer(ModelContext& context);

}  // namespace marlet
