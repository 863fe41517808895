#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletCore/TaskBackend.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

// Tasks of Vikunja. Their texts are HTML and pass through as they are.
//
// Holds no state of its own but the cached answers of its client.
class VikunjaTaskBackend final : public AccountChangeProbing,
                                 public RawTaskReading,
                                 public TaskCounting,
                                 public ChangeHinting {
public:
    // `clock` tells when a limit ends that the server names in seconds.
    VikunjaTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                       int64_t itemLimit, std::shared_ptr<Clock> clock);

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    bool providesChangeHints() const override { return true; }

    Async<std::vector<Project>> fetchProjects() override;
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem task) override;
    Async<std::optional<int64_t>> taskCount(std::string projectID) override;
    Async<std::string> rawTask(TaskItem task) override;
    // No map if there are more changes than one look takes in.
    Async<std::optional<std::map<std::string, Date>>> latestTaskUpdates(Date since) override;
    // Of all backends the one whose hints tell of deletions.
    Async<ChangeHints> notifiedTaskUpdates(Date since) override;

    // The draft's labels are left out: a new task gets them with its first update.
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    // Reads the task and sends it back whole, so that what isn't known here stays as it is. Labels and the parent
    // follow in steps of their own; what came before a failure stands on the server.
    Async<TaskItem> updateTask(TaskItem task) override;
    Async<TaskComment> addComment(std::string body, TaskItem task) override;

private:
    Account ownAccount;
    URL webBase;
    HTTPClient client;
    int64_t limit;
};

}  // namespace marlet
