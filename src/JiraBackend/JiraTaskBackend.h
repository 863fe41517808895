#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletCore/TaskBackend.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

struct CustomFieldIDs;
struct JiraIssue;
template <class Fact>
class JiraFactCache;

using DeploymentCache = JiraFactCache<bool>;  // whether the server is Cloud
using FieldIDsCache = JiraFactCache<CustomFieldIDs>;

// Issues of Jira, hosted (Cloud) or self-run (Server, Data Center). Which of the two answers, and which custom fields
// hold epics and story points, is found out by the first operation that needs it.
//
// A plain value: copies share what was found out and the cached answers of the client.
class JiraTaskBackend final : public RawTaskReading, public TaskCounting, public ChangeHinting {
public:
    // `account` is one of Jira. A token with a colon is an e-mail address and an API token. `clock` tells how long ago
    // a date was, since the service is asked for changes by their age.
    JiraTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                    int64_t itemLimit, std::shared_ptr<Clock> clock);

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    bool providesChangeHints() const override { return true; }

    Async<std::vector<Project>> fetchProjects() override;
    // With a date, what changed up to ten minutes before it is given as well.
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    // Succeeds as soon as the service has made the issue: what can't be read of it then is as the draft said.
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    // Sends what differs from the service's copy, fields first and then completion. If the workflow refuses that, the
    // fields stand.
    Async<TaskItem> updateTask(TaskItem task) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem task) override;
    Async<TaskComment> addComment(std::string body, TaskItem task) override;
    Async<std::string> rawTask(TaskItem task) override;
    // On Cloud about as many as there are.
    Async<std::optional<int64_t>> taskCount(std::string projectID) override;
    Async<ChangeHints> notifiedTaskUpdates(Date since) override;

private:
    Async<bool> isCloud() const;
    Async<CustomFieldIDs> fieldIDs() const;
    Async<std::vector<JiraIssue>> search(std::string jql, std::string fields, size_t maxItems) const;
    Async<JiraIssue> readIssue(std::string key, CustomFieldIDs ids) const;
    // The issues as tasks, with the titles of parents that are elsewhere.
    Async<std::vector<TaskItem>> finished(std::vector<JiraIssue> issues, CustomFieldIDs ids,
                                          std::string projectID) const;
    Async<TaskItem> finished(JiraIssue issue, CustomFieldIDs ids, std::string projectID) const;

    // In JiraTaskWriting.cpp.
    Async<boost::json::object> changedFields(TaskItem task, JiraIssue issue, CustomFieldIDs ids) const;
    Async<void> write(HTTPMethod method, std::string path, boost::json::object body) const;
    Async<void> runTransition(std::string key, bool completes) const;

    Account ownAccount;
    int64_t limit;
    std::shared_ptr<Clock> clock;
    URL webBaseURL;
    HTTPClient client;
    std::shared_ptr<DeploymentCache> deployment;
    std::shared_ptr<FieldIDsCache> knownFieldIDs;
};

}  // namespace marlet
