#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/ConnectionAdvice.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

void checkLocal(BackendKind kind, const char* what) {
    if (!isLocal(kind)) {
        throw CommandError(
            fmt::format("Only projects of \"On This Mac\" accounts can be {} here. Use the service's own pages, then "
                        "marlet project refresh.",
                        what));
    }
}

std::string checkedName(const std::string& name) {
    std::string kept = trimmed(name);
    if (kept.empty()) {
        throw CommandError("The project's name must not be empty.");
    }
    return kept;
}

Async<ProjectSnapshot> projectWithKey(TaskStore& store, std::string key) {
    std::optional<ProjectSnapshot> project = co_await store.projectSnapshot(key);
    if (!project) {
        throw StoreError::projectNotFound();
    }
    co_return *project;
}

Async<CommandReply> list(Engine& engine, ProjectListOptions options) {
    std::optional<UUID> accountID;
    if (options.account) {
        AccountSyncState state = co_await accountNamed(engine.store(), *options.account);
        accountID = state.account.id;
    }
    std::vector<ProjectSnapshot> projects = co_await engine.store().projectSnapshots(accountID, !options.all);
    co_return success(projectsJSON(projects));
}

Async<CommandReply> setSubscribed(Engine& engine, std::vector<std::string> names, bool subscribed) {
    std::vector<ProjectSnapshot> projects = co_await projectsNamed(engine.store(), std::move(names));
    JSONValue::Array results;
    for (const ProjectSnapshot& project : projects) {
        JSONValue::Object arguments{{"project_key", project.key}, {"subscribed", subscribed}};
        JSONValue result = co_await engine.callTool("set_project_subscription", std::move(arguments));
        results.push_back(std::move(result));
    }
    co_return success(JSONValue::object({{"projects", std::move(results)}}));
}

Async<CommandReply> subscribe(Engine& engine, ProjectsOptions options) {
    return setSubscribed(engine, std::move(options.projects), true);
}

Async<CommandReply> unsubscribe(Engine& engine, ProjectsOptions options) {
    return setSubscribed(engine, std::move(options.projects), false);
}

Async<CommandReply> refresh(Engine& engine, AccountOptions options) {
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    std::exception_ptr failure;
    try {
        co_await engine.services().sync().refreshProjects(state.account.id, engine.now());
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        throw CommandError(connectionFailure(failure, state.account, ConnectionTrial::nothing));
    }
    std::vector<ProjectSnapshot> projects = co_await engine.store().projectSnapshots(state.account.id, false);
    co_return success(projectsJSON(projects));
}

Async<CommandReply> create(Engine& engine, ProjectCreateOptions options) {
    std::string name = checkedName(options.name);
    AccountSyncState state = co_await accountNamed(engine.store(), options.account);
    checkLocal(state.account.kind, "created");
    Project project = co_await engine.services().createLocalProject(name, state.account.id);
    std::string key = projectKey(state.account.id, project.id);
    ProjectSnapshot created = co_await projectWithKey(engine.store(), key);
    co_return success(JSONValue::object({{"project", projectJSON(created)}}));
}

Async<CommandReply> rename(Engine& engine, ProjectRenameOptions options) {
    std::string name = checkedName(options.name);
    ProjectSnapshot project = co_await projectNamed(engine.store(), options.project);
    checkLocal(project.kind, "renamed");
    co_await engine.services().renameLocalProject(project.projectID, name, project.accountID);
    ProjectSnapshot renamed = co_await projectWithKey(engine.store(), project.key);
    co_return success(JSONValue::object({{"project", projectJSON(renamed)}}));
}

Async<CommandReply> remove(Engine& engine, ProjectOptions options) {
    ProjectSnapshot project = co_await projectNamed(engine.store(), options.project);
    checkLocal(project.kind, "deleted");
    co_await engine.services().deleteLocalProject(project.projectID, project.accountID);
    co_return success(JSONValue::object({{"deleted", true}, {"project_key", project.key}, {"name", project.name}}));
}

}  // namespace

CommandBody projectCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"project list", commandBody(list)},
        {"project subscribe", commandBody(subscribe)},
        {"project unsubscribe", commandBody(unsubscribe)},
        {"project refresh", commandBody(refresh)},
        {"project create", commandBody(create)},
        {"project rename", commandBody(rename)},
        {"project delete", commandBody(remove)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
