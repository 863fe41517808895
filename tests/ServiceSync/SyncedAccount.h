#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "MarletStore/MarletSchema.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"
#include "TestSupport/FakeService.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// The engine with a store in memory and one account on a fake service: everything but the network is the real thing.
class SyncedAccount {
public:
    SyncedAccount(BackendKind kind, const std::string& address, SyncPolicy policy);
    SyncedAccount(const SyncedAccount&) = delete;
    virtual ~SyncedAccount();

    using Mode = SyncEngine::Mode;

    virtual FakeService& service() = 0;
    // A project with so many tasks, and a subscription to it once `subscribe` is called.
    virtual void addProject(const std::string& name, int tasks) = 0;

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }

    // Reads the list of projects and subscribes all of them.
    void subscribe();
    void sync(Mode mode = Mode::full);
    void push() { run(engine->pushNow(account.id, clock->now())); }
    // Tick upon tick, each `tickInterval` after the last.
    void runFor(double seconds);

    std::vector<TaskSnapshot> tasks(const std::string& project);
    TaskSnapshot task(const std::string& project, const std::string& taskID);
    TaskSnapshot task(const std::string& project, int64_t number) { return task(project, std::to_string(number)); }
    void edit(const std::string& project, const std::string& taskID, const std::function<void(TaskItem& item)>& change);
    void edit(const std::string& project, int64_t number, const std::function<void(TaskItem& item)>& change) {
        edit(project, std::to_string(number), change);
    }
    std::string accountError();  // empty when there is none

    TestLoop loop;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    SyncPolicy policy;
    TaskStore store;
    Account account;
    std::shared_ptr<TaskBackend> backend;
    std::unique_ptr<SyncEngine> engine;

protected:
    static constexpr int64_t itemLimit = 1000;

    // By the constructor of the service's own class, once it stands; and before it goes.
    void connect(std::shared_ptr<TaskBackend> chosen);
    void disconnect();
};

}  // namespace marlet
