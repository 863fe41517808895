#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

// One task on a server, updated before now.
struct OneTask {
    OneTask() {
        TaskItem item = issue("1", "One");
        item.updatedAt = scenario.harness.clock->now() - 100.0;
        scenario.serve(hub, "a/b", {item, issue("2", "Two")});
    }

    std::string id(const char* number) { return scenario.taskID(hub, "a/b", number).text(); }
    JSONValue flag(const char* name, bool value) {
        return scenario.call("set_task_flags", JSONValue::object({{"task_id", id("1")}, {name, value}}));
    }

    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
};

}  // namespace

TEST(TrackingToolsTest, eachFlagIsSetAndTakenBackAlone) {
    OneTask one;
    EXPECT_EQ(member(one.flag("next", true), "next"), true);
    JSONValue starred = one.flag("starred", true);
    EXPECT_EQ(member(starred, "starred"), true);
    EXPECT_EQ(member(starred, "next"), true);
    JSONValue off = one.flag("next", false);
    EXPECT_EQ(member(off, "next"), false);
    EXPECT_EQ(member(off, "starred"), true);
    EXPECT_EQ(off["notes"], nullptr);
}

TEST(TrackingToolsTest, aTaskSetToReadIsViewedNowAndOneSetToUnreadWasNeverViewed) {
    OneTask one;
    EXPECT_EQ(member(one.flag("unread", true), "unread"), true);
    EXPECT_EQ(member(one.flag("unread", false), "unread"), false);

    TaskItem later = issue("1", "One");
    later.updatedAt = one.scenario.harness.clock->now() + 1.0;
    one.scenario.serve(one.hub, "a/b", {later, issue("2", "Two")});
    EXPECT_TRUE(one.scenario.task(*UUID::parse(one.id("1"))).isUnread);
}

TEST(TrackingToolsTest, allFlagsCanBeSetAtOnceAndNoneChangesNothing) {
    OneTask one;
    JSONValue task = one.scenario.call(
        "set_task_flags",
        JSONValue::object({{"task_id", one.id("1")}, {"next", true}, {"starred", true}, {"unread", true}}));
    EXPECT_EQ(member(task, "next"), true);
    EXPECT_EQ(member(task, "starred"), true);
    EXPECT_EQ(member(task, "unread"), true);

    std::string before = one.scenario.everythingStored();
    EXPECT_EQ(one.scenario.call("set_task_flags", JSONValue::object({{"task_id", one.id("1")}})), task);
    EXPECT_EQ(one.scenario.everythingStored(), before);
}

TEST(TrackingToolsTest, aBadFlagLeavesTheGoodOnesUnset) {
    OneTask one;
    EXPECT_EQ(one.scenario.refusal("set_task_flags",
                                   JSONValue::object({{"task_id", one.id("1")}, {"next", true}, {"unread", "yes"}})),
              "unread must be true or false.");
    EXPECT_FALSE(one.scenario.task(*UUID::parse(one.id("1"))).isNext);
}

TEST(TrackingToolsTest, flagsAndTimersAreNeverPushed) {
    OneTask one;
    one.flag("next", true);
    one.scenario.call("start_timer", JSONValue::object({{"task_id", one.id("1")}}));
    JSONValue task = one.scenario.call("stop_timer");
    EXPECT_EQ(member(member(task, "task"), "sync_state"), "synced");
    EXPECT_TRUE(one.scenario.requests(one.hub).empty());
}

TEST(TrackingToolsTest, oneTimerRunsAtATime) {
    OneTask one;
    JSONValue first = one.scenario.call("start_timer", JSONValue::object({{"task_id", one.id("1")}}));
    EXPECT_EQ(member(first, "timing"), true);
    one.scenario.harness.clock->advance(90);
    JSONValue second = one.scenario.call("start_timer", JSONValue::object({{"task_id", one.id("2")}}));
    EXPECT_EQ(member(second, "timing"), true);
    one.scenario.harness.clock->advance(30);

    JSONValue task = one.scenario.call("get_task", JSONValue::object({{"task_id", one.id("1")}}));
    EXPECT_EQ(member(task, "timing"), false);
    EXPECT_EQ(member(task, "tracked_seconds"), 90);
}

TEST(TrackingToolsTest, theSecondStopFindsNothingToStop) {
    OneTask one;
    one.scenario.call("start_timer", JSONValue::object({{"task_id", one.id("1")}}));
    one.scenario.harness.clock->advance(61.9);

    JSONValue stopped = one.scenario.call("stop_timer");
    EXPECT_EQ(member(stopped, "stopped"), true);
    EXPECT_EQ(member(member(stopped, "task"), "task_id"), one.id("1"));
    EXPECT_EQ(member(member(stopped, "task"), "timing"), false);
    EXPECT_EQ(member(member(stopped, "task"), "tracked_seconds"), 61);
    EXPECT_EQ(one.scenario.call("stop_timer"), JSONValue::object({{"stopped", false}}));
}

TEST(TrackingToolsTest, aTimerOfAnUnknownTaskIsRefusedAndTheRunningOneGoesOn) {
    OneTask one;
    one.scenario.call("start_timer", JSONValue::object({{"task_id", one.id("1")}}));
    UUID unknown = UUID::random();
    EXPECT_EQ(one.scenario.refusal("start_timer", JSONValue::object({{"task_id", unknown.text()}})),
              "No task with task_id " + unknown.text() + ". Use list_tasks to find it.");
    EXPECT_TRUE(one.scenario.task(*UUID::parse(one.id("1"))).isTiming);
}

}  // namespace marlet
