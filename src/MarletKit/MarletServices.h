#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "LocalBackend/LocalTaskDatabase.h"
#include "MarletBase/Async.h"
#include "MarletBase/Clock.h"
#include "MarletCore/CredentialStore.h"
#include "MarletCore/TaskBackend.h"
#include "MarletKit/BackendFactory.h"
#include "MarletKit/ServicesError.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"

namespace marlet {

// The one object that a client creates: store, sync engine, credentials, local tasks and the backends between them.
//
// Immutable after construction; safe to call from any executor. Errors of its parts reach the caller as they are, and
// the steps of an operation that came before one stay done. Cancelling the caller doesn't cut a change of accounts,
// projects or tasks short: it runs to its end first. Destroy it only when no operation is under way any more:
// await sync().stop() and sync().drain() first.
class MarletServices {
public:
    struct Parts {
        Executor executor;
        ModelContainer container;  // of the task store
        std::shared_ptr<LocalTaskDatabase> localTasks;
        std::shared_ptr<CredentialStore> credentials;
        std::shared_ptr<Clock> clock;
        SyncEngine::Policy syncPolicy;
        BackendFactory backendFactory;
    };

    explicit MarletServices(Parts parts);
    MarletServices(const MarletServices&) = delete;
    MarletServices& operator=(const MarletServices&) = delete;
    ~MarletServices();

    TaskStore& store();
    SyncEngine& sync();
    CredentialStore& credentials();
    LocalTaskDatabase& localTasks();
    Clock& clock();

    // The account's backend. Of a local account it is a plain value over localTasks(); of any other it is the same
    // one until the account's fields or its token change. Throws BackendError::unauthorized without a token.
    Async<std::shared_ptr<TaskBackend>> backend(Account account);

    // The account's token; no value for one that has none.
    Async<std::optional<std::string>> token(UUID accountID);

    // The projects are the proof that the token works; nothing is kept.
    Async<std::vector<Project>> verify(Account account, std::string token);
    // Ends with a full sync of the account, which keeps its failures to the rows that they concern.
    Async<void> addAccount(Account account, std::string token, std::vector<Project> projects,
                           std::set<std::string> subscribedProjectIDs);
    Async<Account> addLocalAccount(std::string name, std::string firstProjectName);
    Async<Project> createLocalProject(std::string name, UUID accountID);
    Async<void> renameLocalProject(std::string projectID, std::string name, UUID accountID);
    Async<void> deleteLocalProject(std::string projectID, UUID accountID);
    // Waits for a pass that is running. Throws StoreError::taskNotFound, and ServicesError::notLocal for a task of
    // another service.
    Async<void> deleteLocalTask(UUID localID);
    // A token that the server refuses changes nothing.
    Async<void> updateToken(std::string token, Account account);
    // Empty for a task that its server hasn't seen, or that has gone.
    Async<std::vector<TaskComment>> comments(std::string taskKey);
    // The service's own bytes. Throws BackendError::rejected with the reason why there are none.
    Async<std::string> rawTask(std::string taskKey);
    // Posts at once; nothing is queued. Throws StoreError::taskNotFound for a task that its server hasn't seen.
    Async<TaskComment> addComment(std::string text, std::string taskKey);
    Async<void> removeAccount(UUID id);

private:
    class State;
    std::unique_ptr<State> state;
};

}  // namespace marlet
