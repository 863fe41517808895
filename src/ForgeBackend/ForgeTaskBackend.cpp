#include "ForgeBackend/ForgeTaskBackend.h"

#include <algorithm>

#include "ForgeBackend/ForgeMappingInternal.h"
#include "ForgeBackend/ForgeRecordsInternal.h"
#include "ForgeBackend/ForgeRequestsInternal.h"
#include "ForgeBackend/GitHubBoard.h"
#include "ForgeBackend/GitHubBoardFieldsInternal.h"
#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

// The feed holds whatever the user was ever notified of; what is older than this many entries isn't worth a hint.
constexpr size_t maximalNotifications = 200;

ForgeDialect dialectOf(BackendKind kind) {
    switch (kind) {
        case BackendKind::github:
            return ForgeDialect::github;
        case BackendKind::forgejo:
            return ForgeDialect::forgejo;
        default:
            programmingError("A forge backend needs an account of GitHub or Forgejo.");
    }
}

// GitHub shows the notifications to classic tokens and to those of its apps' users, but not to fine-grained ones.
bool mayReadNotifications(ForgeDialect dialect, const std::string& token) {
    return dialect == ForgeDialect::forgejo || token.starts_with("ghp_") || token.starts_with("gho_");
}

bool isSameParent(const std::optional<TaskParent>& left, const std::optional<TaskParent>& right) {
    return left && right ? equalIgnoringCase(left->id, right->id) : !left && !right;
}

// Empty where the service denies the list to this token.
template <class Element>
Async<std::vector<Element>> listUnlessDenied(const HTTPClient& client, std::string path, URLQuery query) {
    try {
        std::vector<Element> elements = co_await client.paginate<Element>(std::move(path), std::move(query));
        co_return elements;
    } catch (const BackendError& error) {
        if (!isDenied(error)) {
            throw;
        }
    }
    co_return std::vector<Element>();
}

Async<std::vector<ForgeLabel>> repositoryLabels(const HTTPClient& client, std::string projectID) {
    URLQuery query{forge::pageSize(ForgeDialect::forgejo)};
    std::vector<ForgeLabel> labels =
        co_await client.paginate<ForgeLabel>(forge::labelsPath(projectID), std::move(query));
    co_return labels;
}

// Makes the issue a sub-issue of what the task names as its parent, or of nothing; tells whether that was a change.
Async<bool> bringParentInLine(const HTTPClient& client, ForgeIssue issue, TaskItem task) {
    std::optional<TaskParent> current = forge::parentOf(issue, task.projectID);
    if (isSameParent(current, task.parent)) {
        co_return false;
    }
    if (!issue.id) {
        throw BackendError::invalidResponse();
    }
    SubIssueReference reference{*issue.id, {}};
    const TaskParent& parent = task.parent ? *task.parent : *current;
    TaskParent::Location location = parent.location(task.projectID, BackendKind::github);
    std::string path = forge::issuePath(location.projectID.value_or(task.projectID), location.taskID);
    if (task.parent) {
        reference.replaceParent = true;
    }
    URL url = client.url(path + (task.parent ? "/sub_issues" : "/sub_issue"));
    HTTPMethod method = task.parent ? HTTPMethod::post : HTTPMethod::delete_;
    co_await client.send(method, std::move(url), JSONCoding::encode(reference), true);
    co_return true;
}

}  // namespace

ForgeTaskBackend::ForgeTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                                   int64_t itemLimit, std::shared_ptr<Clock> clock)
    : ownAccount(std::move(account)),
      dialect(dialectOf(ownAccount.kind)),
      client(forge::apiRoot(ownAccount), forge::requestHeaders(dialect, token), std::move(transport), std::move(clock)),
      boardFields(std::make_shared<GitHubBoardFields>()),
      limit(itemLimit),
      givesHints(mayReadNotifications(dialect, token)) {}

Async<std::vector<Project>> ForgeTaskBackend::fetchProjects() {
    int64_t hidden = 0;
    PageWalk<ForgeRepository> walk;
    walk.inspect = [&hidden](const HTTPResponse& page) { hidden = std::max(hidden, forge::hiddenOrganizations(page)); };
    std::vector<ForgeRepository> repositories =
        co_await client.paginate<ForgeRepository>("user/repos", forge::repositoriesQuery(dialect), std::move(walk));

    std::vector<ForgeOrganization> organizations;
    if (dialect == ForgeDialect::github) {
        organizations = co_await listUnlessDenied<ForgeOrganization>(client, "user/orgs", {forge::pageSize(dialect)});
    }
    for (const ForgeOrganization& organization : organizations) {
        std::string path = forge::organizationRepositoriesPath(organization.login);
        std::vector<ForgeRepository> found = co_await listUnlessDenied<ForgeRepository>(
            client, std::move(path), forge::organizationRepositoriesQuery(dialect));
        std::move(found.begin(), found.end(), std::back_inserter(repositories));
    }

    std::vector<Project> result = forge::projects(std::move(repositories), ownAccount.id);
    if (result.empty() && hidden > 0) {
        throw forge::organizationsHidden(hidden);
    }
    if (dialect == ForgeDialect::github) {
        std::vector<Project> boards = co_await fetchBoards(std::move(organizations));
        std::move(boards.begin(), boards.end(), std::back_inserter(result));
    }
    co_return result;
}

Async<std::vector<TaskItem>> ForgeTaskBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    if (std::optional<GitHubBoard> destination = board(projectID)) {
        std::vector<TaskItem> drafts = co_await fetchDrafts(std::move(*destination), updatedSince);
        co_return drafts;
    }
    PageWalk<ForgeIssue> walk;
    if (!updatedSince) {
        walk.maxItems = static_cast<size_t>(std::max<int64_t>(limit, 0));
    }
    std::vector<ForgeIssue> issues = co_await client.paginate<ForgeIssue>(
        forge::issuesPath(projectID), forge::issuesQuery(dialect, updatedSince), std::move(walk));
    co_return forge::taskItems(std::move(issues), projectID, dialect);
}

Async<TaskItem> ForgeTaskBackend::createTask(TaskDraft draft, std::string projectID) {
    if (std::optional<GitHubBoard> destination = board(projectID)) {
        TaskItem created = co_await createDraft(std::move(draft), std::move(*destination));
        co_return created;
    }
    CreateIssue body{draft.title, draft.notes, {}, forge::dueDateFor(dialect, draft.dueDate)};
    if (!draft.labels.empty() && dialect == ForgeDialect::github) {
        body.labels = LabelReferences{draft.labels};
    } else if (!draft.labels.empty()) {
        std::vector<ForgeLabel> known = co_await repositoryLabels(client, projectID);
        body.labels = forge::labelIDs(draft.labels, known, {});
    }
    CreatedIssue created =
        co_await client.send<CreatedIssue>(HTTPMethod::post, forge::issuesPath(projectID), std::move(body));
    co_return forge::taskItem(std::move(created), draft, projectID, dialect);
}

Async<TaskItem> ForgeTaskBackend::updateTask(TaskItem task) {
    if (std::optional<GitHubBoard> destination = board(task.projectID)) {
        TaskItem updated = co_await updateDraft(std::move(task), std::move(*destination));
        co_return updated;
    }
    std::string path = forge::issuePath(task.projectID, task.id);
    ForgeIssue issue = co_await client.send<ForgeIssue>(HTTPMethod::patch, path, forge::editIssue(task, dialect));

    if (dialect == ForgeDialect::forgejo) {
        if (!haveSameNames(forge::taskLabels(issue.labels), task.labels)) {
            std::vector<ForgeLabel> known = co_await repositoryLabels(client, task.projectID);
            ReplaceLabels labels{forge::labelIDs(labelNames(task.labels), known, issue.labels)};
            issue.labels = co_await client.send<std::vector<ForgeLabel>>(HTTPMethod::put, path + "/labels", labels);
        }
        co_return forge::taskItem(std::move(issue), task.projectID, dialect);
    }

    bool hasNewParent = false;
    if (task.kind == TaskKind::issue) {
        hasNewParent = co_await bringParentInLine(client, issue, task);
    }
    TaskItem updated = forge::taskItem(std::move(issue), task.projectID, dialect);
    if (hasNewParent) {
        updated.parent = task.parent;
    }
    co_return updated;
}

Async<std::vector<TaskComment>> ForgeTaskBackend::fetchComments(TaskItem task) {
    std::vector<TaskComment> result;
    if (board(task.projectID)) {
        co_return result;
    }
    std::string path = forge::issuePath(task.projectID, task.id) + "/comments";
    URLQuery query{forge::pageSize(dialect)};
    std::vector<ForgeComment> comments = co_await client.paginate<ForgeComment>(std::move(path), std::move(query));
    for (ForgeComment& comment : comments) {
        result.push_back(forge::taskComment(std::move(comment)));
    }
    co_return result;
}

Async<TaskComment> ForgeTaskBackend::addComment(std::string body, TaskItem task) {
    if (board(task.projectID)) {
        throw BackendError::rejected("Draft tickets of a GitHub Project have no comments.");
    }
    std::string path = forge::issuePath(task.projectID, task.id) + "/comments";
    AddComment request{body};
    CreatedComment created = co_await client.send<CreatedComment>(HTTPMethod::post, std::move(path), request);
    co_return forge::taskComment(std::move(created), body);
}

Async<std::string> ForgeTaskBackend::rawTask(TaskItem task) {
    if (std::optional<GitHubBoard> destination = board(task.projectID)) {
        std::string draft = co_await rawDraft(std::move(task), std::move(*destination));
        co_return draft;
    }
    std::string path = forge::issuePath(task.projectID, task.id);
    HTTPResponse response = co_await client.get(std::move(path));
    co_return std::move(response.data);
}

Async<std::optional<int64_t>> ForgeTaskBackend::taskCount(std::string projectID) {
    if (board(projectID)) {
        co_return std::nullopt;
    }
    HTTPResponse response = co_await client.get(forge::issuesPath(projectID), forge::countQuery(dialect));
    co_return forge::issueCount(response, dialect);
}

Async<ChangeHints> ForgeTaskBackend::notifiedTaskUpdates(Date since) {
    PageWalk<ForgeNotification> walk;
    walk.maxItems = maximalNotifications;
    std::vector<ForgeNotification> notifications = co_await client.paginate<ForgeNotification>(
        "notifications", forge::notificationsQuery(dialect, since), std::move(walk));
    co_return forge::changeHints(notifications);
}

}  // namespace marlet
