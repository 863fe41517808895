#include "MarletMCP/MarletMCPServer.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <future>

#include "TestSupport/LoopbackClient.h"
#include "TestSupport/ServicesHarness.h"
#include "ToolScenario.h"

namespace marlet {
namespace {

constexpr const char* token = "secret-of-the-test";

// The server with an "On This Mac" account behind it, and an agent on one connection.
class MarletMCPServerTest : public testing::Test {
protected:
    MarletMCPServerTest() {
        port = harness.run(server.start(0));
        mac = harness.addLocalAccount("My Mac", "Garden");
        agent.emplace(port);
    }

    ~MarletMCPServerTest() override {
        server.stop();
        harness.run(server.drain());
    }

    // The client blocks, so it gets a thread of its own while the loop serves it.
    std::string exchange(const std::string& request) {
        bool isAnswered = false;
        auto answer = std::async(std::launch::async, [&] {
            agent->send(request);
            std::string response = agent->receiveResponse();
            boost::asio::post(harness.loop.executor(), [&] { isAnswered = true; });
            return response;
        });
        harness.loop.runUntil([&] { return isAnswered; });
        return answer.get();
    }

    static std::string post(const std::string& body, const std::string& shown = token) {
        return fmt::format(
            "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer {}\r\nContent-Type: "
            "application/json\r\nContent-Length: {}\r\n\r\n{}",
            shown, body.size(), body);
    }

    JSONValue result(const std::string& method, JSONValue params) {
        JSONValue message =
            JSONValue::object({{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}, {"params", std::move(params)}});
        std::string response = exchange(post(message.data()));
        EXPECT_TRUE(response.starts_with("HTTP/1.1 200 OK\r\n")) << response;
        return member(JSONValue::decode(bodyOf(response)), "result");
    }

    // The structured result of a tool, which its text tells as well.
    JSONValue call(const std::string& tool, JSONValue arguments = JSONValue::object({})) {
        JSONValue answer = result("tools/call", JSONValue::object({{"name", tool}, {"arguments", arguments}}));
        EXPECT_EQ(member(answer, "isError"), false) << answer.data();
        JSONValue structured = member(answer, "structuredContent");
        const JSONValue& content = member(answer, "content").arrayValue()->front();
        EXPECT_EQ(JSONValue::decode(*member(content, "text").stringValue()), structured);
        return structured;
    }

    ServicesHarness harness;
    MarletMCPServer server{harness.loop.executor(), harness.services(), token, "1.2.3"};
    Account mac;
    uint16_t port = 0;
    std::optional<LoopbackClient> agent;
};

}  // namespace

TEST_F(MarletMCPServerTest, anAgentIsToldWhoAnswersAndWhatItCanCall) {
    JSONValue hello = result("initialize", JSONValue::object({{"protocolVersion", "2025-06-18"}}));
    EXPECT_EQ(member(hello, "serverInfo"),
              JSONValue::object({{"name", "marlet"}, {"title", "Marlet"}, {"version", "1.2.3"}}));
    EXPECT_EQ(member(hello, "instructions"), marletInstructions);
    JSONValue listed = result("tools/list", JSONValue::object({}));
    EXPECT_EQ(member(listed, "tools").arrayValue()->size(), 14u);
}

TEST_F(MarletMCPServerTest, withoutTheTokenNothingIsAnswered) {
    std::string response = exchange(post(R"({"jsonrpc": "2.0", "id": 1, "method": "ping"})", "another"));
    EXPECT_TRUE(response.starts_with("HTTP/1.1 401 ")) << response;
    EXPECT_EQ(bodyOf(response), "Missing or invalid bearer token");
}

TEST_F(MarletMCPServerTest, everyToolWorksOverTheWire) {
    EXPECT_EQ(member(call("list_accounts"), "accounts").arrayValue()->size(), 1u);
    JSONValue projects = call("list_projects");
    JSONValue key = member(member(projects, "projects").arrayValue()->front(), "project_key");

    JSONValue parent = call("create_task", JSONValue::object({{"project_key", key}, {"title", "Water the garden"}}));
    JSONValue child = call("create_task", JSONValue::object({{"project_key", key}, {"title", "Water the beans"}}));
    JSONValue id = member(child, "task_id");
    JSONValue synced = call("sync", JSONValue::object({{"full", true}}));
    EXPECT_EQ(member(synced, "rejected_tasks"), JSONValue(JSONValue::Array()));

    JSONValue number = member(call("get_task", JSONValue::object({{"task_id", member(parent, "task_id")}})), "number");
    JSONValue moved = call("update_task", JSONValue::object({{"task_id", id}, {"parent", number}}));
    EXPECT_EQ(member(member(moved, "parent"), "title"), "Water the garden");
    EXPECT_EQ(titles(call("list_tasks", JSONValue::object({{"parent", number}, {"project_key", key}}))),
              std::vector<std::string>({"Water the beans"}));

    EXPECT_EQ(member(call("add_comment", JSONValue::object({{"task_id", id}, {"body", "Twice"}})), "body"), "Twice");
    EXPECT_EQ(member(call("set_task_flags", JSONValue::object({{"task_id", id}, {"next", true}})), "next"), true);
    EXPECT_EQ(member(call("start_timer", JSONValue::object({{"task_id", id}})), "timing"), true);
    EXPECT_EQ(member(call("stop_timer"), "stopped"), true);
    EXPECT_EQ(member(call("delete_task", JSONValue::object({{"task_id", id}})), "deleted"), true);
    JSONValue left = call("set_project_subscription", JSONValue::object({{"project_key", key}, {"subscribed", false}}));
    EXPECT_EQ(member(left, "subscribed"), false);

    Account tracker = harness.addRemoteAccount(BackendKind::jira, "PROJ");
    JSONValue type =
        call("set_default_task_type", JSONValue::object({{"account_id", tracker.id.text()}, {"type", "Story"}}));
    EXPECT_EQ(member(type, "default_task_type"), "Story");
}

TEST_F(MarletMCPServerTest, aRefusalIsAResultThatTheAgentCanRead) {
    JSONValue answer =
        result("tools/call",
               JSONValue::object({{"name", "get_task"}, {"arguments", JSONValue::object({{"task_id", "abc"}})}}));
    EXPECT_EQ(answer,
              JSONValue::object({{"content", JSONValue::array({JSONValue::object(
                                                 {{"type", "text"}, {"text", "task_id \"abc\" isn't valid."}})})},
                                 {"isError", true}}));
}

TEST_F(MarletMCPServerTest, aPushThatBeganBehindAnAnswerIsWaitedForByDrain) {
    JSONValue key = projectKey(mac.id, harness.projectID(mac));
    JSONValue task = call("create_task", JSONValue::object({{"project_key", key}, {"title", "Before the end"}}));

    server.stop();
    harness.run(server.drain());

    UUID id = *UUID::parse(*member(task, "task_id").stringValue());
    EXPECT_EQ(harness.task(id).item.id, "1");
    EXPECT_EQ(harness.task(id).pendingOperation, std::nullopt);
}

TEST_F(MarletMCPServerTest, aServerThatWasStoppedIsNoLongerReached) {
    server.stop();
    harness.run(server.drain());
    EXPECT_THROW(LoopbackClient{port}, std::system_error);
}

TEST(MarletMCPServerTokenTest, everyTokenIsNewAndNeedsNoEscaping) {
    std::string first = MarletMCPServer::generateToken();
    EXPECT_EQ(first.size(), 43u);
    EXPECT_EQ(first.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
              std::string::npos);
    EXPECT_NE(first, MarletMCPServer::generateToken());
}

}  // namespace marlet
