// The tools about accounts: list_accounts, set_default_task_type, sync.
#include <fmt/format.h>

#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

Async<JSONValue> listAccounts(ToolContext context, ToolArguments) {
    std::vector<AccountSyncState> accounts = co_await context.services.store().accounts();
    JSONValue::Array listed;
    for (const AccountSyncState& account : accounts) {
        listed.push_back(accountJSON(account));
    }
    co_return JSONValue::object({{"accounts", std::move(listed)}});
}

Async<JSONValue> setDefaultTaskType(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    UUID accountID = arguments.requiredUUID("account_id");
    AccountSyncState before = co_await findAccount(store, accountID);
    if (before.account.kind != BackendKind::jira) {
        throw MCPToolError(
            fmt::format("{} tasks have no type to choose. Only Jira issues do.", serviceName(before.account.kind)));
    }
    std::optional<std::string> type = arguments.text("type");
    co_await store.setDefaultTaskType(type, accountID);
    AccountSyncState after = co_await findAccount(store, accountID);
    co_return JSONValue::object({{"account_id", accountID.text()}, {"default_task_type", after.defaultTaskType}});
}

JSONValue accountErrors(const std::vector<AccountSyncState>& accounts, const std::optional<UUID>& scope) {
    JSONValue::Array result;
    for (const AccountSyncState& state : accounts) {
        if (!scope || state.account.id == *scope) {
            result.push_back(
                JSONValue::object({{"account_id", state.account.id.text()}, {"sync_error", state.syncError}}));
        }
    }
    return result;
}

JSONValue projectErrors(const std::vector<ProjectSnapshot>& projects) {
    JSONValue::Array result;
    for (const ProjectSnapshot& project : projects) {
        if (project.syncError) {
            result.push_back(JSONValue::object({{"project_key", project.key}, {"sync_error", project.syncError}}));
        }
    }
    return result;
}

JSONValue rejectedTasks(const std::vector<TaskSnapshot>& pending) {
    JSONValue::Array result;
    for (const TaskSnapshot& task : pending) {
        if (task.pushError) {
            result.push_back(taskJSON(task, TaskShape::list));
        }
    }
    return result;
}

Async<JSONValue> syncNow(ToolContext context, ToolArguments arguments) {
    std::optional<UUID> accountID = arguments.uuid("account_id");
    bool isFull = arguments.boolean("full").value_or(false);
    SyncEngine::Mode mode = isFull ? SyncEngine::Mode::full : SyncEngine::Mode::delta;
    co_await context.services.sync().syncNow(accountID, std::nullopt, mode, context.services.clock().now());

    TaskStore& store = context.services.store();
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    std::vector<ProjectSnapshot> projects = co_await store.projectSnapshots(accountID, false);
    std::vector<TaskSnapshot> pending = co_await store.pendingSnapshots(accountID);
    co_return JSONValue::object({
        {"accounts", accountErrors(accounts, accountID)},
        {"project_errors", projectErrors(projects)},
        {"rejected_tasks", rejectedTasks(pending)},
    });
}

}  // namespace

MCPTool listAccountsTool(ToolContext context) {
    return {
        .name = "list_accounts",
        .title = "List accounts",
        .description = "Lists the connected accounts (GitHub, GitLab, Forgejo, Vikunja, Jira) and their sync status.",
        .inputSchema = inputSchema({}, {}),
        .annotations = toolAnnotations({.readOnly = true, .idempotent = true}),
        .handler = toolHandler(context, listAccounts),
    };
}

MCPTool setDefaultTaskTypeTool(ToolContext context) {
    return {
        .name = "set_default_task_type",
        .title = "Set the default task type",
        .description =
            "Sets the type new tasks of an account get (Jira: an issue type such as Task, Story or Bug), as in "
            "Settings → Accounts. null restores the default, Task. A project without the type creates a Task.",
        .inputSchema = inputSchema(
            {{"account_id", textProperty()}, {"type", textOrNullProperty("The issue type name, or null for Task.")}},
            {"account_id", "type"}),
        .annotations = toolAnnotations({.idempotent = true}),
        .handler = toolHandler(context, setDefaultTaskType),
    };
}

MCPTool syncTool(ToolContext context) {
    return {
        .name = "sync",
        .title = "Sync now",
        .description =
            "Pushes local changes and fetches updates from the servers now, and waits until done. A full sync also "
            "removes tasks deleted on the server.",
        .inputSchema =
            inputSchema({{"account_id", textProperty("Only this account.")}, {"full", switchProperty()}}, {}),
        .annotations = toolAnnotations({.idempotent = true, .openWorld = true}),
        .handler = toolHandler(context, syncNow),
    };
}

}  // namespace marlet
