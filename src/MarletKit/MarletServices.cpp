#include "MarletKit/MarletServices.h"

#include <limits>

#include "LocalBackend/LocalTaskBackend.h"
#include "MarletCore/BackendError.h"
#include "MarletKit/BackendCacheInternal.h"
#include "MarletKit/CredentialQueueInternal.h"

namespace marlet {
namespace {

constexpr std::string_view unsentPrefix = "local-";

// A task's key begins with its account's id.
std::optional<UUID> accountIDOf(const std::string& taskKey) {
    return UUID::parse(std::string_view(taskKey).substr(0, taskKey.find('|')));
}

// What a call that goes straight to a server needs.
struct ServerContext {
    std::shared_ptr<TaskBackend> backend;
    TaskItem item;
};

}  // namespace

class MarletServices::State {
public:
    explicit State(Parts parts);

    Async<std::shared_ptr<TaskBackend>> backend(Account account);
    Async<std::vector<Project>> verify(Account account, std::string token);
    Async<void> addAccount(Account account, std::string token, std::vector<Project> projects,
                           std::set<std::string> subscribedProjectIDs);
    Async<Account> addLocalAccount(std::string name, std::string firstProjectName);
    Async<Project> createLocalProject(std::string name, UUID accountID);
    Async<void> renameLocalProject(std::string projectID, std::string name, UUID accountID);
    Async<void> deleteLocalProject(std::string projectID, UUID accountID);
    Async<void> deleteLocalTask(UUID localID);
    Async<void> updateToken(std::string token, Account account);
    Async<void> removeAccount(UUID id);
    // No value when the task or its account has gone, or when the server hasn't seen the task.
    Async<std::optional<ServerContext>> serverContext(std::string taskKey);

    // Runs an operation of several steps to its end, also when its caller is cancelled: a token must not stay behind
    // because a client hung up.
    template <class T>
    Async<T> whole(Async<T> operation) {
        return runOn(boost::asio::make_strand(executor), std::move(operation));
    }

    const Executor executor;
    const std::shared_ptr<LocalTaskDatabase> localTasks;
    const std::shared_ptr<CredentialStore> credentials;
    const std::shared_ptr<Clock> clock;
    const BackendFactory backendFactory;
    CredentialQueue tokens;
    BackendCache cache;
    TaskStore store;
    SyncEngine sync;

private:
    Async<std::optional<Account>> account(UUID id);
    Async<void> refreshLocalProjects(UUID accountID);
    Async<void> deleteFromBothStores(UUID localID);
};

MarletServices::State::State(Parts parts)
    : executor(std::move(parts.executor)),
      localTasks(std::move(parts.localTasks)),
      credentials(std::move(parts.credentials)),
      clock(std::move(parts.clock)),
      backendFactory(std::move(parts.backendFactory)),
      tokens(credentials),
      cache(backendFactory),
      store(std::move(parts.container), [now = clock] { return now->now(); }),
      sync(executor, store, *clock, parts.syncPolicy, [this](Account account) { return backend(std::move(account)); }) {
}

Async<std::shared_ptr<TaskBackend>> MarletServices::State::backend(Account account) {
    if (isLocal(account.kind)) {
        constexpr int64_t unlimited = std::numeric_limits<int64_t>::max();
        co_return std::make_shared<LocalTaskBackend>(std::move(account), unlimited, localTasks, clock);
    }
    std::optional<std::string> token = co_await tokens.token(account.id);
    if (!token) {
        throw BackendError::unauthorized();
    }
    co_return cache.backend(account, *token);
}

Async<std::optional<Account>> MarletServices::State::account(UUID id) {
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    for (AccountSyncState& known : accounts) {
        if (known.account.id == id) {
            co_return std::move(known.account);
        }
    }
    co_return std::nullopt;
}

Async<std::optional<ServerContext>> MarletServices::State::serverContext(std::string taskKey) {
    std::optional<TaskItem> item = co_await store.task(taskKey);
    std::optional<UUID> accountID = accountIDOf(taskKey);
    if (!item || item->id.starts_with(unsentPrefix) || !accountID) {
        co_return std::nullopt;
    }
    std::optional<Account> owner = co_await account(*accountID);
    if (!owner) {
        co_return std::nullopt;
    }
    std::shared_ptr<TaskBackend> server = co_await backend(std::move(*owner));
    co_return ServerContext{std::move(server), std::move(*item)};
}

Async<void> MarletServices::State::refreshLocalProjects(UUID accountID) {
    std::vector<Project> projects = co_await localTasks->projects(accountID);
    co_await store.replaceProjects(std::move(projects), accountID, clock->now());
}

Async<void> MarletServices::State::deleteFromBothStores(UUID localID) {
    std::optional<TaskSnapshot> snapshot = co_await store.taskSnapshot(localID);
    if (!snapshot) {
        throw StoreError::taskNotFound();
    }
    std::optional<Account> owner = co_await account(snapshot->accountID);
    if (!owner || !isLocal(owner->kind)) {
        throw ServicesError::notLocal();
    }
    // Also a task that waits to be created may be in the database: its create landed, and the answer was lost in a
    // crash.
    try {
        co_await localTasks->deleteTask(snapshot->item, snapshot->accountID, clock->now());
    } catch (const BackendError& error) {
        if (error != BackendError::notFound()) {
            throw;
        }
    }
    co_await store.deleteTask(snapshot->key);
}

Async<std::vector<Project>> MarletServices::State::verify(Account account, std::string token) {
    if (isLocal(account.kind)) {
        std::vector<Project> own = co_await localTasks->projects(account.id);
        co_return own;
    }
    std::shared_ptr<TaskBackend> fresh = backendFactory(account, token);
    std::vector<Project> projects = co_await fresh->fetchProjects();
    co_return projects;
}

Async<void> MarletServices::State::addAccount(Account account, std::string token, std::vector<Project> projects,
                                              std::set<std::string> subscribedProjectIDs) {
    if (!isLocal(account.kind)) {
        co_await tokens.setToken(std::move(token), account.id);
    }
    co_await store.addAccount(account);
    co_await store.replaceProjects(std::move(projects), account.id, clock->now());
    for (const std::string& projectID : subscribedProjectIDs) {
        co_await store.setSubscribed(true, account.id, projectID);
    }
    co_await sync.syncNow(account.id, std::nullopt, SyncEngine::Mode::full, clock->now());
}

Async<Account> MarletServices::State::addLocalAccount(std::string name, std::string firstProjectName) {
    Account account{UUID::random(), BackendKind::local, std::move(name), *defaultBaseURL(BackendKind::local)};
    Project project = co_await localTasks->createProject(std::move(firstProjectName), account.id, clock->now());
    std::vector<Project> projects{project};
    std::set<std::string> subscribed{project.id};
    co_await addAccount(account, std::string(), std::move(projects), std::move(subscribed));
    co_return account;
}

Async<Project> MarletServices::State::createLocalProject(std::string name, UUID accountID) {
    Project project = co_await localTasks->createProject(std::move(name), accountID, clock->now());
    co_await refreshLocalProjects(accountID);
    co_await store.setSubscribed(true, accountID, project.id);
    co_return project;
}

Async<void> MarletServices::State::renameLocalProject(std::string projectID, std::string name, UUID accountID) {
    co_await localTasks->renameProject(std::move(projectID), std::move(name), accountID);
    co_await refreshLocalProjects(accountID);
}

Async<void> MarletServices::State::deleteLocalProject(std::string projectID, UUID accountID) {
    co_await localTasks->deleteProject(projectID, accountID);
    co_await store.removeProject(accountID, projectID);
}

Async<void> MarletServices::State::deleteLocalTask(UUID localID) {
    // No pass may see the task half deleted.
    co_await sync.runExclusively([this, localID] { return deleteFromBothStores(localID); });
}

Async<void> MarletServices::State::updateToken(std::string token, Account account) {
    std::vector<Project> projects = co_await verify(account, token);
    co_await tokens.setToken(std::move(token), account.id);
    co_await store.replaceProjects(std::move(projects), account.id, clock->now());
    co_await sync.clearRejections(account.id);
    co_await sync.syncNow(account.id, std::nullopt, SyncEngine::Mode::delta, clock->now());
}

Async<void> MarletServices::State::removeAccount(UUID id) {
    co_await store.removeAccount(id);
    co_await localTasks->removeAccount(id);
    co_await tokens.setToken(std::nullopt, id);
}

MarletServices::MarletServices(Parts parts) : state(std::make_unique<State>(std::move(parts))) {}

MarletServices::~MarletServices() = default;

TaskStore& MarletServices::store() {
    return state->store;
}

SyncEngine& MarletServices::sync() {
    return state->sync;
}

CredentialStore& MarletServices::credentials() {
    return *state->credentials;
}

LocalTaskDatabase& MarletServices::localTasks() {
    return *state->localTasks;
}

Clock& MarletServices::clock() {
    return *state->clock;
}

Async<std::shared_ptr<TaskBackend>> MarletServices::backend(Account account) {
    return state->backend(std::move(account));
}

Async<std::optional<std::string>> MarletServices::token(UUID accountID) {
    return state->tokens.token(accountID);
}

Async<std::vector<Project>> MarletServices::verify(Account account, std::string token) {
    return state->verify(std::move(account), std::move(token));
}

Async<void> MarletServices::addAccount(Account account, std::string token, std::vector<Project> projects,
                                       std::set<std::string> subscribedProjectIDs) {
    return state->whole(
        state->addAccount(std::move(account), std::move(token), std::move(projects), std::move(subscribedProjectIDs)));
}

Async<Account> MarletServices::addLocalAccount(std::string name, std::string firstProjectName) {
    return state->whole(state->addLocalAccount(std::move(name), std::move(firstProjectName)));
}

Async<Project> MarletServices::createLocalProject(std::string name, UUID accountID) {
    return state->whole(state->createLocalProject(std::move(name), accountID));
}

Async<void> MarletServices::renameLocalProject(std::string projectID, std::string name, UUID accountID) {
    return state->whole(state->renameLocalProject(std::move(projectID), std::move(name), accountID));
}

Async<void> MarletServices::deleteLocalProject(std::string projectID, UUID accountID) {
    return state->whole(state->deleteLocalProject(std::move(projectID), accountID));
}

Async<void> MarletServices::deleteLocalTask(UUID localID) {
    return state->whole(state->deleteLocalTask(localID));
}

Async<void> MarletServices::updateToken(std::string token, Account account) {
    return state->whole(state->updateToken(std::move(token), std::move(account)));
}

Async<void> MarletServices::removeAccount(UUID id) {
    return state->whole(state->removeAccount(id));
}

Async<std::vector<TaskComment>> MarletServices::comments(std::string taskKey) {
    std::optional<ServerContext> context = co_await state->serverContext(std::move(taskKey));
    if (!context) {
        co_return std::vector<TaskComment>();
    }
    std::vector<TaskComment> comments = co_await context->backend->fetchComments(std::move(context->item));
    co_return comments;
}

Async<std::string> MarletServices::rawTask(std::string taskKey) {
    std::optional<ServerContext> context = co_await state->serverContext(std::move(taskKey));
    if (!context) {
        throw BackendError::rejected("The task hasn't been created on the server yet.");
    }
    auto* reading = dynamic_cast<RawTaskReading*>(context->backend.get());
    if (!reading) {
        throw BackendError::rejected("This service can't hand out its raw task data.");
    }
    std::string bytes = co_await reading->rawTask(std::move(context->item));
    co_return bytes;
}

Async<TaskComment> MarletServices::addComment(std::string text, std::string taskKey) {
    std::optional<ServerContext> context = co_await state->serverContext(std::move(taskKey));
    if (!context) {
        throw StoreError::taskNotFound();
    }
    TaskComment comment = co_await context->backend->addComment(std::move(text), std::move(context->item));
    co_return comment;
}

}  // namespace marlet
