// A process that dies between any two writes to the disk, and the one that comes after it.
#include <sqlite3.h>

#include "TestSupport/FailingFileSystem.h"
#include "TestSupport/ServicesHarness.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

// What the user was told is done before the disk stopped.
struct Acknowledged {
    bool hasBeans = false;
    bool hasRenamedBeans = false;
    bool hasPeas = false;
    bool hasDeletedPeas = false;
};

template <class Step>
bool succeeds(Step&& step) {
    try {
        step();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

// Two tasks are made and pushed, one is renamed, the other deleted.
Acknowledged playStory(ServicesHarness& harness, const Account& account) {
    Acknowledged done;
    UUID beans;
    UUID peas;
    done.hasBeans = succeeds([&] { beans = harness.createTask(account, "Sow the beans"); });
    done.hasPeas = succeeds([&] { peas = harness.createTask(account, "Sow the peas"); });
    harness.push(account);
    harness.clock->advance(1);
    if (done.hasBeans) {
        done.hasRenamedBeans =
            succeeds([&] { harness.edit(beans, [](TaskItem& item) { item.title = "Water the beans"; }); });
    }
    harness.push(account);
    if (done.hasPeas) {
        done.hasDeletedPeas = succeeds([&] { harness.run(harness.services().deleteLocalTask(peas)); });
    }
    return done;
}

std::vector<TaskItem> storeTasks(ServicesHarness& harness, const Account& account) {
    std::vector<TaskItem> items;
    for (const TaskSnapshot& task : harness.tasks(account.id)) {
        EXPECT_EQ(task.pendingOperation, std::nullopt) << task.item.title;
        EXPECT_EQ(task.pushError, std::nullopt) << task.item.title;
        items.push_back(task.item);
    }
    std::sort(items.begin(), items.end(),
              [](const TaskItem& left, const TaskItem& right) { return left.id < right.id; });
    return items;
}

int64_t countOf(const std::vector<TaskItem>& tasks, const std::string& title) {
    return std::count_if(tasks.begin(), tasks.end(), [&](const TaskItem& task) { return task.title == title; });
}

void expectWhatWasAcknowledged(const std::vector<TaskItem>& tasks, const Acknowledged& done) {
    int64_t sown = countOf(tasks, "Sow the beans");
    int64_t watered = countOf(tasks, "Water the beans");
    int64_t peas = countOf(tasks, "Sow the peas");
    EXPECT_LE(sown + watered, 1);
    EXPECT_LE(peas, 1);
    EXPECT_EQ(sown + watered + peas, static_cast<int64_t>(tasks.size()));
    EXPECT_TRUE(!done.hasBeans || sown + watered == 1);
    EXPECT_TRUE(!done.hasRenamedBeans || watered == 1);
    EXPECT_TRUE(!done.hasDeletedPeas || peas == 0);
}

// Plays the story on a disk that stops after `writes` writes, starts again on a healthy one, and gives the number of
// writes that were asked for.
int crashAfter(int writes) {
    FailingFileSystem healthy;
    FailingFileSystem disk;
    TemporaryFolder folder;
    ServicesHarness harness(folder.path(), healthy.name());
    Account account = harness.addLocalAccount();
    harness.fileLayer = disk.name();
    harness.restart();
    int before = disk.changeCount();
    disk.failAfter(writes, SQLITE_IOERR);

    Acknowledged done = playStory(harness, account);
    int asked = disk.changeCount() - before;
    harness.fileLayer = healthy.name();
    harness.restart();
    harness.syncNow(account, SyncEngine::Mode::full);

    std::vector<TaskItem> tasks = storeTasks(harness, account);
    expectWhatWasAcknowledged(tasks, done);
    EXPECT_EQ(harness.run(harness.services().localTasks().tasks(account.id, harness.projectID(account), std::nullopt)),
              tasks);
    return asked;
}

TEST(CrashTest, aCrashBeforeAnyWriteLosesNothingAcknowledgedAndDoublesNothing) {
    constexpr int never = 1'000'000;
    int writes = crashAfter(never);
    EXPECT_GT(writes, 10);
    for (int survived = 0; survived <= writes; ++survived) {
        SCOPED_TRACE(survived);
        crashAfter(survived);
    }
}

}  // namespace
}  // namespace marlet
