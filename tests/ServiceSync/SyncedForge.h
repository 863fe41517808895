#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "MarletStore/MarletSchema.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeTransport.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// The engine with a store in memory and one account on a fake forge: everything but the network is the real thing.
class SyncedForge {
public:
    SyncedForge(FakeForgeKind kind, std::string accountToken, SyncPolicy policy = {});
    SyncedForge(const SyncedForge&) = delete;
    ~SyncedForge();

    using Mode = SyncEngine::Mode;

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }

    // A repository with so many issues, and a subscription to it once `subscribe` is called.
    void addRepository(const std::string& name, int issues);
    // Reads the list of projects and subscribes all of them.
    void subscribe();
    void sync(Mode mode = Mode::full);
    void push() { run(engine->pushNow(account.id, clock->now())); }
    // Tick upon tick, each `tickInterval` after the last.
    void runFor(double seconds);

    std::vector<TaskSnapshot> tasks(const std::string& repository);
    TaskSnapshot task(const std::string& repository, int64_t number);
    void edit(const std::string& repository, int64_t number, const std::function<void(TaskItem& item)>& change);
    std::string accountError();  // empty when there is none

    TestLoop loop;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::string token;
    FakeForge forge;
    SyncPolicy policy;
    TaskStore store;
    Account account;
    std::shared_ptr<TaskBackend> backend;
    std::unique_ptr<SyncEngine> engine;
};

}  // namespace marlet
