// The tools that make and remove tasks and speak about them: create_task, delete_task, add_comment.
#include <fmt/format.h>

#include "MarletBase/Text.h"
#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

void requireSubscription(const ProjectSnapshot& project) {
    if (!project.isSubscribed) {
        throw MCPToolError(
            fmt::format("Project {} isn't subscribed. Subscribe with set_project_subscription.", project.name));
    }
}

TaskDraft readDraft(const ToolArguments& arguments, BackendKind kind) {
    TaskDraft draft;
    draft.title = trimmed(arguments.requiredText("title"));
    if (draft.title.empty()) {
        throw MCPToolError("The title must not be empty.");
    }
    draft.notes = arguments.text("notes").value_or("");
    draft.dueDate = arguments.date("due_date").value_or(std::nullopt);
    draft.labels = arguments.texts("labels").value_or(std::vector<std::string>());
    draft.typeName = arguments.text("type");
    if (draft.typeName && kind != BackendKind::jira) {
        throw MCPToolError(fmt::format("{} tasks have no type to choose. Only Jira issues do.", serviceName(kind)));
    }
    return draft;
}

Async<JSONValue> createTask(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    ProjectSnapshot project = co_await findProject(store, arguments.requiredText("project_key"));
    requireSubscription(project);
    TaskDraft draft = readDraft(arguments, project.kind);
    Date now = context.services.clock().now();
    std::string key = co_await store.createTask(draft, project.accountID, project.projectID, now);
    // Read before the push begins, which gives the task another key.
    std::optional<TaskSnapshot> task = co_await store.taskSnapshot(key);
    context.pushInBackground(project.accountID);
    if (!task) {
        throw MCPToolError("The task wasn't saved.");
    }
    co_return taskJSON(*task, TaskShape::detail);
}

Async<void> deleteLocalTask(MarletServices& services, UUID localID) {
    try {
        co_await services.deleteLocalTask(localID);
    } catch (const ServicesError&) {
        throw MCPToolError(
            "Only tasks of \"On This Mac\" accounts can be deleted. Use update_task with completed: true to close this "
            "task instead.");
    }
}

Async<JSONValue> deleteTask(ToolContext context, ToolArguments arguments) {
    UUID localID = arguments.requiredUUID("task_id");
    TaskSnapshot task = co_await findTask(context.services.store(), localID);
    co_await deleteLocalTask(context.services, localID);
    co_return JSONValue::object({{"deleted", true}, {"task_id", localID.text()}, {"title", task.item.title}});
}

Async<JSONValue> addComment(ToolContext context, ToolArguments arguments) {
    TaskSnapshot task = co_await findTask(context.services.store(), arguments.requiredUUID("task_id"));
    std::string body = trimmed(arguments.requiredText("body"));
    if (body.empty()) {
        throw MCPToolError("The comment must not be empty.");
    }
    TaskComment comment = co_await context.services.addComment(body, task.key);
    co_return commentJSON(comment);
}

JSONValue createTaskSchema() {
    return inputSchema(
        {
            {"project_key", textProperty()},
            {"title", textProperty()},
            {"notes", textProperty("Markdown (GitHub, GitLab, Forgejo), HTML (Vikunja) or Jira wiki markup.")},
            {"labels", textsProperty()},
            {"due_date", textProperty("YYYY-MM-DD or an RFC 3339 date-time.")},
            {"type", textProperty("Jira: the issue type, e.g. Story or Bug. Defaults to the account's "
                                  "default_task_type; a type the project doesn't have falls back to Task. The created "
                                  "task's `type` shows the result.")},
        },
        {"project_key", "title"});
}

}  // namespace

MCPTool createTaskTool(ToolContext context) {
    return {
        .name = "create_task",
        .title = "Create a task",
        .description =
            "Creates a task (an issue on GitHub, GitLab, Forgejo and Jira) in a subscribed project. It's created on "
            "the server in the background. Missing labels are created on GitHub, GitLab, Vikunja and Jira but must "
            "already exist on Forgejo; due dates aren't supported on GitHub.",
        .inputSchema = createTaskSchema(),
        .annotations = toolAnnotations({.openWorld = true}),
        .handler = toolHandler(context, createTask),
    };
}

MCPTool deleteTaskTool(ToolContext context) {
    return {
        .name = "delete_task",
        .title = "Delete a local task",
        .description =
            "Permanently deletes a task of an \"On This Mac\" account, with its comments and tracked time. Tasks of "
            "GitHub, Forgejo and Vikunja accounts can't be deleted; close them with update_task (completed: true).",
        .inputSchema = inputSchema({{"task_id", textProperty()}}, {"task_id"}),
        .annotations = toolAnnotations({.destructive = true}),
        .handler = toolHandler(context, deleteTask),
    };
}

MCPTool addCommentTool(ToolContext context) {
    return {
        .name = "add_comment",
        .title = "Comment on a task",
        .description =
            "Posts a comment on the server right away (Markdown on GitHub/GitLab/Forgejo, HTML on Vikunja, wiki "
            "markup on Jira).",
        .inputSchema = inputSchema({{"task_id", textProperty()}, {"body", textProperty()}}, {"task_id", "body"}),
        .annotations = toolAnnotations({.openWorld = true}),
        .handler = toolHandler(context, addComment),
    };
}

}  // namespace marlet
