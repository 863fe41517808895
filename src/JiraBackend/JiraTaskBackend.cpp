#include "JiraBackend/JiraTaskBackend.h"

#include <algorithm>
#include <boost/system/system_error.hpp>
#include <unordered_set>

#include "JiraBackend/JiraFactCacheInternal.h"
#include "JiraBackend/JiraFieldsInternal.h"
#include "JiraBackend/JiraLoginInternal.h"
#include "JiraBackend/JiraMappingInternal.h"
#include "JiraBackend/JiraRecordsInternal.h"
#include "JiraBackend/JiraRequestsInternal.h"
#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

constexpr size_t unlimited = std::numeric_limits<size_t>::max();
constexpr size_t maximalHints = 200;
// As many as come on one page, and few enough for an address that every server takes.
constexpr size_t keysPerQuery = 100;
// Far more than anybody's issues fill. A server that names ever new pages would be asked until the memory ends.
constexpr size_t mostPages = 10'000;

Account requireJira(Account account) {
    if (account.kind != BackendKind::jira) {
        programmingError("A Jira backend needs an account of Jira.");
    }
    return account;
}

// The service has answered, and not with a list of fields.
bool isRefused(const BackendError& error) {
    return error.as<BackendError::HTTP>() || error.as<BackendError::Rejected>() || error.as<BackendError::NotFound>();
}

template <class Element>
void append(std::vector<Element>& elements, std::vector<Element> more) {
    std::move(more.begin(), more.end(), std::back_inserter(elements));
}

Async<std::vector<JiraIssue>> searchCloud(const HTTPClient& client, URLQuery query, size_t maxItems) {
    std::vector<JiraIssue> issues;
    std::unordered_set<std::string> pagesRead;
    std::optional<std::string> token;
    for (size_t pages = 0; pages < mostPages; ++pages) {
        URLQuery pageQuery = query;
        if (token) {
            // A list that leads back to one of its pages never ends, and what else it holds would be lost.
            if (!pagesRead.insert(*token).second) {
                throw BackendError::invalidResponse();
            }
            pageQuery.push_back({"nextPageToken", *token});
        }
        CloudSearchPage page = co_await client.get<CloudSearchPage>("search/jql", std::move(pageQuery));
        bool isEmpty = page.issues.empty();
        append(issues, std::move(page.issues));
        token = std::move(page.nextPageToken);
        if (isEmpty || page.isLast.value_or(false) || !token || issues.size() >= maxItems) {
            co_return issues;
        }
    }
    throw BackendError::invalidResponse();
}

Async<std::vector<JiraIssue>> searchServer(const HTTPClient& client, URLQuery query, size_t maxItems) {
    std::vector<JiraIssue> issues;
    for (size_t pages = 0; pages < mostPages; ++pages) {
        URLQuery pageQuery = query;
        pageQuery.push_back(jira::startAt(issues.size()));
        ServerSearchPage page = co_await client.get<ServerSearchPage>("search", std::move(pageQuery));
        bool isEmpty = page.issues.empty();
        append(issues, std::move(page.issues));
        bool isWhole = page.total.value_or(0) <= static_cast<int64_t>(issues.size());
        if (isEmpty || isWhole || issues.size() >= maxItems) {
            co_return issues;
        }
    }
    throw BackendError::invalidResponse();
}

Async<std::vector<JiraProject>> cloudProjects(const HTTPClient& client) {
    std::vector<JiraProject> projects;
    for (size_t pages = 0; pages < mostPages; ++pages) {
        URLQuery query{jira::startAt(projects.size()), jira::pageSize()};
        ProjectPage page = co_await client.get<ProjectPage>("project/search", std::move(query));
        bool isEmpty = page.values.empty();
        append(projects, std::move(page.values));
        if (isEmpty || page.isLast.value_or(true)) {
            co_return projects;
        }
    }
    throw BackendError::invalidResponse();
}

}  // namespace

JiraTaskBackend::JiraTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                                 int64_t itemLimit, std::shared_ptr<Clock> timeOfDay)
    : ownAccount(requireJira(std::move(account))),
      limit(itemLimit),
      clock(std::move(timeOfDay)),
      webBaseURL(jira::webBase(ownAccount.baseURL)),
      client(jira::restRoot(webBaseURL), jira::requestHeaders(token),
             std::make_shared<JiraLoginCheck>(std::move(transport)), clock),
      deployment(std::make_shared<DeploymentCache>()),
      knownFieldIDs(std::make_shared<FieldIDsCache>()) {}

Async<bool> JiraTaskBackend::isCloud() const {
    if (std::optional<bool> known = deployment->fact()) {
        co_return *known;
    }
    ServerInfo info = co_await client.get<ServerInfo>("serverInfo");
    bool isCloud = info.deploymentType ? equalIgnoringCase(*info.deploymentType, "Cloud") : jira::isHosted(webBaseURL);
    deployment->store(isCloud);
    co_return isCloud;
}

Async<CustomFieldIDs> JiraTaskBackend::fieldIDs() const {
    if (std::optional<CustomFieldIDs> known = knownFieldIDs->fact()) {
        co_return *known;
    }
    bool onCloud = co_await isCloud();
    CustomFieldIDs ids;
    try {
        std::vector<JiraField> fields = co_await client.get<std::vector<JiraField>>("field");
        ids = jira::customFieldIDs(fields, onCloud);
    } catch (const BackendError& error) {
        // Cloud keeps the list from some tokens, and tasks without estimates are better than none. A server without
        // the list would lose its epics.
        if (!onCloud || !isRefused(error)) {
            throw;
        }
    }
    knownFieldIDs->store(ids);
    co_return ids;
}

Async<std::vector<JiraIssue>> JiraTaskBackend::search(std::string jql, std::string fields, size_t maxItems) const {
    bool onCloud = co_await isCloud();
    URLQuery query = jira::searchQuery(std::move(jql), std::move(fields));
    Async<std::vector<JiraIssue>> walk =
        onCloud ? searchCloud(client, std::move(query), maxItems) : searchServer(client, std::move(query), maxItems);
    std::vector<JiraIssue> issues = co_await std::move(walk);
    issues.resize(std::min(issues.size(), maxItems));
    co_return issues;
}

Async<JiraIssue> JiraTaskBackend::readIssue(std::string key, CustomFieldIDs ids) const {
    URLQuery query{{"fields", jira::issueFields(ids)}};
    JiraIssue issue = co_await client.get<JiraIssue>(jira::issuePath(key), std::move(query));
    co_return issue;
}

Async<std::vector<TaskItem>> JiraTaskBackend::finished(std::vector<JiraIssue> issues, CustomFieldIDs ids,
                                                       std::string projectID) const {
    jira::JiraMappingContext context{std::move(ids), std::move(projectID), webBaseURL, {}};
    jira::addTitles(issues, context.titles);
    std::vector<std::string> missing = jira::parentsWithoutTitle(issues, context.ids, context.titles);
    for (size_t start = 0; start < missing.size(); start += keysPerQuery) {
        auto first = missing.begin() + static_cast<ptrdiff_t>(start);
        std::vector<std::string> keys(first,
                                      first + static_cast<ptrdiff_t>(std::min(keysPerQuery, missing.size() - start)));
        try {
            std::vector<JiraIssue> parents = co_await search(jira::keysQuery(keys), "summary", keys.size());
            jira::addTitles(parents, context.titles);
        } catch (const BackendError& error) {
            // A single parent that the user may not see fails the query of all. The tasks are worth more than their
            // parents' titles.
            if (!isRefused(error)) {
                break;
            }
        } catch (const boost::system::system_error&) {
            throw;  // cancelled: nobody waits for the tasks
        } catch (const std::exception&) {
            break;
        }
    }
    std::vector<TaskItem> items;
    items.reserve(issues.size());
    for (JiraIssue& issue : issues) {
        items.push_back(jira::taskItem(std::move(issue), context));
    }
    co_return items;
}

Async<TaskItem> JiraTaskBackend::finished(JiraIssue issue, CustomFieldIDs ids, std::string projectID) const {
    std::vector<JiraIssue> issues;
    issues.push_back(std::move(issue));
    std::vector<TaskItem> items = co_await finished(std::move(issues), std::move(ids), std::move(projectID));
    co_return std::move(items.front());
}

Async<std::vector<Project>> JiraTaskBackend::fetchProjects() {
    bool onCloud = co_await isCloud();
    std::vector<JiraProject> projects;
    if (onCloud) {
        projects = co_await cloudProjects(client);
    } else {
        projects = co_await client.get<std::vector<JiraProject>>("project");
    }
    co_return jira::projects(projects, ownAccount.id, webBaseURL);
}

Async<std::vector<TaskItem>> JiraTaskBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    CustomFieldIDs ids = co_await fieldIDs();
    std::string jql = jira::tasksQuery(projectID, updatedSince, clock->now());
    size_t maxItems = updatedSince ? unlimited : static_cast<size_t>(std::max<int64_t>(limit, 0));
    std::vector<JiraIssue> issues = co_await search(std::move(jql), jira::issueFields(ids), maxItems);
    std::vector<TaskItem> items = co_await finished(std::move(issues), std::move(ids), std::move(projectID));
    co_return items;
}

Async<std::vector<TaskComment>> JiraTaskBackend::fetchComments(TaskItem task) {
    std::string path = jira::issuePath(task.id) + "/comment";
    std::vector<TaskComment> result;
    for (size_t pages = 0; pages < mostPages; ++pages) {
        URLQuery query{{"orderBy", "created"}, jira::startAt(result.size()), jira::pageSize()};
        CommentPage page = co_await client.get<CommentPage>(path, std::move(query));
        for (JiraComment& comment : page.comments) {
            result.push_back(jira::taskComment(std::move(comment)));
        }
        if (page.comments.empty() || page.total.value_or(0) <= static_cast<int64_t>(result.size())) {
            co_return result;
        }
    }
    throw BackendError::invalidResponse();
}

Async<std::string> JiraTaskBackend::rawTask(TaskItem task) {
    URLQuery query{{"fields", "*all"}, {"expand", "names"}};
    HTTPResponse response = co_await client.get(jira::issuePath(task.id), std::move(query));
    co_return std::move(response.data);
}

Async<std::optional<int64_t>> JiraTaskBackend::taskCount(std::string projectID) {
    bool onCloud = co_await isCloud();
    std::string jql = jira::projectQuery(projectID);
    if (!onCloud) {
        ServerSearchPage page = co_await client.get<ServerSearchPage>("search", jira::countQuery(std::move(jql)));
        co_return page.total;
    }
    std::string body = JSONCoding::serialized(boost::json::object{{"jql", jql}});
    URL target = jira::approximateCountURL(webBaseURL);
    HTTPResponse response = co_await client.send(HTTPMethod::post, std::move(target), std::move(body), true);
    co_return response.decode<ApproximateCount>().count;
}

Async<ChangeHints> JiraTaskBackend::notifiedTaskUpdates(Date since) {
    std::string jql = jira::ownChangesQuery(since, clock->now());
    std::vector<JiraIssue> issues = co_await search(std::move(jql), "project,updated", maximalHints);
    co_return jira::changeHints(issues);
}

}  // namespace marlet
