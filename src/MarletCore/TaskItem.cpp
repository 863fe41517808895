#include "MarletCore/TaskItem.h"

#include "MarletBase/Text.h"

namespace marlet {

std::string TaskParent::idOf(const std::string& taskID, const std::string& parentProject,
                             const std::string& childProject, BackendKind kind) {
    bool isElsewhere = kind == BackendKind::github && parentProject != childProject;
    return isElsewhere ? parentProject + "#" + taskID : taskID;
}

bool TaskParent::refers(const std::string& taskID, const std::string& parentProject, const std::string& childProject,
                        BackendKind kind) const {
    return id == idOf(taskID, parentProject, childProject, kind);
}

TaskParent::Location TaskParent::location(const std::string& childProject, BackendKind kind) const {
    if (kind == BackendKind::vikunja) {
        return {std::nullopt, id};
    }
    size_t hash = id.rfind('#');
    if (kind == BackendKind::github && hash != std::string::npos && hash != 0) {
        return {id.substr(0, hash), id.substr(hash + 1)};
    }
    return {childProject, id};
}

std::string TaskItem::reference(std::string_view id) {
    return isAllNumbers(id) ? "#" + std::string(id) : std::string(id);
}

void TaskItem::setStatus(const std::string& newStatus, const Project& project) {
    status = newStatus;
    isCompleted = project.doneStatus() == newStatus;
}

void TaskItem::setCompleted(bool completed, const Project& project) {
    isCompleted = completed;
    if (project.kind != ProjectKind::board) {
        return;
    }
    std::optional<std::string> done = project.doneStatus();
    if (completed) {
        status = done;
    } else if (!status || (done && status == done)) {
        status = project.openStatus();
    }
}

}  // namespace marlet
