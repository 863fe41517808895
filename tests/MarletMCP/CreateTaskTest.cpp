#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

TaskItem created(const TaskDraft& draft, const std::string& projectID, const std::string& number) {
    TaskItem item = issue(number, draft.title);
    item.projectID = projectID;
    item.notes = draft.notes;
    item.dueDate = draft.dueDate;
    item.typeName = draft.typeName;
    for (const std::string& label : draft.labels) {
        item.labels.push_back({label, std::nullopt});
    }
    return item;
}

}  // namespace

TEST(CreateTaskTest, theTaskIsAnsweredAsPendingAndPushedBehindTheAnswer) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    TaskDraft pushed;
    scenario.harness.remote(hub).onCreateTask = [&](const TaskDraft& draft, const std::string& projectID) {
        pushed = draft;
        return created(draft, projectID, "77");
    };

    JSONValue task = scenario.call("create_task", JSONValue::object({{"project_key", projectKey(hub.id, "a/b")},
                                                                     {"title", " Water the beans\n"},
                                                                     {"notes", " As they are "},
                                                                     {"labels", JSONValue::array({" a ", ""})},
                                                                     {"due_date", "2026-01-31T09:05:00Z"}}));

    EXPECT_EQ(member(task, "title"), "Water the beans");
    EXPECT_EQ(member(task, "notes"), " As they are ");
    EXPECT_EQ(member(task, "labels"), JSONValue::array({"a"}));
    EXPECT_EQ(member(task, "due_date"), "2026-01-31T09:05:00Z");
    EXPECT_EQ(member(task, "sync_state"), "pending");
    EXPECT_TRUE(member(task, "number").isNull());
    EXPECT_EQ(member(task, "created_at"), iso8601(scenario.harness.clock->now()));
    scenario.finishPushes();
    EXPECT_EQ(pushed.title, "Water the beans");
    EXPECT_EQ(pushed.labels, std::vector<std::string>({"a"}));
    UUID id = *UUID::parse(*member(task, "task_id").stringValue());
    EXPECT_EQ(scenario.task(id).item.id, "77");
}

TEST(CreateTaskTest, aServerThatDoesNotAnswerHoldsNothingBack) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    boost::asio::steady_timer gate(scenario.harness.loop.executor(), boost::asio::steady_timer::time_point::max());
    bool answered = false;
    scenario.harness.remote(hub).onCall = [&](const std::string&) { return opened(gate); };
    scenario.harness.remote(hub).onCreateTask = [&](const TaskDraft& draft, const std::string& projectID) {
        answered = true;
        return created(draft, projectID, "1");
    };

    JSONValue task = scenario.call(
        "create_task", JSONValue::object({{"project_key", projectKey(hub.id, "a/b")}, {"title", "Patience"}}));

    EXPECT_EQ(member(task, "title"), "Patience");
    EXPECT_FALSE(answered);
    gate.expires_after({});
    scenario.finishPushes();
    EXPECT_TRUE(answered);
}

TEST(CreateTaskTest, aBlankTitleIsRefused) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    for (const char* title : {"  ", "", "\n\t"}) {
        EXPECT_EQ(scenario.refusal("create_task",
                                   JSONValue::object({{"project_key", projectKey(hub.id, "a/b")}, {"title", title}})),
                  "The title must not be empty.");
    }
    EXPECT_TRUE(scenario.harness.tasks().empty());
}

TEST(CreateTaskTest, aProjectThatIsNotSubscribedIsRefusedBeforeTheTitleIsRead) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    JSONValue key = projectKey(hub.id, "a/b");
    scenario.call("set_project_subscription", JSONValue::object({{"project_key", key}, {"subscribed", false}}));

    EXPECT_EQ(scenario.refusal("create_task", JSONValue::object({{"project_key", key}, {"title", 5}})),
              "Project a/b isn't subscribed. Subscribe with set_project_subscription.");
}

TEST(CreateTaskTest, onlyJiraTasksHaveATypeToChoose) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    Account mac = scenario.harness.addLocalAccount();
    auto refusal = [&](const std::string& key) {
        return scenario.refusal("create_task",
                                JSONValue::object({{"project_key", key}, {"title", "New"}, {"type", "Bug"}}));
    };

    EXPECT_EQ(refusal(projectKey(hub.id, "a/b")), "GitHub tasks have no type to choose. Only Jira issues do.");
    EXPECT_EQ(refusal(projectKey(mac.id, scenario.harness.projectID(mac))),
              "On This Mac tasks have no type to choose. Only Jira issues do.");
    EXPECT_TRUE(scenario.harness.tasks().empty());
}

TEST(CreateTaskTest, aJiraTaskTakesItsTypeOrTheAccountsDefault) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    scenario.harness.remote(tracker).onCreateTask = [](const TaskDraft& draft, const std::string& projectID) {
        return created(draft, projectID, "PROJ-" + draft.title);
    };
    auto typeOf = [&](const char* title, JSONValue type) {
        JSONValue task = scenario.call(
            "create_task",
            JSONValue::object(
                {{"project_key", projectKey(tracker.id, "PROJ")}, {"title", title}, {"type", std::move(type)}}));
        return *member(task, "type").stringValue();
    };

    EXPECT_EQ(typeOf("1", "Bug"), "Bug");
    EXPECT_EQ(typeOf("2", nullptr), "Task");
    scenario.call("set_default_task_type", JSONValue::object({{"account_id", tracker.id.text()}, {"type", "Story"}}));
    EXPECT_EQ(typeOf("3", nullptr), "Story");
}

TEST(CreateTaskTest, theChecksRunInTheirOrder) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    JSONValue::Object arguments{{"project_key", "nowhere"}, {"title", " "},  {"notes", 1},
                                {"due_date", "soon"},       {"labels", "a"}, {"type", 1}};
    auto refusal = [&] { return scenario.refusal("create_task", arguments); };

    EXPECT_EQ(refusal(), "No project with project_key \"nowhere\". Use list_projects to find it.");
    arguments["project_key"] = projectKey(hub.id, "a/b");
    EXPECT_EQ(refusal(), "The title must not be empty.");
    arguments["title"] = "Title";
    EXPECT_EQ(refusal(), "notes must be a string.");
    arguments["notes"] = nullptr;
    EXPECT_EQ(refusal(), "due_date \"soon\" must be YYYY-MM-DD or an RFC 3339 date-time.");
    arguments["due_date"] = nullptr;
    EXPECT_EQ(refusal(), "labels must be an array of strings.");
    arguments["labels"] = nullptr;
    EXPECT_EQ(refusal(), "type must be a string.");
    EXPECT_TRUE(scenario.harness.tasks().empty());
    EXPECT_TRUE(scenario.requests(hub).empty());
}

TEST(CreateTaskTest, everyCharacterOfATitleAndOfNotesIsKept) {
    using namespace std::string_literals;
    ToolScenario scenario;
    Account mac = scenario.harness.addLocalAccount();
    std::string title = "a\0b \xF0\x9F\x8D\x8E \"quoted\" \\ %s"s;
    JSONValue task = scenario.call(
        "create_task", JSONValue::object({{"project_key", projectKey(mac.id, scenario.harness.projectID(mac))},
                                          {"title", title},
                                          {"notes", title + "\r\n"}}));
    scenario.finishPushes();

    JSONValue later = scenario.call("get_task", JSONValue::object({{"task_id", member(task, "task_id")}}));
    EXPECT_EQ(member(later, "title"), title);
    EXPECT_EQ(member(later, "notes"), title + "\r\n");
    EXPECT_EQ(member(later, "sync_state"), "synced");
}

TEST(CreateTaskTest, aTaskOnThisMacGetsItsNumberFromThePush) {
    ToolScenario scenario;
    Account mac = scenario.harness.addLocalAccount();
    JSONValue task = scenario.call(
        "create_task",
        JSONValue::object({{"project_key", projectKey(mac.id, scenario.harness.projectID(mac))}, {"title", "First"}}));
    scenario.finishPushes();

    JSONValue later = scenario.call("get_task", JSONValue::object({{"task_id", member(task, "task_id")}}));
    EXPECT_EQ(member(later, "number"), "1");
    EXPECT_EQ(member(later, "sync_state"), "synced");
}

}  // namespace marlet
