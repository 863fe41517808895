// Finding what an agent names. What isn't there throws MCPToolError, with a text that says where to look.
#pragma once

#include <string>

#include "MarletBase/Async.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

Async<ProjectSnapshot> findProject(TaskStore& store, std::string projectKey);
Async<TaskSnapshot> findTask(TaskStore& store, UUID taskID);
Async<AccountSyncState> findAccount(TaskStore& store, UUID accountID);

}  // namespace marlet
