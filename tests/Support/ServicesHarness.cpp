#include "TestSupport/ServicesHarness.h"

#include "MarletStore/MarletSchema.h"

namespace marlet {
namespace {

Project listed(const Account& account, const std::string& id) {
    Project project;
    project.id = id;
    project.accountID = account.id;
    project.name = id;
    return project;
}

}  // namespace

ServicesHarness::ServicesHarness(std::optional<std::filesystem::path> dataFolder, std::string initialFileLayer)
    : fileLayer(std::move(initialFileLayer)), folder(std::move(dataFolder)) {
    makeBackend = [](const Account& account, const std::string&) -> std::shared_ptr<TaskBackend> {
        return std::make_shared<ScriptedBackendWith<ScriptedRawReading>>(account);
    };
    start();
}

ServicesHarness::~ServicesHarness() {
    end();
}

void ServicesHarness::start() {
    auto localTasks = std::make_shared<LocalTaskDatabase>(folder ? LocalTaskSchema::makeContainer(*folder, fileLayer)
                                                                 : LocalTaskSchema::makeInMemoryContainer());
    ModelContainer container =
        folder ? MarletSchema::makeContainer(*folder, fileLayer) : MarletSchema::makeInMemoryContainer();
    running = std::make_unique<MarletServices>(
        MarletServices::Parts{loop.executor(), std::move(container), std::move(localTasks), credentials, clock,
                              SyncEngine::Policy(), [this](const Account& account, const std::string& token) {
                                  std::shared_ptr<TaskBackend> backend = makeBackend(account, token);
                                  made.push_back({account, token, backend});
                                  return backend;
                              }});
}

void ServicesHarness::end() {
    run(sync().stop());
    run(sync().drain());
    running.reset();
}

void ServicesHarness::restart() {
    end();
    start();
}

Account ServicesHarness::addLocalAccount(const std::string& name, const std::string& projectName) {
    return run(services().addLocalAccount(name, projectName));
}

Account ServicesHarness::addRemoteAccount(BackendKind kind, const std::string& projectID, const std::string& token) {
    Account account{UUID::random(), kind, displayName(kind), *URL::parse("https://tasks.example")};
    std::vector<Project> projects{listed(account, projectID)};
    std::set<std::string> subscribed{projectID};
    run(services().addAccount(account, token, std::move(projects), std::move(subscribed)));
    return account;
}

ScriptedBackend& ServicesHarness::remote(const Account& account) {
    for (auto entry = made.rbegin(); entry != made.rend(); ++entry) {
        if (entry->account.id == account.id) {
            return dynamic_cast<ScriptedBackend&>(*entry->backend);
        }
    }
    throw std::logic_error("No backend was made for this account.");
}

std::string ServicesHarness::projectID(const Account& account) {
    return run(store().projectSnapshots(account.id, false)).at(0).projectID;
}

UUID ServicesHarness::createTask(const Account& account, TaskDraft draft) {
    std::string key = run(store().createTask(std::move(draft), account.id, projectID(account), clock->now()));
    return run(store().taskSnapshot(key)).value().localID;
}

TaskSnapshot ServicesHarness::task(UUID localID) {
    return run(store().taskSnapshot(localID)).value();
}

std::vector<TaskSnapshot> ServicesHarness::tasks(std::optional<UUID> accountID) {
    TaskQuery query;
    query.accountID = accountID;
    query.includeCompleted = true;
    return run(store().taskSnapshots(query));
}

void ServicesHarness::edit(UUID localID, std::function<void(TaskItem&)> change) {
    run(store().editTask(localID, clock->now(), std::move(change)));
}

void ServicesHarness::push(const Account& account) {
    run(sync().pushNow(account.id, clock->now()));
}

void ServicesHarness::syncNow(const Account& account, SyncEngine::Mode mode) {
    run(sync().syncNow(account.id, std::nullopt, mode, clock->now()));
}

}  // namespace marlet
