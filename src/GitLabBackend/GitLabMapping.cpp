#include "GitLabBackend/GitLabMappingInternal.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "GitLabBackend/GitLabRequestsInternal.h"
#include "MarletBase/Text.h"

namespace marlet::gitlab {
namespace {

constexpr std::string_view closedState = "closed";
constexpr std::string_view taskType = "task";

User user(GitLabUser person) {
    return {std::to_string(person.id), std::move(person.username), std::move(person.name), url(person.avatarUrl)};
}

std::optional<Date> dueDay(const std::optional<std::string>& day) {
    return day ? parseLocalDay(*day) : std::nullopt;
}

Milestone milestone(GitLabMilestone found) {
    return {std::to_string(found.id), std::move(found.title), dueDay(found.dueDate), found.state == closedState};
}

// Six digits or nothing: a server may name a color in words.
std::optional<std::string> sixDigits(const std::optional<std::string>& color) {
    std::optional<std::string> digits = colorHex(color);
    return digits && digits->size() == 6 ? digits : std::nullopt;
}

// "incident" -> "Incident", "test_case" -> "Test_case"
std::string typeName(std::string type) {
    if (!type.empty() && type.front() >= 'a' && type.front() <= 'z') {
        type.front() = static_cast<char>(type.front() - 'a' + 'A');
    }
    return type;
}

Project project(GitLabProject found, const UUID& accountID) {
    Project result;
    result.id = std::to_string(found.id);
    result.accountID = accountID;
    result.name = std::move(found.pathWithNamespace);
    result.detail = std::move(found.description).value_or("");
    result.webURL = url(found.webUrl);
    result.cloneURL = url(found.httpUrlToRepo);
    result.sshCloneURL = std::move(found.sshUrlToRepo);
    result.kind = projectKind(std::nullopt, result.cloneURL, result.sshCloneURL);
    return result;
}

// Takes an issue's place in the engine when its own words can't be read.
GitLabIssue issueAsSent(int64_t iid, const CreateIssue& sent) {
    GitLabIssue issue;
    issue.iid = iid;
    issue.title = sent.title;
    issue.description = sent.description;
    issue.state = "opened";
    issue.dueDate = sent.dueDate;
    std::string labels = sent.labels.value_or("");
    for (std::string_view name : pieces(labels, ',')) {
        issue.labels.push_back({std::string(name), std::nullopt});
    }
    return issue;
}

}  // namespace

std::vector<Project> projects(std::vector<GitLabProject> found, const UUID& accountID) {
    std::vector<Project> result;
    for (GitLabProject& candidate : found) {
        if (candidate.issuesEnabled.value_or(true) && !candidate.archived.value_or(false)) {
            result.push_back(project(std::move(candidate), accountID));
        }
    }
    return result;
}

bool isClosed(const GitLabIssue& issue) {
    return issue.state == closedState || issue.state == "merged";
}

bool isTask(const GitLabIssue& issue) {
    return issue.issueType == taskType;
}

std::vector<int64_t> taskNumbers(const std::vector<GitLabIssue>& issues) {
    std::vector<int64_t> numbers;
    for (const GitLabIssue& issue : issues) {
        if (isTask(issue)) {
            numbers.push_back(issue.iid);
        }
    }
    return numbers;
}

TaskItem taskItem(GitLabIssue issue, const std::string& projectID, bool isMergeRequest,
                  std::optional<TaskParent> parent) {
    TaskItem item;
    item.id = ItemNumber{issue.iid, isMergeRequest}.taskID();
    item.projectID = projectID;
    item.kind = isMergeRequest ? TaskKind::pullRequest : TaskKind::issue;
    item.title = std::move(issue.title);
    item.notes = std::move(issue.description).value_or("");
    item.isCompleted = isClosed(issue);
    item.createdAt = issue.createdAt;
    item.updatedAt = issue.updatedAt;
    item.dueDate = dueDay(issue.dueDate);
    item.labels.reserve(issue.labels.size());
    for (GitLabLabel& label : issue.labels) {
        item.labels.push_back({std::move(label.name), sixDigits(label.color)});
    }
    if (issue.assignees) {
        for (GitLabUser& assignee : *issue.assignees) {
            item.assignees.push_back(user(std::move(assignee)));
        }
    }
    if (issue.milestone) {
        item.milestone = milestone(std::move(*issue.milestone));
    }
    item.parent = std::move(parent);
    item.canHaveChildren = !isMergeRequest && !isTask(issue);
    item.canChangeParent = !isMergeRequest && isTask(issue);
    if (issue.issueType && !isMergeRequest) {
        item.typeName = typeName(std::move(*issue.issueType));
    }
    item.webURL = url(issue.webUrl);
    return item;
}

std::vector<TaskItem> taskItems(std::vector<GitLabIssue> issues, std::vector<GitLabIssue> mergeRequests,
                                const ParentsByNumber& parents, const std::string& projectID, size_t limit) {
    std::vector<TaskItem> items;
    items.reserve(issues.size() + mergeRequests.size());
    for (GitLabIssue& issue : issues) {
        auto parent = isTask(issue) ? parents.find(issue.iid) : parents.end();
        items.push_back(taskItem(std::move(issue), projectID, false,
                                 parent == parents.end() ? std::nullopt : std::optional(parent->second)));
    }
    for (GitLabIssue& request : mergeRequests) {
        items.push_back(taskItem(std::move(request), projectID, true, std::nullopt));
    }
    std::stable_sort(items.begin(), items.end(), [](const TaskItem& left, const TaskItem& right) {
        return left.updatedAt.value_or(distantPast) > right.updatedAt.value_or(distantPast);
    });
    items.resize(std::min(items.size(), limit));
    return items;
}

TaskItem taskItem(CreatedIssue created, const CreateIssue& sent, const std::string& projectID) {
    if (created.record) {
        return taskItem(std::move(*created.record), projectID, false, std::nullopt);
    }
    return taskItem(issueAsSent(created.identity.iid, sent), projectID, false, std::nullopt);
}

void takeColors(TaskItem& item, const std::vector<TaskLabel>& known) {
    std::unordered_map<std::string_view, const std::optional<std::string>*> colors;
    for (const TaskLabel& label : known) {
        if (label.colorHex) {
            colors[label.name] = &label.colorHex;
        }
    }
    for (TaskLabel& label : item.labels) {
        auto found = colors.find(label.name);
        if (!label.colorHex && found != colors.end()) {
            label.colorHex = *found->second;
        }
    }
}

TaskComment taskComment(GitLabNote note) {
    std::optional<User> author;
    if (note.author) {
        author = user(std::move(*note.author));
    }
    std::string body = std::move(note.body).value_or("");
    return {std::to_string(note.id), std::move(author), std::move(body), note.createdAt, note.updatedAt};
}

TaskComment taskComment(CreatedNote created, const std::string& body) {
    GitLabNote asSent;
    asSent.id = created.identity.id;
    asSent.body = body;
    return taskComment(std::move(created.record).value_or(std::move(asSent)));
}

std::vector<TaskComment> taskComments(std::vector<GitLabNote> notes) {
    std::vector<TaskComment> comments;
    for (GitLabNote& note : notes) {
        if (!note.system.value_or(false)) {
            comments.push_back(taskComment(std::move(note)));
        }
    }
    return comments;
}

ChangeHints changeHints(const std::vector<GitLabTodo>& todos) {
    ChangeHints hints;
    for (const GitLabTodo& todo : todos) {
        bool isAboutTask = todo.targetType == "Issue" || todo.targetType == "MergeRequest";
        if (isAboutTask && todo.project) {
            add(hints, todo.updatedAt.value_or(todo.createdAt), std::to_string(todo.project->id), false);
        }
    }
    return hints;
}

}  // namespace marlet::gitlab
