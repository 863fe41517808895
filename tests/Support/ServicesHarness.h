#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "MarletKit/MarletServices.h"
#include "TestSupport/ScriptedBackend.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// A MarletServices on one loop, with a clock moved by hand, tokens in memory and scripted services.
//
// Accounts of other services get a ScriptedBackend, made by `makeBackend` and listed in `made`; it can be read raw.
class ServicesHarness {
public:
    // Both databases in memory, or in this folder through this file layer of SQLite.
    explicit ServicesHarness(std::optional<std::filesystem::path> dataFolder = std::nullopt,
                             std::string initialFileLayer = {});
    ServicesHarness(const ServicesHarness&) = delete;
    ServicesHarness& operator=(const ServicesHarness&) = delete;
    ~ServicesHarness();

    struct MadeBackend {
        Account account;
        std::string token;
        std::shared_ptr<TaskBackend> backend;
    };

    MarletServices& services() { return *running; }
    TaskStore& store() { return running->store(); }
    SyncEngine& sync() { return running->sync(); }

    template <class T>
    T run(Async<T> operation) {
        return loop.runToEnd(std::move(operation));
    }

    // An account with one project, subscribed.
    Account addLocalAccount(const std::string& name = "On This Mac", const std::string& projectName = "Garden");
    Account addRemoteAccount(BackendKind kind = BackendKind::github, const std::string& projectID = "o/r",
                             const std::string& token = "token");

    // The backend made last for the account.
    ScriptedBackend& remote(const Account& account);

    // The id of the account's first project, in the store's order by name.
    std::string projectID(const Account& account);
    // A new task in the account's first project; not pushed.
    UUID createTask(const Account& account, TaskDraft draft);
    UUID createTask(const Account& account, const std::string& title) { return createTask(account, {.title = title}); }
    TaskSnapshot task(UUID localID);
    // Of all accounts or one, completed ones too.
    std::vector<TaskSnapshot> tasks(std::optional<UUID> accountID = std::nullopt);
    void edit(UUID localID, std::function<void(TaskItem&)> change);
    void push(const Account& account);
    void syncNow(const Account& account, SyncEngine::Mode mode = SyncEngine::Mode::delta);

    // Ends the services and makes new ones over the same folder, credentials and clock.
    void restart();

    TestLoop loop;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::shared_ptr<CredentialStore> credentials = std::make_shared<InMemoryCredentialStore>();
    BackendFactory makeBackend;
    std::vector<MadeBackend> made;
    // SQLite's file layer from the next restart on, such as a FailingFileSystem's name.
    std::string fileLayer;

private:
    void start();
    void end();

    std::optional<std::filesystem::path> folder;
    std::unique_ptr<MarletServices> running;
};

}  // namespace marlet
