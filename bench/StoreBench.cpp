// What syncing a large repository costs beside the same SQL written by hand.
#include <SQLiteCpp/SQLiteCpp.h>

#include "MarletBase/JSONText.h"
#include "MarletStore/MarletSchema.h"
#include "SyntheticStore.h"

namespace marlet {
namespace {

constexpr int importedTasks = 10'000;

// A task as the texts that its columns take, made before the clock starts.
struct HandRow {
    std::string key;
    std::string localID;
    const TaskItem* item;
    std::string labels;
    std::string assignees;
    std::string block;
};

std::vector<HandRow> handRows(const std::vector<TaskItem>& tasks, const UUID& accountID) {
    std::vector<HandRow> rows;
    for (const TaskItem& item : tasks) {
        HandRow row{taskKey(accountID, item.projectID, item.id), UUID::random().text(), &item, {}, {}, {}};
        appendJSON(row.labels, item.labels);
        appendJSON(row.assignees, item.assignees);
        row.block = item.id + '\xFF' + item.title + '\xFF' + item.notes + "\xFFgarden\xFFspring\xFF";
        rows.push_back(std::move(row));
    }
    return rows;
}

constexpr const char* handInsert =
    "INSERT INTO StoredTask (key, localID, accountID, remoteID, projectRemoteID, kindRaw, title, notes, isCompleted, "
    "createdAt, updatedAt, labels, assignees, webURL, project) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, 1)";

void bindByHand(SQLite::Statement& insert, const HandRow& row, const std::string& accountID) {
    const TaskItem& item = *row.item;
    insert.bindNoCopy(1, row.key);
    insert.bindNoCopy(2, row.localID);
    insert.bindNoCopy(3, accountID);
    insert.bindNoCopy(4, item.id);
    insert.bindNoCopy(5, item.projectID);
    insert.bindNoCopy(6, "issue");
    insert.bindNoCopy(7, item.title);
    insert.bindNoCopy(8, item.notes);
    insert.bind(9, item.isCompleted ? 1 : 0);
    insert.bind(10, secondsSince1970(*item.createdAt));
    insert.bind(11, secondsSince1970(*item.updatedAt));
    insert.bindNoCopy(12, row.labels);
    insert.bindNoCopy(13, row.assignees);
    insert.bindNoCopy(14, item.webURL->text());
}

// The same rows into the same tables, in one transaction.
double importByHand(const std::vector<TaskItem>& tasks) {
    SyntheticStore target(1);
    std::vector<HandRow> rows = handRows(tasks, target.accountID());
    std::string accountID = target.accountID().text();
    SQLite::Database database(target.file().string(), SQLite::OPEN_READWRITE);
    database.exec("PRAGMA synchronous = FULL");
    return secondsFor([&] {
        SQLite::Transaction transaction(database);
        SQLite::Statement insert(database, handInsert);
        SQLite::Statement search(database, "INSERT INTO TaskSearch (task, folded) VALUES (?, ?)");
        for (const HandRow& row : rows) {
            bindByHand(insert, row, accountID);
            insert.exec();
            insert.reset();
            search.bind(1, database.getLastInsertRowid());
            search.bindNoCopy(2, row.block.data(), static_cast<int>(row.block.size()));
            search.exec();
            search.reset();
        }
        transaction.commit();
    });
}

// The same columns into one table with a key and no other index, without the copy for search.
double importIntoBareTable(const std::vector<TaskItem>& tasks) {
    TemporaryFolder folder;
    SQLite::Database database((folder.path() / "bare.sqlite").string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec("PRAGMA journal_mode = WAL");
    database.exec("PRAGMA synchronous = FULL");
    database.exec(
        "CREATE TABLE StoredTask (key TEXT PRIMARY KEY, localID TEXT, accountID TEXT, remoteID TEXT, projectRemoteID "
        "TEXT, kindRaw TEXT, title TEXT, notes TEXT, isCompleted INTEGER, createdAt REAL, updatedAt REAL, labels TEXT, "
        "assignees TEXT, webURL TEXT, project INTEGER)");
    UUID account = UUID::random();
    std::string accountID = account.text();
    std::vector<HandRow> rows = handRows(tasks, account);
    return secondsFor([&] {
        SQLite::Transaction transaction(database);
        SQLite::Statement insert(database, handInsert);
        for (const HandRow& row : rows) {
            bindByHand(insert, row, accountID);
            insert.exec();
            insert.reset();
        }
        transaction.commit();
    });
}

double importByStore(const std::vector<TaskItem>& tasks) {
    SyntheticStore target(1);
    FetchedTasks fetch = target.fullFetch(tasks, "p0");
    return secondsFor([&] { runToEnd(target.store().applyFetchedTasks(std::move(fetch))); });
}

// The first import of a large repository into an empty store on disk.
void firstImport(benchmark::State& state) {
    const std::vector<TaskItem> tasks = syntheticTasks("p0", importedTasks, 1000);
    measureAgainst(
        state, [&] { return importByStore(tasks); }, [&] { return importByHand(tasks); });
}
BENCHMARK(firstImport)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(8);

void firstImportAgainstABareTable(benchmark::State& state) {
    const std::vector<TaskItem> tasks = syntheticTasks("p0", importedTasks, 1000);
    measureAgainst(
        state, [&] { return importByStore(tasks); }, [&] { return importIntoBareTable(tasks); });
}
BENCHMARK(firstImportAgainstABareTable)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(8);

// Every column of the rows into a string of its own.
size_t readByHand(SQLite::Database& database) {
    SQLite::Statement rows(
        database,
        "SELECT remoteID, projectRemoteID, kindRaw, title, notes, isCompleted, createdAt, updatedAt, "
        "dueDate, priority, labels, assignees, milestone, parent, typeName, canHaveChildren, "
        "canChangeParent, status, estimate, webURL FROM StoredTask WHERE projectRemoteID = 'p0'");
    constexpr std::array texts{0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 17, 19};
    size_t bytes = 0;
    while (rows.executeStep()) {
        for (int index : texts) {
            bytes += rows.getColumn(index).getString().size();
        }
        for (int index : {5, 9, 15, 16}) {
            bytes += static_cast<size_t>(rows.getColumn(index).getInt64());
        }
        for (int index : {6, 7, 8, 18}) {
            bytes += rows.getColumn(index).getDouble() > 0 ? 1U : 0U;
        }
    }
    return bytes;
}

// The ordinary full fetch, two hours after the last: nothing has changed.
void reapplyUnchanged(benchmark::State& state) {
    const std::vector<TaskItem> tasks = syntheticTasks("p0", importedTasks, 1000);
    SyntheticStore target(1);
    runToEnd(target.store().applyFetchedTasks(target.fullFetch(tasks, "p0")));
    SQLite::Database database(target.file().string(), SQLite::OPEN_READONLY);
    auto own = [&] {
        FetchedTasks fetch = target.fullFetch(tasks, "p0");
        return secondsFor([&] { runToEnd(target.store().applyFetchedTasks(std::move(fetch))); });
    };
    auto byHand = [&] { return secondsFor([&] { benchmark::DoNotOptimize(readByHand(database)); }); };
    measureAgainst(state, own, byHand);
}
BENCHMARK(reapplyUnchanged)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

// The fetch of what changed in the last minutes.
void applySmallDelta(benchmark::State& state) {
    SyntheticStore& large = largeStore();
    std::vector<TaskItem> tasks = syntheticTasks("p0", 5, 1000, 100);
    double round = 0;
    for (auto _ : state) {
        round += 1;
        for (TaskItem& task : tasks) {
            task.updatedAt = dateFromSeconds(1'760'000'000) + round;
        }
        FetchedTasks fetch = large.fullFetch(tasks, "p0");
        fetch.isFullFetch = false;
        runToEnd(large.store().applyFetchedTasks(std::move(fetch)));
    }
}
BENCHMARK(applySmallDelta)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marlet
