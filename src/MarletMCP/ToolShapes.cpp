#include "MarletMCP/ToolShapes.h"

#include <cmath>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

// The id of a task that no server has named yet begins so.
constexpr std::string_view unnamedTaskPrefix = "local-";

template <class Number>
JSONValue numberOrNull(const std::optional<Number>& number) {
    return number ? JSONValue(*number) : JSONValue();
}

JSONValue textOrNull(const std::optional<URL>& url) {
    return url ? JSONValue(url->text()) : JSONValue();
}

JSONValue labelNames(const std::vector<TaskLabel>& labels) {
    JSONValue::Array names;
    names.reserve(labels.size());
    for (const TaskLabel& label : labels) {
        names.emplace_back(label.name);
    }
    return names;
}

JSONValue logins(const std::vector<User>& users) {
    JSONValue::Array result;
    result.reserve(users.size());
    for (const User& user : users) {
        result.emplace_back(user.login);
    }
    return result;
}

JSONValue parentJSON(const std::optional<TaskParent>& parent) {
    return parent ? JSONValue::object({{"number", parent->id}, {"title", parent->title}}) : JSONValue();
}

const char* syncState(const TaskSnapshot& task) {
    if (!task.pendingOperation) {
        return "synced";
    }
    return task.pushError ? "rejected" : "pending";
}

void addItem(JSONValue::Object& json, const TaskItem& item) {
    bool isNamed = !item.id.starts_with(unnamedTaskPrefix);
    json.emplace("number", isNamed ? JSONValue(item.id) : JSONValue());
    json.emplace("kind", code(item.kind));
    json.emplace("title", item.title);
    json.emplace("completed", item.isCompleted);
    json.emplace("labels", labelNames(item.labels));
    json.emplace("assignees", logins(item.assignees));
    json.emplace("milestone", item.milestone ? JSONValue(item.milestone->title) : JSONValue());
    json.emplace("type", item.typeName);
    json.emplace("can_have_children", item.canHaveChildren);
    json.emplace("can_change_parent", item.canChangeParent);
    json.emplace("status", item.status);
    json.emplace("estimate", numberOrNull(item.estimate));
    json.emplace("parent", parentJSON(item.parent));
    json.emplace("due_date", item.dueDate);
    json.emplace("priority", numberOrNull(item.priority));
    json.emplace("updated_at", item.updatedAt);
    json.emplace("url", textOrNull(item.webURL));
}

}  // namespace

std::string serviceName(BackendKind kind) {
    return displayName(kind);
}

JSONValue accountJSON(const AccountSyncState& state) {
    return JSONValue::object({
        {"account_id", state.account.id.text()},
        {"name", state.account.displayName},
        {"service", serviceName(state.account.kind)},
        {"server", state.account.baseURL.text()},
        {"sync_error", state.syncError},
        {"default_task_type", state.defaultTaskType},
    });
}

JSONValue projectJSON(const ProjectSnapshot& project) {
    return JSONValue::object({
        {"project_key", project.key},
        {"name", project.name},
        {"description", project.detail},
        {"account_id", project.accountID.text()},
        {"account", project.accountName},
        {"service", serviceName(project.kind)},
        {"url", textOrNull(project.webURL)},
        {"subscribed", project.isSubscribed},
        {"open_tasks", project.openTaskCount},
        {"sync_error", project.syncError},
        {"kind", code(project.project.kind)},
        {"status_options", project.project.statusOptions},
    });
}

JSONValue taskJSON(const TaskSnapshot& task, TaskShape shape) {
    JSONValue::Object json;
    json.emplace("task_id", task.localID.text());
    json.emplace("project_key", task.projectKey());
    json.emplace("project", task.projectName);
    addItem(json, task.item);
    json.emplace("next", task.isNext);
    json.emplace("starred", task.isStarred);
    json.emplace("unread", task.isUnread);
    json.emplace("timing", task.isTiming);
    json.emplace("tracked_seconds", std::trunc(task.trackedTime));
    json.emplace("sync_state", syncState(task));
    json.emplace("sync_error", task.pushError);
    if (shape == TaskShape::detail) {
        json.emplace("notes", task.item.notes);
        json.emplace("created_at", task.item.createdAt);
        json.emplace("last_started_at", task.lastStartedAt);
    }
    return json;
}

JSONValue commentJSON(const TaskComment& comment) {
    return JSONValue::object({
        {"author", comment.author ? JSONValue(comment.author->login) : JSONValue()},
        {"body", comment.body},
        {"created_at", comment.createdAt},
    });
}

}  // namespace marlet
