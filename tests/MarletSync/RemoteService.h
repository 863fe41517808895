#pragma once

#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/ScriptedBackend.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

struct Capabilities {
    bool counting = false;
    bool hinting = false;
    bool probing = false;
};

// Where a request waits until the test lets it go on. Copies are one and the same latch.
class Latch {
public:
    bool isReached() const { return shared->isReached; }
    void open();
    Async<void> pass();

private:
    struct Shared {
        bool isReached = false;
        bool isOpen = false;
        std::unique_ptr<boost::asio::steady_timer> timer;
    };
    std::shared_ptr<Shared> shared = std::make_shared<Shared>();
};

// A service in memory with its tasks, reached through a scripted backend that has the chosen capabilities and answers
// from these tasks. Tests act on the service's own side here, or script the backend for a single answer.
class RemoteService {
public:
    RemoteService(Account account, Capabilities capabilities, const VirtualClock& clock);
    RemoteService(const RemoteService&) = delete;

    const Account& account() const { return backend->account(); }
    const UUID& id() const { return backend->account().id; }

    std::shared_ptr<ScriptedBackend> backend;
    // Nothing for a capability that the service lacks.
    ScriptedCounting* counting = nullptr;
    ScriptedHinting* hinting = nullptr;
    ScriptedProbing* probing = nullptr;

    // The service's own side. A change is dated now, and later than every change before.
    void addProject(const std::string& projectID);
    TaskItem add(const std::string& projectID, TaskItem item);
    void change(const std::string& projectID, const std::string& taskID, const std::function<void(TaskItem&)>& edit);
    void remove(const std::string& projectID, const std::string& taskID);
    std::optional<TaskItem> find(const std::string& projectID, const std::string& taskID) const;
    std::vector<TaskItem> tasks(const std::string& projectID) const;  // by id
    std::vector<Project> projects() const;

    // Requests whose note begins with `call` fail so, until `recover`. See ScriptedBackend for the notes.
    void fail(const std::string& call, std::exception_ptr error) { failures[call] = std::move(error); }
    void fail(const std::string& call, const BackendError& error) { fail(call, std::make_exception_ptr(error)); }
    void recover() { failures.clear(); }
    // The next request whose note begins with `call` waits at the latch.
    Latch hold(const std::string& call);
    // Awaited before each request, after latches and failures.
    std::function<Async<void>(std::string call)> beforeRequest;
    bool takesLabelsOnCreation = true;

    // The requests since the last time, and how many of them begin with `call`.
    std::vector<std::string> takeCalls() { return backend->takeCalls(); }
    size_t countCalls(const std::string& call) const;

private:
    struct StoredTasks {
        std::map<std::string, TaskItem> tasks;
        ChangeHint changes{distantPast, std::nullopt};
    };

    void answerFromTasks();
    static Async<void> meet(RemoteService& service, std::string call);
    Date stamp();
    ChangeHints changesSince(Date since) const;
    TaskItem take(TaskItem item);
    TaskItem create(const TaskDraft& draft, const std::string& projectID);

    const VirtualClock& clock;
    std::map<std::string, StoredTasks> stored;
    std::map<std::string, std::exception_ptr> failures;
    std::map<std::string, Latch> latches;
    Date lastStamp = distantPast;
    int64_t lastNumber = 100;
};

}  // namespace marlet
