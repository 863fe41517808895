#include <SQLiteCpp/SQLiteCpp.h>

#include "MarletBase/ColumnCoding.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/TaskStore.h"
#include "MarletStore/Timers.h"

namespace marlet {
namespace {

// `assignment` sets columns of the task that `identity` names by `column`, key or localID.
template <class Identity, class... Values>
void writeTask(ModelContext& context, const std::string& assignment, const Identity& identity,
               const Values&... values) {
    const char* column = std::is_same_v<Identity, UUID> ? "localID" : "key";
    SQLite::Statement& statement =
        context.statement("UPDATE StoredTask SET " + assignment + " WHERE " + column + " = ?");
    bindAll(statement, values..., identity);
    if (statement.exec() == 0) {
        throw StoreError::taskNotFound();
    }
}

void stopTimers(ModelContext& context, Date at) {
    // A stop dated before the start gives a log of zero length.
    SQLite::Statement& statement =
        context.statement("UPDATE StoredTimeLog SET endedAt = MAX(startedAt, ?) WHERE endedAt IS NULL");
    bindAll(statement, at);
    statement.exec();
}

void start(ModelContext& context, const std::optional<StoredTask>& task, Date at) {
    if (!task) {
        throw StoreError::taskNotFound();
    }
    stopTimers(context, at);
    SQLite::Statement& log = context.statement("INSERT INTO StoredTimeLog (id, startedAt, task) VALUES (?, ?, ?)");
    bindAll(log, UUID::random(), at, task->rowNumber);
    log.exec();
    writeTask(context, "lastStartedAt = ?", task->localID, at);
}

TaskHandoff readHandoff(ModelContext& context, const UUID& localID) {
    SQLite::Statement& statement =
        context.statement("SELECT " + columnList<TaskHandoff>() +
                          " FROM StoredTask LEFT JOIN StoredProject ON StoredProject.rowNumber = StoredTask.project "
                          "LEFT JOIN StoredAccount ON StoredAccount.id = StoredTask.accountID WHERE localID = ?");
    bindAll(statement, localID);
    if (!statement.executeStep()) {
        throw StoreError::taskNotFound();
    }
    TaskHandoff handoff = readRecord<TaskHandoff>(statement);
    statement.reset();
    return handoff;
}

}  // namespace

std::optional<ActiveTimer> runningTimer(ModelContext& context) {
    SQLite::Statement& statement = context.statement(
        "SELECT StoredTask.key, StoredTimeLog.startedAt FROM StoredTimeLog LEFT JOIN StoredTask ON "
        "StoredTask.rowNumber = StoredTimeLog.task WHERE StoredTimeLog.endedAt IS NULL ORDER BY "
        "StoredTimeLog.rowNumber "
        "LIMIT 1");
    std::optional<ActiveTimer> timer;
    if (statement.executeStep() && !statement.getColumn(0).isNull()) {
        timer.emplace();
        readColumn(statement.getColumn(0), timer->key);
        readColumn(statement.getColumn(1), timer->startedAt);
    }
    statement.reset();
    return timer;
}

Async<void> TaskStore::setNext(bool flag, std::string key) {
    return writing<void>(
        executor, [flag, key = std::move(key)](ModelContext& context) { writeTask(context, "isNext = ?", key, flag); });
}

Async<void> TaskStore::setNext(bool flag, UUID localID) {
    return writing<void>(executor,
                         [flag, localID](ModelContext& context) { writeTask(context, "isNext = ?", localID, flag); });
}

Async<void> TaskStore::setStarred(bool flag, std::string key) {
    return writing<void>(executor, [flag, key = std::move(key)](ModelContext& context) {
        writeTask(context, "isStarred = ?", key, flag);
    });
}

Async<void> TaskStore::setStarred(bool flag, UUID localID) {
    return writing<void>(
        executor, [flag, localID](ModelContext& context) { writeTask(context, "isStarred = ?", localID, flag); });
}

Async<void> TaskStore::markViewed(std::string key, Date at) {
    return writing<void>(
        executor, [key = std::move(key), at](ModelContext& context) { writeTask(context, "viewedAt = ?", key, at); });
}

Async<void> TaskStore::markViewed(UUID localID, Date at) {
    return writing<void>(executor,
                         [localID, at](ModelContext& context) { writeTask(context, "viewedAt = ?", localID, at); });
}

Async<void> TaskStore::startTimer(std::string key, Date at) {
    return writing<void>(
        executor, [key = std::move(key), at](ModelContext& context) { start(context, storedTask(context, key), at); });
}

Async<void> TaskStore::startTimer(UUID localID, Date at) {
    return writing<void>(executor,
                         [localID, at](ModelContext& context) { start(context, storedTask(context, localID), at); });
}

Async<void> TaskStore::stopTimer(Date at) {
    return writing<void>(executor, [at](ModelContext& context) { stopTimers(context, at); });
}

Async<std::optional<ActiveTimer>> TaskStore::activeTimer() {
    return reading<std::optional<ActiveTimer>>(executor, runningTimer);
}

Async<void> TaskStore::deleteTimeLog(UUID id) {
    return writing<void>(executor, [id](ModelContext& context) {
        SQLite::Statement& statement = context.statement("DELETE FROM StoredTimeLog WHERE id = ?");
        bindAll(statement, id);
        statement.exec();
    });
}

Async<void> TaskStore::recordClaudeHandoff(UUID localID, std::string folder, Date at) {
    return writing<void>(executor, [localID, folder = std::move(folder), at](ModelContext& context) {
        writeTask(context, "claudeFolder = ?, claudeHandoffAt = ?", localID, folder, at);
    });
}

Async<void> TaskStore::recordWorktree(UUID localID, std::optional<std::string> path) {
    return writing<void>(executor, [localID, path = std::move(path)](ModelContext& context) {
        writeTask(context, "worktreePath = ?", localID, path);
    });
}

Async<void> TaskStore::markClaudeResultPosted(UUID localID, Date at) {
    return writing<void>(executor, [localID, at](ModelContext& context) {
        writeTask(context, "claudeResultPostedAt = ?", localID, at);
    });
}

Async<TaskHandoff> TaskStore::handoff(UUID localID) {
    return reading<TaskHandoff>(executor, [localID](ModelContext& context) { return readHandoff(context, localID); });
}

}  // namespace marlet
