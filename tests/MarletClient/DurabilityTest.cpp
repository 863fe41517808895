// Several agents and a command line edit at once, and the daemon is killed in the middle of it, again and again: what
// it acknowledged is never lost and never there twice.
#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <thread>

#include "ClientScenario.h"
#include "EditingAgent.h"
#include "KillMoment.h"
#include "MarletClient/CommandMessage.h"
#include "MarletIPC/LineClient.h"

namespace marlet {
namespace {

constexpr int agentCount = 3;
constexpr int kills = 8;

const std::array<std::string, 8> contentFields{"title",     "notes", "labels",  "due_date",
                                               "completed", "next",  "starred", "parent"};

// What the daemon tells about a task.
struct ToldTask {
    JSONValue details;
    // The daemon can't read all of it.
    std::optional<std::string> error;
};

class DurabilityScenario {
public:
    explicit DurabilityScenario(uint32_t seed) : random(seed) {
        for (uint32_t number = 0; number < agentCount; ++number) {
            agents.emplace_back(fmt::format("Agent {}", number), random());
        }
    }

    void start();
    // Everyone edits until the moment has come.
    void editAndKill();
    // Syncs, looks at everything, and takes it as what is acknowledged from here on.
    void checkAll();
    void stop() { EXPECT_EQ(client.stopDaemon(), 0); }

    bool isLucky() { return random() % 2 == 0; }
    int64_t taskCount();

private:
    std::optional<CommandReply> command(const std::string& line);
    void addTasksUntilItDies(LineClient& daemon, KillMoment& moment);
    ToolOutcome call(const std::string& tool, const JSONValue::Object& arguments);
    void sync(bool isFull);
    std::map<std::string, ToldTask> toldTasks();
    void check(bool isFull);
    void checkTask(const ExpectedTask& expected, const ToldTask& told, const ExpectedTask::Content& content);
    void checkTimers(const std::map<std::string, ToldTask>& told);
    void checkFiles();
    std::list<ExpectedTask*> expectedTasks();

    std::mt19937 random;
    ClientScenario client;
    std::optional<AgentEndpoint> endpoint;
    std::list<EditingAgent> agents;
    std::list<ExpectedTask> added;
    int addedCount = 0;
};

void DurabilityScenario::start() {
    endpoint.emplace(client.startDaemon());
    ToolOutcome projects = call("list_projects", {});
    endpoint->projectKey = textOf(projects.result["projects"]->arrayValue()->front(), "project_key");
}

ToolOutcome DurabilityScenario::call(const std::string& tool, const JSONValue::Object& arguments) {
    LoopbackClient agent(endpoint->port);
    agent.send(endpoint->request(tool, arguments));
    return ToolOutcome(agent.receiveResponse());
}

void DurabilityScenario::addTasksUntilItDies(LineClient& daemon, KillMoment& moment) {
    while (true) {
        ExpectedTask& task = added.emplace_back();
        task.name = "Added task " + std::to_string(++addedCount);
        JSONValue::Object content{{"title", task.name}, {"notes", ""},     {"labels", JSONValue::Array()},
                                  {"due_date", {}},     {"parent", {}},    {"completed", false},
                                  {"next", false},      {"starred", false}};
        task.possible = {std::nullopt, content};
        JSONValue options =
            JSONValue::object({{"title", task.name}, {"project", "Tasks"}, {"labels", JSONValue::Array()}});
        moment.startedRequest();
        std::optional<std::string> answer =
            daemon.ask(JSONValue::object({{"command", "task add"}, {"options", options}}).data());
        if (!answer) {
            return;
        }
        moment.receivedAnswer();
        EXPECT_EQ(CommandReply::parse(*answer).error, std::nullopt);
        task.possible = {content};
    }
}

// What goes wrong in a thread of its own fails the test and ends the others.
std::thread editor(KillMoment& moment, std::function<void()> edit) {
    return std::thread([&moment, edit = std::move(edit)] {
        try {
            edit();
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
            moment.kill();
        }
    });
}

void DurabilityScenario::editAndKill() {
    KillMoment moment(random, client.daemon(), client.data);
    SCOPED_TRACE(moment.text());
    std::vector<LoopbackClient> connections;
    for (size_t number = 0; number < agents.size(); ++number) {
        connections.emplace_back(endpoint->port);
    }
    std::optional<LineClient> line = LineClient::connect(client.data / "control");
    ASSERT_TRUE(line);
    std::vector<std::thread> editors;
    editors.push_back(editor(moment, [&] { addTasksUntilItDies(*line, moment); }));
    auto connection = connections.begin();
    for (EditingAgent& agent : agents) {
        editors.push_back(editor(moment, [&, &own = *connection++] { agent.editUntilItDies(*endpoint, own, moment); }));
    }
    moment.watchFiles();
    for (std::thread& each : editors) {
        each.join();
    }
    EXPECT_EQ(client.daemon().wait(), -SIGKILL) << client.daemon().errors;
}

void DurabilityScenario::sync(bool isFull) {
    std::optional<LineClient> daemon = LineClient::connect(client.data / "control");
    ASSERT_TRUE(daemon);
    JSONValue options = JSONValue::object({{"full", isFull}});
    std::optional<std::string> answer =
        daemon->ask(JSONValue::object({{"command", "sync"}, {"options", options}}).data());
    ASSERT_TRUE(answer);
    EXPECT_EQ(CommandReply::parse(*answer).error, std::nullopt) << *answer;
}

// By the names of the tasks, each of which is there once.
std::map<std::string, ToldTask> DurabilityScenario::toldTasks() {
    std::map<std::string, ToldTask> told;
    std::map<std::string, std::string> idsByNumber;
    ToolOutcome listed = call("list_tasks", {{"include_completed", true}, {"limit", 500}});
    for (const JSONValue& task : *listed.result["tasks"]->arrayValue()) {
        std::string id = textOf(task, "task_id");
        ToolOutcome outcome = call("get_task", {{"task_id", id}, {"include_comments", true}});
        ToldTask entry{outcome.error ? task : outcome.result, outcome.error};
        EXPECT_TRUE(idsByNumber.emplace(textOf(task, "number"), id).second) << "number twice: " << task.data();
        EXPECT_TRUE(told.emplace(nameOf(textOf(task, "title")), std::move(entry)).second) << "twice: " << task.data();
    }
    for (auto& [name, task] : told) {
        JSONValue parent = memberOf(task.details, "parent");
        (*task.details.objectValue())["parent"] =
            parent.isNull() ? JSONValue() : JSONValue(idsByNumber[textOf(parent, "number")]);
    }
    return told;
}

std::list<ExpectedTask*> DurabilityScenario::expectedTasks() {
    std::list<ExpectedTask*> expected;
    for (EditingAgent& agent : agents) {
        for (ExpectedTask& task : agent.tasks) {
            expected.push_back(&task);
        }
    }
    for (ExpectedTask& task : added) {
        expected.push_back(&task);
    }
    return expected;
}

int64_t DurabilityScenario::taskCount() {
    std::list<ExpectedTask*> expected = expectedTasks();
    return std::count_if(expected.begin(), expected.end(), [](const ExpectedTask* task) { return task->isThere(); });
}

ExpectedTask::Content contentOf(const ToldTask& told) {
    JSONValue::Object content;
    for (const std::string& field : contentFields) {
        content.emplace(field, memberOf(told.details, field));
    }
    return content;
}

// What is there now is what has to stay.
void settle(ExpectedTask& expected, const ToldTask* told) {
    expected.possible = {told ? contentOf(*told) : std::nullopt};
    expected.possibleComment.reset();
    if (told) {
        expected.id = textOf(told->details, "task_id");
        expected.comments = textsOf(told->details, "comments", "body");
    }
}

std::string describe(const ExpectedTask& expected) {
    std::string text = expected.name;
    for (const ExpectedTask::Content& content : expected.possible) {
        text += "\n  expected " + (content ? JSONValue(*content).data() : "that it isn't there");
    }
    return text;
}

void DurabilityScenario::checkTask(const ExpectedTask& expected, const ToldTask& told,
                                   const ExpectedTask::Content& content) {
    EXPECT_EQ(told.error, std::nullopt) << describe(expected);
    EXPECT_TRUE(expected.allows(content)) << describe(expected) << "\n  found    " << JSONValue(*content).data();
    EXPECT_TRUE(expected.id.empty() || expected.id == textOf(told.details, "task_id")) << describe(expected);
    EXPECT_EQ(textOf(told.details, "sync_state"), "synced") << describe(expected) << told.details.data();
    EXPECT_TRUE(!expected.isTimed || !memberOf(told.details, "last_started_at").isNull()) << describe(expected);

    std::vector<std::string> comments = textsOf(told.details, "comments", "body");
    bool hasPossible = expected.possibleComment && !comments.empty() && comments.back() == *expected.possibleComment;
    if (hasPossible) {
        comments.pop_back();
    }
    EXPECT_EQ(comments, expected.comments) << expected.name;
}

// At most one runs, and it can be stopped.
void DurabilityScenario::checkTimers(const std::map<std::string, ToldTask>& told) {
    int64_t running = std::count_if(told.begin(), told.end(), [](const auto& task) {
        return memberOf(task.second.details, "timing") == JSONValue(true);
    });
    EXPECT_LE(running, 1);
    ToolOutcome stopped = call("stop_timer", {});
    EXPECT_EQ(memberOf(stopped.result, "stopped"), JSONValue(running == 1));
}

void DurabilityScenario::checkFiles() {
    for (const char* file : {"Marlet.sqlite", "LocalTasks.sqlite"}) {
        SQLite::Database database((client.data / file).string(), SQLite::OPEN_READONLY);
        EXPECT_EQ(database.execAndGet("PRAGMA integrity_check").getString(), "ok") << file;
        SQLite::Statement orphans(database, "PRAGMA foreign_key_check");
        EXPECT_FALSE(orphans.executeStep()) << file;
    }
    SQLite::Database store((client.data / "Marlet.sqlite").string(), SQLite::OPEN_READONLY);
    EXPECT_EQ(store.execAndGet("SELECT count(*) FROM StoredTimeLog WHERE endedAt IS NULL").getInt(), 0);
}

void DurabilityScenario::check(bool isFull) {
    SCOPED_TRACE(isFull ? "after a full sync" : "after a sync");
    sync(isFull);
    std::map<std::string, ToldTask> told = toldTasks();
    checkTimers(told);
    checkFiles();
    for (ExpectedTask* expected : expectedTasks()) {
        auto found = told.find(expected->name);
        if (found == told.end()) {
            EXPECT_TRUE(expected->mayBeGone()) << "lost: " << describe(*expected);
        } else if (isFull || !(found->second.error && expected->mayBeGone())) {
            checkTask(*expected, found->second, contentOf(found->second));
        }
        if (isFull) {
            settle(*expected, found == told.end() ? nullptr : &found->second);
        }
        told.erase(expected->name);
    }
    EXPECT_TRUE(told.empty()) << "never made: " << told.begin()->first;
}

void DurabilityScenario::checkAll() {
    check(false);
    check(true);
}

// Each seed is one data folder that lives through all kills.
class DurabilityTest : public testing::TestWithParam<uint32_t> {};

TEST_P(DurabilityTest, whatWasAcknowledgedOutlivesTheDaemonAndIsThereOnce) {
    SCOPED_TRACE(fmt::format("seed {}", GetParam()));
    DurabilityScenario scenario(GetParam());
    for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
        SCOPED_TRACE(fmt::format("kill {}", kill));
        scenario.start();
        // Sometimes one crash comes right after the other.
        if (scenario.isLucky()) {
            scenario.checkAll();
        }
        scenario.editAndKill();
    }
    scenario.start();
    scenario.checkAll();
    EXPECT_GT(scenario.taskCount(), kills) << "the daemon died before it did anything";
    scenario.stop();
}

INSTANTIATE_TEST_SUITE_P(Seeds, DurabilityTest, testing::Range(1U, 6U));

}  // namespace
}  // namespace marlet
