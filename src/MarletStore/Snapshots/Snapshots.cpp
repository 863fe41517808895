#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/Snapshots/TaskNames.h"
#include "MarletStore/Snapshots/TaskQueries.h"
#include "MarletStore/TaskColumns.h"
#include "MarletStore/TaskStore.h"
#include "MarletStore/Timers.h"

namespace marlet {
namespace {

using Now = std::function<Date()>;

struct TrackedTime {
    double seconds = 0;
    bool isRunning = false;
};

TrackedTime trackedTime(ModelContext& context, int64_t task, Date until) {
    SQLite::Statement& statement =
        context.statement("SELECT startedAt, COALESCE(endedAt, ?), endedAt IS NULL FROM StoredTimeLog WHERE task = ?");
    bindAll(statement, until, task);
    TrackedTime tracked;
    while (statement.executeStep()) {
        tracked.seconds += statement.getColumn(1).getDouble() - statement.getColumn(0).getDouble();
        tracked.isRunning = tracked.isRunning || statement.getColumn(2).getInt() != 0;
    }
    statement.reset();
    return tracked;
}

std::string projectName(ModelContext& context, const StoredTask& task) {
    SQLite::Statement& statement = context.statement("SELECT name FROM StoredProject WHERE rowNumber = ?");
    bindAll(statement, task.project);
    std::string name = statement.executeStep() ? columnText(statement.getColumn(0)) : task.item.projectID;
    statement.reset();
    return name;
}

TaskSnapshot snapshot(ModelContext& context, StoredTask task, const Now& now) {
    TrackedTime tracked = trackedTime(context, task.rowNumber, now());
    TaskSnapshot result;
    result.localID = task.localID;
    result.key = std::move(task.key);
    result.accountID = task.accountID;
    result.projectName = projectName(context, task);
    result.isNext = task.local.isNext;
    result.isStarred = task.local.isStarred;
    result.isUnread = task.isUnread();
    result.isTiming = tracked.isRunning;
    result.trackedTime = tracked.seconds;
    result.lastStartedAt = task.local.lastStartedAt;
    result.pendingOperation = task.push.pendingOperation();
    result.pushError = std::move(task.push.pushError);
    result.item = std::move(task.item);
    return result;
}

std::optional<TaskSnapshot> snapshotOf(ModelContext& context, std::optional<StoredTask> task, const Now& now) {
    return task ? std::optional(snapshot(context, std::move(*task), now)) : std::nullopt;
}

std::vector<TaskSnapshot> snapshotsOf(ModelContext& context, const std::vector<int64_t>& rows, const Now& now) {
    std::vector<TaskSnapshot> result;
    result.reserve(rows.size());
    for (int64_t row : rows) {
        result.push_back(snapshot(context, storedTaskAt(context, row).value(), now));
    }
    return result;
}

int64_t openTaskCount(ModelContext& context, const StoredProject& project) {
    SQLite::Statement& statement = context.statement(
        "SELECT COUNT(*) FROM StoredTask INDEXED BY tasksInProject WHERE accountID = ? AND projectRemoteID = ? AND "
        "isCompleted = 0");
    bindAll(statement, project.accountID, project.remoteID);
    statement.executeStep();
    return statement.getColumn(0).getInt64();
}

ProjectSnapshot snapshot(ModelContext& context, const StoredProject& row, const StoredAccount* account) {
    ProjectSnapshot result;
    result.key = row.key;
    result.accountID = row.accountID;
    result.accountName = account ? account->displayName : "";
    result.kind = account ? account->kind() : BackendKind::github;
    result.projectID = row.remoteID;
    result.name = row.name;
    result.detail = row.detail;
    result.webURL = row.webURL;
    result.isSubscribed = row.isSubscribed;
    result.openTaskCount = openTaskCount(context, row);
    result.syncError = row.syncError;
    result.project = row.project();
    return result;
}

// The project's account by the relationship; none for a project that has lost it.
const StoredAccount* accountOf(const StoredProject& project, const std::vector<StoredAccount>& accounts) {
    auto found = std::find_if(accounts.begin(), accounts.end(),
                              [&](const StoredAccount& account) { return account.rowNumber == project.account; });
    return found == accounts.end() ? nullptr : &*found;
}

std::vector<ProjectSnapshot> sortedProjects(ModelContext& context, const std::optional<UUID>& accountID,
                                            bool subscribedOnly) {
    std::vector<StoredAccount> accounts = allAccounts(context);
    std::vector<StoredProject> rows = accountID ? projectsOfAccount(context, *accountID) : allProjects(context);
    std::erase_if(rows, [&](const StoredProject& row) { return subscribedOnly && !row.isSubscribed; });
    std::stable_sort(rows.begin(), rows.end(), [](const StoredProject& left, const StoredProject& right) {
        return std::is_lt(localizedStandardCompare(left.name, right.name));
    });
    std::vector<ProjectSnapshot> result;
    result.reserve(rows.size());
    for (const StoredProject& row : rows) {
        result.push_back(snapshot(context, row, accountOf(row, accounts)));
    }
    return result;
}

std::vector<TaskSnapshot> pendingTasks(ModelContext& context, const std::optional<UUID>& accountID, const Now& now) {
    std::string condition = accountID ? "accountID = :account AND " : "";
    SQLite::Statement& statement =
        context.statement("SELECT rowNumber FROM StoredTask INDEXED BY pendingTasks WHERE " + condition +
                          "pendingOperationRaw IS NOT NULL AND pendingOperationRaw IN ('create', 'update') ORDER BY "
                          "pendingSince, rowNumber");
    if (accountID) {
        statement.bind(":account", accountID->text());
    }
    std::vector<int64_t> rows;
    while (statement.executeStep()) {
        rows.push_back(statement.getColumn(0).getInt64());
    }
    statement.reset();
    return snapshotsOf(context, rows, now);
}

std::optional<TaskSnapshot> timerTask(ModelContext& context, const Now& now) {
    if (std::optional<ActiveTimer> timer = runningTimer(context)) {
        return snapshotOf(context, storedTask(context, timer->key), now);
    }
    TaskQuery lastStarted;
    lastStarted.list = TaskList::timing;
    lastStarted.limit = 1;
    std::vector<TaskSnapshot> found = snapshotsOf(context, taskRows(context, lastStarted), now);
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

}  // namespace

Async<std::optional<TaskItem>> TaskStore::task(std::string key) {
    using Result = std::optional<TaskItem>;
    return reading<Result>(executor, [key = std::move(key)](ModelContext& context) -> Result {
        std::optional<StoredTask> row = storedTask(context, key);
        return row ? Result(std::move(row->item)) : std::nullopt;
    });
}

Async<std::vector<TaskSnapshot>> TaskStore::taskSnapshots(TaskQuery query) {
    return reading<std::vector<TaskSnapshot>>(executor, [this, query = std::move(query)](ModelContext& context) {
        return snapshotsOf(context, taskRows(context, query), currentTime);
    });
}

Async<std::optional<TaskSnapshot>> TaskStore::taskSnapshot(std::string key) {
    return reading<std::optional<TaskSnapshot>>(executor, [this, key = std::move(key)](ModelContext& context) {
        return snapshotOf(context, storedTask(context, key), currentTime);
    });
}

Async<std::optional<TaskSnapshot>> TaskStore::taskSnapshot(UUID localID) {
    return reading<std::optional<TaskSnapshot>>(executor, [this, localID](ModelContext& context) {
        return snapshotOf(context, storedTask(context, localID), currentTime);
    });
}

Async<std::vector<TaskSnapshot>> TaskStore::tasksNamed(std::string name, std::optional<UUID> accountID,
                                                       std::optional<std::string> projectID) {
    return reading<std::vector<TaskSnapshot>>(
        executor, [this, name = std::move(name), accountID, projectID = std::move(projectID)](ModelContext& context) {
            return snapshotsOf(context, rowsNamed(context, name, accountID, projectID), currentTime);
        });
}

Async<std::vector<ProjectSnapshot>> TaskStore::projectSnapshots(std::optional<UUID> accountID, bool subscribedOnly) {
    return reading<std::vector<ProjectSnapshot>>(executor, [accountID, subscribedOnly](ModelContext& context) {
        return sortedProjects(context, accountID, subscribedOnly);
    });
}

Async<std::optional<ProjectSnapshot>> TaskStore::projectSnapshot(std::string key) {
    using Result = std::optional<ProjectSnapshot>;
    return reading<Result>(executor, [key = std::move(key)](ModelContext& context) -> Result {
        std::optional<StoredProject> row = findProject(context, key);
        std::vector<StoredAccount> accounts = allAccounts(context);
        return row ? Result(snapshot(context, *row, accountOf(*row, accounts))) : std::nullopt;
    });
}

Async<std::vector<TaskSnapshot>> TaskStore::pendingSnapshots(std::optional<UUID> accountID) {
    return reading<std::vector<TaskSnapshot>>(
        executor, [this, accountID](ModelContext& context) { return pendingTasks(context, accountID, currentTime); });
}

Async<std::optional<TaskSnapshot>> TaskStore::currentTimerTask() {
    return reading<std::optional<TaskSnapshot>>(
        executor, [this](ModelContext& context) { return timerTask(context, currentTime); });
}

}  // namespace marlet
