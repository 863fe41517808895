#include <gmock/gmock.h>

#include "StoreFixture.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(MergeTest, theFirstFetchOfAProjectIsNoNews) {
    StoreFixture fixture;
    std::vector<TaskItem> tasks;
    for (int number = 1; number <= 50; ++number) {
        tasks.push_back(fixture.item(std::to_string(number), noon + number));
    }

    std::vector<RemoteChange> changes = fixture.applyFull(tasks);

    EXPECT_THAT(changes, IsEmpty());
    EXPECT_EQ(fixture.snapshots().size(), 50U);
    EXPECT_EQ(fixture.projectState()->lastSyncedAt, noon);
    EXPECT_EQ(fixture.projectState()->lastFullSyncAt, noon);
    EXPECT_EQ(fixture.projectState()->deltaCursor, noon + 50.0);
    EXPECT_EQ(fixture.task("7"), tasks.at(6));
}

TEST(MergeTest, aNewAndANewerTaskAreToldInFetchOrder) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    TaskItem added = fixture.item("3", noon, "Sow peas");
    added.webURL = URL::parse("https://example.org/3");

    std::vector<RemoteChange> changes = fixture.applyDelta({added, fixture.item("1", noon + 1.0, "Water the oaks")});

    EXPECT_THAT(changes, ElementsAre(RemoteChange{fixture.key("3"), "Sow peas", "Garden", true, added.webURL},
                                     RemoteChange{fixture.key("1"), "Water the oaks", "Garden", false, std::nullopt}));
    EXPECT_TRUE(fixture.snapshot("3")->isUnread);
}

TEST(MergeTest, aTaskOfEqualDateTakesItsFieldsWithoutANews) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});

    std::vector<RemoteChange> changes = fixture.applyFull({fixture.item("1", noon, "Water the oaks")});

    EXPECT_THAT(changes, IsEmpty());
    EXPECT_EQ(fixture.task("1")->title, "Water the oaks");
}

TEST(MergeTest, aTaskWithoutADateTakesItsFieldsWithoutANews) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});

    std::vector<RemoteChange> changes = fixture.applyFull({fixture.item("1", std::nullopt, "Water the oaks")});

    EXPECT_THAT(changes, IsEmpty());
    EXPECT_EQ(fixture.task("1")->title, "Water the oaks");
    EXPECT_EQ(fixture.task("1")->updatedAt, std::nullopt);
}

TEST(MergeTest, aTaskThatHadNoDateIsNewsWhenItGetsOne) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1", std::nullopt)});
    EXPECT_EQ(fixture.applyFull({fixture.item("1", noon)}).size(), 1U);
}

TEST(MergeTest, aPendingEditKeepsItsTextWhenTheServerCopyIsNewer) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "Water the peas");

    std::vector<RemoteChange> changes = fixture.applyDelta({fixture.item("1", noon + 5.0, "Water the oaks")});

    EXPECT_THAT(changes, IsEmpty());
    EXPECT_EQ(fixture.task("1")->title, "Water the peas");
    EXPECT_EQ(fixture.task("1")->updatedAt, noon);
    EXPECT_EQ(fixture.projectState()->deltaCursor, noon + 5.0);
}

TEST(MergeTest, aRefusedEditKeepsItsTextToo) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    fixture.rename("1", "Water the peas");
    runToEnd(fixture.store.failPush(fixture.key("1"), "No."));

    fixture.applyFull({fixture.item("1", noon + 5.0, "Water the oaks")});

    EXPECT_EQ(fixture.task("1")->title, "Water the peas");
}

TEST(MergeTest, aFullFetchThatWasCutOffDeletesNothing) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), fixture.item("2")});
    FetchedTasks cutOff = fixture.fetch({fixture.item("1")});
    cutOff.isComplete = false;
    cutOff.syncedAt = noon + 10.0;

    runToEnd(fixture.store.applyFetchedTasks(cutOff));

    EXPECT_TRUE(fixture.task("2"));
    EXPECT_EQ(fixture.projectState()->lastFullSyncAt, noon + 10.0);
}

TEST(MergeTest, aCompleteFetchDropsWhatTheServerHasDroppedButKeepsTrackedTime) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("clean"), fixture.item("timed"), fixture.item("edited"), fixture.item("kept")});
    fixture.track("timed");
    fixture.rename("edited", "Water the peas");
    std::string created = fixture.create("Sow peas");

    fixture.applyFull({fixture.item("kept")});

    EXPECT_FALSE(fixture.task("clean"));
    EXPECT_TRUE(fixture.task("timed"));
    EXPECT_TRUE(fixture.task("edited"));
    EXPECT_TRUE(fixture.task("kept"));
    EXPECT_TRUE(runToEnd(fixture.store.task(created)));
}

TEST(MergeTest, anEmptyCompleteFetchDeletesAllCleanTasksAndLeavesTheCursor) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1", noon + 3.0), fixture.item("2")});

    fixture.applyFull({});

    EXPECT_THAT(fixture.snapshots(), IsEmpty());
    EXPECT_EQ(fixture.projectState()->deltaCursor, noon + 3.0);
}

TEST(MergeTest, theCursorNeverMovesBack) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1", noon + 30.0)});
    fixture.applyDelta({fixture.item("2", noon)});
    EXPECT_EQ(fixture.projectState()->deltaCursor, noon + 30.0);
    fixture.applyDelta({fixture.item("2", std::nullopt)});
    EXPECT_EQ(fixture.projectState()->deltaCursor, noon + 30.0);
}

TEST(MergeTest, aDeltaFetchLeavesTheDateOfTheLastFullOne) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    FetchedTasks delta = fixture.fetch({});
    delta.isFullFetch = false;
    delta.syncedAt = noon + 180.0;

    runToEnd(fixture.store.applyFetchedTasks(delta));

    EXPECT_TRUE(fixture.task("1"));
    EXPECT_EQ(fixture.projectState()->lastFullSyncAt, noon);
    EXPECT_EQ(fixture.projectState()->lastSyncedAt, noon + 180.0);
}

TEST(MergeTest, everyFetchClearsTheProjectsError) {
    StoreFixture fixture;
    for (bool isFull : {true, false}) {
        runToEnd(fixture.store.setSyncError("No network.", fixture.account.id, "p1"));
        isFull ? fixture.applyFull({}) : fixture.applyDelta({});
        EXPECT_EQ(fixture.projectSnapshot().syncError, std::nullopt);
    }
}

TEST(MergeTest, aFetchOfAProjectThatHasGoneFails) {
    StoreFixture fixture;
    EXPECT_THROW(fixture.applyFull({}, "p9"), StoreError);
}

TEST(MergeTest, noFetchTouchesLocalFields) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.setNext(true, fixture.key("1")));
    runToEnd(fixture.store.setStarred(true, fixture.key("1")));
    runToEnd(fixture.store.markViewed(fixture.key("1"), noon + 1.0));
    fixture.track("1", 60);
    TaskSnapshot before = fixture.snapshot("1").value();

    fixture.applyFull({fixture.item("1", noon, "Water the oaks")});

    TaskSnapshot after = fixture.snapshot("1").value();
    EXPECT_EQ(after.item.title, "Water the oaks");
    after.item = before.item;
    EXPECT_EQ(after, before);
}

TEST(MergeTest, aNewerFetchMakesAViewedTaskUnreadAgain) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    runToEnd(fixture.store.markViewed(fixture.key("1"), noon));
    EXPECT_FALSE(fixture.snapshot("1")->isUnread);

    fixture.applyDelta({fixture.item("1", noon + 1.0)});

    EXPECT_TRUE(fixture.snapshot("1")->isUnread);
}

TEST(MergeTest, aParentWithoutATitleKeepsTheOneThatIsKnown) {
    StoreFixture fixture;
    TaskItem child = fixture.item("1");
    child.parent = TaskParent{"7", "Beds"};
    fixture.applyFull({child});

    child.parent = TaskParent{"7", ""};
    child.title = "Water the oaks";
    fixture.applyFull({child});
    EXPECT_EQ(fixture.task("1")->parent, (TaskParent{"7", "Beds"}));

    child.parent = TaskParent{"8", ""};
    fixture.applyFull({child});
    EXPECT_EQ(fixture.task("1")->parent, (TaskParent{"8", ""}));

    child.parent.reset();
    fixture.applyFull({child});
    EXPECT_EQ(fixture.task("1")->parent, std::nullopt);
}

TEST(MergeTest, aTaskThatAFetchHoldsTwiceIsOneTaskWithTheLaterState) {
    StoreFixture fixture;
    fixture.applyFull({});

    std::vector<RemoteChange> changes =
        fixture.applyFull({fixture.item("1", noon, "First"), fixture.item("1", noon, "Second")});

    EXPECT_EQ(changes.size(), 1U);
    EXPECT_THAT(fixture.ids(), ElementsAre("1"));
    EXPECT_EQ(fixture.task("1")->title, "Second");
    fixture.applyFull({fixture.item("1", noon, "Third"), fixture.item("1", noon, "Second")});
    EXPECT_EQ(fixture.task("1")->title, "Second");
}

TEST(MergeTest, aTaskOfAnotherProjectWhoseKeyReadsTheSameIsLeftAlone) {
    StoreFixture fixture;
    fixture.addProject("p1|a", "Shed");
    fixture.applyFull({});
    fixture.applyFull({fixture.item("1", noon, "Of the shed")}, "p1|a");

    std::vector<RemoteChange> changes =
        fixture.applyDelta({fixture.item("1", noon, "Of the garden"), fixture.item("a|1", noon + 1.0, "Odd")});

    EXPECT_EQ(changes.size(), 1U);
    EXPECT_EQ(fixture.task("1")->title, "Of the garden");
    EXPECT_EQ(fixture.task("a|1")->title, "Of the shed");
}

TEST(MergeTest, everyFieldOfATaskReadsBackAndFollowsTheServer) {
    StoreFixture fixture;
    TaskItem full = fixture.item("1");
    full.kind = TaskKind::pullRequest;
    full.notes = "Two cans a day.\n\"Quoted\" \\ \x01 \xF0\x9F\x8C\xB1";
    full.isCompleted = true;
    full.createdAt = noon - 0.1;
    full.dueDate = noon + 86400.5;
    full.priority = 3;
    full.labels = {{"garden", "#00ff00"}, {"\"odd\"", std::nullopt}};
    full.assignees = {{"u1", "ann", "Ann", URL::parse("https://example.org/ann.png")}, {"u2", "bo", {}, {}}};
    full.milestone = Milestone{"m1", "Spring", noon + 5.0, true};
    full.parent = TaskParent{"9", "Beds"};
    full.typeName = "Bug";
    full.canHaveChildren = true;
    full.canChangeParent = false;
    full.status = "Doing";
    full.estimate = 2.5;
    full.webURL = URL::parse("https://example.org/1");
    fixture.applyFull({fixture.item("1")});

    fixture.applyFull({full});
    EXPECT_EQ(fixture.task("1"), full);

    fixture.applyFull({fixture.item("1")});
    EXPECT_EQ(fixture.task("1"), fixture.item("1"));
}

TEST(MergeTest, aKeyThatATaskElsewhereHasStaysWithThatTask) {
    StoreFixture fixture;
    fixture.addProject("p1|a", "Shed");
    fixture.applyFull({fixture.item("b", noon, "Shed's")}, "p1|a");

    fixture.applyFull({fixture.item("a|b", noon, "Garden's"), fixture.item("2")});

    EXPECT_EQ(fixture.task("a|b")->title, "Shed's");
    EXPECT_TRUE(fixture.task("2"));
}

TEST(MergeTest, anUnchangedFetchWritesNoTask) {
    DiskStoreFixture disk;
    std::vector<TaskItem> tasks;
    for (int number = 0; number < 300; ++number) {
        TaskItem task = disk->item(std::to_string(number));
        task.labels = {{"garden", "#00ff00"}};
        task.parent = TaskParent{"1", "Beds"};
        tasks.push_back(task);
    }
    disk->applyFull(tasks);
    disk.execute("CREATE TABLE Writes (what TEXT)");
    for (const char* event : {"INSERT", "UPDATE", "DELETE"}) {
        for (const char* table : {"StoredTask", "TaskSearch"}) {
            disk.execute(std::string("CREATE TRIGGER ") + table + event + " AFTER " + event + " ON " + table +
                         " BEGIN INSERT INTO Writes VALUES ('" + event + "'); END");
        }
    }
    tasks.at(5).parent = TaskParent{"1", ""};  // the same parent, told without its title

    disk->applyFull(tasks);
    disk->applyDelta({tasks.at(0), tasks.at(5)});
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM Writes"), 0);

    tasks.at(7).title = "Water the oaks";
    disk->applyFull(tasks);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM Writes"), 2);
}

}  // namespace
}  // namespace marlet
