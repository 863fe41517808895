#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "MarletCore/BackendError.h"
#include "MarletCore/TaskBackend.h"

namespace marlet {

// A service played by the test. Each operation does what its function says and is noted in `calls`, such as
// "fetchTasks p1 full", "fetchTasks p1 since 1800000000", "updateTask 7". Functions throw to fail.
// To be used on one loop.
class ScriptedBackend : public virtual TaskBackend {
public:
    explicit ScriptedBackend(Account account) : ownAccount(std::move(account)) {}

    std::function<std::vector<Project>()> onFetchProjects = [] { return std::vector<Project>(); };
    std::function<std::vector<TaskItem>(std::string projectID, std::optional<Date> since)> onFetchTasks =
        [](const std::string&, std::optional<Date>) { return std::vector<TaskItem>(); };
    std::function<TaskItem(TaskDraft draft, std::string projectID)> onCreateTask;
    std::function<TaskItem(TaskItem item)> onUpdateTask = [](TaskItem item) { return item; };
    std::function<std::vector<TaskComment>(TaskItem item)> onFetchComments = [](const TaskItem&) {
        return std::vector<TaskComment>();
    };
    std::function<TaskComment(std::string body, TaskItem item)> onAddComment;
    // Awaited at the start of every operation, with its note: the place to hold one back.
    std::function<Async<void>(std::string call)> onCall;
    int64_t limit = 1000;
    std::vector<std::string> calls;

    // The calls since the last time, such as what one pass asked for.
    std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    Async<std::vector<Project>> fetchProjects() override;
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    Async<TaskItem> updateTask(TaskItem item) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem item) override;
    Async<TaskComment> addComment(std::string body, TaskItem item) override;

protected:
    Async<void> note(std::string call);

private:
    Account ownAccount;
};

// The capabilities, to be combined: struct Mine : ScriptedCounting, ScriptedHinting { using … }.
class ScriptedRawReading : public virtual ScriptedBackend, public RawTaskReading {
public:
    ScriptedRawReading() : ScriptedBackend(Account{}) {}
    std::function<std::string(TaskItem item)> onRawTask;
    Async<std::string> rawTask(TaskItem item) override;
};

class ScriptedCounting : public virtual ScriptedBackend, public TaskCounting {
public:
    ScriptedCounting() : ScriptedBackend(Account{}) {}
    std::function<std::optional<int64_t>(std::string projectID)> onTaskCount = [](const std::string&) {
        return std::nullopt;
    };
    Async<std::optional<int64_t>> taskCount(std::string projectID) override;
};

class ScriptedHinting : public virtual ScriptedBackend, public ChangeHinting {
public:
    ScriptedHinting() : ScriptedBackend(Account{}) {}
    bool offersHints = true;
    std::function<ChangeHints(Date since)> onNotifiedTaskUpdates = [](Date) { return ChangeHints(); };
    bool providesChangeHints() const override { return offersHints; }
    Async<ChangeHints> notifiedTaskUpdates(Date since) override;
};

class ScriptedProbing : public virtual ScriptedBackend, public AccountChangeProbing {
public:
    ScriptedProbing() : ScriptedBackend(Account{}) {}
    std::function<std::optional<std::map<std::string, Date>>(Date since)> onLatestTaskUpdates = [](Date) {
        return std::nullopt;
    };
    Async<std::optional<std::map<std::string, Date>>> latestTaskUpdates(Date since) override;
};

// A backend with the capabilities named: ScriptedBackendWith<ScriptedCounting, ScriptedHinting>.
template <class... Capabilities>
class ScriptedBackendWith final : public Capabilities... {
public:
    explicit ScriptedBackendWith(Account account) : ScriptedBackend(std::move(account)) {}
};

}  // namespace marlet
