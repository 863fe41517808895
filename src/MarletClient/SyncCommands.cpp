#include <fmt/format.h>

#include <algorithm>

#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/ConnectionAdvice.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

// What a sync is about: everything, one account, or one project of it.
struct Scope {
    std::optional<UUID> accountID;
    std::optional<ProjectSnapshot> project;

    bool contains(const TaskSnapshot& task) const {
        return (!accountID || task.accountID == *accountID) && (!project || task.projectKey() == project->key);
    }
};

Async<Scope> scopeOf(TaskStore& store, SyncOptions options) {
    Scope scope;
    if (options.account) {
        AccountSyncState state = co_await accountNamed(store, *options.account);
        scope.accountID = state.account.id;
    }
    if (options.project) {
        scope.project = co_await projectNamed(store, *options.project, scope.accountID);
        if (scope.accountID && scope.project->accountID != *scope.accountID) {
            throw CommandError(fmt::format("The project {} belongs to another account.", scope.project->name));
        }
        if (!scope.project->isSubscribed) {
            throw CommandError(fmt::format("Project {} isn't subscribed. Subscribe with marlet project subscribe.",
                                           scope.project->name));
        }
        scope.accountID = scope.project->accountID;
    }
    co_return scope;
}

// What a sync came to: for programs by keys, for people by names.
struct Findings {
    JSONValue::Array accounts;
    JSONValue::Array projects;
    std::string troubles;  // a line each
};

std::string accountTrouble(const AccountSyncState& state) {
    bool needsToken = state.syncError == BackendError::unauthorized().errorDescription();
    return fmt::format("{}: {}{}\n", state.account.displayName, *state.syncError,
                       needsToken ? std::string(" ") + newTokenAdvice : "");
}

Async<Findings> findings(TaskStore& store, Scope scope) {
    Findings found;
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    for (const AccountSyncState& state : accounts) {
        if (scope.accountID && state.account.id != *scope.accountID) {
            continue;
        }
        found.accounts.push_back(
            JSONValue::object({{"account_id", state.account.id.text()}, {"sync_error", state.syncError}}));
        found.troubles += state.syncError ? accountTrouble(state) : "";
    }
    std::vector<ProjectSnapshot> projects = co_await store.projectSnapshots(scope.accountID, false);
    for (const ProjectSnapshot& project : projects) {
        if (project.syncError && (!scope.project || project.key == scope.project->key)) {
            found.projects.push_back(
                JSONValue::object({{"project_key", project.key}, {"sync_error", project.syncError}}));
            found.troubles += fmt::format("{}: {}\n", project.name, *project.syncError);
        }
    }
    co_return found;
}

Async<JSONValue> rejectedTasks(TaskStore& store, Scope scope) {
    JSONValue::Array results;
    std::vector<TaskSnapshot> pending = co_await store.pendingSnapshots(scope.accountID);
    for (const TaskSnapshot& task : pending) {
        if (task.pushError && scope.contains(task)) {
            results.push_back(taskJSON(task, TaskShape::list));
        }
    }
    co_return results;
}

Async<CommandReply> sync(Engine& engine, SyncOptions options) {
    bool isFull = options.full;
    TaskStore& store = engine.store();
    Scope scope = co_await scopeOf(store, std::move(options));
    std::optional<std::string> projectID;
    if (scope.project) {
        projectID = scope.project->projectID;
    }
    SyncEngine::Mode mode = isFull ? SyncEngine::Mode::full : SyncEngine::Mode::delta;
    co_await engine.services().sync().syncNow(scope.accountID, projectID, mode, engine.now());

    Findings found = co_await findings(store, scope);
    JSONValue rejected = co_await rejectedTasks(store, scope);
    CommandReply reply;
    if (!found.troubles.empty() || !rejected.arrayValue()->empty()) {
        reply.error = "Not everything could be synced. Use marlet status to see what.";
    }
    if (!found.troubles.empty()) {
        reply.remark = found.troubles;
    }
    reply.result = JSONValue::object(
        {{"accounts", found.accounts}, {"project_errors", found.projects}, {"rejected_tasks", rejected}});
    co_return reply;
}

// For the line that says how a long command gets on; no command of the user's.
Async<CommandReply> progress(Engine& engine, ProgressOptions options) {
    if (options.command.starts_with("work")) {
        co_return success(JSONValue::object({{"text", engine.steps.text()}}));
    }
    std::optional<SyncProgress> current = co_await engine.services().sync().progress();
    JSONValue text;
    if (current) {
        std::string key = projectKey(current->accountID, current->projectID);
        std::optional<ProjectSnapshot> project = co_await engine.store().projectSnapshot(key);
        text = fmt::format("Reading {} … {} of {} {}", project ? project->name : current->projectID, current->number,
                           current->count, current->count == 1 ? "project" : "projects");
    }
    co_return success(JSONValue::object({{"text", text}}));
}

Async<CommandReply> pendingList(Engine& engine, NoOptions) {
    std::vector<TaskSnapshot> tasks = co_await engine.store().pendingSnapshots(std::nullopt);
    co_return success(tasksJSON(tasks));
}

// All of them are checked before anything is done to one.
Async<std::vector<TaskSnapshot>> pendingTasks(TaskStore& store, TasksOptions options) {
    std::vector<TaskSnapshot> tasks = co_await tasksNamed(store, std::move(options.tasks), std::move(options.project));
    for (const TaskSnapshot& task : tasks) {
        if (!task.pendingOperation) {
            throw CommandError(
                fmt::format("The task \"{}\" has no change that waits. Use marlet pending list to see "
                            "those that have.",
                            task.item.title));
        }
    }
    co_return tasks;
}

Async<CommandReply> retry(Engine& engine, TasksOptions options) {
    std::vector<TaskSnapshot> tasks = co_await pendingTasks(engine.store(), std::move(options));
    for (const TaskSnapshot& task : tasks) {
        co_await engine.store().retryPush(task.localID);
    }
    for (const UUID& accountID : accountsOf(tasks)) {
        co_await engine.push(accountID);
    }
    std::vector<TaskSnapshot> current = co_await readAgain(engine.store(), std::move(tasks));
    co_return success(tasksJSON(current));
}

// A full sync of each project brings back what the server has. A task that no server knows is gone afterwards.
Async<CommandReply> discard(Engine& engine, TasksOptions options) {
    std::vector<TaskSnapshot> tasks = co_await pendingTasks(engine.store(), std::move(options));
    std::set<std::pair<UUID, std::string>> projects;
    for (const TaskSnapshot& task : tasks) {
        co_await engine.store().discardLocalChanges(task.localID);
        projects.emplace(task.accountID, task.item.projectID);
    }
    for (const auto& [accountID, projectID] : projects) {
        co_await engine.services().sync().syncNow(accountID, projectID, SyncEngine::Mode::full, engine.now());
    }
    std::vector<TaskSnapshot> current = co_await readAgain(engine.store(), std::move(tasks));
    co_return success(tasksJSON(current));
}

}  // namespace

CommandBody syncCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"sync", commandBody(sync)},
        {"progress", commandBody(progress)},
        {"pending list", commandBody(pendingList)},
        {"pending retry", commandBody(retry)},
        {"pending discard", commandBody(discard)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
