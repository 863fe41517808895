#include <gtest/gtest.h>

#include "MarletCore/BackendError.h"
#include "ToolScenario.h"

namespace marlet {
namespace {

JSONValue comment(const UUID& task, JSONValue body) {
    return JSONValue::object({{"task_id", task.text()}, {"body", std::move(body)}});
}

}  // namespace

TEST(CommentAndDeleteTest, aCommentIsPostedAtOnceWithoutTheBlanksAroundIt) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    std::string posted;
    scenario.harness.remote(hub).onAddComment = [&](const std::string& body, const TaskItem& item) {
        posted = item.id + ": " + body;
        User ada{"1", "ada", std::nullopt, std::nullopt};
        return TaskComment{"9", ada, body, dateFromSeconds(1'700'000'000), std::nullopt};
    };

    JSONValue result = scenario.call("add_comment", comment(scenario.taskID(hub, "a/b", "7"), "\n Well done \n"));

    EXPECT_EQ(posted, "7: Well done");
    EXPECT_EQ(result,
              JSONValue::decode(R"({"author": "ada", "body": "Well done", "created_at": "2023-11-14T22:13:20Z"})"));
}

TEST(CommentAndDeleteTest, aCommentNeedsATaskAndABody) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    UUID id = scenario.taskID(hub, "a/b", "7");
    UUID unknown = UUID::random();

    EXPECT_EQ(scenario.refusal("add_comment", comment(unknown, 5)),
              "No task with task_id " + unknown.text() + ". Use list_tasks to find it.");
    EXPECT_EQ(scenario.refusal("add_comment", comment(id, nullptr)), "body is required.");
    EXPECT_EQ(scenario.refusal("add_comment", comment(id, 5)), "body must be a string.");
    EXPECT_EQ(scenario.refusal("add_comment", comment(id, " \n\t ")), "The comment must not be empty.");
    EXPECT_TRUE(scenario.requests(hub).empty());
}

TEST(CommentAndDeleteTest, aTaskThatIsNotOnTheServerYetTakesNoComment) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    UUID id = scenario.harness.createTask(hub, "New");
    EXPECT_EQ(scenario.refusal("add_comment", comment(id, "Hello")), "The task no longer exists.");
}

TEST(CommentAndDeleteTest, theServersRefusalOfACommentIsTold) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    scenario.harness.remote(hub).onAddComment = [](const std::string&, const TaskItem&) -> TaskComment {
        throw BackendError::rejected("The issue is locked.");
    };
    EXPECT_EQ(scenario.refusal("add_comment", comment(scenario.taskID(hub, "a/b", "7"), "Hello")),
              "The issue is locked.");
}

TEST(CommentAndDeleteTest, aTaskOnThisMacIsDeletedForGood) {
    ToolScenario scenario;
    Account mac = scenario.harness.addLocalAccount();
    UUID id = scenario.harness.createTask(mac, "Water the beans");
    scenario.harness.push(mac);

    JSONValue result = scenario.call("delete_task", JSONValue::object({{"task_id", id.lowercaseText()}}));

    EXPECT_EQ(result, JSONValue::object({{"deleted", true}, {"task_id", id.text()}, {"title", "Water the beans"}}));
    scenario.harness.syncNow(mac, SyncEngine::Mode::full);
    EXPECT_TRUE(scenario.harness.tasks().empty());
    EXPECT_EQ(scenario.refusal("delete_task", JSONValue::object({{"task_id", id.text()}})),
              "No task with task_id " + id.text() + ". Use list_tasks to find it.");
}

TEST(CommentAndDeleteTest, aTaskOnAServerIsNotDeletedAndNothingChanges) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("7", "Seven")});
    UUID id = scenario.taskID(hub, "a/b", "7");
    std::string before = scenario.everythingStored();

    EXPECT_EQ(scenario.refusal("delete_task", JSONValue::object({{"task_id", id.text()}})),
              "Only tasks of \"On This Mac\" accounts can be deleted. Use update_task with completed: true to close "
              "this task instead.");
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(hub).empty());
}

}  // namespace marlet
