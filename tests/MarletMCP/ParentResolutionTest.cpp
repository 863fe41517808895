#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

class ParentResolutionTest : public testing::Test {
protected:
    JSONValue setParent(UUID task, JSONValue parent) {
        return scenario.call("update_task",
                             JSONValue::object({{"task_id", task.text()}, {"parent", std::move(parent)}}));
    }
    std::string refusal(UUID task, JSONValue parent) {
        return scenario.refusal("update_task",
                                JSONValue::object({{"task_id", task.text()}, {"parent", std::move(parent)}}));
    }
    std::string numberOfParent(const JSONValue& task) {
        return *member(member(task, "parent"), "number").stringValue();
    }

    ToolScenario scenario;
};

TaskItem childless(const std::string& number) {
    TaskItem item = issue(number, "Childless");
    item.canHaveChildren = false;
    return item;
}

}  // namespace

TEST_F(ParentResolutionTest, aParentIsFoundByNumberOrTaskIDInAnyCaseAndRemoved) {
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    scenario.serve(tracker, "PROJ", {issue("PROJ-1", "Epic"), childless("PROJ-2")});
    UUID child = scenario.taskID(tracker, "PROJ", "PROJ-2");
    UUID epic = scenario.taskID(tracker, "PROJ", "PROJ-1");

    JSONValue expected = JSONValue::object({{"number", "PROJ-1"}, {"title", "Epic"}});
    EXPECT_EQ(member(setParent(child, "proj-1"), "parent"), expected);
    EXPECT_TRUE(member(setParent(child, nullptr), "parent").isNull());
    EXPECT_EQ(member(setParent(child, epic.lowercaseText()), "parent"), expected);
}

TEST_F(ParentResolutionTest, aCompletedTaskCanBecomeAParent) {
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    TaskItem epic = issue("PROJ-1", "Epic");
    epic.isCompleted = true;
    scenario.serve(tracker, "PROJ", {epic, childless("PROJ-2")});
    EXPECT_EQ(numberOfParent(setParent(scenario.taskID(tracker, "PROJ", "PROJ-2"), "PROJ-1")), "PROJ-1");
}

TEST_F(ParentResolutionTest, aTaskThatCannotHaveChildrenIsNoParent) {
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    scenario.serve(tracker, "PROJ", {childless("PROJ-1"), childless("PROJ-2")});
    EXPECT_EQ(refusal(scenario.taskID(tracker, "PROJ", "PROJ-2"), "PROJ-1"),
              "\"PROJ-1\" isn't a task of project PROJ that can have children. List them with list_tasks (epics_only: "
              "true).");
}

TEST_F(ParentResolutionTest, whereParentsStayInTheProjectThoseOfOthersAreNotFound) {
    for (BackendKind kind : {BackendKind::gitlab, BackendKind::jira}) {
        Account account = scenario.addAccount(kind, {"here", "there"});
        scenario.serve(account, "here", {issue("1", "Child")});
        scenario.serve(account, "there", {issue("2", "Parent")});
        UUID child = scenario.taskID(account, "here", "1");
        std::string message =
            " isn't a task of project here that can have children. List them with list_tasks (epics_only: true).";
        std::string there = scenario.taskID(account, "there", "2").text();
        EXPECT_EQ(refusal(child, "2"), "\"2\"" + message);
        EXPECT_EQ(refusal(child, there), "\"" + there + "\"" + message);
    }
}

TEST_F(ParentResolutionTest, aTaskOnThisMacFindsItsParentInItsProject) {
    Account mac = scenario.harness.addLocalAccount("My Mac", "Garden");
    UUID parent = scenario.harness.createTask(mac, "Parent");
    UUID child = scenario.harness.createTask(mac, "Child");
    scenario.harness.syncNow(mac);

    EXPECT_EQ(numberOfParent(setParent(child, "1")), "1");
    EXPECT_EQ(refusal(child, "7"),
              "\"7\" isn't a task of project Garden that can have children. List them with list_tasks (epics_only: "
              "true).");
    scenario.finishPushes();
    EXPECT_EQ(scenario.task(child).pendingOperation, std::nullopt);
    EXPECT_EQ(scenario.task(parent).item.id, "1");
}

TEST_F(ParentResolutionTest, aVikunjaParentMayLieInAnotherProject) {
    Account account = scenario.addAccount(BackendKind::vikunja, {"here", "there"});
    scenario.serve(account, "here", {issue("1", "Child")});
    scenario.serve(account, "there", {issue("2", "Parent")});
    UUID child = scenario.taskID(account, "here", "1");

    EXPECT_EQ(numberOfParent(setParent(child, "2")), "2");
    EXPECT_EQ(refusal(child, "3"),
              "\"3\" isn't a task of account Vikunja that can have children. List them with list_tasks (epics_only: "
              "true).");
}

TEST_F(ParentResolutionTest, aGitHubParentInAnotherRepositoryCarriesItsName) {
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    scenario.serve(hub, "a/b", {issue("1", "Child"), issue("2", "Here")});
    scenario.serve(hub, "c/d", {issue("3", "There")});
    UUID child = scenario.taskID(hub, "a/b", "1");

    EXPECT_EQ(numberOfParent(setParent(child, "2")), "2");
    EXPECT_EQ(numberOfParent(setParent(child, "3")), "c/d#3");
    EXPECT_EQ(numberOfParent(setParent(child, scenario.taskID(hub, "c/d", "3").text())), "c/d#3");
    EXPECT_EQ(numberOfParent(setParent(child, "C/D#3")), "c/d#3");
    EXPECT_EQ(numberOfParent(setParent(child, "a/b#2")), "2");
    EXPECT_TRUE(refusal(child, "c/d#2").starts_with("\"c/d#2\" isn't a task of account GitHub"));
    EXPECT_TRUE(refusal(child, "#3").starts_with("\"#3\" isn't a task of account GitHub"));
    EXPECT_TRUE(refusal(child, "").starts_with("\"\" isn't a task of account GitHub"));
}

TEST_F(ParentResolutionTest, ofSeveralTasksWithANumberTheOneInTheOwnProjectIsMeant) {
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    TaskItem newer = issue("2", "There");
    newer.updatedAt = dateFromSeconds(1'700'000'000);
    scenario.serve(hub, "a/b", {issue("1", "Child"), issue("2", "Here")});
    scenario.serve(hub, "c/d", {newer});
    UUID child = scenario.taskID(hub, "a/b", "1");

    JSONValue parent = member(setParent(child, "2"), "parent");
    EXPECT_EQ(parent, JSONValue::object({{"number", "2"}, {"title", "Here"}}));
    EXPECT_EQ(numberOfParent(setParent(child, "c/d#2")), "c/d#2");
}

TEST_F(ParentResolutionTest, aTaskOfAnotherAccountIsNoParent) {
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    Account other = scenario.addAccount(BackendKind::github, {"c/d"});
    scenario.serve(hub, "a/b", {issue("1", "Child")});
    scenario.serve(other, "c/d", {issue("2", "Elsewhere")});
    UUID child = scenario.taskID(hub, "a/b", "1");

    EXPECT_TRUE(refusal(child, "2").starts_with("\"2\" isn't a task of account GitHub"));
    EXPECT_TRUE(refusal(child, "c/d#2").starts_with("\"c/d#2\" isn't a task of account GitHub"));
}

TEST_F(ParentResolutionTest, aTaskIsNeverItsOwnParent) {
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("1", "Alone")});
    UUID task = scenario.taskID(hub, "a/b", "1");

    for (const std::string& name : {std::string("1"), std::string("a/b#1"), task.text()}) {
        EXPECT_EQ(refusal(task, name), "A task can't be its own parent.");
    }
}

TEST_F(ParentResolutionTest, aParentOfAnotherKindThanTextIsRefused) {
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("1", "Child"), issue("12", "Parent")});
    EXPECT_EQ(refusal(scenario.taskID(hub, "a/b", "1"), 12), "parent must be a string.");
}

}  // namespace marlet
