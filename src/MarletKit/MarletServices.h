#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "LocalBackend/LocalTaskDatabase.h"
#include "MarletBase/Async.h"
#include "MarletBase/Clock.h"
#include "MarletBase/LocalizedError.h"
#include "MarletCore/CredentialStore.h"
#include "MarletCore/TaskBackend.h"
#include "MarletStore/TaskStore.h"
#include "MarletSync/SyncEngine.h"

namespace marlet {

class ServicesError final : public LocalizedError {
public:
    static ServicesError notLocal() { return ServicesError("Only tasks kept on this Mac can be deleted."); }

private:
    using LocalizedError::LocalizedError;
};

// Makes the backend of an account that isn't local. Called from any thread.
using BackendFactory = std::function<std::shared_ptr<TaskBackend>(const Account& account, const std::string& token)>;

// The one object that a client creates: store, sync engine, credentials, local tasks and the backends between them.
//
// Immutable after construction; safe to call from any executor. Errors of its parts reach the caller as they are.
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

    // The account's backend: the same one until its fields or its token change. Throws BackendError::unauthorized
    // for an account without a token.
    Async<std::shared_ptr<TaskBackend>> backend(Account account);

    // The projects are the proof that the token works.
    Async<std::vector<Project>> verify(Account account, std::string token);
    Async<void> addAccount(Account account, std::string token, std::vector<Project> projects,
                           std::set<std::string> subscribedProjectIDs);
    Async<Account> addLocalAccount(std::string name, std::string firstProjectName);
    Async<Project> createLocalProject(std::string name, UUID accountID);
    Async<void> renameLocalProject(std::string projectID, std::string name, UUID accountID);
    Async<void> deleteLocalProject(std::string projectID, UUID accountID);
    // Throws ServicesError::notLocal for a task of another service.
    Async<void> deleteLocalTask(UUID localID);
    // A token that the server refuses changes nothing.
    Async<void> updateToken(std::string token, Account account);
    Async<std::vector<TaskComment>> comments(std::string taskKey);
    Async<std::string> rawTask(std::string taskKey);
    // Posts at once; nothing is queued.
    Async<TaskComment> addComment(std::string text, std::string taskKey);
    Async<void> removeAccount(UUID id);

private:
    class State;
    std::unique_ptr<State> state;
};

}  // namespace marlet
