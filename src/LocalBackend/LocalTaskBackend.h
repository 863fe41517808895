#pragma once

#include <memory>

#include "LocalBackend/LocalTaskDatabase.h"
#include "MarletBase/Clock.h"
#include "MarletCore/TaskBackend.h"

namespace marlet {

// The backend of an "On This Mac" account: no token, no network. Its server is a LocalTaskDatabase, and the clock says
// when a change came in.
class LocalTaskBackend final : public RawTaskReading {
public:
    // An account of another kind is a programming error.
    LocalTaskBackend(Account account, int64_t itemLimit, std::shared_ptr<LocalTaskDatabase> database,
                     std::shared_ptr<Clock> clock);

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    Async<std::vector<Project>> fetchProjects() override;
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    // A create that carries the originID of an earlier one is answered with the task made then, brought up to date.
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    Async<TaskItem> updateTask(TaskItem item) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem item) override;
    Async<TaskComment> addComment(std::string body, TaskItem item) override;
    // The task as JSON, with sorted keys and ISO 8601 dates.
    Async<std::string> rawTask(TaskItem item) override;

private:
    Account ownAccount;
    int64_t limit;
    std::shared_ptr<LocalTaskDatabase> database;
    std::shared_ptr<Clock> clock;
};

}  // namespace marlet
