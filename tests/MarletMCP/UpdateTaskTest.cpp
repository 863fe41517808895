#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

// One task of one account, with all that an edit can change.
class UpdateTaskTest : public testing::Test {
protected:
    void start(BackendKind kind) {
        account = scenario.addAccount(kind, {"p"});
        TaskItem item = issue("1", "Title");
        item.notes = "Notes";
        item.labels = {{"red", "ff0000"}, {"blue", std::nullopt}};
        item.dueDate = dateFromSeconds(1'700'000'000);
        scenario.serve(account, "p", {item});
        id = scenario.taskID(account, "p", "1");
    }

    // A board with the columns, and one draft ticket in the second one.
    void startBoard(std::vector<std::string> columns) {
        start(BackendKind::github);
        Project board;
        board.id = "p";
        board.name = "Roadmap";
        board.kind = ProjectKind::board;
        board.statusOptions = std::move(columns);
        scenario.setProjects(account, {board});
        TaskItem ticket = issue("1", "Ticket");
        ticket.status = board.statusOptions.at(1);
        ticket.canChangeParent = false;
        scenario.serve(account, "p", {ticket});
    }

    JSONValue::Object with(JSONValue::Object changes) {
        changes["task_id"] = id.text();
        return changes;
    }
    JSONValue update(JSONValue::Object changes) { return scenario.call("update_task", with(std::move(changes))); }
    std::string refusal(JSONValue::Object changes) { return scenario.refusal("update_task", with(std::move(changes))); }

    ToolScenario scenario;
    Account account;
    UUID id;
};

}  // namespace

TEST_F(UpdateTaskTest, withNothingToChangeTheTaskIsAnsweredAndNothingElseHappens) {
    start(BackendKind::github);
    std::string before = scenario.everythingStored();

    JSONValue task = update({});

    EXPECT_EQ(member(task, "notes"), "Notes");
    EXPECT_EQ(member(task, "sync_state"), "synced");
    update({{"title", nullptr}, {"labels", nullptr}, {"completed", nullptr}, {"status", nullptr}});
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(account).empty());
}

TEST_F(UpdateTaskTest, onlyTheGivenFieldsChangeAndThePushFollows) {
    start(BackendKind::github);
    TaskItem pushed;
    scenario.harness.remote(account).onUpdateTask = [&](const TaskItem& item) {
        pushed = item;
        return item;
    };

    JSONValue task = update({{"title", " New title "}});

    EXPECT_EQ(member(task, "title"), "New title");
    EXPECT_EQ(member(task, "notes"), "Notes");
    EXPECT_EQ(member(task, "labels"), JSONValue::array({"red", "blue"}));
    EXPECT_EQ(member(task, "due_date"), "2023-11-14T22:13:20Z");
    EXPECT_EQ(member(task, "sync_state"), "pending");
    EXPECT_EQ(scenario.requests(account), std::vector<std::string>({"updateTask 1"}));
    EXPECT_EQ(pushed.title, "New title");
    EXPECT_EQ(scenario.task(id).pendingOperation, std::nullopt);
}

TEST_F(UpdateTaskTest, aDueDateOfNullRemovesItAndWithoutTheKeyItStays) {
    start(BackendKind::github);
    EXPECT_EQ(member(update({{"notes", "Other"}}), "due_date"), "2023-11-14T22:13:20Z");
    EXPECT_TRUE(member(update({{"due_date", nullptr}}), "due_date").isNull());
    EXPECT_EQ(member(update({{"due_date", "2026-01-31T09:05:00Z"}}), "due_date"), "2026-01-31T09:05:00Z");
}

TEST_F(UpdateTaskTest, labelsAreReplacedAndThoseThatStayKeepTheirColour) {
    start(BackendKind::github);
    EXPECT_EQ(member(update({{"labels", JSONValue::array({" red ", "", "new"})}}), "labels"),
              JSONValue::array({"red", "new"}));
    EXPECT_EQ(scenario.task(id).item.labels, std::vector<TaskLabel>({{"red", "ff0000"}, {"new", std::nullopt}}));
    EXPECT_EQ(member(update({{"labels", JSONValue::Array()}}), "labels"), JSONValue(JSONValue::Array()));
}

TEST_F(UpdateTaskTest, emptyNotesReplaceTheOldOnesAndABlankTitleIsRefused) {
    start(BackendKind::github);
    EXPECT_EQ(member(update({{"notes", ""}}), "notes"), "");
    EXPECT_EQ(refusal({{"title", " \n"}}), "The title must not be empty.");
    EXPECT_EQ(scenario.task(id).item.title, "Title");
}

TEST_F(UpdateTaskTest, completingAnIssueLeavesItsStatusAlone) {
    start(BackendKind::github);
    JSONValue task = update({{"completed", true}});
    EXPECT_EQ(member(task, "completed"), true);
    EXPECT_TRUE(member(task, "status").isNull());
    EXPECT_EQ(member(update({{"completed", false}}), "completed"), false);
}

TEST_F(UpdateTaskTest, onABoardTheStatusAndTheCompletionFollowEachOther) {
    startBoard({"Todo", "Doing", "Done"});

    JSONValue done = update({{"status", "Done"}});
    EXPECT_EQ(member(done, "completed"), true);
    JSONValue doing = update({{"status", "Doing"}});
    EXPECT_EQ(member(doing, "completed"), false);
    JSONValue completed = update({{"completed", true}});
    EXPECT_EQ(member(completed, "status"), "Done");
    JSONValue reopened = update({{"completed", false}});
    EXPECT_EQ(member(reopened, "status"), "Todo");
    JSONValue both = update({{"completed", true}, {"status", "Doing"}});
    EXPECT_EQ(member(both, "status"), "Doing");
    EXPECT_EQ(member(both, "completed"), false);
}

TEST_F(UpdateTaskTest, aStatusMustBeOneOfTheBoardsColumns) {
    startBoard({"Todo", "Doing", "Done"});
    EXPECT_EQ(refusal({{"status", "done"}}), "\"done\" isn't a status of Roadmap. Use one of: Todo, Doing, Done.");
}

TEST_F(UpdateTaskTest, aProjectWithoutColumnsHasNoStatus) {
    start(BackendKind::gitlab);
    EXPECT_EQ(refusal({{"status", "Done"}}),
              "p has no status column. Only board tasks (GitHub Projects) have a status.");
}

TEST_F(UpdateTaskTest, onlyJiraTasksHaveAnEstimate) {
    start(BackendKind::vikunja);
    for (const JSONValue& estimate : {JSONValue(3), JSONValue(nullptr)}) {
        EXPECT_EQ(refusal({{"estimate", estimate}}),
                  "Vikunja tasks have no estimate. Only Jira issues have story points.");
    }
}

TEST_F(UpdateTaskTest, aJiraEstimateIsSetAndRemoved) {
    start(BackendKind::jira);
    EXPECT_EQ(member(update({{"estimate", 2.5}}), "estimate"), 2.5);
    EXPECT_EQ(member(update({{"estimate", 0}}), "estimate"), 0);
    EXPECT_EQ(refusal({{"estimate", -1}}), "estimate must be a number of at least 0, or null.");
    EXPECT_TRUE(member(update({{"estimate", nullptr}}), "estimate").isNull());
}

TEST_F(UpdateTaskTest, aParentOfNullOnAForgejoTaskIsRefused) {
    start(BackendKind::forgejo);
    EXPECT_EQ(refusal({{"parent", nullptr}}), "Forgejo tasks have no parent.");
    EXPECT_EQ(refusal({{"parent", 5}}), "Forgejo tasks have no parent.");
}

TEST_F(UpdateTaskTest, aTaskWhoseParentIsFixedSaysWhy) {
    startBoard({"Todo", "Doing", "Done"});
    for (const JSONValue& parent : {JSONValue(nullptr), JSONValue("2"), JSONValue(true)}) {
        EXPECT_EQ(refusal({{"parent", parent}}),
                  "#1 can't change its parent: a Jira sub-task stays with its issue, and pull requests, GitLab issues "
                  "and board tickets have none.");
    }
}

TEST_F(UpdateTaskTest, theChecksRunInTheirOrderAndBeforeAnyChange) {
    start(BackendKind::github);
    std::string before = scenario.everythingStored();
    JSONValue::Object changes{{"parent", "99"}, {"estimate", 1}, {"status", 1},      {"title", " "},
                              {"notes", 1},     {"labels", "a"}, {"due_date", true}, {"completed", "yes"}};
    UUID unknown = UUID::random();
    JSONValue::Object ofUnknown = changes;
    ofUnknown["task_id"] = unknown.text();

    EXPECT_EQ(scenario.refusal("update_task", ofUnknown),
              "No task with task_id " + unknown.text() + ". Use list_tasks to find it.");
    EXPECT_EQ(refusal(changes),
              "\"99\" isn't a task of account GitHub that can have children. List them with list_tasks (epics_only: "
              "true).");
    changes.erase("parent");
    EXPECT_EQ(refusal(changes), "GitHub tasks have no estimate. Only Jira issues have story points.");
    changes.erase("estimate");
    EXPECT_EQ(refusal(changes), "status must be a string.");
    changes.erase("status");
    EXPECT_EQ(refusal(changes), "The title must not be empty.");
    changes["title"] = "New title";
    EXPECT_EQ(refusal(changes), "notes must be a string.");
    changes["notes"] = "New notes";
    EXPECT_EQ(refusal(changes), "labels must be an array of strings.");
    changes.erase("labels");
    EXPECT_EQ(refusal(changes), "due_date must be a date string or null.");
    changes["due_date"] = nullptr;
    EXPECT_EQ(refusal(changes), "completed must be true or false.");
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(account).empty());
}

TEST_F(UpdateTaskTest, anEditOfARefusedTaskPutsItBackIntoTheQueue) {
    start(BackendKind::github);
    scenario.harness.edit(id, [](TaskItem& item) { item.title = "Refused"; });
    scenario.harness.run(scenario.harness.store().failPush(scenario.task(id).key, "No"));

    JSONValue task = update({{"title", "Accepted"}});

    EXPECT_EQ(member(task, "sync_state"), "pending");
    EXPECT_TRUE(member(task, "sync_error").isNull());
    scenario.finishPushes();
    EXPECT_EQ(scenario.task(id).pendingOperation, std::nullopt);
}

}  // namespace marlet
