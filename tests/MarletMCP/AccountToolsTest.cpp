#include <gtest/gtest.h>

#include "MarletCore/BackendError.h"
#include "ToolScenario.h"

namespace marlet {
namespace {

const JSONValue::Array& listed(const JSONValue& result, const char* key) {
    return *member(result, key).arrayValue();
}

}  // namespace

TEST(AccountToolsTest, everyAccountIsListed) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    Account mac = scenario.harness.addLocalAccount("My Mac");

    JSONValue result = scenario.call("list_accounts");

    ASSERT_EQ(listed(result, "accounts").size(), 2u);
    EXPECT_EQ(member(listed(result, "accounts")[0], "account_id"), hub.id.text());
    EXPECT_EQ(member(listed(result, "accounts")[0], "service"), "GitHub");
    EXPECT_EQ(listed(result, "accounts")[1], JSONValue::object({{"account_id", mac.id.text()},
                                                                {"name", "My Mac"},
                                                                {"service", "On This Mac"},
                                                                {"server", "marlet://local"},
                                                                {"sync_error", nullptr},
                                                                {"default_task_type", nullptr}}));
}

TEST(AccountToolsTest, withNoAccountsTheListIsEmpty) {
    ToolScenario scenario;
    EXPECT_EQ(scenario.call("list_accounts"), JSONValue::object({{"accounts", JSONValue::Array()}}));
}

TEST(AccountToolsTest, theDefaultTaskTypeIsTrimmedShownAndRestored) {
    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
    auto set = [&](JSONValue type) {
        return scenario.call("set_default_task_type",
                             JSONValue::object({{"account_id", tracker.id.text()}, {"type", std::move(type)}}));
    };

    EXPECT_EQ(set(" Story "), JSONValue::object({{"account_id", tracker.id.text()}, {"default_task_type", "Story"}}));
    EXPECT_EQ(member(listed(scenario.call("list_accounts"), "accounts")[0], "default_task_type"), "Story");
    EXPECT_TRUE(member(set(nullptr), "default_task_type").isNull());
    set("Bug");
    EXPECT_TRUE(member(set("  "), "default_task_type").isNull());
}

TEST(AccountToolsTest, onlyJiraAccountsHaveADefaultTaskType) {
    ToolScenario scenario;
    for (BackendKind kind : {BackendKind::github, BackendKind::gitlab, BackendKind::vikunja, BackendKind::forgejo}) {
        Account account = scenario.addAccount(kind, {"p"});
        EXPECT_EQ(scenario.refusal("set_default_task_type",
                                   JSONValue::object({{"account_id", account.id.text()}, {"type", "Bug"}})),
                  displayName(kind) + " tasks have no type to choose. Only Jira issues do.");
    }
    UUID unknown = UUID::random();
    EXPECT_EQ(
        scenario.refusal("set_default_task_type", JSONValue::object({{"account_id", unknown.text()}, {"type", "Bug"}})),
        "No account with account_id " + unknown.text() + ". Use list_accounts.");
}

TEST(AccountToolsTest, onlySubscribedProjectsAreListedUnlessAskedFor) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    Account lab = scenario.addAccount(BackendKind::gitlab, {"e/f"});
    scenario.call("set_project_subscription",
                  JSONValue::object({{"project_key", projectKey(hub.id, "c/d")}, {"subscribed", false}}));
    auto names = [&](JSONValue arguments) {
        std::vector<std::string> found;
        JSONValue result = scenario.call("list_projects", std::move(arguments));
        for (const JSONValue& project : listed(result, "projects")) {
            found.push_back(*member(project, "name").stringValue());
        }
        return found;
    };

    using Names = std::vector<std::string>;
    EXPECT_EQ(names(JSONValue::object({})), Names({"a/b", "e/f"}));
    EXPECT_EQ(names(JSONValue::object({{"include_unsubscribed", true}})), Names({"a/b", "c/d", "e/f"}));
    EXPECT_EQ(names(JSONValue::object({{"account_id", lab.id.text()}})), Names({"e/f"}));
    EXPECT_EQ(names(JSONValue::object({{"account_id", UUID::random().text()}})), Names());
    EXPECT_EQ(scenario.refusal("list_projects", JSONValue::object({{"account_id", "me"}})),
              "account_id \"me\" isn't valid.");
}

TEST(AccountToolsTest, subscribingAnswersWhenTheTasksAreThere) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b", "c/d"});
    JSONValue key = projectKey(hub.id, "c/d");
    JSONValue left =
        scenario.call("set_project_subscription", JSONValue::object({{"project_key", key}, {"subscribed", false}}));
    EXPECT_EQ(member(left, "subscribed"), false);
    EXPECT_TRUE(scenario.requests(hub).empty());
    scenario.harness.remote(hub).onFetchTasks = [](const std::string& projectID, std::optional<Date>) {
        TaskItem item = issue("1", "One");
        item.projectID = projectID;
        return std::vector<TaskItem>{item};
    };

    JSONValue joined =
        scenario.call("set_project_subscription", JSONValue::object({{"project_key", key}, {"subscribed", true}}));

    EXPECT_EQ(member(joined, "subscribed"), true);
    EXPECT_EQ(member(joined, "open_tasks"), 1);
    EXPECT_EQ(scenario.requests(hub), std::vector<std::string>({"fetchTasks c/d full"}));
}

TEST(AccountToolsTest, subscribingToAnUnknownProjectIsRefused) {
    ToolScenario scenario;
    EXPECT_EQ(
        scenario.refusal("set_project_subscription", JSONValue::object({{"project_key", "x"}, {"subscribed", 1}})),
        "No project with project_key \"x\". Use list_projects to find it.");
}

TEST(AccountToolsTest, aSyncPushesAndFetchesAndTellsWhatIsWrong) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    Account lab = scenario.addAccount(BackendKind::gitlab, {"e/f"});
    UUID refused = scenario.harness.createTask(hub, "Refused");
    scenario.harness.remote(hub).onCreateTask = [](const TaskDraft&, const std::string&) -> TaskItem {
        throw BackendError::rejected("Issues are closed here.");
    };
    scenario.harness.remote(lab).onFetchTasks = [](const std::string&, std::optional<Date>) -> std::vector<TaskItem> {
        throw BackendError::notFound();
    };

    JSONValue result = scenario.call("sync");

    ASSERT_EQ(listed(result, "accounts").size(), 2u);
    EXPECT_EQ(listed(result, "accounts")[0],
              JSONValue::object({{"account_id", hub.id.text()}, {"sync_error", nullptr}}));
    ASSERT_EQ(listed(result, "project_errors").size(), 1u);
    EXPECT_EQ(listed(result, "project_errors")[0], JSONValue::object({{"project_key", projectKey(lab.id, "e/f")},
                                                                      {"sync_error", "Not found on the server."}}));
    ASSERT_EQ(listed(result, "rejected_tasks").size(), 1u);
    const JSONValue& task = listed(result, "rejected_tasks")[0];
    EXPECT_EQ(member(task, "task_id"), refused.text());
    EXPECT_EQ(member(task, "sync_state"), "rejected");
    EXPECT_EQ(member(task, "sync_error"), "Issues are closed here.");
    EXPECT_EQ(task["notes"], nullptr);
}

TEST(AccountToolsTest, aSyncOfOneAccountTouchesAndTellsOfNoOther) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    Account lab = scenario.addAccount(BackendKind::gitlab, {"e/f"});
    UUID refused = scenario.harness.createTask(lab, "Refused");
    scenario.harness.run(scenario.harness.store().failPush(scenario.task(refused).key, "No"));
    scenario.harness.run(scenario.harness.store().setSyncError("Gone", lab.id, "e/f"));

    JSONValue result = scenario.call("sync", JSONValue::object({{"account_id", hub.id.text()}}));

    EXPECT_EQ(result,
              JSONValue::object({
                  {"accounts",
                   JSONValue::array({JSONValue::object({{"account_id", hub.id.text()}, {"sync_error", nullptr}})})},
                  {"project_errors", JSONValue::Array()},
                  {"rejected_tasks", JSONValue::Array()},
              }));
    EXPECT_TRUE(scenario.requests(lab).empty());
    EXPECT_FALSE(scenario.requests(hub).empty());
}

TEST(AccountToolsTest, aSyncIsFullOnlyWhenAskedFor) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.harness.remote(hub).onFetchTasks = [&](const std::string& projectID, std::optional<Date>) {
        TaskItem item = issue("1", "One");
        item.projectID = projectID;
        item.updatedAt = scenario.harness.clock->now();
        return std::vector<TaskItem>{item};
    };
    scenario.call("sync", JSONValue::object({{"full", true}}));
    EXPECT_EQ(scenario.requests(hub), std::vector<std::string>({"fetchTasks a/b full"}));

    scenario.call("sync", JSONValue::object({{"full", false}}));
    std::vector<std::string> requests = scenario.requests(hub);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].starts_with("fetchTasks a/b since ")) << requests[0];
}

TEST(AccountToolsTest, aSyncThatTakesLongHoldsNoOtherToolBack) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.serve(hub, "a/b", {issue("1", "One")});
    boost::asio::steady_timer gate(scenario.harness.loop.executor(), boost::asio::steady_timer::time_point::max());
    scenario.harness.remote(hub).onCall = [&](const std::string&) { return opened(gate); };

    auto sync = scenario.start("sync");
    scenario.harness.loop.runUntil([&] { return !scenario.harness.remote(hub).calls.empty(); });
    UUID id = scenario.taskID(hub, "a/b", "1");
    JSONValue edited =
        scenario.call("update_task", JSONValue::object({{"task_id", id.text()}, {"title", "Changed meanwhile"}}));

    EXPECT_EQ(member(edited, "sync_state"), "pending");
    EXPECT_EQ(titles(scenario.call("list_tasks")), std::vector<std::string>({"Changed meanwhile"}));
    EXPECT_FALSE(sync->isFinished);
    gate.expires_after({});
    scenario.harness.loop.runUntil([&] { return sync->isFinished; });
    EXPECT_EQ(sync->error, nullptr);
    // The push of the edit comes by the gate as well.
    scenario.finishPushes();
}

TEST(AccountToolsTest, anErrorOfTheAccountIsTold) {
    ToolScenario scenario;
    Account hub = scenario.addAccount(BackendKind::github, {"a/b"});
    scenario.harness.remote(hub).onFetchTasks = [](const std::string&, std::optional<Date>) -> std::vector<TaskItem> {
        throw BackendError::unauthorized();
    };

    JSONValue result = scenario.call("sync");

    EXPECT_EQ(member(listed(result, "accounts")[0], "sync_error"), "The server rejected the access token.");
}

}  // namespace marlet
