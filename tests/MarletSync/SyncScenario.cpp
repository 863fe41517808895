#include "SyncScenario.h"

#include <fmt/format.h>
#include <algorithm>

namespace marlet {
namespace {

// A coroutine of its own: what a coroutine lambda captures goes with the lambda.
Async<std::shared_ptr<TaskBackend>> backendFor(SyncSetup* setup, Account account) {
    ++setup->providerCalls;
    if (setup->providerFailures.contains(account.id)) {
        std::rethrow_exception(setup->providerFailures.at(account.id));
    }
    for (const auto& service : setup->services) {
        if (service->id() == account.id) {
            co_return service->backend;
        }
    }
    throw BackendError::unauthorized();
}

}  // namespace

SyncSetup::SyncSetup(SyncPolicy chosen)
    : store(MarletSchema::makeInMemoryContainer(), [this] { return clock.now(); }), policy(chosen) {
    makeEngine();
}

SyncSetup::~SyncSetup() {
    endEngine();
}

void SyncSetup::makeEngine() {
    auto provider = [this](Account account) { return backendFor(this, std::move(account)); };
    engine = std::make_unique<SyncEngine>(loop.executor(), store, clock, policy, provider);
}

void SyncSetup::endEngine() {
    run(engine->stop());
    run(engine->drain());
}

void SyncSetup::restart() {
    endEngine();
    makeEngine();
}

RemoteService& SyncSetup::addAccount(const std::string& name, Capabilities capabilities,
                                     const std::vector<std::string>& projectIDs) {
    Account account{UUID::random(), BackendKind::github, name, URL::parse("https://" + name + ".example").value()};
    run(store.addAccount(account));
    RemoteService& service = *services.emplace_back(std::make_unique<RemoteService>(account, capabilities, clock));
    for (const std::string& projectID : projectIDs) {
        service.addProject(projectID);
    }
    run(store.replaceProjects(service.projects(), service.id(), clock.now()));
    for (const std::string& projectID : projectIDs) {
        run(store.setSubscribed(true, service.id(), projectID));
    }
    return service;
}

RemoteService& SyncSetup::addSyncedAccount(const std::string& name, Capabilities capabilities,
                                           const std::vector<std::string>& projectIDs) {
    RemoteService& service = addAccount(name, capabilities, projectIDs);
    sync(service);
    service.takeCalls();
    return service;
}

void SyncSetup::tickAfter(double seconds) {
    advance(seconds);
    tick();
}

void SyncSetup::runFor(double seconds) {
    double step = policy.tickInterval.count();
    for (double passed = 0; passed < seconds; passed += step) {
        tickAfter(step);
    }
}

double SyncSetup::secondsUntil(RemoteService& service, const std::string& call) {
    constexpr int mostTicks = 5000;
    double step = policy.tickInterval.count();
    service.takeCalls();
    for (int ticks = 1; ticks <= mostTicks; ++ticks) {
        tickAfter(step);
        if (service.countCalls(call) > 0) {
            return ticks * step;
        }
    }
    return 0;
}

void SyncSetup::sync(const RemoteService& service, Mode mode) {
    run(engine->syncNow(service.id(), std::nullopt, mode, clock.now()));
}

AccountSyncState SyncSetup::account(const RemoteService& service) {
    for (AccountSyncState& state : run(store.accounts())) {
        if (state.account.id == service.id()) {
            return state;
        }
    }
    throw std::runtime_error("There is no such account.");
}

ProjectSyncState SyncSetup::project(const RemoteService& service, const std::string& projectID) {
    for (ProjectSyncState& state : run(store.subscribedProjects(service.id()))) {
        if (state.projectID == projectID) {
            return state;
        }
    }
    throw std::runtime_error("There is no such project.");
}

std::optional<std::string> SyncSetup::projectError(const RemoteService& service, const std::string& projectID) {
    return run(store.projectSnapshot(projectKey(service.id(), projectID))).value().syncError;
}

std::vector<TaskSnapshot> SyncSetup::snapshots(const RemoteService& service, const std::string& projectID) {
    TaskQuery query;
    query.accountID = service.id();
    query.projectID = projectID;
    query.includeCompleted = true;
    std::vector<TaskSnapshot> found = run(store.taskSnapshots(query));
    std::sort(found.begin(), found.end(), [](const auto& left, const auto& right) { return left.key < right.key; });
    return found;
}

std::optional<TaskSnapshot> SyncSetup::snapshot(const RemoteService& service, const std::string& taskID,
                                                const std::string& projectID) {
    return run(store.taskSnapshot(taskKey(service.id(), projectID, taskID)));
}

void SyncSetup::rename(const RemoteService& service, const std::string& taskID, const std::string& title,
                       const std::string& projectID) {
    run(store.editTask(taskKey(service.id(), projectID, taskID), clock.now(),
                       [title](TaskItem& item) { item.title = title; }));
}

SyncScenario::SyncScenario(TaskItem first, Capabilities capabilities)
    : remote(addAccount("Home", capabilities, {"p"})) {
    remote.add("p", std::move(first));
    fullPass();
    remote.takeCalls();
    advance(1);
}

void SyncScenario::pass() {
    tickAfter(policy.maxDeltaInterval);
}

void SyncScenario::Local::rename(const std::string& taskID, const std::string& title) const {
    scenario.rename(scenario.remote, taskID, title);
}

std::string SyncScenario::Local::create(TaskDraft draft) const {
    return scenario.run(scenario.store.createTask(std::move(draft), scenario.remote.id(), "p", scenario.clock.now()));
}

std::vector<TaskItem> SyncScenario::Local::tasks() const {
    std::vector<TaskItem> result;
    for (const TaskSnapshot& snapshot : scenario.snapshots(scenario.remote)) {
        result.push_back(snapshot.item);
    }
    return result;
}

TaskSnapshot SyncScenario::Local::task(const std::string& taskID) const {
    return scenario.snapshot(scenario.remote, taskID).value();
}

void SyncScenario::Server::rename(const std::string& taskID, const std::string& title) const {
    service.change("p", taskID, [&](TaskItem& item) { item.title = title; });
}

}  // namespace marlet
