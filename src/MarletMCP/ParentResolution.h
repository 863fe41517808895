// What the text means by which an agent or a user names a parent task: a number in any case ("PROJ-12", "12"), a
// task_id, or "owner/repo#12" for an issue of a GitHub repository.
#pragma once

#include <string>

#include "MarletBase/Async.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

// Throws MCPToolError if the task's parent is not to be changed, not even removed.
void checkParentCanChange(const TaskSnapshot& task, BackendKind kind);

// The new parent of `task`, which lies in `project`. Of several tasks with the same number the one in the task's own
// project is meant. Throws MCPToolError if there is none that can have children, or if it is the task itself.
Async<TaskParent> resolveParent(TaskStore& store, TaskSnapshot task, ProjectSnapshot project, std::string text);

// The query, narrowed to the children of the task that the text names in the query's account and project. Without a
// project the children of every task of that number are listed, as long as it doesn't name a single one.
// Throws MCPToolError if no task has this name.
Async<TaskQuery> narrowedToChildren(TaskStore& store, TaskQuery query, std::string text);

}  // namespace marlet
