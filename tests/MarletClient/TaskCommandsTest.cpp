// The task commands, with and without a daemon.
#include <gtest/gtest.h>

#include "ClientScenario.h"

namespace marlet {
namespace {

class TaskCommandsTest : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            client.startDaemon();
        } else {
            client.addAccount();
        }
    }
    void TearDown() override {
        if (GetParam()) {
            EXPECT_EQ(client.stopDaemon(), 0);
        }
    }
    std::vector<std::string> titles(ClientScenario::Arguments options = {}) {
        options.insert(options.begin(), {"task", "list"});
        std::vector<std::string> found = textsOf(client.json(options), "tasks", "title");
        std::sort(found.begin(), found.end());
        return found;
    }

    ClientScenario client;
};

using Texts = std::vector<std::string>;

INSTANTIATE_TEST_SUITE_P(BothWays, TaskCommandsTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "withDaemon" : "inOwnProcess"; });

TEST_P(TaskCommandsTest, aNewTaskHasItsNumberAndAllThatWasGiven) {
    JSONValue task = client.addTask(
        " Water the beans ", {"--notes", "Twice", "--label", "garden", "--label", "[dry]", "--due", "2026-07-01"});
    EXPECT_EQ(textOf(task, "title"), "Water the beans");
    EXPECT_EQ(textOf(task, "number"), "1");
    EXPECT_EQ(textOf(task, "notes"), "Twice");
    EXPECT_EQ(memberOf(task, "labels"), JSONValue::array({"garden", "[dry]"}));
    EXPECT_EQ(textOf(task, "due_date"), "2026-06-30T22:00:00Z") << "midnight where the user is";
    EXPECT_EQ(textOf(task, "sync_state"), "synced");
    EXPECT_EQ(client.json({"task", "show", "1", "--project", "Tasks"}), task);
}

TEST_P(TaskCommandsTest, notesComeFromStandardInput) {
    JSONValue task = client.json({"task", "add", "Water", "--project", "Tasks", "--notes", "-"}, 0, "one\ntwo\n");
    EXPECT_EQ(textOf(task, "notes"), "one\ntwo");
    JSONValue edited = client.json({"task", "edit", textOf(task, "task_id"), "--notes", "-"}, 0, "three");
    EXPECT_EQ(textOf(edited, "notes"), "three");
    EXPECT_EQ(client.run({"task", "add", "Water", "--project", "Tasks", "--notes", "-"}, "\xff").status, 2);
}

TEST_P(TaskCommandsTest, whatTheToolsRefuseIsRefusedInTheirWords) {
    std::string id = textOf(client.addTask("Water"), "task_id");
    EXPECT_EQ(client.error({"task", "add", " ", "--project", "Tasks"}), "The title must not be empty.");
    EXPECT_EQ(client.error({"task", "edit", id, "--title", " "}), "The title must not be empty.");
    EXPECT_EQ(client.error({"task", "add", "Story", "--project", "Tasks", "--type", "Story"}),
              "On This Mac tasks have no type to choose. Only Jira issues do.");
    EXPECT_EQ(client.error({"task", "edit", id, "--estimate", "3"}),
              "On This Mac tasks have no estimate. Only Jira issues have story points.");
    EXPECT_EQ(client.error({"task", "edit", id, "--status", "Done"}),
              "Tasks has no status column. Only board tasks (GitHub Projects) have a status.");
    EXPECT_EQ(client.error({"task", "edit", id, "--parent", "99"}),
              "\"99\" isn't a task of project Tasks that can have children. List them with marlet task list --epics.");
    EXPECT_EQ(client.error({"task", "edit", id, "--parent", id}), "A task can't be its own parent.");
    EXPECT_EQ(client.error({"task", "comment", id, " "}), "The comment must not be empty.");
    EXPECT_EQ(titles(), Texts{"Water"});
}

TEST_P(TaskCommandsTest, everyFieldCanBeChangedAndTakenBack) {
    std::string parent = textOf(client.addTask("The garden"), "task_id");
    std::string id = textOf(client.addTask("Water"), "task_id");
    JSONValue changed =
        client.json({"task", "edit", id, "--title", "Water more", "--notes", "Twice", "--label", "a", "--label", "b",
                     "--due", "2026-01-31T09:05:00+01:00", "--parent", parent.substr(0, 8)});
    EXPECT_EQ(textOf(changed, "title"), "Water more");
    EXPECT_EQ(memberOf(changed, "labels"), JSONValue::array({"a", "b"}));
    EXPECT_EQ(textOf(changed, "due_date"), "2026-01-31T08:05:00Z");
    EXPECT_EQ(memberOf(changed, "parent"), JSONValue::object({{"number", "1"}, {"title", "The garden"}}));
    EXPECT_EQ(textOf(changed, "sync_state"), "synced");
    EXPECT_EQ(titles({"--parent", "1", "--project", "Tasks"}), Texts{"Water more"});
    EXPECT_EQ(titles({"--parent", parent.substr(0, 8)}), Texts{"Water more"});

    JSONValue bare = client.json({"task", "edit", id, "--notes", "", "--no-labels", "--no-due", "--no-parent"});
    EXPECT_EQ(textOf(bare, "title"), "Water more");
    EXPECT_EQ(textOf(bare, "notes"), "");
    EXPECT_EQ(memberOf(bare, "labels"), JSONValue(JSONValue::Array()));
    EXPECT_TRUE(memberOf(bare, "due_date").isNull());
    EXPECT_TRUE(memberOf(bare, "parent").isNull());
    EXPECT_EQ(client.json({"task", "edit", id}), bare);
}

TEST_P(TaskCommandsTest, tasksAreCompletedAndReopened) {
    client.addTask("One");
    client.addTask("Two");
    client.addTask("Three");
    JSONValue done = client.json({"task", "done", "1", "2", "#1", "--project", "Tasks"});
    EXPECT_EQ(textsOf(done, "tasks", "number"), (Texts{"1", "2"}));
    EXPECT_EQ(memberOf(memberOf(done, "tasks").arrayValue()->at(1), "completed"), JSONValue(true));
    EXPECT_EQ(titles(), Texts{"Three"});
    EXPECT_EQ(titles({"--all"}), (Texts{"One", "Three", "Two"}));
    client.json({"task", "reopen", "2", "--project", "Tasks"});
    EXPECT_EQ(titles(), (Texts{"Three", "Two"}));
    client.error({"task", "done", "3", "9", "--project", "Tasks"});
    EXPECT_EQ(titles(), (Texts{"Three", "Two"})) << "all are found before one is changed";
}

TEST_P(TaskCommandsTest, listsNarrowDown) {
    client.addTask("Water the beans", {"--label", "garden"});
    client.addTask("Paint the fence");
    client.json({"task", "next", "1", "--project", "Tasks"});
    client.json({"task", "star", "1", "2", "--project", "Tasks"});
    client.json({"task", "star", "2", "--off", "--project", "Tasks"});
    JSONValue unread = client.json({"task", "unread", "2", "--project", "Tasks"});
    EXPECT_EQ(memberOf(memberOf(unread, "tasks").arrayValue()->at(0), "unread"), JSONValue(true));
    EXPECT_EQ(titles({"--list", "next"}), Texts{"Water the beans"});
    EXPECT_EQ(titles({"--list", "starred"}), Texts{"Water the beans"});
    EXPECT_EQ(titles({"--list", "updated"}), Texts{"Paint the fence"});
    EXPECT_EQ(titles({"--list", "timing"}), Texts{});
    EXPECT_EQ(titles({"--query", "GARDEN"}), Texts{"Water the beans"});
    EXPECT_EQ(titles({"--epics"}).size(), 2U);
    EXPECT_EQ(titles({"--limit", "1"}).size(), 1U);
    std::string shown = client.run({"task", "list", "--limit", "1"}).output;
    EXPECT_TRUE(shown.ends_with("These are the first 1. Use --limit to see more.\n")) << shown;
    client.json({"task", "unread", "2", "--off", "--project", "Tasks"});
    EXPECT_EQ(titles({"--list", "updated"}), Texts{});
}

TEST_P(TaskCommandsTest, aTaskIsNamedByTheBeginningOfItsId) {
    std::string id = textOf(client.addTask("Water"), "task_id");
    EXPECT_EQ(textOf(client.json({"task", "show", id}), "title"), "Water");
    EXPECT_EQ(textOf(client.json({"task", "show", id.substr(0, 9)}), "title"), "Water");
    std::string lower = id.substr(0, 6);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    EXPECT_EQ(textOf(client.json({"task", "show", lower}), "title"), "Water");
    EXPECT_EQ(client.error({"task", "show", id.substr(0, 3)}),
              "\"" + id.substr(0, 3) +
                  "\" is too short for a task. Use 4 characters of its id or more, or its number with --project.");
    EXPECT_EQ(client.error({"task", "show", "zzzz"}),
              "No task \"zzzz\". Use marlet task list --all to find it; a number needs --project beside it.");
    EXPECT_EQ(client.error({"task", "show", "7", "--project", "Tasks"}),
              "No task \"7\" in project Tasks. Use marlet task list --all to find it.");
}

TEST_P(TaskCommandsTest, commentsArePostedAndShown) {
    client.addTask("Water");
    JSONValue comment = client.json({"task", "comment", "1", " Done at dawn ", "--project", "Tasks"});
    EXPECT_EQ(textOf(comment, "body"), "Done at dawn");
    JSONValue task = client.json({"task", "show", "1", "--project", "Tasks", "--comments"});
    EXPECT_EQ(textsOf(task, "comments", "body"), Texts{"Done at dawn"});
    EXPECT_NE(client.run({"task", "show", "1", "--project", "Tasks", "--comments"}).output.find("Done at dawn"),
              std::string::npos);
    JSONValue raw = client.json({"task", "show", "1", "--project", "Tasks", "--raw"});
    EXPECT_EQ(textOf(memberOf(raw, "raw"), "title"), "Water");
}

TEST_P(TaskCommandsTest, aTaskOfThisComputerIsDeleted) {
    std::string id = textOf(client.addTask("Water"), "task_id");
    EXPECT_EQ(client.json({"task", "delete", id}),
              JSONValue::object({{"deleted", true}, {"task_id", id}, {"title", "Water"}}));
    EXPECT_EQ(titles({"--all"}), Texts{});
    client.json({"sync", "--full"});
    EXPECT_EQ(titles({"--all"}), Texts{});
}

TEST_P(TaskCommandsTest, aRefusedChangeIsListedRetriedAndDiscarded) {
    client.addTask("The garden");
    client.addTask("The bed");
    client.json({"task", "edit", "2", "--parent", "1", "--project", "Tasks"});
    // A circle of parents, which only the task's server notices.
    JSONValue refused = client.json({"task", "edit", "1", "--parent", "2", "--project", "Tasks"});
    EXPECT_EQ(textOf(refused, "sync_state"), "rejected");
    EXPECT_NE(textOf(refused, "sync_error"), "");

    EXPECT_EQ(textsOf(client.json({"pending", "list"}), "tasks", "title"), Texts{"The garden"});
    EXPECT_EQ(memberOf(client.json({"status"}), "rejected"), JSONValue(1));
    EXPECT_NE(client.run({"status"}).output.find("Changes that wait: 0, refused: 1 (see marlet pending list)\n"),
              std::string::npos);
    JSONValue synced = client.json({"sync"}, 1);
    EXPECT_EQ(textsOf(synced, "rejected_tasks", "title"), Texts{"The garden"});
    ChildOutcome shown = client.run({"sync"});
    EXPECT_NE(shown.output.find("The garden"), std::string::npos);
    EXPECT_EQ(shown.errors, "marlet: Not everything could be synced. Use marlet status to see what.\n");

    JSONValue retried = client.json({"pending", "retry", "1", "--project", "Tasks"});
    EXPECT_EQ(textsOf(retried, "tasks", "sync_state"), Texts{"rejected"});
    JSONValue discarded = client.json({"pending", "discard", "1", "--project", "Tasks"});
    EXPECT_EQ(textsOf(discarded, "tasks", "sync_state"), Texts{"synced"});
    JSONValue task = client.json({"task", "show", "1", "--project", "Tasks"});
    EXPECT_TRUE(memberOf(task, "parent").isNull()) << "what the server has came back";
    EXPECT_EQ(client.json({"pending", "list"}), JSONValue::object({{"tasks", JSONValue::Array()}}));
    client.json({"sync"});
}

TEST_P(TaskCommandsTest, controlCharactersNeverReachTheTerminal) {
    client.addTask("Red \x1b[31m\xc2\x9b and \xe2\x80\xae more", {"--notes", "one\n\x1b]0;title\x07two"});
    for (const auto& command : {Texts{"task", "list"}, Texts{"task", "show", "1", "--project", "Tasks"},
                                Texts{"--json", "task", "show", "1", "--project", "Tasks"}, Texts{"status"}}) {
        ChildOutcome outcome = client.run(command);
        EXPECT_EQ(outcome.status, 0);
        for (const char* harmful : {"\x1b", "\x07", "\xc2\x9b", "\xe2\x80\xae"}) {
            EXPECT_EQ(outcome.output.find(harmful), std::string::npos) << outcome.output;
        }
    }
    JSONValue task = client.json({"task", "show", "1", "--project", "Tasks"});
    EXPECT_EQ(textOf(task, "title"), "Red \x1b[31m\xc2\x9b and \xe2\x80\xae more");
    ChildOutcome refused = client.run({"task", "show", "\x1b[31mabc"});
    EXPECT_EQ(refused.errors.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace marlet
