#include "MarletMCP/ToolShapes.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

const UUID accountID = *UUID::parse("11111111-2222-4333-8444-555555555555");
const UUID taskID = *UUID::parse("AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");

TaskSnapshot barePendingTask() {
    TaskSnapshot task;
    task.localID = taskID;
    task.accountID = accountID;
    task.projectName = "Garden";
    task.item.id = "local-1";
    task.item.projectID = "garden";
    task.item.title = "Water the beans";
    task.pendingOperation = PendingOperation::create;
    return task;
}

TaskSnapshot fullTask() {
    TaskSnapshot task = barePendingTask();
    task.item.id = "PROJ-12";
    task.item.kind = TaskKind::pullRequest;
    task.item.notes = "Twice a day";
    task.item.isCompleted = true;
    task.item.createdAt = dateFromSeconds(1'700'000'000.75);
    task.item.updatedAt = dateFromSeconds(1'700'000'060);
    task.item.dueDate = dateFromSeconds(1'700'000'120);
    task.item.priority = 3;
    task.item.labels = {{"home", "00ff00"}, {"green", std::nullopt}};
    task.item.assignees = {User{"7", "ada", "Ada", std::nullopt}, User{"8", "ben", std::nullopt, std::nullopt}};
    task.item.milestone = Milestone{"1", "Spring", std::nullopt, false};
    task.item.parent = TaskParent{"PROJ-1", "Harvest"};
    task.item.typeName = "Story";
    task.item.canHaveChildren = true;
    task.item.canChangeParent = false;
    task.item.status = "Doing";
    task.item.estimate = 2.5;
    task.item.webURL = URL::parse("https://tracker.example/browse/PROJ-12");
    task.isNext = task.isStarred = task.isUnread = task.isTiming = true;
    task.trackedTime = 59.99;
    task.lastStartedAt = dateFromSeconds(1'700'000'180);
    task.pendingOperation = PendingOperation::update;
    task.pushError = "Closed for the season";
    return task;
}

}  // namespace

TEST(ToolShapesTest, aTaskInAListShowsAllItsFields) {
    EXPECT_EQ(taskJSON(fullTask(), TaskShape::list), JSONValue::decode(R"({
        "task_id": "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE",
        "project_key": "11111111-2222-4333-8444-555555555555|garden",
        "project": "Garden",
        "number": "PROJ-12",
        "kind": "pullRequest",
        "title": "Water the beans",
        "completed": true,
        "labels": ["home", "green"],
        "assignees": ["ada", "ben"],
        "milestone": "Spring",
        "type": "Story",
        "can_have_children": true,
        "can_change_parent": false,
        "status": "Doing",
        "estimate": 2.5,
        "parent": {"number": "PROJ-1", "title": "Harvest"},
        "due_date": "2023-11-14T22:15:20Z",
        "priority": 3,
        "updated_at": "2023-11-14T22:14:20Z",
        "url": "https://tracker.example/browse/PROJ-12",
        "next": true,
        "starred": true,
        "unread": true,
        "timing": true,
        "tracked_seconds": 59,
        "sync_state": "rejected",
        "sync_error": "Closed for the season"
    })"));
}

TEST(ToolShapesTest, aTaskInDetailHasItsNotesCreationAndLastStartToo) {
    JSONValue detail = taskJSON(fullTask(), TaskShape::detail);
    EXPECT_EQ(*detail["notes"], "Twice a day");
    EXPECT_EQ(*detail["created_at"], "2023-11-14T22:13:20Z");
    EXPECT_EQ(*detail["last_started_at"], "2023-11-14T22:16:20Z");

    for (const char* key : {"notes", "created_at", "last_started_at"}) {
        detail.objectValue()->erase(key);
    }
    EXPECT_EQ(detail, taskJSON(fullTask(), TaskShape::list));
}

TEST(ToolShapesTest, whatATaskDoesNotHaveIsNull) {
    EXPECT_EQ(taskJSON(barePendingTask(), TaskShape::detail), JSONValue::decode(R"({
        "task_id": "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE",
        "project_key": "11111111-2222-4333-8444-555555555555|garden",
        "project": "Garden",
        "number": null,
        "kind": "task",
        "title": "Water the beans",
        "completed": false,
        "labels": [],
        "assignees": [],
        "milestone": null,
        "type": null,
        "can_have_children": false,
        "can_change_parent": true,
        "status": null,
        "estimate": null,
        "parent": null,
        "due_date": null,
        "priority": null,
        "updated_at": null,
        "url": null,
        "next": false,
        "starred": false,
        "unread": false,
        "timing": false,
        "tracked_seconds": 0,
        "sync_state": "pending",
        "sync_error": null,
        "notes": "",
        "created_at": null,
        "last_started_at": null
    })"));
}

TEST(ToolShapesTest, aTaskWithNothingPendingIsSyncedWhateverAnEarlierPushSaid) {
    TaskSnapshot task = fullTask();
    task.pendingOperation = std::nullopt;
    EXPECT_EQ(*taskJSON(task, TaskShape::list)["sync_state"], "synced");
}

TEST(ToolShapesTest, anAccountShowsItsServiceServerAndState) {
    AccountSyncState state;
    state.account = {accountID, BackendKind::jira, "Work", *URL::parse("https://tracker.example/base")};
    EXPECT_EQ(accountJSON(state), JSONValue::decode(R"({
        "account_id": "11111111-2222-4333-8444-555555555555",
        "name": "Work",
        "service": "Jira",
        "server": "https://tracker.example/base",
        "sync_error": null,
        "default_task_type": null
    })"));

    state.syncError = "The server rejected the access token.";
    state.defaultTaskType = "Story";
    EXPECT_EQ(*accountJSON(state)["sync_error"], "The server rejected the access token.");
    EXPECT_EQ(*accountJSON(state)["default_task_type"], "Story");
}

TEST(ToolShapesTest, aProjectShowsItsAccountAndItsBoardsColumns) {
    ProjectSnapshot project;
    project.key = "key";
    project.accountID = accountID;
    project.accountName = "Hub";
    project.kind = BackendKind::github;
    project.name = "Roadmap";
    project.detail = "What comes next";
    project.webURL = URL::parse("https://code.example/roadmap");
    project.isSubscribed = true;
    project.openTaskCount = 4;
    project.syncError = "Not found on the server.";
    project.project.kind = ProjectKind::board;
    project.project.statusOptions = {"Todo", "Done"};
    EXPECT_EQ(projectJSON(project), JSONValue::decode(R"({
        "project_key": "key",
        "name": "Roadmap",
        "description": "What comes next",
        "account_id": "11111111-2222-4333-8444-555555555555",
        "account": "Hub",
        "service": "GitHub",
        "url": "https://code.example/roadmap",
        "subscribed": true,
        "open_tasks": 4,
        "sync_error": "Not found on the server.",
        "kind": "board",
        "status_options": ["Todo", "Done"]
    })"));

    ProjectSnapshot bare;
    bare.project.kind = ProjectKind::repository;
    EXPECT_TRUE(projectJSON(bare)["url"]->isNull());
    EXPECT_TRUE(projectJSON(bare)["sync_error"]->isNull());
    EXPECT_EQ(*projectJSON(bare)["status_options"], JSONValue(JSONValue::Array()));
    EXPECT_EQ(*projectJSON(bare)["kind"], "repository");
}

TEST(ToolShapesTest, aCommentShowsItsAuthorsLogin) {
    TaskComment comment{"1", User{"7", "ada", "Ada", std::nullopt}, "Well done", dateFromSeconds(1'700'000'000), {}};
    EXPECT_EQ(commentJSON(comment),
              JSONValue::decode(R"({"author": "ada", "body": "Well done", "created_at": "2023-11-14T22:13:20Z"})"));
    EXPECT_EQ(commentJSON(TaskComment{"1", {}, "Well done", {}, {}}),
              JSONValue::decode(R"({"author": null, "body": "Well done", "created_at": null})"));
}

TEST(ToolShapesTest, everyServiceHasItsName) {
    EXPECT_EQ(serviceName(BackendKind::github), "GitHub");
    EXPECT_EQ(serviceName(BackendKind::gitlab), "GitLab");
    EXPECT_EQ(serviceName(BackendKind::vikunja), "Vikunja");
    EXPECT_EQ(serviceName(BackendKind::forgejo), "Forgejo");
    EXPECT_EQ(serviceName(BackendKind::jira), "Jira");
    EXPECT_EQ(serviceName(BackendKind::local), "On This Mac");
}

}  // namespace marlet
