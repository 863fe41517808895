#include <gtest/gtest.h>

#include "MarletCore/BackendError.h"
#include "ToolScenario.h"

namespace marlet {

TEST(GetTaskTest, aTaskIsShownInDetail) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    TaskItem item = issue("7", "Seven");
    item.notes = "Mind the gap";
    item.createdAt = dateFromSeconds(1'700'000'000);
    scenario.serve(hub, "a/b", {item});
    UUID id = scenario.taskID(hub, "a/b", "7");

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.lowercaseText()}}));

    EXPECT_EQ(member(task, "task_id"), id.text());
    EXPECT_EQ(member(task, "notes"), "Mind the gap");
    EXPECT_EQ(member(task, "created_at"), "2023-11-14T22:13:20Z");
    EXPECT_EQ(member(task, "sync_state"), "synced");
    EXPECT_EQ(task["comments"], nullptr);
    EXPECT_EQ(task["raw"], nullptr);
    EXPECT_TRUE(scenario.requests(hub).empty());
}

TEST(GetTaskTest, aTaskThatWaitsToBeCreatedHasNoNumberAndIsPending) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    UUID id = scenario.harness.createTask(hub, "New");

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.text()}}));

    EXPECT_TRUE(member(task, "number").isNull());
    EXPECT_EQ(member(task, "sync_state"), "pending");
}

TEST(GetTaskTest, aTaskWhosePushFailedIsRejectedAndSaysWhy) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    UUID id = scenario.harness.createTask(hub, "New");
    scenario.harness.run(scenario.harness.store().failPush(scenario.task(id).key, "No such label"));

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.text()}}));

    EXPECT_EQ(member(task, "sync_state"), "rejected");
    EXPECT_EQ(member(task, "sync_error"), "No such label");
}

TEST(GetTaskTest, anIDThatIsNoUUIDOrThatNobodyHasIsRefused) {
    ToolScenario scenario;
    EXPECT_EQ(scenario.refusal("get_task", JSONValue::object({{"task_id", "abc"}})), "task_id \"abc\" isn't valid.");
    UUID unknown = UUID::random();
    EXPECT_EQ(scenario.refusal("get_task", JSONValue::object({{"task_id", unknown.lowercaseText()}})),
              "No task with task_id " + unknown.text() + ". Use list_tasks to find it.");
}

TEST(GetTaskTest, commentsComeFromTheServerWhenAskedFor) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    UUID id = scenario.taskID(hub, "a/b", "7");
    scenario.harness.remote(hub).onFetchComments = [](const TaskItem&) {
        User ada{"1", "ada", std::nullopt, std::nullopt};
        return std::vector<TaskComment>{{"1", ada, "First", dateFromSeconds(1'700'000'000), std::nullopt},
                                        {"2", std::nullopt, "Second", std::nullopt, std::nullopt}};
    };

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.text()}, {"include_comments", true}}));

    EXPECT_EQ(member(task, "comments"), JSONValue::decode(R"([
        {"author": "ada", "body": "First", "created_at": "2023-11-14T22:13:20Z"},
        {"author": null, "body": "Second", "created_at": null}])"));
}

TEST(GetTaskTest, theCommentsOfATaskThatIsNotOnTheServerYetAreNone) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    UUID id = scenario.harness.createTask(hub, "New");

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.text()}, {"include_comments", true}}));

    EXPECT_EQ(member(task, "comments"), JSONValue(JSONValue::Array()));
}

TEST(GetTaskTest, rawIsTheServersOwnAnswer) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    UUID id = scenario.taskID(hub, "a/b", "7");
    dynamic_cast<ScriptedRawReading&>(scenario.harness.remote(hub)).onRawTask = [](const TaskItem& item) {
        return R"({"number": )" + item.id + R"(, "locked": false})";
    };

    JSONValue task = scenario.call("get_task", JSONValue::object({{"task_id", id.text()}, {"include_raw", true}}));

    EXPECT_EQ(member(task, "raw"), JSONValue::object({{"number", 7}, {"locked", false}}));
}

TEST(GetTaskTest, rawOfATaskThatIsNotOnTheServerYetFails) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    UUID id = scenario.harness.createTask(hub, "New");

    EXPECT_EQ(scenario.refusal("get_task", JSONValue::object({{"task_id", id.text()}, {"include_raw", true}})),
              "The task hasn't been created on the server yet.");
}

TEST(GetTaskTest, anErrorOfTheServerFailsTheWholeTool) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    UUID id = scenario.taskID(hub, "a/b", "7");
    auto& backend = dynamic_cast<ScriptedRawReading&>(scenario.harness.remote(hub));
    JSONValue arguments = JSONValue::object({{"task_id", id.text()}, {"include_raw", true}});

    backend.onRawTask = [](const TaskItem&) -> std::string { throw BackendError::notFound(); };
    EXPECT_EQ(scenario.refusal("get_task", arguments), "Not found on the server.");

    backend.onRawTask = [](const TaskItem&) { return std::string("<html>"); };
    EXPECT_THROW(scenario.call("get_task", arguments), JSONError);
}

TEST(GetTaskTest, aTaskOnThisMacCanBeReadRawAndHasComments) {
    ToolScenario scenario;
    Account mac = scenario.harness.addLocalAccount();
    UUID id = scenario.harness.createTask(mac, "Water the beans");
    scenario.harness.push(mac);
    scenario.call("add_comment", JSONValue::object({{"task_id", id.text()}, {"body", "Done twice"}}));

    JSONValue task = scenario.call(
        "get_task", JSONValue::object({{"task_id", id.text()}, {"include_raw", true}, {"include_comments", true}}));

    EXPECT_EQ(member(task, "number"), "1");
    EXPECT_EQ(member(member(task, "raw"), "title"), "Water the beans");
    EXPECT_EQ(member(member(task, "comments").arrayValue()->front(), "body"), "Done twice");
}

}  // namespace marlet
