#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/Date.h"
#include "MarletCore/Account.h"
#include "MarletCore/QueueModelExecutor.h"
#include "MarletStore/PendingOperation.h"
#include "MarletStore/RemoteChange.h"
#include "MarletStore/StoreError.h"
#include "MarletStore/SyncState.h"
#include "MarletStore/TaskQuery.h"
#include "MarletStore/TaskSnapshot.h"

namespace marlet {

// What one fetch of one project brought.
struct FetchedTasks {
    std::vector<TaskItem> tasks;  // in the backend's order
    UUID accountID;
    std::string projectID;
    bool isFullFetch = false;  // asked for all tasks, not only for those changed since a date
    bool isComplete = false;   // holds the project's whole list; false when it may have been cut off
    Date syncedAt;
};

struct ActiveTimer {
    std::string key;
    Date startedAt;

    bool operator==(const ActiveTimer&) const = default;
};

// What is kept of handing a task to an agent, and where its work is to be done.
struct TaskHandoff {
    std::optional<std::string> claudeFolder;  // the folder that the agent got last
    std::optional<Date> claudeHandoffAt;
    std::optional<Date> claudeResultPostedAt;
    std::optional<std::string> worktreePath;
    std::optional<std::string> checkoutPath;          // of the task's project
    std::optional<std::string> claudeDestinationRaw;  // the project's choice of an agent
    std::optional<std::string> agentDestinationRaw;   // the account's

    bool operator==(const TaskHandoff&) const = default;
};
BOOST_DESCRIBE_STRUCT(TaskHandoff, (),
                      (claudeFolder, claudeHandoffAt, claudeResultPostedAt, worktreePath, checkoutPath,
                       claudeDestinationRaw, agentDestinationRaw))

// The only way to the persistent tasks: what the servers said, what the user changed, what waits to go out.
//
// Every operation runs whole on the store's own executor, one at a time, and lands whole or not at all.
// Safe to call from any executor; the caller resumes on its own. Plain records go in and out, rows never.
// Dates come from the caller. Every operation throws SQLite's errors besides those it names; a setter of an account or
// project throws StoreError::accountNotFound or projectNotFound when its row has gone.
class TaskStore {
public:
    // `now` tells trackedTime of running timers; all else takes its dates as arguments.
    TaskStore(ModelContainer container, std::function<Date()> now);
    TaskStore(const TaskStore&) = delete;
    TaskStore& operator=(const TaskStore&) = delete;
    ~TaskStore();

    // Accounts.
    // An account with a known id is an error of the database.
    Async<void> addAccount(Account account);
    Async<void> removeAccount(UUID id);
    // By display name, as the user's locale sorts.
    Async<std::vector<AccountSyncState>> accounts();
    Async<void> setSyncError(std::optional<std::string> message, UUID accountID);
    Async<void> setAgentDestination(std::optional<std::string> raw, UUID accountID);
    // Blank or no name restores the default. Throws StoreError::taskTypesUnsupported unless the account is Jira's.
    Async<void> setDefaultTaskType(std::optional<std::string> name, UUID accountID);

    // Projects.
    // Takes the service's list. A project that is no longer on it goes, with its tasks, unless a task of it holds
    // data that only this computer has: then the project stays and says so.
    Async<void> replaceProjects(std::vector<Project> projects, UUID accountID, Date refreshedAt);
    Async<void> removeProject(UUID accountID, std::string projectID);
    Async<void> setAgentDestination(std::optional<std::string> raw, UUID accountID, std::string projectID);
    Async<void> setCheckoutPath(std::optional<std::string> path, UUID accountID, std::string projectID);
    Async<void> setSyncError(std::optional<std::string> message, UUID accountID, std::string projectID);
    // Unsubscribing drops the tasks that hold no local data, and all memory of earlier syncs.
    Async<void> setSubscribed(bool flag, UUID accountID, std::string projectID);
    // In the store's order.
    Async<std::vector<ProjectSyncState>> subscribedProjects(UUID accountID);

    // The sync engine's memory.
    Async<void> setQuietFetches(int64_t count, UUID accountID, std::string projectID);
    Async<void> setQuietProbes(int64_t count, UUID accountID);
    // Writes only the dates that are given.
    Async<void> setChangeChecks(UUID accountID, ChangeChecks checks);
    Async<void> setProbeRejected(std::optional<Date> date, UUID accountID);
    Async<void> setHintRejected(std::optional<Date> date, UUID accountID);
    Async<void> setActedHint(Date date, UUID accountID, std::string projectID);
    Async<void> setCountChecked(Date at, UUID accountID, std::string projectID);
    Async<void> resetQuietCounts();
    // The number to compare with a server's count: tasks that the server has named. Needs no project row.
    Async<int64_t> remoteTaskCount(UUID accountID, std::string projectID);

    // Merges one fetch of one project and tells what is news to the user, in fetch order.
    // A task with a pending local change keeps it. Throws StoreError::projectNotFound.
    Async<std::vector<RemoteChange>> applyFetchedTasks(FetchedTasks fetch);

    // Local edits and the push queue.
    // Makes a task that exists only here so far; gives its key.
    Async<std::string> createTask(TaskDraft draft, UUID accountID, std::string projectID, Date at);
    // `change` runs on the store's executor and must not throw; an edit can't move or renumber the task.
    Async<void> editTask(std::string key, Date at, std::function<void(TaskItem&)> change);
    Async<void> editTask(UUID localID, Date at, std::function<void(TaskItem&)> change);
    Async<void> deleteTask(std::string key);
    // The oldest change first; refused tasks are left out.
    Async<std::vector<PendingPush>> pendingPushes(UUID accountID);
    // The server accepted what was sent as `revision`. Nothing happens when the task has gone.
    Async<void> completePush(std::string key, int64_t revision, TaskItem result);
    // The server refused: the task stays pending and leaves the queue.
    Async<void> failPush(std::string key, std::string message);
    Async<void> retryPush(std::string key);
    Async<void> retryPush(UUID localID);
    // Gives up what hasn't gone out. The next fetch of the project is a full one, to bring the server's state back.
    Async<void> discardLocalChanges(std::string key);
    Async<void> discardLocalChanges(UUID localID);

    // Queries.
    Async<std::optional<TaskItem>> task(std::string key);
    // Newest first; tasks of equal dates in the order in which their rows were made.
    Async<std::vector<TaskSnapshot>> taskSnapshots(TaskQuery query);
    Async<std::optional<TaskSnapshot>> taskSnapshot(std::string key);
    Async<std::optional<TaskSnapshot>> taskSnapshot(UUID localID);
    // The tasks whose localID begins so, in any case, in ascending order: at most `limit`.
    Async<std::vector<UUID>> taskIDs(std::string beginning, int64_t limit);
    // The tasks, completed ones included, whose number or localID is this text, case ignored: of every account, of one,
    // or of one project of it. In the order of taskSnapshots, by an index.
    Async<std::vector<TaskSnapshot>> tasksNamed(std::string name, std::optional<UUID> accountID,
                                                std::optional<std::string> projectID);
    // By name, as the user's locale sorts.
    Async<std::vector<ProjectSnapshot>> projectSnapshots(std::optional<UUID> accountID, bool subscribedOnly);
    // The project of this key alone, without a look at the others.
    Async<std::optional<ProjectSnapshot>> projectSnapshot(std::string key);
    // Every task with a pending operation, refused ones included, the oldest change first.
    Async<std::vector<TaskSnapshot>> pendingSnapshots(std::optional<UUID> accountID);
    // The task that is timed, or else the open one that was timed last.
    Async<std::optional<TaskSnapshot>> currentTimerTask();

    // Flags, time tracking and hand-off records: this computer's business, never pushed, never fetched.
    // All throw StoreError::taskNotFound.
    Async<void> setNext(bool flag, std::string key);
    Async<void> setNext(bool flag, UUID localID);
    Async<void> setStarred(bool flag, std::string key);
    Async<void> setStarred(bool flag, UUID localID);
    Async<void> markViewed(std::string key, Date at);
    Async<void> markViewed(UUID localID, Date at);
    // Stops every other timer: at most one runs in the whole store.
    Async<void> startTimer(std::string key, Date at);
    Async<void> startTimer(UUID localID, Date at);
    Async<void> stopTimer(Date at);
    Async<std::optional<ActiveTimer>> activeTimer();
    Async<void> deleteTimeLog(UUID id);
    Async<void> recordClaudeHandoff(UUID localID, std::string folder, Date at);
    Async<void> recordWorktree(UUID localID, std::optional<std::string> path);
    Async<void> markClaudeResultPosted(UUID localID, Date at);
    Async<TaskHandoff> handoff(UUID localID);

private:
    std::function<Date()> currentTime;
    QueueModelExecutor executor;
};

}  // namespace marlet
