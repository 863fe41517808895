#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

Async<JSONValue> accountStates(TaskStore& store) {
    JSONValue::Array results;
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    for (const AccountSyncState& state : accounts) {
        JSONValue account = accountJSON(state);
        (*account.objectValue())["last_project_refresh"] = state.lastProjectRefresh;
        results.push_back(std::move(account));
    }
    co_return results;
}

// What is synced, with the times of the last fetches.
Async<JSONValue> projectStates(TaskStore& store) {
    std::map<std::string, ProjectSyncState> syncStates;
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    for (const AccountSyncState& state : accounts) {
        std::vector<ProjectSyncState> subscribed = co_await store.subscribedProjects(state.account.id);
        for (ProjectSyncState& project : subscribed) {
            std::string key = projectKey(project.accountID, project.projectID);
            syncStates.emplace(std::move(key), std::move(project));
        }
    }
    JSONValue::Array results;
    std::vector<ProjectSnapshot> projects = co_await store.projectSnapshots(std::nullopt, true);
    for (const ProjectSnapshot& snapshot : projects) {
        JSONValue project = projectJSON(snapshot);
        const ProjectSyncState& state = syncStates[snapshot.key];
        (*project.objectValue())["last_synced_at"] = state.lastSyncedAt;
        (*project.objectValue())["last_full_sync_at"] = state.lastFullSyncAt;
        results.push_back(std::move(project));
    }
    co_return results;
}

Async<CommandReply> status(Engine& engine, NoOptions) {
    TaskStore& store = engine.store();
    JSONValue accounts = co_await accountStates(store);
    JSONValue projects = co_await projectStates(store);
    std::vector<TaskSnapshot> waiting = co_await store.pendingSnapshots(std::nullopt);
    auto rejected = std::count_if(waiting.begin(), waiting.end(),
                                  [](const TaskSnapshot& task) { return task.pushError.has_value(); });
    std::optional<TaskSnapshot> current = co_await store.currentTimerTask();
    JSONValue timer;
    if (current && current->isTiming) {
        timer = taskJSON(*current, TaskShape::list);
    }
    co_return success(JSONValue::object({
        {"daemon", !engine.servedEndpoint.isNull()},
        {"endpoint", engine.servedEndpoint},
        {"data_folder", engine.folder().path().string()},
        {"accounts", accounts},
        {"projects", projects},
        {"pending", static_cast<int64_t>(waiting.size()) - rejected},
        {"rejected", rejected},
        {"timer", timer},
    }));
}

}  // namespace

CommandBody statusCommand(std::string_view name) {
    return name == "status" ? commandBody(status) : CommandBody();
}

}  // namespace marlet
