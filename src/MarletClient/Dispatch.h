#pragma once

#include "MarletClient/CommandMessage.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Progress.h"

namespace marlet {

// Has the command carried out: by the daemon that serves the data folder, or else by an engine in this process, for
// which this process owns the folder meanwhile. Commands of other processes are waited for.
// Throws what keeps the engine from starting, and DispatchError.
CommandReply dispatch(const DataFolder& folder, const CommandRequest& request, Progress& progress);

class DispatchError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// Takes the folder for good, or says who has it: waits for commands, but throws DispatchError for a daemon.
DataFolderLock lockForDaemon(const DataFolder& folder);

}  // namespace marlet
