#include "LocalBackend/LocalTaskBackend.h"

#include "MarletBase/Coding.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {

LocalTaskBackend::LocalTaskBackend(Account account, int64_t itemLimit, std::shared_ptr<LocalTaskDatabase> database,
                                   std::shared_ptr<Clock> clock)
    : ownAccount(std::move(account)), limit(itemLimit), database(std::move(database)), clock(std::move(clock)) {
    if (!isLocal(ownAccount.kind)) {
        programmingError("A local task backend needs a local account.");
    }
}

Async<std::vector<Project>> LocalTaskBackend::fetchProjects() {
    return database->projects(ownAccount.id);
}

Async<std::vector<TaskItem>> LocalTaskBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    return database->tasks(ownAccount.id, std::move(projectID), updatedSince);
}

Async<TaskItem> LocalTaskBackend::createTask(TaskDraft draft, std::string projectID) {
    return database->createTask(std::move(draft), ownAccount.id, std::move(projectID), clock->now());
}

Async<TaskItem> LocalTaskBackend::updateTask(TaskItem item) {
    return database->updateTask(std::move(item), ownAccount.id, clock->now());
}

Async<std::vector<TaskComment>> LocalTaskBackend::fetchComments(TaskItem item) {
    return database->comments(ownAccount.id, std::move(item));
}

Async<TaskComment> LocalTaskBackend::addComment(std::string body, TaskItem item) {
    return database->addComment(std::move(body), ownAccount.id, std::move(item), clock->now());
}

Async<std::string> LocalTaskBackend::rawTask(TaskItem item) {
    TaskItem found = co_await database->task(ownAccount.id, item.projectID, item.id);
    co_return sortedJSON(encode(found, DateCoding::iso8601));
}

}  // namespace marlet
