#include "VikunjaBackend/VikunjaMappingInternal.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "MarletHTTP/ServerURL.h"
#include "VikunjaBackend/VikunjaRequestsInternal.h"

namespace marlet::vikunja {
namespace {

// The service writes "no date" as the first moment of the year one, in whatever zone it runs in.
constexpr double latestEmptyDate = -62'000'000'000.0;

constexpr std::string_view deletion = "task.deleted";
constexpr std::array<std::string_view, 5> taskNotifications{"task.comment", "task.assigned", "task.created",
                                                            "task.mentioned", deletion};

std::optional<Date> unlessEmpty(std::optional<Date> date) {
    return date && secondsSince1970(*date) < latestEmptyDate ? std::nullopt : date;
}

User user(VikunjaUser person) {
    if (person.name && person.name->empty()) {
        person.name.reset();
    }
    return {std::to_string(person.id), std::move(person.username), std::move(person.name), std::nullopt};
}

Project project(VikunjaProject found, const UUID& accountID, const URL& web) {
    Project result;
    result.id = std::to_string(found.id);
    result.accountID = accountID;
    result.name = std::move(found.title);
    result.detail = std::move(found.description).value_or("");
    result.webURL = appendingPath(web, "projects/" + result.id);
    return result;
}

std::optional<int64_t> projectOf(const VikunjaNotification& notification) {
    const auto& payload = notification.notification;
    return payload && payload->record && payload->record->task ? payload->record->task->projectId : std::nullopt;
}

std::optional<VikunjaRelated> parentIn(const std::optional<VikunjaRelations>& relations) {
    if (!relations) {
        return std::nullopt;
    }
    auto parents = relations->find(parentRelation);
    bool isThere = parents != relations->end() && parents->second && !parents->second->empty();
    return isThere ? std::optional(parents->second->front()) : std::nullopt;
}

}  // namespace

std::vector<Project> projects(std::vector<VikunjaProject> found, const UUID& accountID, const URL& web) {
    std::vector<Project> result;
    for (VikunjaProject& candidate : found) {
        if (candidate.id >= 1 && !candidate.isArchived.value_or(false)) {
            result.push_back(project(std::move(candidate), accountID, web));
        }
    }
    return result;
}

std::vector<TaskLabel> taskLabels(std::optional<std::vector<VikunjaLabel>> labels) {
    std::vector<TaskLabel> result;
    if (labels) {
        result.reserve(labels->size());
        for (VikunjaLabel& label : *labels) {
            result.push_back({std::move(label.title), colorHex(label.hexColor)});
        }
    }
    return result;
}

std::optional<VikunjaRelated> parentOf(VikunjaTaskParents task) {
    auto& relations = task.relatedTasks;
    if (!relations || !relations->parenttask || relations->parenttask->empty()) {
        return std::nullopt;
    }
    VikunjaTaskParents::Parent& first = relations->parenttask->front();
    return VikunjaRelated{first.id, std::move(first.title).value_or("")};
}

TaskItem taskItem(VikunjaTask task, const URL& web) {
    TaskItem item;
    item.id = std::to_string(task.id);
    item.projectID = std::to_string(task.projectId);
    item.title = std::move(task.title);
    item.notes = std::move(task.description).value_or("");
    item.isCompleted = task.done;
    item.createdAt = unlessEmpty(task.created);
    item.updatedAt = unlessEmpty(task.updated);
    item.dueDate = unlessEmpty(task.dueDate);
    if (task.priority > 0) {
        item.priority = task.priority;
    }
    item.labels = taskLabels(std::move(task.labels));
    if (task.assignees) {
        for (VikunjaUser& assignee : *task.assignees) {
            item.assignees.push_back(user(std::move(assignee)));
        }
    }
    if (std::optional<VikunjaRelated> parent = parentIn(task.relatedTasks)) {
        item.parent = TaskParent{std::to_string(parent->id), std::move(parent->title)};
    }
    item.canHaveChildren = true;
    item.canChangeParent = true;
    item.webURL = appendingPath(web, "tasks/" + item.id);
    return item;
}

TaskItem taskItem(CreatedVikunjaTask created, const TaskDraft& draft, const std::string& projectID, const URL& web) {
    if (created.record) {
        return taskItem(std::move(*created.record), web);
    }
    VikunjaTask asSent;
    asSent.id = created.identity.id;
    asSent.title = draft.title;
    asSent.description = draft.notes;
    asSent.dueDate = draft.dueDate;
    TaskItem item = taskItem(std::move(asSent), web);
    item.projectID = projectID;
    return item;
}

TaskComment taskComment(VikunjaComment comment) {
    TaskComment result;
    result.id = std::to_string(comment.id);
    if (comment.author) {
        result.author = user(std::move(*comment.author));
    }
    result.body = std::move(comment.comment);
    result.createdAt = comment.created;
    result.updatedAt = comment.updated;
    return result;
}

TaskComment taskComment(CreatedVikunjaComment created, const std::string& body) {
    return created.record ? taskComment(std::move(*created.record))
                          : commentAsSent(std::to_string(created.identity.id), body);
}

bool isChanged(const VikunjaTask& task, Date since) {
    return task.updated.value_or(distantFuture) >= since;
}

std::map<std::string, Date> latestUpdates(const std::vector<VikunjaTask>& tasks) {
    std::map<std::string, Date> latest;
    for (const VikunjaTask& task : tasks) {
        Date updated = task.updated.value_or(distantFuture);
        Date& known = latest.try_emplace(std::to_string(task.projectId), updated).first->second;
        known = std::max(known, updated);
    }
    return latest;
}

ChangeHints changeHints(const std::vector<VikunjaNotification>& notifications) {
    ChangeHints hints;
    for (const VikunjaNotification& notification : notifications) {
        const std::string& name = notification.name;
        bool isOfTask = std::find(taskNotifications.begin(), taskNotifications.end(), name) != taskNotifications.end();
        std::optional<int64_t> projectID = projectOf(notification);
        if (isOfTask && projectID) {
            add(hints, notification.created, std::to_string(*projectID), name == deletion);
        }
    }
    return hints;
}

}  // namespace marlet::vikunja
