// The pieces that several commands' results are made of.
#pragma once

#include <vector>

#include "MarletBase/Async.h"
#include "MarletClient/Engine.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {

inline JSONValue tasksJSON(const std::vector<TaskSnapshot>& tasks) {
    JSONValue::Array result;
    for (const TaskSnapshot& task : tasks) {
        result.push_back(taskJSON(task, TaskShape::list));
    }
    return JSONValue::object({{"tasks", std::move(result)}});
}

inline JSONValue projectsJSON(const std::vector<ProjectSnapshot>& projects) {
    JSONValue::Array result;
    for (const ProjectSnapshot& project : projects) {
        result.push_back(projectJSON(project));
    }
    return JSONValue::object({{"projects", std::move(result)}});
}

// The tasks as they are now; those that have gone are left out.
Async<std::vector<TaskSnapshot>> readAgain(TaskStore& store, std::vector<TaskSnapshot> tasks);
// The accounts of the tasks, each once.
std::vector<UUID> accountsOf(const std::vector<TaskSnapshot>& tasks);

}  // namespace marlet
