#pragma once

#include <string>
#include <vector>

#include "MarletBase/UUID.h"
#include "MarletCore/TaskItem.h"
#include "MarletWorkspace/AgentDestination.h"

namespace marlet {

// A task in words for the agent that it is handed to.
struct TaskBrief {
    static constexpr const char* briefFileName = "TASK.md";
    static constexpr const char* resultFileName = "RESULT.md";

    TaskItem task;
    UUID localID;  // agents know it as task_id
    BackendKind kind = BackendKind::github;
    std::string accountName;
    std::string projectName;
    std::vector<TaskComment> comments;
    bool mcpAvailable = false;  // the agent can reach the local endpoint

    // The file for a work folder.
    std::string markdown() const;
    // What a new session begins with.
    std::string prompt(AgentDestination destination) const;

    bool operator==(const TaskBrief&) const = default;
};

}  // namespace marlet
