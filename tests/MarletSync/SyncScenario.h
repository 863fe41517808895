#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletStore/MarletSchema.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"
#include "RemoteService.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// A store, an engine, a clock moved by hand and any number of services in memory.
class SyncSetup {
public:
    explicit SyncSetup(SyncPolicy policy = {});
    SyncSetup(const SyncSetup&) = delete;
    ~SyncSetup();

    using Mode = SyncEngine::Mode;

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }

    // An account whose projects are all subscribed. Its project list counts as fresh.
    RemoteService& addAccount(const std::string& name, Capabilities capabilities,
                              const std::vector<std::string>& projectIDs);
    // The same with everything fetched once, now.
    RemoteService& addSyncedAccount(const std::string& name, Capabilities capabilities,
                                    const std::vector<std::string>& projectIDs);

    void advance(double seconds) { clock.advance(seconds); }
    // An automatic pass now, or after some time.
    void tick() { run(engine->tick(clock.now())); }
    void tickAfter(double seconds);
    // Tick upon tick, each `tickInterval` after the last.
    void runFor(double seconds);
    // Ticks until the service gets a request that begins so; gives the time that it took.
    double secondsUntil(RemoteService& service, const std::string& call);
    void sync(const RemoteService& service, Mode mode = Mode::full);
    void push(const RemoteService& service) { run(engine->pushNow(service.id(), clock.now())); }
    // A new engine on the same store, as after a crash or a new start.
    void restart();

    AccountSyncState account(const RemoteService& service);
    ProjectSyncState project(const RemoteService& service, const std::string& projectID = "p");
    std::optional<std::string> projectError(const RemoteService& service, const std::string& projectID = "p");
    std::vector<TaskSnapshot> snapshots(const RemoteService& service, const std::string& projectID = "p");
    std::optional<TaskSnapshot> snapshot(const RemoteService& service, const std::string& taskID,
                                         const std::string& projectID = "p");
    void rename(const RemoteService& service, const std::string& taskID, const std::string& title,
                const std::string& projectID = "p");

    // The loop goes last: the store's thread may still be on its way out of it.
    TestLoop loop;
    VirtualClock clock;
    TaskStore store;
    SyncPolicy policy;
    std::vector<std::unique_ptr<RemoteService>> services;
    std::unique_ptr<SyncEngine> engine;

    // One for each account that a pass doesn't leave out.
    int providerCalls = 0;
    // What the provider throws for an account instead of giving its backend.
    std::map<UUID, std::exception_ptr> providerFailures;

private:
    void makeEngine();
    void endEngine();
};

// One account with one project, whose tasks both sides know: the stage for stories about conflicts.
class SyncScenario : public SyncSetup {
public:
    explicit SyncScenario(TaskItem first, Capabilities capabilities = {});

    class Local {
    public:
        explicit Local(SyncScenario& owner) : scenario(owner) {}
        void rename(const std::string& taskID, const std::string& title) const;
        std::string create(TaskDraft draft) const;  // gives the key
        std::vector<TaskItem> tasks() const;        // by id
        TaskSnapshot task(const std::string& taskID) const;

    private:
        SyncScenario& scenario;
    };
    class Server {
    public:
        explicit Server(RemoteService& owner) : service(owner) {}
        void rename(const std::string& taskID, const std::string& title) const;
        void add(TaskItem item) const { service.add("p", std::move(item)); }
        void remove(const std::string& taskID) const { service.remove("p", taskID); }
        std::vector<TaskItem> tasks() const { return service.tasks("p"); }
        TaskItem task(const std::string& taskID) const { return service.find("p", taskID).value(); }

    private:
        RemoteService& service;
    };
    Local local() { return Local(*this); }
    Server server() { return Server(remote); }

    // An automatic pass at a time when everything but a full fetch is due.
    void pass();
    void fullPass() { sync(remote, Mode::full); }

    RemoteService& remote;
};

}  // namespace marlet
