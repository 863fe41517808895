// How accounts, projects, tasks and comments look to an agent, and in the command line's JSON output.
#pragma once

#include <string>

#include "MarletMCP/JSONValue.h"
#include "MarletStore/SyncState.h"
#include "MarletStore/TaskSnapshot.h"

namespace marlet {

// "On This Mac" for local accounts, else the name of the service.
std::string serviceName(BackendKind kind);

JSONValue accountJSON(const AccountSyncState& account);
JSONValue projectJSON(const ProjectSnapshot& project);

enum class TaskShape {
    list,
    detail,  // with notes, creation and last start
};
JSONValue taskJSON(const TaskSnapshot& task, TaskShape shape);

JSONValue commentJSON(const TaskComment& comment);

}  // namespace marlet
