#include "ForgeBackend/ForgeMappingInternal.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "ForgeBackend/ForgeRequestsInternal.h"
#include "MarletBase/Text.h"

namespace marlet::forge {
namespace {

constexpr std::string_view closedState = "closed";

User user(ForgeUser person) {
    return {std::to_string(person.id), std::move(person.login), std::move(person.fullName), url(person.avatarUrl)};
}

Milestone milestone(ForgeMilestone found, ForgeDialect dialect) {
    int64_t id = dialect == ForgeDialect::github ? found.number.value_or(found.id) : found.id;
    return {std::to_string(id), std::move(found.title), found.dueOn, found.state == closedState};
}

// Takes an issue's place in the engine when its own words can't be read.
ForgeIssue issueAsSent(int64_t number, const TaskDraft& draft, ForgeDialect dialect) {
    ForgeIssue issue;
    issue.number = number;
    issue.title = draft.title;
    issue.body = draft.notes;
    issue.state = "open";
    issue.dueDate = dueDateFor(dialect, draft.dueDate);
    for (const std::string& name : draft.labels) {
        issue.labels.push_back({0, name, std::nullopt});
    }
    return issue;
}

}  // namespace

Project project(ForgeRepository repository, const UUID& accountID) {
    Project result;
    result.id = repository.fullName;
    result.accountID = accountID;
    result.name = std::move(repository.fullName);
    result.detail = std::move(repository.description).value_or("");
    result.webURL = url(repository.htmlUrl);
    result.cloneURL = url(repository.cloneUrl);
    result.sshCloneURL = std::move(repository.sshUrl);
    result.kind = ProjectKind::repository;
    return result;
}

std::vector<Project> projects(std::vector<ForgeRepository> repositories, const UUID& accountID) {
    std::vector<Project> result;
    std::unordered_set<std::string> known;
    for (ForgeRepository& repository : repositories) {
        bool holdsIssues = repository.hasIssues.value_or(true) && !repository.archived.value_or(false);
        if (holdsIssues && known.insert(repository.fullName).second) {
            result.push_back(project(std::move(repository), accountID));
        }
    }
    return result;
}

std::optional<TaskParent> parentOf(const ForgeIssue& issue, const std::string& projectID) {
    std::optional<URL> address = url(issue.parentIssueUrl);
    if (!address) {
        return std::nullopt;
    }
    std::string path = address->components().path;
    std::vector<std::string_view> components = pieces(path, '/');
    auto last = std::find(components.rbegin(), components.rend(), std::string_view("repos"));
    bool hasRightLength = last != components.rend() && last - components.rbegin() == 4;
    if (!hasRightLength || components[components.size() - 2] != "issues") {
        return std::nullopt;
    }
    auto owner = last.base();
    std::string repository = std::string(owner[0]) + "/" + std::string(owner[1]);
    std::string number(owner[3]);
    bool isHere = equalIgnoringCase(repository, projectID);
    return TaskParent{isHere ? number : repository + "#" + number, ""};
}

std::vector<TaskLabel> taskLabels(std::vector<ForgeLabel> labels) {
    std::vector<TaskLabel> result;
    result.reserve(labels.size());
    for (ForgeLabel& label : labels) {
        result.push_back({std::move(label.name), colorHex(label.color)});
    }
    return result;
}

TaskItem taskItem(ForgeIssue issue, const std::string& projectID, ForgeDialect dialect) {
    TaskItem item;
    item.id = std::to_string(issue.number);
    item.projectID = projectID;
    item.kind = issue.pullRequest ? TaskKind::pullRequest : TaskKind::issue;
    item.title = std::move(issue.title);
    item.notes = std::move(issue.body).value_or("");
    item.isCompleted = issue.state == closedState;
    item.createdAt = issue.createdAt;
    item.updatedAt = issue.updatedAt;
    item.dueDate = issue.dueDate;
    item.labels = taskLabels(std::move(issue.labels));
    if (issue.assignees) {
        for (ForgeUser& assignee : *issue.assignees) {
            item.assignees.push_back(user(std::move(assignee)));
        }
    }
    if (issue.milestone) {
        item.milestone = milestone(std::move(*issue.milestone), dialect);
    }
    if (dialect == ForgeDialect::github) {
        item.parent = parentOf(issue, projectID);
    }
    if (issue.type) {
        item.typeName = std::move(issue.type->name);
    }
    item.canHaveChildren = dialect == ForgeDialect::github && item.kind == TaskKind::issue;
    item.canChangeParent = item.canHaveChildren;
    item.webURL = url(issue.htmlUrl);
    return item;
}

std::vector<TaskItem> taskItems(std::vector<ForgeIssue> issues, const std::string& projectID, ForgeDialect dialect) {
    std::vector<TaskItem> items;
    items.reserve(issues.size());
    for (ForgeIssue& issue : issues) {
        items.push_back(taskItem(std::move(issue), projectID, dialect));
    }
    std::unordered_map<std::string_view, const std::string*> titles;
    for (const TaskItem& item : items) {
        titles.emplace(item.id, &item.title);
    }
    for (TaskItem& item : items) {
        auto found = item.parent ? titles.find(item.parent->id) : titles.end();
        if (found != titles.end()) {
            item.parent->title = *found->second;
        }
    }
    return items;
}

TaskItem taskItem(CreatedIssue created, const TaskDraft& draft, const std::string& projectID, ForgeDialect dialect) {
    if (created.record) {
        return taskItem(std::move(*created.record), projectID, dialect);
    }
    return taskItem(issueAsSent(created.identity.number, draft, dialect), projectID, dialect);
}

TaskComment taskComment(ForgeComment comment) {
    TaskComment result;
    result.id = std::to_string(comment.id);
    if (comment.user) {
        result.author = user(std::move(*comment.user));
    }
    result.body = std::move(comment.body).value_or("");
    result.createdAt = comment.createdAt;
    result.updatedAt = comment.updatedAt;
    return result;
}

TaskComment taskComment(CreatedComment created, const std::string& body) {
    return created.record ? taskComment(std::move(*created.record))
                          : commentAsSent(std::to_string(created.identity.id), body);
}

ChangeHints changeHints(const std::vector<ForgeNotification>& notifications) {
    ChangeHints hints;
    for (const ForgeNotification& notification : notifications) {
        const std::string& type = notification.subject.type;
        if (type == "Issue" || type == "PullRequest") {
            add(hints, notification.updatedAt, notification.repository.fullName, false);
        }
    }
    return hints;
}

}  // namespace marlet::forge
