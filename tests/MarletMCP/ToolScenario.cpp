#include "ToolScenario.h"

#include <fmt/format.h>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

Project project(const Account& account, const std::string& id) {
    Project project;
    project.id = id;
    project.accountID = account.id;
    project.name = id;
    project.kind = ProjectKind::repository;
    return project;
}

std::string described(const TaskSnapshot& task) {
    JSONValue json = JSONValue::object({
        {"key", task.key},
        {"item", boost::json::serialize(encode(task.item, DateCoding::seconds))},
        {"next", task.isNext},
        {"starred", task.isStarred},
        {"unread", task.isUnread},
        {"timing", task.isTiming},
        {"started", task.lastStartedAt},
        {"pending", task.pendingOperation ? std::string(code(*task.pendingOperation)) : ""},
        {"error", task.pushError},
    });
    return json.data() + "\n";
}

}  // namespace

ToolScenario::ToolScenario() : tools(marletTools(ToolContext{harness.services(), background})) {}

ToolScenario::~ToolScenario() {
    finishPushes();
}

const MCPTool& ToolScenario::tool(const std::string& name) const {
    for (const MCPTool& candidate : tools) {
        if (candidate.name == name) {
            return candidate;
        }
    }
    throw std::runtime_error("There is no tool " + name);
}

JSONValue ToolScenario::call(const std::string& name, JSONValue arguments) {
    return harness.run(tool(name).handler(*arguments.objectValue()));
}

std::shared_ptr<TestLoop::Outcome<JSONValue>> ToolScenario::start(const std::string& name, JSONValue arguments) {
    return harness.loop.start(tool(name).handler(*arguments.objectValue()));
}

std::string ToolScenario::refusal(const std::string& name, JSONValue arguments) {
    try {
        JSONValue result = call(name, std::move(arguments));
        return "not refused: " + result.data();
    } catch (...) {
        return localizedDescription(std::current_exception());
    }
}

Account ToolScenario::addAccount(BackendKind kind, const std::vector<std::string>& projectIDs) {
    Account account = harness.addRemoteAccount(kind, projectIDs.front());
    std::vector<Project> projects;
    for (const std::string& id : projectIDs) {
        projects.push_back(project(account, id));
    }
    setProjects(account, projects);
    harness.remote(account).takeCalls();
    return account;
}

void ToolScenario::setProjects(const Account& account, std::vector<Project> projects) {
    for (Project& given : projects) {
        given.accountID = account.id;
    }
    harness.run(harness.store().replaceProjects(projects, account.id, harness.clock->now()));
    for (const Project& given : projects) {
        harness.run(harness.store().setSubscribed(true, account.id, given.id));
    }
    harness.remote(account).onFetchProjects = [projects] { return projects; };
}

void ToolScenario::serve(const Account& account, const std::string& projectID, std::vector<TaskItem> items) {
    for (TaskItem& item : items) {
        item.projectID = projectID;
    }
    FetchedTasks fetch{std::move(items), account.id, projectID, true, true, harness.clock->now()};
    harness.run(harness.store().applyFetchedTasks(std::move(fetch)));
}

UUID ToolScenario::taskID(const Account& account, const std::string& projectID, const std::string& number) {
    std::optional<TaskSnapshot> found =
        harness.run(harness.store().taskSnapshot(taskKey(account.id, projectID, number)));
    if (!found) {
        throw std::runtime_error("There is no task " + number);
    }
    return found->localID;
}

std::vector<std::string> ToolScenario::requests(const Account& account) {
    finishPushes();
    return harness.remote(account).takeCalls();
}

std::string ToolScenario::everythingStored() {
    std::string text;
    for (const AccountSyncState& state : harness.run(harness.store().accounts())) {
        text += fmt::format("{} {} {}\n", state.account.id.text(), state.account.displayName,
                            state.defaultTaskType.value_or("-"));
        for (const PendingPush& push : harness.run(harness.store().pendingPushes(state.account.id))) {
            text += fmt::format("{} revision {}\n", push.key, push.revision);
        }
    }
    for (const ProjectSnapshot& project : harness.run(harness.store().projectSnapshots(std::nullopt, false))) {
        text += fmt::format("{} {}\n", project.key, project.isSubscribed);
    }
    for (const TaskSnapshot& task : harness.tasks()) {
        text += described(task);
    }
    return text;
}

const JSONValue& member(const JSONValue& object, std::string_view key) {
    const JSONValue* found = object[key];
    if (!found) {
        throw std::runtime_error(fmt::format("{} has no member {}", object.data(), key));
    }
    return *found;
}

std::vector<std::string> titles(const JSONValue& result) {
    std::vector<std::string> found;
    for (const JSONValue& task : *member(result, "tasks").arrayValue()) {
        found.push_back(*member(task, "title").stringValue());
    }
    return found;
}

Async<void> opened(boost::asio::steady_timer& gate) {
    boost::system::error_code cancelled;
    co_await gate.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
}

TaskItem issue(const std::string& number, const std::string& title) {
    TaskItem item;
    item.id = number;
    item.kind = TaskKind::issue;
    item.title = title;
    item.canHaveChildren = true;
    return item;
}

}  // namespace marlet
