#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

using Titles = std::vector<std::string>;

std::vector<TaskItem> numbered(int count) {
    std::vector<TaskItem> items;
    for (int number = 1; number <= count; ++number) {
        items.push_back(issue(std::to_string(number), "Task " + std::to_string(number)));
        items.back().updatedAt = dateFromSeconds(1'700'000'000 + number);
    }
    return items;
}

TaskItem childOf(const std::string& parent, const std::string& number, const std::string& title) {
    TaskItem item = issue(number, title);
    item.parent = TaskParent{parent, "Parent"};
    return item;
}

}  // namespace

TEST(ListTasksTest, tasksOfAllProjectsComeMostRecentlyUpdatedFirst) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    TaskItem older = issue("1", "Older");
    older.updatedAt = dateFromSeconds(1'700'000'000);
    TaskItem newer = issue("2", "Newer");
    newer.updatedAt = dateFromSeconds(1'700'000'100);
    scenario.serve(hub, "a/b", {older});
    scenario.serve(hub, "c/d", {newer});

    EXPECT_EQ(titles(scenario.call("list_tasks")), Titles({"Newer", "Older"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"project_key", projectKey(hub.id, "a/b")}}))),
              Titles({"Older"}));
}

TEST(ListTasksTest, theListShapeLeavesTheNotesOut) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("1", "One")});

    JSONValue result = scenario.call("list_tasks");

    const JSONValue& task = member(result, "tasks").arrayValue()->front();
    EXPECT_EQ(task["notes"], nullptr);
    EXPECT_EQ(member(task, "number"), "1");
}

TEST(ListTasksTest, completedTasksAreShownOnlyWhenAskedFor) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    TaskItem done = issue("1", "Done");
    done.isCompleted = true;
    scenario.serve(hub, "a/b", {done});

    EXPECT_EQ(titles(scenario.call("list_tasks")), Titles());
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"include_completed", true}}))), Titles({"Done"}));
}

TEST(ListTasksTest, theLimitIsForcedIntoItsRange) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", numbered(510));
    auto count = [&](JSONValue limit) {
        return titles(scenario.call("list_tasks", JSONValue::object({{"limit", std::move(limit)}}))).size();
    };

    EXPECT_EQ(count(nullptr), 50u);
    EXPECT_EQ(count(0), 1u);
    EXPECT_EQ(count(-9'000'000'000'000'000.0), 1u);
    EXPECT_EQ(count(3), 3u);
    EXPECT_EQ(count(900), 500u);
    EXPECT_EQ(scenario.refusal("list_tasks", JSONValue::object({{"limit", 2.5}})), "limit must be an integer.");
}

TEST(ListTasksTest, aTextIsFoundInTitleNotesLabelsAndAsTheWholeNumber) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    TaskItem inTitle = issue("1", "Water the BEANS");
    TaskItem inNotes = issue("2", "Second");
    inNotes.notes = "among the beans";
    TaskItem inLabel = issue("3", "Third");
    inLabel.labels = {{"beans", std::nullopt}};
    TaskItem other = issue("77", "Fourth");
    scenario.serve(hub, "a/b", {inTitle, inNotes, inLabel, other});

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"query", " beans "}}))).size(), 3u);
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"query", "77"}}))), Titles({"Fourth"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"query", "7"}}))), Titles());
}

TEST(ListTasksTest, aListAndAProjectNarrowBoth) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    scenario.serve(hub, "a/b", {issue("1", "Here"), issue("2", "Here, not planned")});
    scenario.serve(hub, "c/d", {issue("1", "There")});
    scenario.call("set_task_flags",
                  JSONValue::object({{"task_id", scenario.taskID(hub, "a/b", "1").text()}, {"next", true}}));
    scenario.call("set_task_flags",
                  JSONValue::object({{"task_id", scenario.taskID(hub, "c/d", "1").text()}, {"next", true}}));

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"list", "next"}}))).size(), 2u);
    EXPECT_EQ(titles(scenario.call("list_tasks",
                                   JSONValue::object({{"list", "next"}, {"project_key", projectKey(hub.id, "a/b")}}))),
              Titles({"Here"}));
}

TEST(ListTasksTest, everyListHasItsTasks) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    TaskItem changed = issue("1", "Changed");
    changed.updatedAt = dateFromSeconds(1'700'000'000);
    scenario.serve(hub, "a/b", {changed, issue("2", "Starred"), issue("3", "Timed"), issue("4", "Planned")});
    auto id = [&](const char* number) { return scenario.taskID(hub, "a/b", number).text(); };
    scenario.call("set_task_flags", JSONValue::object({{"task_id", id("1")}, {"unread", true}}));
    scenario.call("set_task_flags", JSONValue::object({{"task_id", id("2")}, {"starred", true}}));
    scenario.call("start_timer", JSONValue::object({{"task_id", id("3")}}));
    scenario.call("set_task_flags", JSONValue::object({{"task_id", id("4")}, {"next", true}}));
    auto listed = [&](const char* list) {
        return titles(scenario.call("list_tasks", JSONValue::object({{"list", list}})));
    };

    EXPECT_EQ(listed("updated"), Titles({"Changed"}));
    EXPECT_EQ(listed("starred"), Titles({"Starred"}));
    EXPECT_EQ(listed("timing"), Titles({"Timed"}));
    EXPECT_EQ(listed("next"), Titles({"Planned"}));
}

TEST(ListTasksTest, anUnknownListIsRefusedWithTheNamesOfTheLists) {
    ToolScenario scenario;
    EXPECT_EQ(scenario.refusal("list_tasks", JSONValue::object({{"list", "later"}})),
              "Unknown list \"later\". Use next, starred, updated or timing.");
}

TEST(ListTasksTest, anUnknownProjectIsRefused) {
    ToolScenario scenario;
    EXPECT_EQ(scenario.refusal("list_tasks", JSONValue::object({{"project_key", "nowhere"}, {"list", "later"}})),
              "No project with project_key \"nowhere\". Use list_projects to find it.");
}

TEST(ListTasksTest, epicsOnlyLeavesOutWhatCannotHaveChildren) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    TaskItem story = issue("PROJ-2", "Story");
    story.canHaveChildren = false;
    scenario.serve(tracker, "PROJ", {issue("PROJ-1", "Epic"), story});

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"epics_only", true}}))), Titles({"Epic"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"epics_only", false}}))).size(), 2u);
}

TEST(ListTasksTest, aParentIsFoundByItsNumberInAnyCase) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    scenario.serve(tracker, "PROJ",
                   {issue("PROJ-12", "Epic"), childOf("PROJ-12", "PROJ-13", "Child"), issue("PROJ-14", "Other")});

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", "proj-12"}}))), Titles({"Child"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", "proj-12"},
                                                                    {"project_key", projectKey(tracker.id, "PROJ")}}))),
              Titles({"Child"}));
}

TEST(ListTasksTest, aCompletedParentIsFoundByItsTaskIDInAnyCase) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    TaskItem epic = issue("PROJ-12", "Epic");
    epic.isCompleted = true;
    scenario.serve(tracker, "PROJ", {epic, childOf("PROJ-12", "PROJ-13", "Child")});
    UUID id = scenario.taskID(tracker, "PROJ", "PROJ-12");

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", id.text()}}))), Titles({"Child"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", id.lowercaseText()}}))),
              Titles({"Child"}));
}

TEST(ListTasksTest, aParentThatIsNotInTheProjectIsRefused) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ", "OTHER"});
    scenario.serve(tracker, "PROJ", {issue("PROJ-12", "Epic")});

    EXPECT_EQ(scenario.refusal("list_tasks", JSONValue::object({{"parent", "PROJ-99"}})),
              "No task with task_id PROJ-99. Use list_tasks to find it.");
    EXPECT_EQ(scenario.refusal("list_tasks", JSONValue::object({{"parent", "PROJ-12"},
                                                                {"project_key", projectKey(tracker.id, "OTHER")}})),
              "No task with task_id PROJ-12. Use list_tasks to find it.");
}

TEST(ListTasksTest, aTaskIDMeansTheChildrenOfThatTaskAndNotOfItsNamesakes) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::gitlab, {"a/b", "c/d"});
    scenario.serve(hub, "a/b", {issue("12", "Parent here"), childOf("12", "13", "Child here")});
    scenario.serve(hub, "c/d", {issue("12", "Parent there"), childOf("12", "13", "Child there")});
    UUID here = scenario.taskID(hub, "a/b", "12");

    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", here.text()}}))),
              Titles({"Child here"}));
    EXPECT_EQ(titles(scenario.call("list_tasks", JSONValue::object({{"parent", "12"}}))).size(), 2u);
}

TEST(ListTasksTest, aGitHubParentHasChildrenInOtherRepositories) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    scenario.serve(hub, "a/b", {issue("12", "Parent"), childOf("12", "13", "Child here")});
    scenario.serve(hub, "c/d", {childOf("a/b#12", "1", "Child there"), issue("12", "Namesake")});
    UUID parent = scenario.taskID(hub, "a/b", "12");
    auto children = [&](JSONValue arguments) {
        std::vector<std::string> found = titles(scenario.call("list_tasks", std::move(arguments)));
        std::sort(found.begin(), found.end());
        return found;
    };

    Titles both = {"Child here", "Child there"};
    EXPECT_EQ(children(JSONValue::object({{"parent", parent.text()}})), both);
    EXPECT_EQ(children(JSONValue::object({{"parent", "A/B#12"}})), both);
    EXPECT_EQ(children(JSONValue::object({{"parent", "12"}, {"project_key", projectKey(hub.id, "a/b")}})), both);
}

}  // namespace marlet
