#include <gmock/gmock.h>

#include "StoreFixture.h"

namespace marlet {
namespace {

using testing::ElementsAre;

TEST(TrackingTest, aSecondTimerEndsTheFirstAtTheSameDate) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    fixture.now = noon + 10.0;
    EXPECT_TRUE(fixture.snapshot("1")->isTiming);

    runToEnd(fixture.store.startTimer(fixture.snapshot("2")->localID, noon + 30.0));

    fixture.now = noon + 100.0;
    EXPECT_FALSE(fixture.snapshot("1")->isTiming);
    EXPECT_EQ(fixture.snapshot("1")->trackedTime, 30);
    EXPECT_TRUE(fixture.snapshot("2")->isTiming);
    EXPECT_EQ(fixture.snapshot("2")->trackedTime, 70);
    EXPECT_EQ(fixture.snapshot("2")->lastStartedAt, noon + 30.0);
    EXPECT_EQ(runToEnd(fixture.store.activeTimer()), (ActiveTimer{fixture.key("2"), noon + 30.0}));
}

TEST(TrackingTest, timersOfOtherAccountsEndToo) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    Account other = fixture.makeAccount(BackendKind::local);
    runToEnd(fixture.store.addAccount(other));
    Project project = fixture.project("p1", "Other");
    project.accountID = other.id;
    runToEnd(fixture.store.replaceProjects({project}, other.id, noon));
    std::string key = runToEnd(fixture.store.createTask({}, other.id, "p1", noon));
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    runToEnd(fixture.store.startTimer(key, noon + 5.0));
    EXPECT_FALSE(fixture.snapshot("1")->isTiming);
}

TEST(TrackingTest, aTimerForATaskThatHasGoneLeavesTheRunningOne) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    EXPECT_THROW(runToEnd(fixture.store.startTimer(fixture.key("9"), noon + 5.0)), StoreError);
    EXPECT_THROW(runToEnd(fixture.store.startTimer(UUID::random(), noon + 5.0)), StoreError);
    EXPECT_TRUE(fixture.snapshot("1")->isTiming);
}

TEST(TrackingTest, stoppingWithoutATimerDoesNothing) {
    StoreFixture fixture;
    EXPECT_NO_THROW(runToEnd(fixture.store.stopTimer(noon)));
    EXPECT_EQ(runToEnd(fixture.store.activeTimer()), std::nullopt);
}

TEST(TrackingTest, aStopBeforeTheStartTracksNothing) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    runToEnd(fixture.store.stopTimer(noon - 60.0));
    EXPECT_EQ(fixture.snapshot("1")->trackedTime, 0);
    EXPECT_FALSE(fixture.snapshot("1")->isTiming);
}

TEST(TrackingTest, trackedTimeAddsUpAllLogsAndTheRunningOneUpToNow) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    EXPECT_EQ(fixture.snapshot("1")->trackedTime, 0);
    fixture.track("1", 60);
    fixture.track("1", 40);
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon + 200.0));
    fixture.now = noon + 205.5;
    EXPECT_EQ(fixture.snapshot("1")->trackedTime, 105.5);
}

TEST(TrackingTest, theTimerViewFallsBackToTheOpenTaskThatWasTimedLast) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    EXPECT_EQ(runToEnd(fixture.store.currentTimerTask()), std::nullopt);
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    runToEnd(fixture.store.startTimer(fixture.key("2"), noon + 5.0));
    EXPECT_EQ(runToEnd(fixture.store.currentTimerTask())->item.id, "2");
    runToEnd(fixture.store.stopTimer(noon + 9.0));
    EXPECT_EQ(runToEnd(fixture.store.currentTimerTask())->item.id, "2");

    for (const char* id : {"2", "1"}) {
        runToEnd(fixture.store.editTask(fixture.key(id), noon, [](TaskItem& task) { task.isCompleted = true; }));
        std::optional<TaskSnapshot> current = runToEnd(fixture.store.currentTimerTask());
        EXPECT_EQ(current ? current->item.id : "none", std::string(id) == "2" ? "1" : "none");
    }
}

TEST(TrackingTest, aRunningTimerIsShownAlsoForACompletedTask) {
    StoreFixture fixture;
    TaskItem done = fixture.item("1");
    done.isCompleted = true;
    fixture.applyFull({done});
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon));
    EXPECT_EQ(runToEnd(fixture.store.currentTimerTask())->item.id, "1");
}

TEST(TrackingTest, aLogThatHasLostItsTaskIsNoTimer) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    runToEnd(disk->store.startTimer(disk->key("1"), noon));
    disk.execute("UPDATE StoredTimeLog SET task = NULL");
    EXPECT_EQ(runToEnd(disk->store.activeTimer()), std::nullopt);
    EXPECT_EQ(runToEnd(disk->store.currentTimerTask())->item.id, "1");  // timed last, but not timed now
    EXPECT_FALSE(disk->snapshot("1")->isTiming);
}

TEST(TrackingTest, flagsCauseNoPush) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    std::string created = disk->create("Sow peas");
    UUID localID = disk->snapshot("1")->localID;
    auto pushState = [&] {
        return disk.text(
            "SELECT group_concat(COALESCE(pendingOperationRaw, '-') || COALESCE(pendingSince, '-') || localRevision || "
            "COALESCE(pushError, '-') || COALESCE(updatedAt, '-'), ' ') FROM StoredTask");
    };
    std::string before = pushState();

    runToEnd(disk->store.setNext(true, created));
    runToEnd(disk->store.setNext(true, localID));
    runToEnd(disk->store.setStarred(true, disk->key("1")));
    runToEnd(disk->store.setStarred(true, localID));
    runToEnd(disk->store.markViewed(disk->key("1"), noon));
    runToEnd(disk->store.markViewed(localID, noon));
    runToEnd(disk->store.startTimer(localID, noon));
    runToEnd(disk->store.recordClaudeHandoff(localID, "/work", noon));
    runToEnd(disk->store.recordWorktree(localID, "/tree"));
    runToEnd(disk->store.markClaudeResultPosted(localID, noon));

    EXPECT_EQ(pushState(), before);
    EXPECT_TRUE(disk->snapshot("1")->isNext);
    EXPECT_TRUE(disk->snapshot("1")->isStarred);
    EXPECT_FALSE(disk->snapshot("1")->isUnread);
    EXPECT_TRUE(runToEnd(disk->store.taskSnapshot(created))->isNext);
    runToEnd(disk->store.setNext(false, disk->key("1")));
    runToEnd(disk->store.setStarred(false, disk->key("1")));
    EXPECT_FALSE(disk->snapshot("1")->isNext);
    EXPECT_FALSE(disk->snapshot("1")->isStarred);
}

TEST(TrackingTest, handOffRecordsStayWithTheTaskWhenItIsNamed) {
    DiskStoreFixture disk;
    std::string key = disk->create("Sow peas");
    UUID localID = runToEnd(disk->store.taskSnapshot(key))->localID;
    runToEnd(disk->store.completePush(key, 0, disk->item("7", noon, "Sow peas")));

    runToEnd(disk->store.recordClaudeHandoff(localID, "/folders/peas", noon + 1.0));
    runToEnd(disk->store.recordWorktree(localID, "/folders/tree"));
    runToEnd(disk->store.markClaudeResultPosted(localID, noon + 2.0));

    EXPECT_EQ(disk.text("SELECT claudeFolder FROM StoredTask"), "/folders/peas");
    EXPECT_EQ(disk.number("SELECT claudeHandoffAt FROM StoredTask"), 1'800'000'001);
    EXPECT_EQ(disk.number("SELECT claudeResultPostedAt FROM StoredTask"), 1'800'000'002);
    EXPECT_EQ(disk.text("SELECT worktreePath FROM StoredTask"), "/folders/tree");
    runToEnd(disk->store.recordWorktree(localID, std::nullopt));
    EXPECT_EQ(disk.number("SELECT worktreePath IS NULL FROM StoredTask"), 1);
}

TEST(TrackingTest, aHandoffIsReadWithTheChoicesOfItsProjectAndAccount) {
    StoreFixture fixture;
    TaskStore& store = fixture.store;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    UUID localID = fixture.snapshot("1")->localID;
    EXPECT_EQ(runToEnd(store.handoff(localID)), TaskHandoff());

    runToEnd(store.recordClaudeHandoff(localID, "/folders/peas", noon + 1.0));
    runToEnd(store.markClaudeResultPosted(localID, noon + 2.5));
    runToEnd(store.recordWorktree(localID, "/folders/tree"));
    runToEnd(store.setCheckoutPath("/code/garden", fixture.account.id, "p1"));
    runToEnd(store.setAgentDestination("cowork", fixture.account.id, "p1"));
    runToEnd(store.setAgentDestination("code", fixture.account.id));

    EXPECT_EQ(runToEnd(store.handoff(localID)), (TaskHandoff{.claudeFolder = "/folders/peas",
                                                             .claudeHandoffAt = noon + 1.0,
                                                             .claudeResultPostedAt = noon + 2.5,
                                                             .worktreePath = "/folders/tree",
                                                             .checkoutPath = "/code/garden",
                                                             .claudeDestinationRaw = "cowork",
                                                             .agentDestinationRaw = "code"}));
    TaskHandoff neighbour = runToEnd(store.handoff(fixture.snapshot("2")->localID));
    EXPECT_EQ(neighbour.claudeFolder, std::nullopt);
    EXPECT_EQ(neighbour.checkoutPath, "/code/garden");
}

TEST(TrackingTest, aHandoffOutlivesTheProjectOfItsTask) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    UUID localID = disk->snapshot("1")->localID;
    runToEnd(disk->store.recordWorktree(localID, "/folders/tree"));
    runToEnd(disk->store.setCheckoutPath("/code/garden", disk->account.id, "p1"));
    disk.execute("UPDATE StoredTask SET project = NULL");

    TaskHandoff handoff = runToEnd(disk->store.handoff(localID));

    EXPECT_EQ(handoff.worktreePath, "/folders/tree");
    EXPECT_EQ(handoff.checkoutPath, std::nullopt);
}

TEST(TrackingTest, everyOperationTellsThatTheTaskHasGone) {
    StoreFixture fixture;
    TaskStore& store = fixture.store;
    std::string key = fixture.key("9");
    UUID id = UUID::random();
    std::vector<std::function<void()>> operations{
        [&] { runToEnd(store.setNext(true, key)); },
        [&] { runToEnd(store.setNext(true, id)); },
        [&] { runToEnd(store.setStarred(true, key)); },
        [&] { runToEnd(store.setStarred(true, id)); },
        [&] { runToEnd(store.markViewed(key, noon)); },
        [&] { runToEnd(store.markViewed(id, noon)); },
        [&] { runToEnd(store.startTimer(key, noon)); },
        [&] { runToEnd(store.startTimer(id, noon)); },
        [&] { runToEnd(store.recordClaudeHandoff(id, "/work", noon)); },
        [&] { runToEnd(store.recordWorktree(id, "/tree")); },
        [&] { runToEnd(store.markClaudeResultPosted(id, noon)); },
        [&] { runToEnd(store.handoff(id)); },
    };
    for (size_t index = 0; index < operations.size(); ++index) {
        try {
            operations[index]();
            ADD_FAILURE() << index;
        } catch (const StoreError& error) {
            EXPECT_EQ(error.kind(), StoreError::Kind::taskNotFound) << index;
        }
    }
}

TEST(TrackingTest, deletingTheLastLogLeavesTheTaskUntilTheNextCompleteFetch) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    disk->track("1");
    disk->applyFull({});
    EXPECT_TRUE(disk->task("1"));

    runToEnd(disk->store.deleteTimeLog(UUID::parse(disk.text("SELECT id FROM StoredTimeLog")).value()));

    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM StoredTimeLog"), 0);
    EXPECT_TRUE(disk->task("1"));
    disk->applyFull({});
    EXPECT_FALSE(disk->task("1"));
    EXPECT_NO_THROW(runToEnd(disk->store.deleteTimeLog(UUID::random())));
}

TEST(SnapshotsTest, aSnapshotTellsWhatAListNeeds) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "Water the peas");
    runToEnd(fixture.store.failPush(fixture.key("1"), "No."));
    TaskSnapshot snapshot = fixture.snapshot("1").value();

    EXPECT_EQ(snapshot.key, fixture.key("1"));
    EXPECT_EQ(snapshot.accountID, fixture.account.id);
    EXPECT_EQ(snapshot.projectName, "Garden");
    EXPECT_EQ(snapshot.item, fixture.item("1", noon, "Water the peas"));
    EXPECT_EQ(snapshot.pendingOperation, PendingOperation::update);
    EXPECT_EQ(snapshot.pushError, "No.");
    EXPECT_EQ(snapshot.lastStartedAt, std::nullopt);
    EXPECT_EQ(runToEnd(fixture.store.taskSnapshot(snapshot.localID)), snapshot);
    EXPECT_EQ(runToEnd(fixture.store.taskSnapshot(UUID::random())), std::nullopt);
    EXPECT_EQ(fixture.snapshot("9"), std::nullopt);
    EXPECT_EQ(fixture.task("9"), std::nullopt);
}

TEST(SnapshotsTest, projectsAreListedAsTheUserSortsNames) {
    StoreFixture fixture;
    fixture.addProject("p2", "garden 10");
    fixture.addProject("p3", "Garden 2");
    fixture.addProject("p4", "Ärea");
    runToEnd(fixture.store.setSubscribed(false, fixture.account.id, "p3"));
    auto names = [&](std::optional<UUID> account, bool subscribedOnly) {
        std::vector<std::string> found;
        for (const ProjectSnapshot& project : runToEnd(fixture.store.projectSnapshots(account, subscribedOnly))) {
            found.push_back(project.name);
        }
        return found;
    };
    EXPECT_THAT(names(std::nullopt, false), ElementsAre("Ärea", "Garden", "Garden 2", "garden 10"));
    EXPECT_THAT(names(fixture.account.id, true), ElementsAre("Ärea", "Garden", "garden 10"));
    EXPECT_THAT(names(UUID::random(), false), ElementsAre());
}

TEST(SnapshotsTest, aProjectTellsItsOpenTasksAndItsAccount) {
    StoreFixture fixture(BackendKind::gitlab);
    TaskItem done = fixture.item("2");
    done.isCompleted = true;
    fixture.applyFull({fixture.item("1"), done});
    fixture.create("Sow peas");
    ProjectSnapshot project = fixture.projectSnapshot();
    EXPECT_EQ(project.openTaskCount, 2);
    EXPECT_EQ(project.accountName, "Home");
    EXPECT_EQ(project.kind, BackendKind::gitlab);
    EXPECT_EQ(project.project, fixture.project("p1", "Garden"));
    EXPECT_EQ(runToEnd(fixture.store.projectSnapshots(std::nullopt, false)), std::vector{project});
}

TEST(SnapshotsTest, pendingTasksAreListedOldestFirstWithTheRefusedOnes) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2"), fixture.item("3")});
    fixture.rename("2", "Second", noon + 1.0);
    fixture.rename("1", "First", noon + 2.0);
    runToEnd(fixture.store.failPush(fixture.key("2"), "No."));
    for (std::optional<UUID> account : {std::optional<UUID>(), std::optional(fixture.account.id)}) {
        std::vector<TaskSnapshot> pending = runToEnd(fixture.store.pendingSnapshots(account));
        ASSERT_EQ(pending.size(), 2U);
        EXPECT_EQ(pending.at(0).item.id, "2");
        EXPECT_EQ(pending.at(0).pushError, "No.");
        EXPECT_EQ(pending.at(1).item.id, "1");
    }
    EXPECT_TRUE(runToEnd(fixture.store.pendingSnapshots(UUID::random())).empty());
}

}  // namespace
}  // namespace marlet
