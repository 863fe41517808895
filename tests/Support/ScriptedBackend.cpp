#include "TestSupport/ScriptedBackend.h"

#include <fmt/format.h>

namespace marlet {
namespace {

std::string seconds(Date date) {
    return fmt::format("{:.0f}", secondsSince1970(date));
}

}  // namespace

Async<void> ScriptedBackend::note(std::string call) {
    calls.push_back(call);
    if (onCall) {
        co_await onCall(std::move(call));
    }
}

Async<std::vector<Project>> ScriptedBackend::fetchProjects() {
    co_await note("fetchProjects");
    co_return onFetchProjects();
}

Async<std::vector<TaskItem>> ScriptedBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    co_await note("fetchTasks " + projectID + (updatedSince ? " since " + seconds(*updatedSince) : " full"));
    co_return onFetchTasks(std::move(projectID), updatedSince);
}

Async<TaskItem> ScriptedBackend::createTask(TaskDraft draft, std::string projectID) {
    co_await note("createTask " + draft.title + " in " + projectID);
    co_return onCreateTask(std::move(draft), std::move(projectID));
}

Async<TaskItem> ScriptedBackend::updateTask(TaskItem item) {
    co_await note("updateTask " + item.id);
    co_return onUpdateTask(std::move(item));
}

Async<std::vector<TaskComment>> ScriptedBackend::fetchComments(TaskItem item) {
    co_await note("fetchComments " + item.id);
    co_return onFetchComments(std::move(item));
}

Async<TaskComment> ScriptedBackend::addComment(std::string body, TaskItem item) {
    co_await note("addComment " + item.id);
    co_return onAddComment(std::move(body), std::move(item));
}

Async<std::string> ScriptedRawReading::rawTask(TaskItem item) {
    co_await note("rawTask " + item.id);
    co_return onRawTask(std::move(item));
}

Async<std::optional<int64_t>> ScriptedCounting::taskCount(std::string projectID) {
    co_await note("taskCount " + projectID);
    co_return onTaskCount(std::move(projectID));
}

Async<ChangeHints> ScriptedHinting::notifiedTaskUpdates(Date since) {
    co_await note("notifiedTaskUpdates since " + seconds(since));
    co_return onNotifiedTaskUpdates(since);
}

Async<std::optional<std::map<std::string, Date>>> ScriptedProbing::latestTaskUpdates(Date since) {
    co_await note("latestTaskUpdates since " + seconds(since));
    co_return onLatestTaskUpdates(since);
}

}  // namespace marlet
