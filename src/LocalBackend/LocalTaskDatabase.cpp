#include "LocalBackend/LocalTaskDatabase.h"

#include "LocalBackend/LocalTaskRecordsInternal.h"
#include "MarletCore/Account.h"

namespace marlet {

LocalTaskDatabase::LocalTaskDatabase(ModelContainer container)
    : executor(std::move(container), "io.tolvane.Marlet.local-tasks") {}

std::shared_ptr<LocalTaskDatabase> LocalTaskDatabase::inMemory() {
    return std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeInMemoryContainer());
}

template <class Work>
auto LocalTaskDatabase::run(Work work) {
    return executor.run([this, work = std::move(work)] {
        ModelContext& context = executor.modelContext();
        return context.transaction([&] { return work(context); });
    });
}

Async<std::vector<Project>> LocalTaskDatabase::projects(UUID accountID) {
    return run([accountID](ModelContext& context) { return localTasks::projects(context, accountID); });
}

Async<Project> LocalTaskDatabase::createProject(std::string name, UUID accountID, Date at) {
    return run([name = std::move(name), accountID, at](ModelContext& context) {
        return localTasks::createProject(context, name, accountID, at);
    });
}

Async<void> LocalTaskDatabase::renameProject(std::string projectID, std::string name, UUID accountID) {
    return run([key = projectKey(accountID, projectID), name = std::move(name)](ModelContext& context) {
        localTasks::renameProject(context, key, name);
    });
}

Async<void> LocalTaskDatabase::deleteProject(std::string projectID, UUID accountID) {
    return run(
        [key = projectKey(accountID, projectID)](ModelContext& context) { localTasks::deleteProject(context, key); });
}

Async<void> LocalTaskDatabase::removeAccount(UUID id) {
    return run([id](ModelContext& context) { localTasks::removeAccount(context, id); });
}

Async<std::vector<TaskItem>> LocalTaskDatabase::tasks(UUID accountID, std::string projectID,
                                                      std::optional<Date> updatedSince) {
    return run([key = projectKey(accountID, projectID), updatedSince](ModelContext& context) {
        return localTasks::tasks(context, key, updatedSince);
    });
}

Async<TaskItem> LocalTaskDatabase::task(UUID accountID, std::string projectID, std::string taskID) {
    return run([key = taskKey(accountID, projectID, taskID)](ModelContext& context) {
        return localTasks::task(context, key);
    });
}

Async<TaskItem> LocalTaskDatabase::createTask(TaskDraft draft, UUID accountID, std::string projectID, Date at) {
    return run([draft = std::move(draft), accountID, projectID = std::move(projectID), at](ModelContext& context) {
        return localTasks::createTask(context, draft, accountID, projectID, at);
    });
}

Async<TaskItem> LocalTaskDatabase::updateTask(TaskItem item, UUID accountID, Date at) {
    return run([item = std::move(item), accountID, at](ModelContext& context) {
        return localTasks::updateTask(context, item, accountID, at);
    });
}

Async<void> LocalTaskDatabase::deleteTask(TaskItem item, UUID accountID, Date at) {
    return run([item = std::move(item), accountID, at](ModelContext& context) {
        localTasks::deleteTask(context, item, accountID, at);
    });
}

Async<std::vector<TaskComment>> LocalTaskDatabase::comments(UUID accountID, TaskItem task) {
    return run([key = taskKey(accountID, task.projectID, task.id)](ModelContext& context) {
        return localTasks::comments(context, key);
    });
}

Async<TaskComment> LocalTaskDatabase::addComment(std::string text, UUID accountID, TaskItem task, Date at) {
    return run([text = std::move(text), key = taskKey(accountID, task.projectID, task.id), at](ModelContext& context) {
        return localTasks::addComment(context, text, key, at);
    });
}

}  // namespace marlet
