#include <gmock/gmock.h>
#include <sqlite3.h>

#include "StoreFixture.h"
#include "TestSupport/FailingFileSystem.h"

namespace marlet {
namespace {

using testing::ElementsAre;

// All that the tables hold, as text.
std::string contents(const std::filesystem::path& file) {
    SQLite::Database database(file.string(), SQLite::OPEN_READONLY);
    std::string text;
    for (const char* table : {"StoredAccount", "StoredProject", "StoredTask", "StoredTimeLog", "TaskSearch"}) {
        SQLite::Statement rows(database, std::string("SELECT * FROM ") + table + " ORDER BY 1");
        text += std::string(table) + "\n";
        while (rows.executeStep()) {
            for (int index = 0; index < rows.getColumnCount(); ++index) {
                text += rows.getColumn(index).isNull() ? "-" : rows.getColumn(index).getString();
                text += "|";
            }
            text += "\n";
        }
    }
    return text;
}

struct Operation {
    const char* name;
    void (*run)(StoreFixture& fixture);
};

// One operation of each kind that writes, on a store with a task edited, one timed and one created.
const Operation operations[] = {
    {"addAccount", [](StoreFixture& f) { runToEnd(f.store.addAccount(f.makeAccount(BackendKind::jira, "Work"))); }},
    {"removeAccount", [](StoreFixture& f) { runToEnd(f.store.removeAccount(f.account.id)); }},
    {"replaceProjects",
     [](StoreFixture& f) {
         runToEnd(f.store.replaceProjects({f.project("p2", "Shed"), f.project("p3", "Pond")}, f.account.id, noon));
     }},
    {"unsubscribe", [](StoreFixture& f) { runToEnd(f.store.setSubscribed(false, f.account.id, "p1")); }},
    {"applyFetchedTasks",
     [](StoreFixture& f) {
         std::vector<TaskItem> tasks;
         for (int number = 100; number < 160; ++number) {
             tasks.push_back(f.item(std::to_string(number), noon, std::string(500, 'x')));
         }
         tasks.push_back(f.item("timed", noon + 1.0, "Changed"));
         f.applyFull(tasks);
     }},
    {"createTask", [](StoreFixture& f) { f.create("Sow oats"); }},
    {"editTask", [](StoreFixture& f) { f.rename("edited", "Again"); }},
    {"deleteTask", [](StoreFixture& f) { runToEnd(f.store.deleteTask(f.key("timed"))); }},
    {"completePush",
     [](StoreFixture& f) {
         PendingPush creation = f.pushes().back();
         runToEnd(f.store.completePush(creation.key, creation.revision, f.item("7", noon, "Sow peas")));
     }},
    {"discardLocalChanges", [](StoreFixture& f) { runToEnd(f.store.discardLocalChanges(f.key("edited"))); }},
    {"startTimer", [](StoreFixture& f) { runToEnd(f.store.startTimer(f.key("clean"), noon + 90.0)); }},
    {"setNext", [](StoreFixture& f) { runToEnd(f.store.setNext(true, f.key("clean"))); }},
};

void fill(StoreFixture& fixture) {
    fixture.applyFull({fixture.item("clean"), fixture.item("edited"), fixture.item("timed")});
    fixture.rename("edited", "Water the peas");
    runToEnd(fixture.store.startTimer(fixture.key("timed"), noon));
    fixture.create("Sow peas", noon + 1.0);
}

class FailingStoreTest : public testing::TestWithParam<std::tuple<Operation, int>> {};

// Lets every write of the operation fail in turn.
TEST_P(FailingStoreTest, anOperationThatCantBeSavedLeavesNothing) {
    auto [operation, code] = GetParam();
    FailingFileSystem files;
    int failures = 0;
    for (bool succeeds = false; !succeeds; ++failures) {
        DiskStoreFixture disk(BackendKind::github, files.name());
        fill(*disk);
        std::string before = contents(disk.file());
        files.failAfter(failures, code);
        try {
            operation.run(*disk);
            succeeds = true;
        } catch (const SQLite::Exception& error) {
            EXPECT_EQ(error.getErrorCode(), code);
            EXPECT_EQ(contents(disk.file()), before) << "after " << failures << " writes";
        }
        files.heal();
        if (!succeeds) {
            operation.run(*disk);  // the store works on
        }
        EXPECT_NE(contents(disk.file()), before);
        ASSERT_LT(failures, 200);
    }
    EXPECT_GE(failures, 3);  // at least a frame and a sync had their turn
}

INSTANTIATE_TEST_SUITE_P(Operations, FailingStoreTest,
                         testing::Combine(testing::ValuesIn(operations), testing::Values(SQLITE_FULL, SQLITE_IOERR)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) == SQLITE_FULL ? "OnAFullDisk" : "OnABrokenDisk");
                         });

TEST(DurabilityTest, anEditThatThrowsHalfWayLeavesNothing) {
    DiskStoreFixture disk;
    fill(*disk);
    disk.execute("CREATE TRIGGER refusal BEFORE UPDATE ON TaskSearch BEGIN SELECT RAISE(ABORT, 'refused'); END");
    std::string before = contents(disk.file());

    EXPECT_THROW(disk->rename("clean", "Water the oaks"), SQLite::Exception);
    EXPECT_THROW(disk->applyFull({disk->item("new"), disk->item("clean", noon, "Oaks")}), SQLite::Exception);

    EXPECT_EQ(contents(disk.file()), before);
    disk.execute("DROP TRIGGER refusal");
    disk->rename("clean", "Water the oaks");
    EXPECT_EQ(disk->task("clean")->title, "Water the oaks");
}

TEST(DurabilityTest, reopeningAStoreKeepsEverything) {
    TemporaryFolder folder;
    std::string before;
    Account account;
    std::vector<TaskSnapshot> snapshots;
    {
        StoreFixture fixture(MarletSchema::makeContainer(folder.path()), BackendKind::gitlab);
        fill(fixture);
        account = fixture.account;
        snapshots = fixture.snapshots();
        before = contents(folder.path() / "Marlet.sqlite");
    }
    TaskStore store(MarletSchema::makeContainer(folder.path()), [] { return noon; });
    EXPECT_EQ(contents(folder.path() / "Marlet.sqlite"), before);
    EXPECT_EQ(runToEnd(store.taskSnapshots({})), snapshots);
    EXPECT_EQ(runToEnd(store.accounts()).at(0).account, account);
    EXPECT_EQ(runToEnd(store.pendingPushes(account.id)).size(), 2U);
}

TEST(DurabilityTest, acknowledgedChangesAreSynced) {
    FailingFileSystem files;
    DiskStoreFixture disk(BackendKind::github, files.name());
    disk->applyFull({disk->item("1")});
    for (int round = 0; round < 3; ++round) {
        int before = files.changeCount();
        runToEnd(disk->store.setNext(round % 2 == 0, disk->key("1")));
        EXPECT_GE(files.changeCount() - before, 2);  // frames, and the sync of the log
    }
}

// Rows as a later version, or another tool, may leave them.
TEST(StoredRowsTest, anUnknownKindOfAnAccountReadsAsGitHub) {
    DiskStoreFixture disk(BackendKind::jira);
    disk.execute("UPDATE StoredAccount SET kindRaw = 'newservice'");
    EXPECT_EQ(disk->accountState().account.kind, BackendKind::github);
    EXPECT_EQ(disk->projectSnapshot().kind, BackendKind::github);
    EXPECT_EQ(runToEnd(disk->store.task(disk->create("Sow peas")))->kind, TaskKind::issue);
    EXPECT_EQ(disk.text("SELECT kindRaw FROM StoredAccount"), "newservice");
}

TEST(StoredRowsTest, anUnknownKindOfATaskReadsAsATask) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    disk.execute("UPDATE StoredTask SET kindRaw = 'epic'");
    EXPECT_EQ(disk->task("1")->kind, TaskKind::task);
    EXPECT_EQ(disk->snapshots().at(0).item.kind, TaskKind::task);
    runToEnd(disk->store.setNext(true, disk->key("1")));
    EXPECT_EQ(disk.text("SELECT kindRaw FROM StoredTask"), "epic");
    disk->applyFull({disk->item("1")});
    EXPECT_EQ(disk->task("1")->kind, TaskKind::issue);
}

TEST(StoredRowsTest, anUnknownKindOfAProjectIsToldFromItsAddresses) {
    DiskStoreFixture disk;
    disk.execute("UPDATE StoredProject SET kindRaw = 'wiki'");
    EXPECT_EQ(disk->projectSnapshot().project.kind, ProjectKind::list);
    disk.execute("UPDATE StoredProject SET kindRaw = NULL, sshCloneURL = 'git@example.org:a.git'");
    EXPECT_EQ(disk->projectSnapshot().project.kind, ProjectKind::repository);
}

TEST(StoredRowsTest, anUnknownPendingOperationCountsAsNone) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1"), disk->item("2")});
    disk.execute("UPDATE StoredTask SET pendingOperationRaw = 'delete', pendingSince = 1");

    EXPECT_TRUE(disk->pushes().empty());
    EXPECT_TRUE(runToEnd(disk->store.pendingSnapshots(std::nullopt)).empty());
    EXPECT_EQ(disk->snapshot("1")->pendingOperation, std::nullopt);
    runToEnd(disk->store.discardLocalChanges(disk->key("1")));
    EXPECT_EQ(disk->projectState()->lastFullSyncAt, noon);
    EXPECT_EQ(disk->applyFull({disk->item("1", noon + 1.0, "Water the oaks")}).size(), 1U);
    EXPECT_EQ(disk->task("1")->title, "Water the oaks");
    EXPECT_FALSE(disk->task("2"));  // dropped by the server, and nothing keeps it
    disk->rename("1", "Water the peas");
    EXPECT_EQ(disk->pushes().at(0).operation, PendingOperation::update);
}

TEST(StoredRowsTest, anUnknownPendingOperationKeepsNothingWhenItsProjectIsGivenUp) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    disk.execute("UPDATE StoredTask SET pendingOperationRaw = 'delete'");
    runToEnd(disk->store.setSubscribed(false, disk->account.id, "p1"));
    EXPECT_FALSE(disk->task("1"));
}

TEST(StoredRowsTest, aTaskWithoutAProjectIsNamedAfterItsProjectsId) {
    DiskStoreFixture disk;
    TaskItem child = disk->item("1");
    child.parent = TaskParent{"p1#7", ""};
    disk->applyFull({child});
    disk.execute("UPDATE StoredTask SET project = NULL");
    EXPECT_EQ(disk->snapshots().at(0).projectName, "p1");
    TaskQuery query;
    query.parentID = "7";
    query.projectID = "p2";
    EXPECT_THAT(disk->ids(query), ElementsAre());  // by the rules of Jira, where ids carry no project
    query.parentID = "p1#7";
    EXPECT_THAT(disk->ids(query), ElementsAre("1"));
}

TEST(StoredRowsTest, childrenInAnAccountOfAnUnknownKindAreNamedAsOnGitHub) {
    DiskStoreFixture disk(BackendKind::gitlab);
    disk->addProject("p2", "Shed");
    TaskItem child = disk->item("1");
    child.parent = TaskParent{"p1#7", ""};
    disk->applyFull({child}, "p2");
    disk.execute("UPDATE StoredAccount SET kindRaw = 'newservice'");
    TaskQuery query;
    query.parentID = "7";
    query.projectID = "p1";
    EXPECT_THAT(disk->ids(query), ElementsAre("1"));
    query.accountID = disk->account.id;
    EXPECT_THAT(disk->ids(query), ElementsAre("1"));
}

TEST(StoredRowsTest, aProjectWithoutAnAccountReadsAsGitHubs) {
    DiskStoreFixture disk(BackendKind::jira);
    disk.execute("UPDATE StoredProject SET account = NULL");
    EXPECT_EQ(disk->projectSnapshot().kind, BackendKind::github);
    EXPECT_EQ(disk->projectSnapshot().accountName, "");
}

TEST(StoredRowsTest, theModelsAreTables) {
    DiskStoreFixture disk;
    for (std::string_view model : MarletSchema::models) {
        EXPECT_EQ(disk.number("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND sql LIKE '%STRICT' AND "
                              "name = '" +
                              std::string(model) + "'"),
                  1)
            << model;
    }
    EXPECT_EQ(disk.number("PRAGMA user_version"), 1);
}

}  // namespace
}  // namespace marlet
