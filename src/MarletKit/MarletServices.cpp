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
    Async<std::optional<Account>> account(UUID id);
    // No value when the task or its account has gone, or when the server hasn't seen the task.
    Async<std::optional<ServerContext>> serverContext(std::string taskKey);
    Async<void> refreshLocalProjects(UUID accountID);
    Async<void> deleteLocalTask(UUID localID);

    const std::shared_ptr<LocalTaskDatabase> localTasks;
    const std::shared_ptr<CredentialStore> credentials;
    const std::shared_ptr<Clock> clock;
    const BackendFactory backendFactory;
    CredentialQueue tokens;
    BackendCache cache;
    TaskStore store;
    SyncEngine sync;
};

MarletServices::State::State(Parts parts)
    : localTasks(std::move(parts.localTasks)),
      credentials(std::move(parts.credentials)),
      clock(std::move(parts.clock)),
      backendFactory(std::move(parts.backendFactory)),
      tokens(credentials),
      cache(backendFactory),
      store(std::move(parts.container), [now = clock] { return now->now(); }),
      sync(parts.executor, store, *clock, parts.syncPolicy,
           [this](Account account) { return backend(std::move(account)); }) {}

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

Async<void> MarletServices::State::deleteLocalTask(UUID localID) {
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

Async<std::vector<Project>> MarletServices::verify(Account account, std::string token) {
    if (isLocal(account.kind)) {
        std::vector<Project> own = co_await state->localTasks->projects(account.id);
        co_return own;
    }
    std::shared_ptr<TaskBackend> fresh = state->backendFactory(account, token);
    std::vector<Project> projects = co_await fresh->fetchProjects();
    co_return projects;
}

Async<void> MarletServices::addAccount(Account account, std::string token, std::vector<Project> projects,
                                       std::set<std::string> subscribedProjectIDs) {
    if (!isLocal(account.kind)) {
        co_await state->tokens.setToken(std::move(token), account.id);
    }
    co_await state->store.addAccount(account);
    co_await state->store.replaceProjects(std::move(projects), account.id, state->clock->now());
    for (const std::string& projectID : subscribedProjectIDs) {
        co_await state->store.setSubscribed(true, account.id, projectID);
    }
    co_await state->sync.syncNow(account.id, std::nullopt, SyncEngine::Mode::full, state->clock->now());
}

Async<Account> MarletServices::addLocalAccount(std::string name, std::string firstProjectName) {
    Account account{UUID::random(), BackendKind::local, std::move(name), *defaultBaseURL(BackendKind::local)};
    Project project =
        co_await state->localTasks->createProject(std::move(firstProjectName), account.id, state->clock->now());
    std::vector<Project> projects{project};
    std::set<std::string> subscribed{project.id};
    co_await addAccount(account, std::string(), std::move(projects), std::move(subscribed));
    co_return account;
}

Async<Project> MarletServices::createLocalProject(std::string name, UUID accountID) {
    Project project = co_await state->localTasks->createProject(std::move(name), accountID, state->clock->now());
    co_await state->refreshLocalProjects(accountID);
    co_await state->store.setSubscribed(true, accountID, project.id);
    co_return project;
}

Async<void> MarletServices::renameLocalProject(std::string projectID, std::string name, UUID accountID) {
    co_await state->localTasks->renameProject(std::move(projectID), std::move(name), accountID);
    co_await state->refreshLocalProjects(accountID);
}

Async<void> MarletServices::deleteLocalProject(std::string projectID, UUID accountID) {
    co_await state->localTasks->deleteProject(projectID, accountID);
    co_await state->store.removeProject(accountID, projectID);
}

Async<void> MarletServices::deleteLocalTask(UUID localID) {
    // No pass may see the task half deleted.
    State* owner = state.get();
    co_await state->sync.runExclusively([owner, localID] { return owner->deleteLocalTask(localID); });
}

Async<void> MarletServices::updateToken(std::string token, Account account) {
    std::vector<Project> projects = co_await verify(account, token);
    co_await state->tokens.setToken(std::move(token), account.id);
    co_await state->store.replaceProjects(std::move(projects), account.id, state->clock->now());
    co_await state->sync.clearRejections(account.id);
    co_await state->sync.syncNow(account.id, std::nullopt, SyncEngine::Mode::delta, state->clock->now());
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

Async<void> MarletServices::removeAccount(UUID id) {
    co_await state->store.removeAccount(id);
    co_await state->localTasks->removeAccount(id);
    co_await state->tokens.setToken(std::nullopt, id);
}

}  // namespace marlet
