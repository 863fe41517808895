// The rows of the store's tables, how they are found, and how they become the records that leave the store.
// Internal to MarletStore: no row leaves it.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Database.h"
#include "MarletBase/Date.h"
#include "MarletCore/Account.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"
#include "MarletStore/PendingOperation.h"

namespace marlet {

// The members are the columns.
struct StoredAccount {
    int64_t rowNumber = 0;
    UUID id;
    std::string kindRaw;
    std::string displayName;
    URL baseURL;
    std::optional<Date> lastProjectRefresh;
    int64_t quietProbes = 0;
    std::optional<Date> lastProbeAt;
    std::optional<Date> probedThrough;
    std::optional<Date> lastHintAt;
    std::optional<Date> hintedThrough;
    std::optional<Date> probeRejectedAt;
    std::optional<Date> hintRejectedAt;
    std::optional<std::string> syncError;
    std::optional<std::string> agentDestinationRaw;
    std::optional<std::string> defaultTaskType;

    BackendKind kind() const;
    Account account() const { return {id, kind(), displayName, baseURL}; }
    // What a new task of the account is unless the user says otherwise.
    std::optional<std::string> effectiveDefaultTaskType() const;
};
BOOST_DESCRIBE_STRUCT(StoredAccount, (),
                      (rowNumber, id, kindRaw, displayName, baseURL, lastProjectRefresh, quietProbes, lastProbeAt,
                       probedThrough, lastHintAt, hintedThrough, probeRejectedAt, hintRejectedAt, syncError,
                       agentDestinationRaw, defaultTaskType))

struct StoredProject {
    int64_t rowNumber = 0;
    std::string key;
    UUID accountID;
    std::string remoteID;
    std::string name;
    std::string detail;
    std::optional<URL> webURL;
    std::optional<URL> cloneURL;
    std::optional<std::string> sshCloneURL;
    std::optional<std::string> kindRaw;
    std::vector<std::string> statusOptions;
    bool isSubscribed = false;
    std::optional<Date> deltaCursor;
    std::optional<Date> lastSyncedAt;
    std::optional<Date> lastFullSyncAt;
    std::optional<Date> lastCountCheckAt;
    int64_t quietFetches = 0;
    std::optional<Date> actedHintAt;
    std::optional<std::string> syncError;
    std::optional<std::string> claudeDestinationRaw;
    std::optional<std::string> checkoutPath;
    std::optional<int64_t> account;  // the row that it goes with

    Project project() const;
};
BOOST_DESCRIBE_STRUCT(StoredProject, (),
                      (rowNumber, key, accountID, remoteID, name, detail, webURL, cloneURL, sshCloneURL, kindRaw,
                       statusOptions, isSubscribed, deltaCursor, lastSyncedAt, lastFullSyncAt, lastCountCheckAt,
                       quietFetches, actedHintAt, syncError, claudeDestinationRaw, checkoutPath, account))

// What only this computer knows of a task; no fetch touches it.
struct LocalFields {
    bool isNext = false;
    bool isStarred = false;
    std::optional<Date> viewedAt;
    std::optional<Date> lastStartedAt;
    std::optional<std::string> claudeFolder;
    std::optional<Date> claudeHandoffAt;
    std::optional<Date> claudeResultPostedAt;
    std::optional<std::string> worktreePath;
};
BOOST_DESCRIBE_STRUCT(LocalFields, (),
                      (isNext, isStarred, viewedAt, lastStartedAt, claudeFolder, claudeHandoffAt, claudeResultPostedAt,
                       worktreePath))

// The task's own entry in the push queue.
struct PushState {
    std::optional<std::string> pendingOperationRaw;
    std::optional<Date> pendingSince;
    int64_t localRevision = 0;
    std::optional<std::string> pushError;

    // No value also for a word that this version doesn't know.
    std::optional<PendingOperation> pendingOperation() const;
};
BOOST_DESCRIBE_STRUCT(PushState, (), (pendingOperationRaw, pendingSince, localRevision, pushError))

struct StoredTask {
    int64_t rowNumber = 0;
    std::string key;
    UUID localID;
    UUID accountID;
    TaskItem item;  // the copy of the server's task; its id and project are the columns remoteID and projectRemoteID
    LocalFields local;
    PushState push;
    std::optional<int64_t> project;  // the row that it goes with

    // The server hasn't seen it yet.
    bool isLocalOnly() const { return item.id.starts_with("local-"); }
    bool isUnread() const;

    // Takes a task, the server's or an edited one, and follows its id with the key. The project stays.
    void applyRemote(TaskItem given);
};

// A parent that a service names without its title keeps the title that is known.
std::optional<TaskParent> mergedParent(const std::optional<TaskParent>& given, const std::optional<TaskParent>& known);

// Throw StoreError::accountNotFound and projectNotFound.
StoredAccount storedAccount(ModelContext& context, const UUID& id);
StoredProject storedProject(ModelContext& context, const UUID& accountID, const std::string& projectID);
std::optional<StoredProject> findProject(ModelContext& context, const std::string& key);
std::optional<StoredTask> storedTask(ModelContext& context, const std::string& key);
std::optional<StoredTask> storedTask(ModelContext& context, const UUID& localID);
std::optional<StoredTask> storedTaskAt(ModelContext& context, int64_t rowNumber);

std::vector<StoredAccount> allAccounts(ModelContext& context);
// In row order.
std::vector<StoredProject> projectsOfAccount(ModelContext& context, const UUID& accountID);
std::vector<StoredProject> allProjects(ModelContext& context);

void insertAccount(ModelContext& context, const Account& account);
void insertProject(ModelContext& context, const Project& project, const StoredAccount& account);

// Gives the new row's number, or no value if a row has this key already. rowNumber is ignored.
std::optional<int64_t> insertTask(ModelContext& context, const StoredTask& task);
// Writes key, item and push state of the row; the local fields stay. The search copy follows.
void updateTask(ModelContext& context, const StoredTask& task);
void deleteTaskRow(ModelContext& context, int64_t rowNumber);
bool hasTimeLogs(ModelContext& context, int64_t task);

}  // namespace marlet
