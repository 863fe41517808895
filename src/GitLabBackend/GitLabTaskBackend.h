#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletCore/TaskBackend.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

// Issues, tasks and merge requests of GitLab. REST does all that it can; GraphQL has the parents of tasks, and the
// number of merge requests where REST doesn't tell it.
//
// A merge request's id is "!7", that of an issue or task "7". Holds no state of its own but its client's cached
// answers.
class GitLabTaskBackend final : public RawTaskReading, public TaskCounting, public ChangeHinting {
public:
    // `account` is one of GitLab. `clock` tells when a limit ends that the server names in seconds.
    GitLabTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                      int64_t itemLimit, std::shared_ptr<Clock> clock);

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    bool providesChangeHints() const override { return true; }

    Async<std::vector<Project>> fetchProjects() override;
    // Reads issues and merge requests side by side. A failure of either ends the other and is thrown.
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    // Throws BackendError::rejected for a label that GitLab can't have, with nothing sent.
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    // Changes the item, and then a task's parent. If the parent is refused, the rest stands on the server.
    Async<TaskItem> updateTask(TaskItem task) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem task) override;
    Async<TaskComment> addComment(std::string body, TaskItem task) override;
    Async<std::string> rawTask(TaskItem task) override;
    Async<std::optional<int64_t>> taskCount(std::string projectID) override;
    Async<ChangeHints> notifiedTaskUpdates(Date since) override;

private:
    Account ownAccount;
    HTTPClient client;
    URL graphQLURL;
    int64_t limit;
};

}  // namespace marlet
