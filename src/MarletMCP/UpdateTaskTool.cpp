#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ParentResolution.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

// The fields that one call changes.
struct TaskEdit {
    std::optional<std::string> title;
    std::optional<std::string> notes;
    std::optional<std::vector<std::string>> labels;
    FieldChange<Date> dueDate;
    std::optional<bool> completed;
    FieldChange<TaskParent> parent;
    std::optional<std::string> status;
    FieldChange<double> estimate;

    bool operator==(const TaskEdit&) const = default;
};

// A label that the task has already keeps its colour.
std::vector<TaskLabel> labelsNamed(const std::vector<std::string>& names, const std::vector<TaskLabel>& current) {
    std::vector<TaskLabel> result;
    for (const std::string& name : names) {
        auto known =
            std::find_if(current.begin(), current.end(), [&](const TaskLabel& label) { return label.name == name; });
        result.push_back(known == current.end() ? TaskLabel{name, std::nullopt} : *known);
    }
    return result;
}

void apply(const TaskEdit& edit, const Project& project, TaskItem& item) {
    if (edit.title) {
        item.title = *edit.title;
    }
    if (edit.notes) {
        item.notes = *edit.notes;
    }
    if (edit.labels) {
        item.labels = labelsNamed(*edit.labels, item.labels);
    }
    if (edit.dueDate) {
        item.dueDate = *edit.dueDate;
    }
    if (edit.parent) {
        item.parent = *edit.parent;
    }
    if (edit.estimate) {
        item.estimate = *edit.estimate;
    }
    if (edit.completed) {
        item.setCompleted(*edit.completed, project);
    }
    if (edit.status) {
        item.setStatus(*edit.status, project);
    }
}

Async<FieldChange<TaskParent>> readParent(TaskStore& store, const ToolArguments& arguments, TaskSnapshot task,
                                          ProjectSnapshot project) {
    if (!arguments.contains("parent")) {
        co_return std::nullopt;
    }
    checkParentCanChange(task, project.kind);
    std::optional<std::string> text = arguments.text("parent");
    if (!text) {
        co_return FieldChange<TaskParent>(std::in_place);
    }
    TaskParent parent = co_await resolveParent(store, task, project, *text);
    co_return FieldChange<TaskParent>(std::in_place, std::move(parent));
}

FieldChange<double> readEstimate(const ToolArguments& arguments, BackendKind kind) {
    FieldChange<double> estimate = arguments.estimate("estimate");
    if (estimate && kind != BackendKind::jira) {
        throw MCPToolError(
            fmt::format("{} tasks have no estimate. Only Jira issues have story points.", serviceName(kind)));
    }
    return estimate;
}

std::optional<std::string> readStatus(const ToolArguments& arguments, const ProjectSnapshot& project) {
    std::optional<std::string> status = arguments.text("status");
    if (!status) {
        return std::nullopt;
    }
    const std::vector<std::string>& options = project.project.statusOptions;
    if (options.empty()) {
        throw MCPToolError(
            fmt::format("{} has no status column. Only board tasks (GitHub Projects) have a status.", project.name));
    }
    if (std::find(options.begin(), options.end(), *status) == options.end()) {
        throw MCPToolError(fmt::format("\"{}\" isn't a status of {}. Use one of: {}.", *status, project.name,
                                       fmt::join(options, ", ")));
    }
    return status;
}

std::optional<std::string> readTitle(const ToolArguments& arguments) {
    std::optional<std::string> title = arguments.text("title");
    if (!title) {
        return std::nullopt;
    }
    std::string kept = trimmed(*title);
    if (kept.empty()) {
        throw MCPToolError("The title must not be empty.");
    }
    return kept;
}

Async<JSONValue> updateTask(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    UUID localID = arguments.requiredUUID("task_id");
    TaskSnapshot task = co_await findTask(store, localID);
    ProjectSnapshot project = co_await findProject(store, task.projectKey());
    TaskEdit edit;
    edit.parent = co_await readParent(store, arguments, task, project);
    edit.estimate = readEstimate(arguments, project.kind);
    edit.status = readStatus(arguments, project);
    edit.title = readTitle(arguments);
    edit.notes = arguments.text("notes");
    edit.labels = arguments.texts("labels");
    edit.dueDate = arguments.date("due_date");
    edit.completed = arguments.boolean("completed");
    if (edit == TaskEdit{}) {
        co_return taskJSON(task, TaskShape::detail);
    }
    auto change = [edit, board = project.project](TaskItem& item) { apply(edit, board, item); };
    co_await store.editTask(localID, context.services.clock().now(), change);
    TaskSnapshot changed = co_await findTask(store, localID);
    context.pushInBackground(task.accountID);
    co_return taskJSON(changed, TaskShape::detail);
}

JSONValue estimateProperty() {
    return JSONValue::object({
        {"type", JSONValue::array({"number", "null"})},
        {"minimum", 0},
        {"description", "Jira: the issue's story points; null removes them."},
    });
}

JSONValue updateTaskSchema() {
    return inputSchema(
        {
            {"task_id", textProperty()},
            {"title", textProperty()},
            {"notes", textProperty()},
            {"labels", textsProperty("Replaces all labels.")},
            {"due_date", textOrNullProperty("YYYY-MM-DD, RFC 3339, or null.")},
            {"completed", booleanProperty()},
            {"parent", textOrNullProperty("The new parent, by its number (PROJ-12, 12, or owner/repo#12 for a GitHub "
                                          "issue in another repository) or task_id; null removes the parent.")},
            {"status", textProperty("Board tasks (GitHub Projects): one of the project's status_options.")},
            {"estimate", estimateProperty()},
        },
        {"task_id"});
}

}  // namespace

MCPTool updateTaskTool(ToolContext context) {
    return {
        .name = "update_task",
        .title = "Update a task",
        .description =
            "Changes a task's title, notes, labels, due date, completion (completed: true closes an issue), parent or "
            "board status. parent moves the task under another task (a Jira epic, a GitHub or GitLab issue, a Vikunja "
            "or local task); parent null removes it. Only the given fields change; due_date null removes the due "
            "date. Pushed in the background.",
        .inputSchema = updateTaskSchema(),
        .annotations = toolAnnotations({.idempotent = true, .openWorld = true}),
        .handler = toolHandler(context, updateTask),
    };
}

}  // namespace marlet
