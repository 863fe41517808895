#include "GitLabBackend/GitLabTaskBackend.h"

#include <algorithm>
#include <boost/asio/deferred.hpp>
#include <boost/asio/experimental/parallel_group.hpp>
#include <limits>

#include "GitLabBackend/GitLabMappingInternal.h"
#include "GitLabBackend/GitLabRecordsInternal.h"
#include "GitLabBackend/GitLabRequestsInternal.h"
#include "GitLabBackend/GitLabWorkItemsInternal.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

// The list holds every todo that the user didn't tick off; what is older than this many entries isn't worth a hint.
constexpr size_t maximalTodos = 200;

struct Listings {
    std::vector<GitLabIssue> issues;
    std::vector<GitLabIssue> mergeRequests;
};

// Runs both listings side by side. When one fails the other is cancelled, and the failure is thrown once both have
// ended; whoever cancels the caller cancels both.
Async<Listings> sideBySide(Async<std::vector<GitLabIssue>> issues, Async<std::vector<GitLabIssue>> mergeRequests) {
    Executor executor = co_await boost::asio::this_coro::executor;
    auto both = boost::asio::experimental::make_parallel_group(
        boost::asio::co_spawn(executor, std::move(issues), boost::asio::deferred),
        boost::asio::co_spawn(executor, std::move(mergeRequests), boost::asio::deferred));
    auto [order, issuesError, foundIssues, requestsError, foundRequests] =
        co_await both.async_wait(boost::asio::experimental::wait_for_one_error(), boost::asio::use_awaitable);
    // The one that ended second may have failed because it was cancelled.
    bool issuesEndedFirst = order[0] == 0;
    for (const std::exception_ptr& error :
         {issuesEndedFirst ? issuesError : requestsError, issuesEndedFirst ? requestsError : issuesError}) {
        if (error) {
            std::rethrow_exception(error);
        }
    }
    co_return Listings{std::move(foundIssues), std::move(foundRequests)};
}

// The project has no merge requests for this token: they are switched off, or for others.
bool hidesMergeRequests(const BackendError& error) {
    const auto* http = error.as<BackendError::HTTP>();
    return error.as<BackendError::NotFound>() || (http && http->status == 403);
}

// No value for numbers that no list has.
std::optional<int64_t> sum(int64_t left, int64_t right) {
    int64_t result = 0;
    return __builtin_add_overflow(left, right, &result) ? std::nullopt : std::optional(result);
}

}  // namespace

GitLabTaskBackend::GitLabTaskBackend(Account account, const std::string& token,
                                     std::shared_ptr<HTTPTransport> transport, int64_t itemLimit,
                                     std::shared_ptr<Clock> clock)
    : ownAccount(std::move(account)),
      client(gitlab::apiRoot(ownAccount), gitlab::requestHeaders(token), std::move(transport), std::move(clock)),
      graphQLURL(gitlab::graphQLURL(ownAccount)),
      limit(itemLimit) {
    if (ownAccount.kind != BackendKind::gitlab) {
        programmingError("A GitLab backend needs an account of GitLab.");
    }
}

Async<std::vector<Project>> GitLabTaskBackend::fetchProjects() {
    std::vector<GitLabProject> found = co_await client.paginate<GitLabProject>("projects", gitlab::projectsQuery());
    co_return gitlab::projects(std::move(found), ownAccount.id);
}

Async<std::vector<TaskItem>> GitLabTaskBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    PageWalk<GitLabIssue> walk;
    if (!updatedSince) {
        walk.maxItems = static_cast<size_t>(std::max<int64_t>(limit, 0));
    }
    Async<std::vector<GitLabIssue>> issues =
        client.paginate<GitLabIssue>(gitlab::issuesPath(projectID), gitlab::issuesQuery(updatedSince), walk);
    Async<std::vector<GitLabIssue>> mergeRequests = client.paginate<GitLabIssue>(
        gitlab::mergeRequestsPath(projectID), gitlab::mergeRequestsQuery(updatedSince), walk);
    Listings found = co_await sideBySide(std::move(issues), std::move(mergeRequests));

    gitlab::ParentsByNumber parents =
        co_await gitlab::parentsOf(client, graphQLURL, projectID, gitlab::taskNumbers(found.issues));
    co_return gitlab::taskItems(std::move(found.issues), std::move(found.mergeRequests), parents, projectID,
                                walk.maxItems);
}

Async<TaskItem> GitLabTaskBackend::createTask(TaskDraft draft, std::string projectID) {
    gitlab::CreateIssue body = gitlab::createIssue(draft);
    gitlab::CreatedIssue created =
        co_await client.send<gitlab::CreatedIssue>(HTTPMethod::post, gitlab::issuesPath(projectID), body);
    co_return gitlab::taskItem(std::move(created), body, projectID);
}

Async<TaskItem> GitLabTaskBackend::updateTask(TaskItem task) {
    gitlab::ItemNumber number = gitlab::itemNumber(task.id);
    std::string path = gitlab::itemPath(task.projectID, number);
    GitLabIssue current = co_await client.get<GitLabIssue>(path);
    gitlab::EditIssue body = gitlab::editIssue(task, number, current);
    GitLabIssue edited = co_await client.send<GitLabIssue>(HTTPMethod::put, path, std::move(body));

    std::optional<TaskParent> parent;
    if (gitlab::isTask(current)) {
        parent = co_await gitlab::bringParentInLine(client, graphQLURL, task, number.iid);
    }
    TaskItem item = gitlab::taskItem(std::move(edited), task.projectID, number.isMergeRequest, std::move(parent));
    gitlab::takeColors(item, task.labels);
    co_return item;
}

Async<std::vector<TaskComment>> GitLabTaskBackend::fetchComments(TaskItem task) {
    std::vector<GitLabNote> notes = co_await client.paginate<GitLabNote>(gitlab::notesPath(task), gitlab::notesQuery());
    co_return gitlab::taskComments(std::move(notes));
}

Async<TaskComment> GitLabTaskBackend::addComment(std::string body, TaskItem task) {
    gitlab::AddNote request{body};
    gitlab::CreatedNote created =
        co_await client.send<gitlab::CreatedNote>(HTTPMethod::post, gitlab::notesPath(task), std::move(request));
    co_return gitlab::taskComment(std::move(created), body);
}

Async<std::string> GitLabTaskBackend::rawTask(TaskItem task) {
    std::string path = gitlab::itemPath(task.projectID, gitlab::itemNumber(task.id));
    HTTPResponse response = co_await client.get(std::move(path));
    co_return std::move(response.data);
}

Async<std::optional<int64_t>> GitLabTaskBackend::taskCount(std::string projectID) {
    URLQuery everyIssue{{"scope", "all"}};
    GitLabIssueStatistics statistics =
        co_await client.get<GitLabIssueStatistics>(gitlab::issueStatisticsPath(projectID), std::move(everyIssue));
    int64_t issues = statistics.statistics.counts.all;
    try {
        HTTPResponse page = co_await client.get(gitlab::mergeRequestsPath(projectID), gitlab::mergeRequestCountQuery());
        // Left out where there are more than 10,000.
        std::optional<int64_t> mergeRequests = decimalInteger(page.header("X-Total").value_or(""));
        if (!mergeRequests) {
            mergeRequests = co_await gitlab::mergeRequestCount(client, graphQLURL, projectID);
        }
        co_return mergeRequests ? sum(issues, *mergeRequests) : std::nullopt;
    } catch (const BackendError& error) {
        if (!hidesMergeRequests(error)) {
            throw;
        }
    }
    co_return issues;
}

Async<ChangeHints> GitLabTaskBackend::notifiedTaskUpdates(Date since) {
    PageWalk<GitLabTodo> walk;
    walk.maxItems = maximalTodos;
    walk.goesOn = [since](const GitLabTodo& todo) { return todo.createdAt >= since; };
    std::vector<GitLabTodo> todos =
        co_await client.paginate<GitLabTodo>("todos", gitlab::todosQuery(), std::move(walk));
    co_return gitlab::changeHints(todos);
}

}  // namespace marlet
