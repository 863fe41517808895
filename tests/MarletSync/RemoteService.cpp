#include "RemoteService.h"

#include <algorithm>
#include <boost/asio/redirect_error.hpp>

namespace marlet {
namespace {

template <class... Chosen>
std::shared_ptr<ScriptedBackend> backendWith(Account account) {
    return std::make_shared<ScriptedBackendWith<Chosen...>>(std::move(account));
}

std::shared_ptr<ScriptedBackend> backendWith(Capabilities capabilities, Account account) {
    auto [counting, hinting, probing] = capabilities;
    if (counting && hinting && probing) {
        return backendWith<ScriptedCounting, ScriptedHinting, ScriptedProbing>(std::move(account));
    }
    if (counting && hinting) {
        return backendWith<ScriptedCounting, ScriptedHinting>(std::move(account));
    }
    if (counting && probing) {
        return backendWith<ScriptedCounting, ScriptedProbing>(std::move(account));
    }
    if (hinting && probing) {
        return backendWith<ScriptedHinting, ScriptedProbing>(std::move(account));
    }
    if (counting) {
        return backendWith<ScriptedCounting>(std::move(account));
    }
    if (hinting) {
        return backendWith<ScriptedHinting>(std::move(account));
    }
    if (probing) {
        return backendWith<ScriptedProbing>(std::move(account));
    }
    return std::make_shared<ScriptedBackend>(std::move(account));
}

}  // namespace

void Latch::open() {
    shared->isOpen = true;
    if (shared->timer) {
        shared->timer->cancel();
    }
}

Async<void> Latch::pass() {
    auto own = shared;
    own->isReached = true;
    if (own->isOpen) {
        co_return;
    }
    Executor executor = co_await boost::asio::this_coro::executor;
    own->timer = std::make_unique<boost::asio::steady_timer>(executor, boost::asio::steady_timer::time_point::max());
    boost::system::error_code opened;
    co_await own->timer->async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, opened));
    own->timer.reset();
}

RemoteService::RemoteService(Account account, Capabilities capabilities, const VirtualClock& virtualClock)
    : backend(backendWith(capabilities, std::move(account))),
      counting(dynamic_cast<ScriptedCounting*>(backend.get())),
      hinting(dynamic_cast<ScriptedHinting*>(backend.get())),
      probing(dynamic_cast<ScriptedProbing*>(backend.get())),
      clock(virtualClock) {
    answerFromTasks();
}

void RemoteService::answerFromTasks() {
    backend->onCall = [this](std::string call) { return meet(*this, std::move(call)); };
    backend->onFetchProjects = [this] { return projects(); };
    backend->onFetchTasks = [this](const std::string& projectID, std::optional<Date> since) {
        std::vector<TaskItem> found = tasks(projectID);
        std::erase_if(found, [&](const TaskItem& item) { return since && item.updatedAt < since; });
        found.resize(std::min(found.size(), static_cast<size_t>(backend->limit)));
        return found;
    };
    backend->onUpdateTask = [this](TaskItem item) { return take(std::move(item)); };
    backend->onCreateTask = [this](const TaskDraft& draft, const std::string& projectID) {
        return create(draft, projectID);
    };
    if (counting) {
        counting->onTaskCount = [this](const std::string& projectID) -> std::optional<int64_t> {
            return static_cast<int64_t>(stored[projectID].tasks.size());
        };
    }
    if (hinting) {
        hinting->onNotifiedTaskUpdates = [this](Date since) { return changesSince(since); };
    }
    if (probing) {
        probing->onLatestTaskUpdates = [this](Date since) -> std::optional<std::map<std::string, Date>> {
            std::map<std::string, Date> newest;
            for (const auto& [projectID, hint] : changesSince(since)) {
                for (const TaskItem& item : tasks(projectID)) {
                    newest[projectID] = std::max(newest[projectID], item.updatedAt.value_or(distantPast));
                }
            }
            return newest;
        };
    }
}

Async<void> RemoteService::meet(RemoteService& service, std::string call) {
    for (auto entry = service.latches.begin(); entry != service.latches.end(); ++entry) {
        if (call.starts_with(entry->first)) {
            Latch latch = entry->second;
            service.latches.erase(entry);
            co_await latch.pass();
            break;
        }
    }
    for (const auto& [beginning, error] : service.failures) {
        if (call.starts_with(beginning)) {
            std::rethrow_exception(error);
        }
    }
    if (service.beforeRequest) {
        co_await service.beforeRequest(std::move(call));
    }
}

Latch RemoteService::hold(const std::string& call) {
    return latches.insert_or_assign(call, Latch()).first->second;
}

Date RemoteService::stamp() {
    lastStamp = std::max(clock.now(), lastStamp + 1.0 / 1024);
    return lastStamp;
}

void RemoteService::addProject(const std::string& projectID) {
    stored.try_emplace(projectID);
}

TaskItem RemoteService::add(const std::string& projectID, TaskItem item) {
    item.id = item.id.empty() ? std::to_string(++lastNumber) : item.id;
    item.projectID = projectID;
    item.updatedAt = stamp();
    StoredTasks& project = stored[projectID];
    project.changes.add(*item.updatedAt, false);
    project.tasks[item.id] = item;
    return item;
}

void RemoteService::change(const std::string& projectID, const std::string& taskID,
                           const std::function<void(TaskItem&)>& edit) {
    StoredTasks& project = stored.at(projectID);
    TaskItem& item = project.tasks.at(taskID);
    edit(item);
    item.updatedAt = stamp();
    project.changes.add(*item.updatedAt, false);
}

void RemoteService::remove(const std::string& projectID, const std::string& taskID) {
    StoredTasks& project = stored.at(projectID);
    project.tasks.erase(taskID);
    project.changes.add(stamp(), true);
}

std::optional<TaskItem> RemoteService::find(const std::string& projectID, const std::string& taskID) const {
    auto project = stored.find(projectID);
    if (project == stored.end() || !project->second.tasks.contains(taskID)) {
        return std::nullopt;
    }
    return project->second.tasks.at(taskID);
}

std::vector<TaskItem> RemoteService::tasks(const std::string& projectID) const {
    std::vector<TaskItem> result;
    if (auto project = stored.find(projectID); project != stored.end()) {
        for (const auto& [id, item] : project->second.tasks) {
            result.push_back(item);
        }
    }
    return result;
}

std::vector<Project> RemoteService::projects() const {
    std::vector<Project> result;
    for (const auto& [projectID, tasks] : stored) {
        result.push_back(Project{.id = projectID, .accountID = id(), .name = "Project " + projectID});
    }
    return result;
}

ChangeHints RemoteService::changesSince(Date since) const {
    ChangeHints result;
    for (const auto& [projectID, project] : stored) {
        if (project.changes.latest >= since) {
            result.emplace(projectID, project.changes);
        }
    }
    return result;
}

TaskItem RemoteService::take(TaskItem item) {
    if (!find(item.projectID, item.id)) {
        throw BackendError::notFound();
    }
    std::string projectID = item.projectID;
    return add(projectID, std::move(item));
}

TaskItem RemoteService::create(const TaskDraft& draft, const std::string& projectID) {
    TaskItem item{.title = draft.title, .notes = draft.notes, .dueDate = draft.dueDate, .typeName = draft.typeName};
    if (takesLabelsOnCreation) {
        for (const std::string& name : draft.labels) {
            item.labels.push_back({name, "ff0000"});
        }
    }
    item.createdAt = clock.now();
    return add(projectID, std::move(item));
}

size_t RemoteService::countCalls(const std::string& call) const {
    return std::count_if(backend->calls.begin(), backend->calls.end(),
                         [&](const std::string& noted) { return noted.starts_with(call); });
}

}  // namespace marlet
