#include "SyncedAccount.h"

namespace marlet {
namespace {

// A coroutine of its own: what a coroutine lambda captures goes with the lambda.
Async<std::shared_ptr<TaskBackend>> keptBackend(SyncedAccount* scene) {
    co_return scene->backend;
}

}  // namespace

SyncedAccount::SyncedAccount(BackendKind kind, const std::string& address, SyncPolicy chosen)
    : policy(chosen),
      store(MarletSchema::makeInMemoryContainer(), [this] { return clock->now(); }),
      account{UUID::random(), kind, "Work", URL::parse(address).value()} {}

SyncedAccount::~SyncedAccount() = default;

void SyncedAccount::connect(std::shared_ptr<TaskBackend> chosen) {
    backend = std::move(chosen);
    auto provider = [this](const Account&) { return keptBackend(this); };
    engine = std::make_unique<SyncEngine>(loop.executor(), store, *clock, policy, provider);
    run(store.addAccount(account));
}

void SyncedAccount::disconnect() {
    run(engine->stop());
    run(engine->drain());
}

void SyncedAccount::subscribe() {
    run(engine->refreshProjects(account.id, clock->now()));
    for (const ProjectSnapshot& project : run(store.projectSnapshots(account.id, false))) {
        run(store.setSubscribed(true, account.id, project.project.id));
    }
}

void SyncedAccount::sync(Mode mode) {
    run(engine->syncNow(account.id, std::nullopt, mode, clock->now()));
}

void SyncedAccount::runFor(double seconds) {
    double step = policy.tickInterval.count();
    for (double passed = 0; passed < seconds; passed += step) {
        clock->advance(step);
        run(engine->tick(clock->now()));
    }
}

std::vector<TaskSnapshot> SyncedAccount::tasks(const std::string& project) {
    TaskQuery query;
    query.accountID = account.id;
    query.projectID = project;
    query.includeCompleted = true;
    return run(store.taskSnapshots(query));
}

TaskSnapshot SyncedAccount::task(const std::string& project, const std::string& taskID) {
    return run(store.taskSnapshot(taskKey(account.id, project, taskID))).value();
}

void SyncedAccount::edit(const std::string& project, const std::string& taskID,
                         const std::function<void(TaskItem& item)>& change) {
    run(store.editTask(taskKey(account.id, project, taskID), clock->now(), change));
}

std::string SyncedAccount::accountError() {
    for (const AccountSyncState& state : run(store.accounts())) {
        if (state.account.id == account.id) {
            return state.syncError.value_or("");
        }
    }
    return "The account is gone.";
}

}  // namespace marlet
