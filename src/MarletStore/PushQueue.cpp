#include <SQLiteCpp/SQLiteCpp.h>

#include <set>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/TaskColumns.h"
#include "MarletStore/TaskStore.h"

namespace marlet {
namespace {

std::optional<std::string> typeName(const TaskDraft& draft, const StoredAccount& account) {
    std::string chosen = trimmed(draft.typeName.value_or(""));
    return chosen.empty() ? account.effectiveDefaultTaskType() : std::optional(chosen);
}

TaskItem newItem(const TaskDraft& draft, const StoredAccount& account, const std::string& projectID, Date at) {
    TaskItem item;
    item.id = "local-" + UUID::random().text();
    item.projectID = projectID;
    item.kind = newTaskKind(account.kind());
    item.title = draft.title;
    item.notes = draft.notes;
    item.createdAt = at;
    item.dueDate = draft.dueDate;
    for (const std::string& name : draft.labels) {
        item.labels.push_back({name, std::nullopt});
    }
    item.typeName = typeName(draft, account);
    return item;
}

std::string createTaskRow(ModelContext& context, const TaskDraft& draft, const UUID& accountID,
                          const std::string& projectID, Date at) {
    StoredProject project = storedProject(context, accountID, projectID);
    StoredAccount account = storedAccount(context, accountID);
    StoredTask task;
    task.localID = UUID::random();
    task.accountID = accountID;
    task.item = newItem(draft, account, projectID, at);
    task.key = taskKey(accountID, projectID, task.item.id);
    task.local.viewedAt = at;  // the user's own task isn't news
    task.push.pendingOperationRaw = code(PendingOperation::create);
    task.push.pendingSince = at;
    task.project = project.rowNumber;
    insertTask(context, task);
    return task.key;
}

StoredTask existing(std::optional<StoredTask> row) {
    if (!row) {
        throw StoreError::taskNotFound();
    }
    return std::move(*row);
}

void edit(ModelContext& context, StoredTask row, Date at, const std::function<void(TaskItem&)>& change) {
    TaskItem edited = row.item;
    change(edited);
    edited.id = row.item.id;
    row.applyRemote(std::move(edited));
    row.push.localRevision += 1;
    row.push.pushError.reset();
    if (!row.push.pendingOperation()) {
        row.push.pendingOperationRaw = code(PendingOperation::update);
        row.push.pendingSince = at;
    }
    updateTask(context, row);
}

std::set<std::string> labelNames(const TaskItem& item) {
    std::set<std::string> names;
    for (const TaskLabel& label : item.labels) {
        names.insert(label.name);
    }
    return names;
}

std::optional<std::string> parentID(const TaskItem& item) {
    return item.parent ? std::optional(item.parent->id) : std::nullopt;
}

// Whether a created task is on the server as it was asked for. A service's create call can't always take everything.
// What the server adds by itself is welcome.
bool isWholeAnswer(const TaskItem& asked, const TaskItem& answer) {
    bool hasCompletion = !asked.isCompleted || answer.isCompleted;
    bool hasStatus = !asked.status || asked.status == answer.status;
    bool hasEstimate = !asked.estimate || asked.estimate == answer.estimate;
    return hasCompletion && hasStatus && hasEstimate && labelNames(asked) == labelNames(answer) &&
           parentID(asked) == parentID(answer);
}

// What only this computer knows of the copy, so far as the task can take it.
void takeOverLocalData(ModelContext& context, const StoredTask& copy, int64_t rowNumber) {
    SQLite::Statement& logs = context.statement("UPDATE StoredTimeLog SET task = ? WHERE task = ?");
    bindAll(logs, rowNumber, copy.rowNumber);
    logs.exec();
    SQLite::Statement& flags = context.statement(
        "UPDATE StoredTask SET isNext = isNext OR ?1, isStarred = isStarred OR ?2, "
        "lastStartedAt = COALESCE(MAX(lastStartedAt, ?3), lastStartedAt, ?3) WHERE rowNumber = ?4");
    bindAll(flags, copy.local.isNext, copy.local.isStarred, copy.local.lastStartedAt, rowNumber);
    flags.exec();
}

// A copy of the task that a fetch brought before the server's answer to its creation came. The row that the user knows
// stays. It takes over what the user did to the copy: an edit that waits goes out from here.
void absorbCopy(ModelContext& context, StoredTask& row) {
    std::optional<StoredTask> copy = storedTask(context, row.key);
    if (!copy || copy->rowNumber == row.rowNumber) {
        return;
    }
    takeOverLocalData(context, *copy, row.rowNumber);
    deleteTaskRow(context, copy->rowNumber);
    if (copy->push.pendingOperation() && !row.push.pendingOperation()) {
        row.item = std::move(copy->item);
        int64_t revision = row.push.localRevision + 1;
        row.push = std::move(copy->push);
        row.push.localRevision = revision;
    }
}

void setViewedAt(ModelContext& context, const StoredTask& row, Date date) {
    SQLite::Statement& statement = context.statement("UPDATE StoredTask SET viewedAt = ? WHERE rowNumber = ?");
    bindAll(statement, date, row.rowNumber);
    statement.exec();
}

void complete(ModelContext& context, StoredTask row, int64_t revision, const TaskItem& answer) {
    row.push.pushError.reset();
    // This computer's own change must not make the task unread.
    if (answer.updatedAt && row.local.viewedAt && *row.local.viewedAt < *answer.updatedAt) {
        setViewedAt(context, row, *answer.updatedAt);
    }
    bool isCreation = row.push.pendingOperation() == PendingOperation::create;
    if (row.push.localRevision == revision && (!isCreation || isWholeAnswer(row.item, answer))) {
        row.applyRemote(answer);
        row.push.pendingOperationRaw.reset();
        row.push.pendingSince.reset();
    } else {
        // The local state stays and goes out again, under the name that the server gave the task.
        TaskItem current = row.item;
        current.id = answer.id;
        row.applyRemote(std::move(current));
        row.push.pendingOperationRaw = code(PendingOperation::update);
    }
    absorbCopy(context, row);
    updateTask(context, row);
}

void setPushError(ModelContext& context, const std::string& key, const std::optional<std::string>& message) {
    SQLite::Statement& statement = context.statement("UPDATE StoredTask SET pushError = ? WHERE key = ?");
    bindAll(statement, message, key);
    statement.exec();
}

// The fields stay as they are until a full fetch, which has to come next, overwrites them.
void returnToServer(ModelContext& context, const StoredTask& row) {
    SQLite::Statement& push = context.statement(
        "UPDATE StoredTask SET pendingOperationRaw = NULL, pendingSince = NULL, pushError = NULL WHERE rowNumber = ?");
    bindAll(push, row.rowNumber);
    push.exec();
    SQLite::Statement& project =
        context.statement("UPDATE StoredProject SET lastFullSyncAt = NULL WHERE rowNumber = ?");
    bindAll(project, row.project);
    project.exec();
}

void discard(ModelContext& context, const std::optional<StoredTask>& row) {
    if (!row || !row->push.pendingOperation()) {
        return;
    }
    if (row->isLocalOnly()) {
        deleteTaskRow(context, row->rowNumber);
    } else {
        returnToServer(context, *row);
    }
}

std::vector<PendingPush> queuedPushes(ModelContext& context, const UUID& accountID) {
    static const std::string sql = "SELECT " + taskColumns() +
                                   " FROM StoredTask WHERE accountID = ? AND pendingOperationRaw IS NOT NULL AND "
                                   "pushError IS NULL ORDER BY pendingSince, rowNumber";
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, accountID);
    std::vector<PendingPush> pushes;
    while (statement.executeStep()) {
        StoredTask row = readTask(statement);
        std::optional<PendingOperation> operation = row.push.pendingOperation();
        if (operation) {
            pushes.push_back({std::move(row.key), *operation, row.push.localRevision, std::move(row.item)});
        }
    }
    return pushes;
}

}  // namespace

Async<std::string> TaskStore::createTask(TaskDraft draft, UUID accountID, std::string projectID, Date at) {
    return writing<std::string>(
        executor, [draft = std::move(draft), accountID, projectID = std::move(projectID), at](ModelContext& context) {
            return createTaskRow(context, draft, accountID, projectID, at);
        });
}

Async<void> TaskStore::editTask(std::string key, Date at, std::function<void(TaskItem&)> change) {
    return writing<void>(executor, [key = std::move(key), at, change = std::move(change)](ModelContext& context) {
        edit(context, existing(storedTask(context, key)), at, change);
    });
}

Async<void> TaskStore::editTask(UUID localID, Date at, std::function<void(TaskItem&)> change) {
    return writing<void>(executor, [localID, at, change = std::move(change)](ModelContext& context) {
        edit(context, existing(storedTask(context, localID)), at, change);
    });
}

Async<void> TaskStore::deleteTask(std::string key) {
    return writing<void>(executor, [key = std::move(key)](ModelContext& context) {
        deleteTaskRow(context, existing(storedTask(context, key)).rowNumber);
    });
}

Async<std::vector<PendingPush>> TaskStore::pendingPushes(UUID accountID) {
    return reading<std::vector<PendingPush>>(
        executor, [accountID](ModelContext& context) { return queuedPushes(context, accountID); });
}

Async<void> TaskStore::completePush(std::string key, int64_t revision, TaskItem result) {
    return writing<void>(executor, [key = std::move(key), revision, result = std::move(result)](ModelContext& context) {
        if (std::optional<StoredTask> row = storedTask(context, key)) {
            complete(context, std::move(*row), revision, result);
        }
    });
}

Async<void> TaskStore::failPush(std::string key, std::string message) {
    return writing<void>(executor, [key = std::move(key), message = std::move(message)](ModelContext& context) {
        setPushError(context, key, message);
    });
}

Async<void> TaskStore::retryPush(std::string key) {
    return writing<void>(executor,
                         [key = std::move(key)](ModelContext& context) { setPushError(context, key, std::nullopt); });
}

Async<void> TaskStore::retryPush(UUID localID) {
    return writing<void>(executor, [localID](ModelContext& context) {
        setPushError(context, existing(storedTask(context, localID)).key, std::nullopt);
    });
}

Async<void> TaskStore::discardLocalChanges(std::string key) {
    return writing<void>(executor,
                         [key = std::move(key)](ModelContext& context) { discard(context, storedTask(context, key)); });
}

Async<void> TaskStore::discardLocalChanges(UUID localID) {
    return writing<void>(
        executor, [localID](ModelContext& context) { discard(context, existing(storedTask(context, localID))); });
}

}  // namespace marlet
