// Change here, change there, one pass, compare both sides.
#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(ConflictStoriesTest, aLocalEditOutlivesANewerServerCopyUntilItIsPushed) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    scenario.server().rename("1", "Water the oaks");

    scenario.pass();

    EXPECT_EQ(scenario.server().task("1").title, "Water the peas");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aServerEditComesHere) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.server().rename("1", "Water the oaks");
    scenario.pass();
    EXPECT_EQ(scenario.local().task("1").item.title, "Water the oaks");
    EXPECT_TRUE(scenario.local().task("1").isUnread);
}

TEST(ConflictStoriesTest, aServerEditThatDidNotMoveItsDateComesWithAFullFetch) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    Date before = scenario.server().task("1").updatedAt.value();
    scenario.remote.backend->onFetchTasks = [&](const std::string&, std::optional<Date>) {
        TaskItem item{.id = "1", .projectID = "p", .title = "Water the oaks"};
        item.updatedAt = before;
        return std::vector{item};
    };
    scenario.fullPass();
    EXPECT_EQ(scenario.local().task("1").item.title, "Water the oaks");
}

TEST(ConflictStoriesTest, twoEditsBeforeAPassGoOutAsOne) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    scenario.local().rename("1", "Water the corn");

    scenario.pass();

    EXPECT_EQ(scenario.remote.countCalls("updateTask"), 1u);
    EXPECT_EQ(scenario.server().task("1").title, "Water the corn");
}

TEST(ConflictStoriesTest, anEditDuringAPushIsKeptAndGoesOutNext) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    Latch update = scenario.remote.hold("updateTask");
    auto push = scenario.loop.start(scenario.engine->pushNow(scenario.remote.id(), scenario.clock.now()));
    scenario.loop.runUntil([&] { return update.isReached(); });

    scenario.local().rename("1", "Water the corn");
    update.open();
    scenario.loop.runUntil([&] { return push->isFinished; });
    EXPECT_EQ(scenario.server().task("1").title, "Water the peas");
    EXPECT_EQ(scenario.local().task("1").item.title, "Water the corn");

    scenario.pass();
    EXPECT_EQ(scenario.server().task("1").title, "Water the corn");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aTaskDeletedHereDuringItsPushStaysGoneUntilTheServerShowsItAgain) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    Latch update = scenario.remote.hold("updateTask");
    auto push = scenario.loop.start(scenario.engine->pushNow(scenario.remote.id(), scenario.clock.now()));
    scenario.loop.runUntil([&] { return update.isReached(); });

    scenario.run(scenario.store.deleteTask(taskKey(scenario.remote.id(), "p", "1")));
    update.open();
    scenario.loop.runUntil([&] { return push->isFinished; });

    EXPECT_THAT(scenario.local().tasks(), IsEmpty());
    EXPECT_EQ(scenario.account(scenario.remote).syncError, std::nullopt);
}

TEST(ConflictStoriesTest, aTaskDeletedThereGoesHereWithTheNextFullFetchAndNoEarlier) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.server().remove("1");

    scenario.pass();
    EXPECT_THAT(scenario.local().tasks(), SizeIs(1));

    scenario.fullPass();
    EXPECT_THAT(scenario.local().tasks(), IsEmpty());
}

TEST(ConflictStoriesTest, withHintsATaskDeletedThereGoesHereWithinAHintInterval) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"}, {.hinting = true});
    scenario.server().remove("1");
    scenario.tickAfter(180);
    EXPECT_THAT(scenario.local().tasks(), IsEmpty());
}

TEST(ConflictStoriesTest, aTaskDeletedThereAndEditedHereKeepsTheEditAndSaysSo) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.server().remove("1");
    scenario.local().rename("1", "Water the peas");

    scenario.pass();
    scenario.fullPass();

    EXPECT_EQ(scenario.local().task("1").item.title, "Water the peas");
    EXPECT_EQ(scenario.local().task("1").pushError, "Not found on the server.");
}

TEST(ConflictStoriesTest, givingUpTheEditOfATaskDeletedThereLetsItGo) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.server().remove("1");
    scenario.local().rename("1", "Water the peas");
    scenario.pass();

    scenario.run(scenario.store.discardLocalChanges(taskKey(scenario.remote.id(), "p", "1")));
    scenario.tickAfter(30);

    EXPECT_THAT(scenario.local().tasks(), IsEmpty());
}

TEST(ConflictStoriesTest, givingUpAnEditBringsTheServersStateBackWithAFullFetch) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");

    scenario.run(scenario.store.discardLocalChanges(taskKey(scenario.remote.id(), "p", "1")));
    scenario.tickAfter(30);

    EXPECT_THAT(scenario.remote.backend->calls, ElementsAre("fetchTasks p full"));
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aRefusedEditKeepsItsTextTakesNothingFromTheServerAndGoesOutWhenTriedAgain) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.remote.fail("updateTask", BackendError::rejected("The title is taken."));
    scenario.local().rename("1", "Water the peas");
    scenario.pass();
    scenario.server().rename("1", "Water the oaks");
    scenario.pass();
    EXPECT_EQ(scenario.local().task("1").item.title, "Water the peas");
    EXPECT_EQ(scenario.local().task("1").pushError, "The title is taken.");
    EXPECT_EQ(scenario.remote.countCalls("updateTask"), 1u);

    scenario.remote.recover();
    scenario.run(scenario.store.retryPush(taskKey(scenario.remote.id(), "p", "1")));
    scenario.pass();

    EXPECT_EQ(scenario.server().task("1").title, "Water the peas");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, anEditWaitsOutACrash) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    scenario.remote.fail("updateTask", BackendError::http(500));
    scenario.pass();

    scenario.restart();
    scenario.remote.recover();
    scenario.pass();

    EXPECT_EQ(scenario.server().task("1").title, "Water the peas");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, anEditWhoseAnswerWasLostIsSentAgainToTheSameEnd) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().rename("1", "Water the peas");
    auto take = scenario.remote.backend->onUpdateTask;
    scenario.remote.backend->onUpdateTask = [&](TaskItem item) -> TaskItem {
        take(std::move(item));
        throw BackendError::http(504);
    };
    scenario.pass();
    EXPECT_EQ(scenario.local().task("1").pendingOperation, PendingOperation::update);

    scenario.remote.backend->onUpdateTask = take;
    scenario.pass();

    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aTaskMadeHereGetsTheServersNameAndKeepsItsIdentity) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    std::string key = scenario.local().create({.title = "Plant a tree", .labels = {"garden"}});
    UUID identity = scenario.run(scenario.store.taskSnapshot(key))->localID;

    scenario.pass();

    EXPECT_EQ(scenario.run(scenario.store.taskSnapshot(key)), std::nullopt);
    EXPECT_EQ(scenario.run(scenario.store.taskSnapshot(identity))->item.id, "101");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, labelsThatAServiceDoesNotTakeOnCreationFollowAsAnUpdate) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.remote.takesLabelsOnCreation = false;
    scenario.local().create({.title = "Plant a tree", .labels = {"garden", "spring"}});

    scenario.pass();
    EXPECT_EQ(scenario.local().task("101").pendingOperation, PendingOperation::update);
    scenario.pass();

    EXPECT_THAT(scenario.server().task("101").labels, SizeIs(2));
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
    EXPECT_EQ(scenario.local().task("101").pendingOperation, std::nullopt);
}

TEST(ConflictStoriesTest, aTaskMadeWhileTheServerIsDownIsMadeThereOnce) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.local().create({.title = "Plant a tree"});
    scenario.remote.fail("createTask", BackendError::http(503));
    scenario.pass();
    scenario.pass();
    scenario.restart();
    scenario.remote.recover();

    scenario.pass();
    scenario.pass();

    EXPECT_THAT(scenario.server().tasks(), SizeIs(2));
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, anEditOfANewTaskDuringItsCreationFollowsAsAnUpdate) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    std::string key = scenario.local().create({.title = "Plant a tree"});
    Latch create = scenario.remote.hold("createTask");
    auto push = scenario.loop.start(scenario.engine->pushNow(scenario.remote.id(), scenario.clock.now()));
    scenario.loop.runUntil([&] { return create.isReached(); });
    scenario.run(
        scenario.store.editTask(key, scenario.clock.now(), [](TaskItem& item) { item.title = "Plant two trees"; }));
    create.open();
    scenario.loop.runUntil([&] { return push->isFinished; });

    scenario.pass();

    EXPECT_THAT(scenario.server().tasks(), SizeIs(2));
    EXPECT_EQ(scenario.server().task("101").title, "Plant two trees");
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aTaskMadeThereComesHere) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.server().add({.id = "2", .title = "Rake the leaves"});
    scenario.pass();
    EXPECT_EQ(scenario.local().tasks(), scenario.server().tasks());
}

TEST(ConflictStoriesTest, aTimedTaskDeletedThereStaysHere) {
    SyncScenario scenario({.id = "1", .title = "Water the beans"});
    scenario.run(scenario.store.startTimer(taskKey(scenario.remote.id(), "p", "1"), scenario.clock.now()));
    scenario.server().remove("1");
    scenario.fullPass();
    EXPECT_THAT(scenario.local().tasks(), SizeIs(1));
}

}  // namespace
}  // namespace marlet
