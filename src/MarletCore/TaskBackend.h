// The contract that ties a service to the engine, and the capabilities that a service may have beyond it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/Date.h"
#include "MarletCore/Account.h"
#include "MarletCore/ChangeHint.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"

namespace marlet {

// What every service must do. Safe to use from several tasks and executors at once. A failure is a thrown error, a
// BackendError in the ordinary case. The caller keeps the backend alive until an operation has ended.
class TaskBackend {
public:
    virtual ~TaskBackend() = default;

    virtual const Account& account() const = 0;
    // The most tasks that one fetch returns: a result of that size may have been cut off.
    virtual int64_t itemLimit() const = 0;

    virtual Async<std::vector<Project>> fetchProjects() = 0;
    // All tasks of the project, or those changed since the date.
    virtual Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) = 0;
    virtual Async<TaskItem> createTask(TaskDraft draft, std::string projectID) = 0;
    virtual Async<TaskItem> updateTask(TaskItem item) = 0;
    virtual Async<std::vector<TaskComment>> fetchComments(TaskItem item) = 0;
    virtual Async<TaskComment> addComment(std::string body, TaskItem item) = 0;
};

// A backend is asked for a capability by dynamic_cast; the engine works without any of them.

// The newest task change per project of the whole account, in one request. No map: the service can't tell.
class AccountChangeProbing : public virtual TaskBackend {
public:
    virtual Async<std::optional<std::map<std::string, Date>>> latestTaskUpdates(Date since) = 0;
};

// The service's own answer for a task, as it came.
class RawTaskReading : public virtual TaskBackend {
public:
    virtual Async<std::string> rawTask(TaskItem item) = 0;
};

// The number of tasks of a project, when the service can tell.
class TaskCounting : public virtual TaskBackend {
public:
    virtual Async<std::optional<int64_t>> taskCount(std::string projectID) = 0;
};

class ChangeHinting : public virtual TaskBackend {
public:
    // Whether hints are to be asked for at all.
    virtual bool providesChangeHints() const = 0;
    virtual Async<ChangeHints> notifiedTaskUpdates(Date since) = 0;
};

}  // namespace marlet
