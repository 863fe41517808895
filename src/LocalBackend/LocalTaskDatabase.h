#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LocalBackend/LocalTaskSchema.h"
#include "MarletBase/Async.h"
#include "MarletBase/Date.h"
#include "MarletCore/Project.h"
#include "MarletCore/QueueModelExecutor.h"
#include "MarletCore/TaskItem.h"

namespace marlet {

// The server of "On This Mac" accounts: hands out task numbers, checks parents, keeps comments.
//
// Every operation runs whole on the database's own executor and lands whole or not at all. Safe to call from any
// executor. A record that has gone is BackendError::notFound; what a parent may not be is BackendError::rejected.
class LocalTaskDatabase {
public:
    explicit LocalTaskDatabase(ModelContainer container);
    LocalTaskDatabase(const LocalTaskDatabase&) = delete;
    LocalTaskDatabase& operator=(const LocalTaskDatabase&) = delete;

    // One that lives as long as the object.
    static std::shared_ptr<LocalTaskDatabase> inMemory();

    Async<std::vector<Project>> projects(UUID accountID);
    Async<Project> createProject(std::string name, UUID accountID, Date at);
    Async<void> renameProject(std::string projectID, std::string name, UUID accountID);
    Async<void> deleteProject(std::string projectID, UUID accountID);
    // Does nothing for an account without projects.
    Async<void> removeAccount(UUID id);

    // All tasks, or those changed after the date.
    Async<std::vector<TaskItem>> tasks(UUID accountID, std::string projectID, std::optional<Date> updatedSince);
    Async<TaskItem> task(UUID accountID, std::string projectID, std::string taskID);
    // A draft with the originID of an earlier one makes no second task: the earlier one takes the draft's content.
    Async<TaskItem> createTask(TaskDraft draft, UUID accountID, std::string projectID, Date at);
    Async<TaskItem> updateTask(TaskItem item, UUID accountID, Date at);
    // Finds the task by its number, or by the originID that it was made with. Its subtasks become tasks without a
    // parent.
    Async<void> deleteTask(TaskItem item, UUID accountID, Date at);

    // The oldest first.
    Async<std::vector<TaskComment>> comments(UUID accountID, TaskItem task);
    Async<TaskComment> addComment(std::string text, UUID accountID, TaskItem task, Date at);

private:
    // Runs the plain function `work` on the executor, in a transaction of its own.
    template <class Work>
    auto run(Work work);

    QueueModelExecutor executor;
};

}  // namespace marlet
