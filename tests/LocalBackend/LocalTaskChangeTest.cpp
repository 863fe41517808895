#include "LocalTaskFixture.h"

namespace marlet {
namespace {

const BackendError belowItself = BackendError::rejected("A task can't be placed below itself or one of its subtasks.");

TEST(LocalTaskChangeTest, tasksAreNumberedFromOneAndANumberIsNeverUsedTwice) {
    LocalTaskFixture local;
    EXPECT_EQ(local.create("First").id, "1");
    TaskItem second = local.create("Second");
    EXPECT_EQ(second.id, "2");

    local.remove(second);

    EXPECT_EQ(local.create("Third").id, "3");
}

TEST(LocalTaskChangeTest, eachProjectCountsForItself) {
    LocalTaskFixture local;
    local.create("Here");
    Project other = local.run(local.database->createProject("Attic", local.accountID, noon));

    TaskItem there = local.run(local.database->createTask({.title = "There"}, local.accountID, other.id, noon));

    EXPECT_EQ(there.id, "1");
    EXPECT_EQ(there.projectID, other.id);
    EXPECT_EQ(local.task("1").title, "Here");
}

TEST(LocalTaskChangeTest, aNewTaskHoldsItsDraftAndTheTimeOfItsMaking) {
    LocalTaskFixture local;
    TaskDraft draft{"Water the beans", "*Twice* a day", noon + 86400, {"garden", "daily"}, "Bug"};

    TaskItem task = local.create(draft, noon + 5);

    TaskItem expected;
    expected.id = "1";
    expected.projectID = local.project.id;
    expected.kind = TaskKind::task;
    expected.title = "Water the beans";
    expected.notes = "*Twice* a day";
    expected.createdAt = noon + 5;
    expected.updatedAt = noon + 5;
    expected.dueDate = noon + 86400;
    expected.labels = {{"garden", std::nullopt}, {"daily", std::nullopt}};
    expected.canHaveChildren = true;
    expected.canChangeParent = true;
    EXPECT_EQ(task, expected);
    EXPECT_EQ(local.tasks(), std::vector<TaskItem>{expected});
}

TEST(LocalTaskChangeTest, anUpdateKeepsWhatALocalTaskCanHold) {
    LocalTaskFixture local;
    TaskItem parent = local.create("Dig the bed");
    TaskItem task = local.create("Sow the beans");
    TaskItem edited = task;
    edited.title = "Sow the peas";
    edited.notes = "Early";
    edited.isCompleted = true;
    edited.dueDate = noon + 3600;
    edited.priority = 3;
    edited.labels = {{"spring", "00ff00"}};
    edited.parent = TaskParent{parent.id, "an older title"};

    TaskItem result = local.update(edited, noon + 60);

    TaskItem expected = edited;
    expected.updatedAt = noon + 60;
    expected.labels = {{"spring", std::nullopt}};
    expected.parent = TaskParent{parent.id, "Dig the bed"};
    EXPECT_EQ(result, expected);
    EXPECT_EQ(local.task(task.id), expected);
}

TEST(LocalTaskChangeTest, anUpdateClearsWhatTheTaskNoLongerHas) {
    LocalTaskFixture local;
    TaskItem parent = local.create("Dig the bed");
    TaskItem task = local.create(TaskDraft{.title = "Sow the beans", .dueDate = noon, .labels = {"spring"}});
    task.priority = 1;
    task.parent = TaskParent{parent.id, ""};
    task = local.update(task);
    task.dueDate.reset();
    task.priority.reset();
    task.labels.clear();
    task.parent.reset();

    TaskItem result = local.update(task, noon + 60);

    EXPECT_FALSE(result.dueDate || result.priority || result.parent);
    EXPECT_TRUE(result.labels.empty());
}

TEST(LocalTaskChangeTest, anUpdateDoesNotTouchTheTimeOfMaking) {
    LocalTaskFixture local;
    TaskItem task = local.create("Sow the beans");
    task.createdAt = noon - 1000;

    EXPECT_EQ(local.update(task, noon + 60).createdAt, noon);
}

TEST(LocalTaskChangeTest, anUpdateOfATaskThatHasGoneIsNotFound) {
    LocalTaskFixture local;
    TaskItem task = local.create("Sow the beans");
    local.remove(task);

    EXPECT_EQ(backendErrorOf([&] { local.update(task); }), BackendError::notFound());
    EXPECT_EQ(backendErrorOf([&] { local.remove(task); }), BackendError::notFound());
}

TEST(LocalTaskChangeTest, twoUpdatesInTheSameInstantGiveTwoStamps) {
    LocalTaskFixture local;
    TaskItem task = local.create("Sow the beans");

    TaskItem first = local.update(task);
    TaskItem second = local.update(task);

    EXPECT_EQ(first.updatedAt, noon + 0.001);
    EXPECT_EQ(second.updatedAt, noon + 0.001 + 0.001);
    EXPECT_GT(*second.updatedAt, *first.updatedAt);
}

TEST(LocalTaskChangeTest, anUpdateByAClockThatWasSetBackStillMovesTheStampForward) {
    LocalTaskFixture local;
    TaskItem task = local.create("Sow the beans");

    EXPECT_EQ(local.update(task, noon - 3600).updatedAt, noon + 0.001);
}

TEST(LocalTaskChangeTest, readingSinceADateGivesWhatChangedAfterIt) {
    LocalTaskFixture local;
    local.create("First", noon);
    TaskItem second = local.create("Second", noon + 1);
    TaskItem third = local.create("Third", noon + 2);

    EXPECT_EQ(local.tasks(noon), (std::vector<TaskItem>{second, third}));
    EXPECT_EQ(local.tasks(noon + 1), std::vector<TaskItem>{third});
    EXPECT_TRUE(local.tasks(noon + 2).empty());
}

TEST(LocalTaskChangeTest, aChangedTaskCarriesTheTitleOfAParentThatDidNotChange) {
    LocalTaskFixture local;
    TaskItem parent = local.create("Dig the bed");
    TaskItem child = local.createBelow("Sow the beans", parent, noon + 60);

    EXPECT_EQ(child.parent, (TaskParent{parent.id, "Dig the bed"}));
    EXPECT_EQ(local.tasks(noon + 1), std::vector<TaskItem>{child});
}

TEST(LocalTaskChangeTest, aTaskCannotMoveBelowItsOwnChild) {
    LocalTaskFixture local;
    TaskItem first = local.create("First");
    TaskItem second = local.createBelow("Second", first);

    EXPECT_EQ(backendErrorOf([&] { local.moveBelow(first, second.id); }), belowItself);
    EXPECT_EQ(local.task(first.id), first);
}

TEST(LocalTaskChangeTest, aTaskCannotMoveBelowItself) {
    LocalTaskFixture local;
    TaskItem first = local.create("First");

    EXPECT_EQ(backendErrorOf([&] { local.moveBelow(first, first.id); }), belowItself);
}

TEST(LocalTaskChangeTest, aTaskCannotMoveBelowADistantDescendant) {
    LocalTaskFixture local;
    TaskItem top = local.create("Top");
    TaskItem deepest = top;
    for (int level = 0; level < 50; ++level) {
        deepest = local.createBelow("Level", deepest);
    }

    EXPECT_EQ(backendErrorOf([&] { local.moveBelow(top, deepest.id); }), belowItself);
    EXPECT_EQ(local.moveBelow(deepest, top.id).parent->id, top.id);
}

TEST(LocalTaskChangeTest, aParentMustBeANumberOfTheSameProject) {
    LocalTaskFixture local;
    TaskItem task = local.create("Task");
    local.create("Parent");

    for (std::string id :
         {"3", "-1", "0", "1x", " 2", "2 ", "", "+2", "2.0", "0x2", "9223372036854775808", "local-2", "two"}) {
        EXPECT_EQ(backendErrorOf([&] { local.moveBelow(task, id); }),
                  BackendError::rejected("Task " + id + " isn't in this project."));
    }
    EXPECT_EQ(local.task(task.id), task);
}

TEST(LocalTaskChangeTest, aTaskOfAnotherProjectIsNoParent) {
    LocalTaskFixture local;
    TaskItem task = local.create("Task");
    Project other = local.run(local.database->createProject("Attic", local.accountID, noon));
    for (int count = 0; count < 2; ++count) {
        local.run(local.database->createTask({.title = "There"}, local.accountID, other.id, noon));
    }

    EXPECT_EQ(backendErrorOf([&] { local.moveBelow(task, "2"); }),
              BackendError::rejected("Task 2 isn't in this project."));
}

TEST(LocalTaskChangeTest, deletingAParentLeavesItsChildrenAtTheTopWithANewerStamp) {
    LocalTaskFixture local;
    TaskItem parent = local.create("Dig the bed");
    TaskItem child = local.createBelow("Sow the beans", parent);
    TaskItem late = local.createBelow("Stake the beans", parent, noon + 100);
    TaskItem grandchild = local.createBelow("Buy seeds", child);

    local.remove(parent, noon + 50);

    child.parent.reset();
    child.updatedAt = noon + 50;
    late.parent.reset();
    late.updatedAt = *late.updatedAt + 0.001;
    EXPECT_EQ(local.tasks(), (std::vector<TaskItem>{child, late, grandchild}));
}

TEST(LocalTaskChangeTest, deletingATaskTakesItsCommentsWithIt) {
    LocalTaskFixture local;
    TaskItem task = local.create("Dig the bed");
    local.run(local.database->addComment("Deep", local.accountID, task, noon));

    local.remove(task);

    EXPECT_TRUE(local.tasks().empty());
    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->comments(local.accountID, task)); }),
              BackendError::notFound());
}

TEST(LocalTaskChangeTest, aCreateThatIsSentAgainMakesNoSecondTask) {
    LocalTaskFixture local;
    TaskDraft draft{.title = "Sow the beans", .labels = {"spring"}, .originID = "local-1"};
    TaskItem first = local.create(draft);

    TaskItem again = local.create(draft, noon + 60);

    EXPECT_EQ(again, first);
    EXPECT_EQ(local.tasks(), std::vector<TaskItem>{first});
    EXPECT_EQ(local.create("Next").id, "2");
}

TEST(LocalTaskChangeTest, aCreateThatIsSentAgainBringsWhatTheUserWroteMeanwhile) {
    LocalTaskFixture local;
    TaskItem first = local.create(TaskDraft{.title = "Sow the beans", .labels = {"spring"}, .originID = "local-1"});

    TaskItem again = local.create(TaskDraft{.title = "Sow the peas", .notes = "Early", .originID = "local-1"}, noon);

    EXPECT_EQ(again.id, first.id);
    EXPECT_EQ(again.title, "Sow the peas");
    EXPECT_EQ(again.notes, "Early");
    EXPECT_TRUE(again.labels.empty());
    EXPECT_EQ(again.updatedAt, noon + 0.001);
    EXPECT_EQ(local.tasks(), std::vector<TaskItem>{again});
}

TEST(LocalTaskChangeTest, draftsWithoutAnOriginAndOfOtherOriginsMakeTasksOfTheirOwn) {
    LocalTaskFixture local;
    local.create("Same");
    local.create("Same");
    local.create(TaskDraft{.title = "Same", .originID = "local-1"});
    local.create(TaskDraft{.title = "Same", .originID = "local-2"});

    EXPECT_EQ(local.tasks().size(), 4U);
}

TEST(LocalTaskChangeTest, aTaskIsDeletedByItsOriginWhenItsNumberNeverArrived) {
    LocalTaskFixture local;
    TaskItem task = local.create(TaskDraft{.title = "Sow the beans", .originID = "local-1"});
    TaskItem child = local.createBelow("Buy seeds", task);
    TaskItem asTheStoreKnowsIt = task;
    asTheStoreKnowsIt.id = "local-1";

    local.remove(asTheStoreKnowsIt, noon + 60);

    ASSERT_EQ(local.tasks().size(), 1U);
    EXPECT_EQ(local.tasks().at(0).id, child.id);
    EXPECT_EQ(local.tasks().at(0).parent, std::nullopt);
}

}  // namespace
}  // namespace marlet
