#include "MarletMCP/ParentResolution.h"

#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "MarletMCP/MCPTool.h"

namespace marlet {
namespace {

void keepThoseWithChildren(std::vector<TaskSnapshot>& tasks) {
    std::erase_if(tasks, [](const TaskSnapshot& task) { return !task.item.canHaveChildren; });
}

// The issues that "owner/repo#12" names. None for a text of another form.
Async<std::vector<TaskSnapshot>> issuesNamedWithRepository(TaskStore& store, std::string text,
                                                           std::optional<UUID> accountID) {
    TaskParent::Location location = TaskParent{text, {}}.location({}, BackendKind::github);
    if (!location.projectID || location.projectID->empty()) {
        co_return std::vector<TaskSnapshot>();
    }
    std::vector<TaskSnapshot> issues = co_await store.tasksNamed(location.taskID, accountID, std::nullopt);
    std::erase_if(issues, [&](const TaskSnapshot& issue) {
        return !equalIgnoringCase(issue.item.projectID, *location.projectID);
    });
    co_return issues;
}

// The tasks that can be the parent of a task of `project`, by what they are called.
Async<std::vector<TaskSnapshot>> parentCandidates(TaskStore& store, ProjectSnapshot project, std::string text) {
    bool isProjectWide = parentScope(project.kind) == ParentScope::project;
    std::optional<std::string> projectID = isProjectWide ? std::optional(project.projectID) : std::nullopt;
    std::vector<TaskSnapshot> candidates = co_await store.tasksNamed(text, project.accountID, projectID);
    keepThoseWithChildren(candidates);
    if (candidates.empty() && project.kind == BackendKind::github) {
        candidates = co_await issuesNamedWithRepository(store, text, project.accountID);
        keepThoseWithChildren(candidates);
    }
    co_return candidates;
}

std::string noCandidateMessage(const ProjectSnapshot& project, const std::string& text) {
    bool isProjectWide = parentScope(project.kind) == ParentScope::project;
    return fmt::format(
        "\"{}\" isn't a task of {} {} that can have children. List them with list_tasks (epics_only: true).", text,
        isProjectWide ? "project" : "account", isProjectWide ? project.name : project.accountName);
}

std::map<UUID, BackendKind> kindsOf(const std::vector<AccountSyncState>& accounts) {
    std::map<UUID, BackendKind> kinds;
    for (const AccountSyncState& state : accounts) {
        kinds.emplace(state.account.id, state.account.kind);
    }
    return kinds;
}

bool isOfKind(const std::map<UUID, BackendKind>& kinds, const TaskSnapshot& task, BackendKind kind) {
    auto found = kinds.find(task.accountID);
    return found != kinds.end() && found->second == kind;
}

MCPToolError noTask(const std::string& text) {
    return MCPToolError(fmt::format("No task with task_id {}. Use list_tasks to find it.", text));
}

// Children name their parent by its number, which other projects may use as well: a parent that is known for sure
// brings its account and project along. Jira's numbers are unique, and children may lie in any of its projects.
void narrowToParent(TaskQuery& query, const TaskSnapshot& parent, bool isJira) {
    query.accountID = parent.accountID;
    if (!isJira) {
        query.projectID = parent.item.projectID;
    }
}

}  // namespace

void checkParentCanChange(const TaskSnapshot& task, BackendKind kind) {
    if (kind == BackendKind::forgejo) {
        throw MCPToolError("Forgejo tasks have no parent.");
    }
    if (!task.item.canChangeParent) {
        throw MCPToolError(
            fmt::format("{} can't change its parent: a Jira sub-task stays with its issue, and pull requests, GitLab "
                        "issues and board tickets have none.",
                        task.item.reference()));
    }
}

Async<TaskParent> resolveParent(TaskStore& store, TaskSnapshot task, ProjectSnapshot project, std::string text) {
    std::vector<TaskSnapshot> candidates = co_await parentCandidates(store, project, text);
    if (candidates.empty()) {
        throw MCPToolError(noCandidateMessage(project, text));
    }
    auto inOwnProject = std::find_if(candidates.begin(), candidates.end(), [&](const TaskSnapshot& candidate) {
        return candidate.item.projectID == task.item.projectID;
    });
    const TaskSnapshot& parent = inOwnProject == candidates.end() ? candidates.front() : *inOwnProject;
    if (parent.localID == task.localID) {
        throw MCPToolError("A task can't be its own parent.");
    }
    std::string id = TaskParent::idOf(parent.item.id, parent.item.projectID, task.item.projectID, project.kind);
    co_return TaskParent{std::move(id), parent.item.title};
}

Async<TaskQuery> narrowedToChildren(TaskStore& store, TaskQuery query, std::string text) {
    std::vector<TaskSnapshot> named = co_await store.tasksNamed(text, query.accountID, query.projectID);
    if (query.projectID) {
        if (named.empty()) {
            throw noTask(text);
        }
        query.parentID = named.front().item.id;
        co_return query;
    }
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    std::map<UUID, BackendKind> kinds = kindsOf(accounts);
    bool namesRepository = named.empty();
    if (namesRepository) {
        named = co_await issuesNamedWithRepository(store, text, query.accountID);
        std::erase_if(named, [&](const TaskSnapshot& task) { return !isOfKind(kinds, task, BackendKind::github); });
    }
    if (named.empty()) {
        throw noTask(text);
    }
    // Pull requests and the like share numbers with tasks of other projects, but have no children to list.
    bool someHaveChildren =
        std::any_of(named.begin(), named.end(), [](const TaskSnapshot& task) { return task.item.canHaveChildren; });
    if (someHaveChildren) {
        keepThoseWithChildren(named);
    }
    query.parentID = named.front().item.id;
    if (named.size() == 1 || namesRepository) {
        narrowToParent(query, named.front(), isOfKind(kinds, named.front(), BackendKind::jira));
    }
    co_return query;
}

}  // namespace marlet
