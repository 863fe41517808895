#include "SyncedForge.h"

#include "ForgeBackend/ForgeTaskBackend.h"

namespace marlet {
namespace {

constexpr int64_t itemLimit = 1000;

// A coroutine of its own: what a coroutine lambda captures goes with the lambda.
Async<std::shared_ptr<TaskBackend>> keptBackend(SyncedForge* scene) {
    co_return scene->backend;
}

}  // namespace

SyncedForge::SyncedForge(FakeForgeKind kind, std::string accountToken, SyncPolicy chosen)
    : token(std::move(accountToken)),
      forge(
          kind, [this] { return clock->now(); }, token),
      policy(chosen),
      store(MarletSchema::makeInMemoryContainer(), [this] { return clock->now(); }) {
    forge.serveAt("https://forge.example");
    account = {UUID::random(), kind == FakeForgeKind::github ? BackendKind::github : BackendKind::forgejo, "Forge",
               URL::parse(forge.webRoot()).value()};
    auto transport = std::make_shared<FakeTransport>(forge);
    backend = std::make_shared<ForgeTaskBackend>(account, token, transport, itemLimit, clock);
    auto provider = [this](const Account&) { return keptBackend(this); };
    engine = std::make_unique<SyncEngine>(loop.executor(), store, *clock, policy, provider);
    run(store.addAccount(account));
}

SyncedForge::~SyncedForge() {
    run(engine->stop());
    run(engine->drain());
}

void SyncedForge::addRepository(const std::string& name, int issues) {
    forge.addRepository(name);
    for (int count = 0; count < issues; ++count) {
        forge.addIssue(name, {.title = "Task " + std::to_string(count + 1), .body = std::string(200, 'x')});
    }
}

void SyncedForge::subscribe() {
    run(engine->refreshProjects(account.id, clock->now()));
    for (const ProjectSnapshot& project : run(store.projectSnapshots(account.id, false))) {
        run(store.setSubscribed(true, account.id, project.project.id));
    }
}

void SyncedForge::sync(Mode mode) {
    run(engine->syncNow(account.id, std::nullopt, mode, clock->now()));
}

void SyncedForge::runFor(double seconds) {
    double step = policy.tickInterval.count();
    for (double passed = 0; passed < seconds; passed += step) {
        clock->advance(step);
        run(engine->tick(clock->now()));
    }
}

std::vector<TaskSnapshot> SyncedForge::tasks(const std::string& repository) {
    TaskQuery query;
    query.accountID = account.id;
    query.projectID = repository;
    query.includeCompleted = true;
    return run(store.taskSnapshots(query));
}

TaskSnapshot SyncedForge::task(const std::string& repository, int64_t number) {
    return run(store.taskSnapshot(taskKey(account.id, repository, std::to_string(number)))).value();
}

void SyncedForge::edit(const std::string& repository, int64_t number,
                       const std::function<void(TaskItem& item)>& change) {
    run(store.editTask(taskKey(account.id, repository, std::to_string(number)), clock->now(), change));
}

std::string SyncedForge::accountError() {
    for (const AccountSyncState& state : run(store.accounts())) {
        if (state.account.id == account.id) {
            return state.syncError.value_or("");
        }
    }
    return "The account is gone.";
}

}  // namespace marlet
