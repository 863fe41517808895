// The tools that read tasks: list_tasks, get_task.
#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Coding.h"
#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ParentResolution.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

constexpr int64_t smallestLimit = 1;
constexpr int64_t largestLimit = 500;
constexpr int64_t defaultLimit = 50;

std::optional<TaskList> readList(const ToolArguments& arguments) {
    std::optional<std::string> name = arguments.text("list");
    if (!name) {
        return std::nullopt;
    }
    std::optional<TaskList> list = fromCode<TaskList>(*name);
    if (!list) {
        throw MCPToolError(fmt::format("Unknown list \"{}\". Use next, starred, updated or timing.", *name));
    }
    return list;
}

TaskQuery readQuery(const ToolArguments& arguments) {
    TaskQuery query;
    query.includeCompleted = arguments.boolean("include_completed").value_or(false);
    if (arguments.boolean("epics_only").value_or(false)) {
        query.canHaveChildren = true;
    }
    query.text = arguments.text("query");
    query.limit = std::clamp(arguments.integer("limit").value_or(defaultLimit), smallestLimit, largestLimit);
    return query;
}

Async<JSONValue> listTasks(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    TaskQuery query = readQuery(arguments);
    if (std::optional<std::string> key = arguments.text("project_key")) {
        ProjectSnapshot project = co_await findProject(store, *key);
        query.accountID = project.accountID;
        query.projectID = project.projectID;
    }
    query.list = readList(arguments);
    if (std::optional<std::string> parent = arguments.text("parent")) {
        query = co_await narrowedToChildren(store, query, *parent);
    }
    std::vector<TaskSnapshot> tasks = co_await store.taskSnapshots(query);
    JSONValue::Array listed;
    listed.reserve(tasks.size());
    for (const TaskSnapshot& task : tasks) {
        listed.push_back(taskJSON(task, TaskShape::list));
    }
    JSONValue::Object result;
    result.emplace("tasks", std::move(listed));
    co_return JSONValue(std::move(result));
}

Async<JSONValue> getTask(ToolContext context, ToolArguments arguments) {
    MarletServices& services = context.services;
    TaskSnapshot task = co_await findTask(services.store(), arguments.requiredUUID("task_id"));
    bool includeComments = arguments.boolean("include_comments").value_or(false);
    bool includeRaw = arguments.boolean("include_raw").value_or(false);
    JSONValue result = taskJSON(task, TaskShape::detail);
    JSONValue::Object& members = *result.objectValue();
    if (includeComments) {
        std::vector<TaskComment> comments = co_await services.comments(task.key);
        JSONValue::Array listed;
        for (const TaskComment& comment : comments) {
            listed.push_back(commentJSON(comment));
        }
        members.emplace("comments", std::move(listed));
    }
    if (includeRaw) {
        std::string raw = co_await services.rawTask(task.key);
        members.emplace("raw", JSONValue::decode(raw));
    }
    co_return result;
}

JSONValue listProperty() {
    return JSONValue::object(
        {{"type", "string"}, {"enum", JSONValue::array({"next", "starred", "updated", "timing"})}});
}

JSONValue limitProperty() {
    return JSONValue::object(
        {{"type", "integer"}, {"minimum", smallestLimit}, {"maximum", largestLimit}, {"default", defaultLimit}});
}

JSONValue listTasksSchema() {
    return inputSchema(
        {
            {"project_key", textProperty("Only tasks of this project.")},
            {"list", listProperty()},
            {"query", textProperty("Text to find in title, notes, labels or task number.")},
            {"parent", textProperty("Only the children of this task (an epic, a parent issue or task), by its number "
                                    "(e.g. PROJ-12, 12) or task_id.")},
            {"epics_only", switchProperty("Only tasks others can be assigned to as their parent: Jira epics, GitHub "
                                          "and GitLab issues, Vikunja and On This Mac tasks.")},
            {"include_completed", switchProperty()},
            {"limit", limitProperty()},
        },
        {});
}

}  // namespace

MCPTool listTasksTool(ToolContext context) {
    return {
        .name = "list_tasks",
        .title = "List tasks",
        .description =
            "Lists tasks, most recently updated first: of one project, of a smart list, or across all projects. Smart "
            "lists: \"next\" (the user's plan), \"starred\", \"updated\" (changed on the server since the user last "
            "opened them), \"timing\" (tasks with tracked time, most recently started first).",
        .inputSchema = listTasksSchema(),
        .annotations = toolAnnotations({.readOnly = true, .idempotent = true}),
        .handler = toolHandler(context, listTasks),
    };
}

MCPTool getTaskTool(ToolContext context) {
    return {
        .name = "get_task",
        .title = "Get a task",
        .description =
            "Returns a task with its notes, optionally with its comments and with `raw`: the task exactly as its "
            "server describes it right now (GitHub, GitLab, Forgejo and Vikunja JSON; for Jira every field plus "
            "`names`, which maps custom field IDs like customfield_10016 to their names). Use raw to read fields "
            "Marlet doesn't model; change tasks with update_task.",
        .inputSchema = inputSchema(
            {
                {"task_id", textProperty()},
                {"include_comments", switchProperty()},
                {"include_raw", switchProperty("Adds `raw`, the task as the server returns it (read from the server "
                                               "now).")},
            },
            {"task_id"}),
        .annotations = toolAnnotations({.readOnly = true, .idempotent = true}),
        .handler = toolHandler(context, getTask),
    };
}

}  // namespace marlet
