#include <SQLiteCpp/SQLiteCpp.h>

#include <string_view>
#include <unordered_map>

#include "MarletBase/ColumnCoding.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/TaskColumns.h"
#include "MarletStore/TaskSearch.h"
#include "MarletStore/TaskStore.h"

namespace marlet {
namespace {

// Where the columns of selectKnown lie.
constexpr int rowNumberColumn = 0;
constexpr int pendingColumn = 1;
constexpr int remoteIDColumn = 2;
constexpr int firstItemColumn = remoteIDColumn;

std::string selectKnown(const char* condition) {
    return "SELECT rowNumber, pendingOperationRaw, " + itemColumns() + " FROM StoredTask WHERE " + condition;
}

// Up to this many items are looked up one by one; for more, one pass over the project's rows is cheaper.
constexpr size_t singleLookupLimit = 100;

// What the store has for the id of a fetched item.
struct Known {
    const TaskItem* first = nullptr;  // the item, or the first of several with this id
    int64_t rowNumber = 0;            // 0: no row yet
    bool isPending = false;
    bool isUnchanged = false;  // by that first item
    std::optional<Date> updatedAt;
    const TaskItem* latest = nullptr;  // the item that the row was brought to, once one was applied
};

// One fetch of one project on its way into the rows.
class Merge {
public:
    Merge(ModelContext& store, FetchedTasks& fetched)
        : context(store), fetch(fetched), project(storedProject(store, fetched.accountID, fetched.projectID)) {}

    std::vector<RemoteChange> run();

private:
    void indexItems();
    void readRow(SQLite::Statement& statement);
    void readProjectRows();
    void readRowsOfItems();
    void apply(TaskItem& item);
    void insert(TaskItem& item, Known& known);
    void update(TaskItem& item, Known& known);
    void deleteDropped();
    void moveSyncMarks();
    void report(const TaskItem& item, bool isNew);

    bool isWholeList() const { return fetch.isFullFetch && fetch.isComplete; }

    ModelContext& context;
    FetchedTasks& fetch;
    StoredProject project;
    std::unordered_map<std::string_view, Known> knownTasks;  // by the fetched items' ids
    std::vector<int64_t> droppedRows;                        // not in the fetch and not pending
    std::vector<RemoteChange> changes;
};

std::vector<RemoteChange> Merge::run() {
    bool isFirstSync = !project.lastSyncedAt;
    indexItems();
    if (isWholeList() || fetch.tasks.size() > singleLookupLimit) {
        readProjectRows();
    } else {
        readRowsOfItems();
    }
    for (TaskItem& item : fetch.tasks) {
        apply(item);
    }
    if (isWholeList()) {
        deleteDropped();
    }
    moveSyncMarks();
    return isFirstSync ? std::vector<RemoteChange>() : std::move(changes);
}

void Merge::indexItems() {
    knownTasks.reserve(fetch.tasks.size());
    for (const TaskItem& item : fetch.tasks) {
        Known known;
        known.first = &item;
        knownTasks.emplace(item.id, known);
    }
}

// Compares in SQLite's memory: a row that the fetch doesn't change costs no copy and no decoding.
void Merge::readRow(SQLite::Statement& statement) {
    int64_t rowNumber = statement.getColumn(rowNumberColumn).getInt64();
    bool isPending = fromCode<PendingOperation>(columnBytes(statement.getColumn(pendingColumn))).has_value();
    auto found = knownTasks.find(columnBytes(statement.getColumn(remoteIDColumn)));
    if (found == knownTasks.end()) {
        if (!isPending) {
            droppedRows.push_back(rowNumber);
        }
        return;
    }
    Known& known = found->second;
    known.rowNumber = rowNumber;
    known.isPending = isPending;
    if (!isPending) {
        static const int updatedAtColumn = firstItemColumn + itemColumnIndex("updatedAt");
        readColumn(statement.getColumn(updatedAtColumn), known.updatedAt);
        known.isUnchanged = holdsItem(statement, *known.first, firstItemColumn);
    }
}

void Merge::readProjectRows() {
    // By an index that goes in the order in which the rows lie in the file.
    static const std::string sql = selectKnown("project = ?");
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, project.rowNumber);
    while (statement.executeStep()) {
        readRow(statement);
    }
    statement.reset();
}

void Merge::readRowsOfItems() {
    // Ids with a "|" in them can make the key of another project's task.
    static const std::string sql = selectKnown("key = ? AND project = ?");
    SQLite::Statement& statement = context.statement(sql);
    for (const auto& [id, known] : knownTasks) {
        bindAll(statement, taskKey(fetch.accountID, fetch.projectID, known.first->id), project.rowNumber);
        if (statement.executeStep()) {
            readRow(statement);
        }
        statement.reset();
    }
}

void Merge::report(const TaskItem& item, bool isNew) {
    changes.push_back(
        {taskKey(fetch.accountID, item.projectID, item.id), item.title, project.name, isNew, item.webURL});
}

void Merge::apply(TaskItem& item) {
    Known& known = knownTasks.find(item.id)->second;
    item.projectID = fetch.projectID;
    if (known.rowNumber == 0) {
        insert(item, known);
        return;
    }
    if (known.isPending) {
        return;
    }
    if (item.updatedAt && *item.updatedAt > known.updatedAt.value_or(distantPast)) {
        report(item, false);
    }
    bool isSame = known.latest ? item == *known.latest : known.isUnchanged;
    if (!isSame) {
        update(item, known);
    }
    known.updatedAt = item.updatedAt;
    known.latest = &item;
}

void Merge::insert(TaskItem& item, Known& known) {
    StoredTask task;
    task.key = taskKey(fetch.accountID, item.projectID, item.id);
    task.localID = UUID::random();
    task.accountID = fetch.accountID;
    task.item = std::move(item);  // lent, and back in its place before anyone looks
    task.project = project.rowNumber;
    std::optional<int64_t> rowNumber = insertTask(context, task);
    item = std::move(task.item);
    // Ids with a "|" in them can make the key of a task elsewhere. That task keeps it.
    if (rowNumber) {
        known = {&item, *rowNumber, false, true, item.updatedAt, &item};
        report(item, true);
    }
}

void Merge::update(TaskItem& item, Known& known) {
    static const std::string sql = updateItemStatement();
    if (item.parent && item.parent->title.empty()) {
        std::optional<StoredTask> row = storedTaskAt(context, known.rowNumber);
        item.parent = mergedParent(item.parent, row ? row->item.parent : std::nullopt);
    }
    SQLite::Statement& statement = context.statement(sql);
    int next = bindItem(statement, item);
    bindValue(statement, next, known.rowNumber);
    statement.exec();
    updateSearchText(context, known.rowNumber, item);
}

void Merge::deleteDropped() {
    for (int64_t row : droppedRows) {
        if (!hasTimeLogs(context, row)) {
            deleteTaskRow(context, row);
        }
    }
}

void Merge::moveSyncMarks() {
    if (fetch.isFullFetch) {
        project.lastFullSyncAt = fetch.syncedAt;
    }
    for (const TaskItem& item : fetch.tasks) {
        if (item.updatedAt && (!project.deltaCursor || *item.updatedAt > *project.deltaCursor)) {
            project.deltaCursor = item.updatedAt;
        }
    }
    SQLite::Statement& statement = context.statement(
        "UPDATE StoredProject SET lastFullSyncAt = ?, deltaCursor = ?, lastSyncedAt = ?, syncError = NULL "
        "WHERE rowNumber = ?");
    bindAll(statement, project.lastFullSyncAt, project.deltaCursor, fetch.syncedAt, project.rowNumber);
    statement.exec();
}

}  // namespace

Async<std::vector<RemoteChange>> TaskStore::applyFetchedTasks(FetchedTasks fetch) {
    return writing<std::vector<RemoteChange>>(
        executor, [fetch = std::move(fetch)](ModelContext& context) mutable { return Merge(context, fetch).run(); });
}

}  // namespace marlet
