#include "MarletMCP/ToolLookup.h"

#include <fmt/format.h>

#include "MarletMCP/MCPTool.h"

namespace marlet {

Async<ProjectSnapshot> findProject(TaskStore& store, std::string projectKey) {
    std::optional<ProjectSnapshot> project = co_await store.projectSnapshot(projectKey);
    if (!project) {
        throw MCPToolError(
            fmt::format("No project with project_key \"{}\". Use list_projects to find it.", projectKey));
    }
    co_return *std::move(project);
}

Async<TaskSnapshot> findTask(TaskStore& store, UUID taskID) {
    std::optional<TaskSnapshot> task = co_await store.taskSnapshot(taskID);
    if (!task) {
        throw MCPToolError(fmt::format("No task with task_id {}. Use list_tasks to find it.", taskID.text()));
    }
    co_return *std::move(task);
}

Async<AccountSyncState> findAccount(TaskStore& store, UUID accountID) {
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    auto found = std::find_if(accounts.begin(), accounts.end(),
                              [&](const AccountSyncState& state) { return state.account.id == accountID; });
    if (found == accounts.end()) {
        throw MCPToolError(fmt::format("No account with account_id {}. Use list_accounts.", accountID.text()));
    }
    co_return std::move(*found);
}

}  // namespace marlet
