#pragma once

#include <functional>
#include <string>

#include "MarletClient/DataFolder.h"
#include "MarletClient/Options.h"
#include "MarletMCP/JSONValue.h"

namespace marlet {

class DaemonError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// Owns the data folder until SIGINT, SIGTERM or SIGHUP: syncs, serves agents, and carries out the commands that come
// over the control socket. Calls `ready` with {"endpoint", "token", "pid"} once it answers.
// Throws what keeps it from starting.
void serve(const DataFolder& folder, ServeOptions options, const std::function<void(JSONValue)>& ready);

}  // namespace marlet
