#include "MarletMCP/MCPServer.h"

#include <gtest/gtest.h>

#include <boost/asio/steady_timer.hpp>
#include <limits>

#include "MarletCore/BackendError.h"
#include "MarletMCP/OnceContinuation.h"
#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

MCPTool tool(std::string name, std::function<JSONValue(JSONValue::Object)> body) {
    // The body is a plain function, so nothing that the coroutine refers to goes away while it is suspended.
    static constexpr auto run = [](std::function<JSONValue(JSONValue::Object)> function,
                                   JSONValue::Object arguments) -> Async<JSONValue> {
        co_return function(std::move(arguments));
    };
    return {.name = std::move(name),
            .title = "A Title",
            .description = "Does it.",
            .inputSchema = JSONValue::object({{"type", "object"}}),
            .annotations = {{"readOnlyHint", true}},
            .handler = [body](JSONValue::Object arguments) { return run(body, std::move(arguments)); }};
}

MCPServer server() {
    return {"marlet",
            "1.2",
            "How to use it.",
            {tool("echo", [](JSONValue::Object arguments) { return JSONValue(std::move(arguments)); }),
             tool("list",
                  [](const JSONValue::Object&) {
                      return JSONValue::array({1, "b"});
                  }),
             tool("nothing", [](const JSONValue::Object&) { return JSONValue(); }),
             tool("refuse", [](const JSONValue::Object&) -> JSONValue { throw MCPToolError("Use list_tasks."); }),
             tool("backend", [](const JSONValue::Object&) -> JSONValue { throw BackendError::notFound(); }),
             tool("crash", [](const JSONValue::Object&) -> JSONValue { throw std::runtime_error("broken"); }),
             tool("odd", [](const JSONValue::Object&) -> JSONValue { throw 7; }),
             tool("infinite",
                  [](const JSONValue::Object&) { return JSONValue(std::numeric_limits<double>::infinity()); })}};
}

// The response as text; "nothing" if there is none.
std::string answer(const std::string& message) {
    MCPServer mcp = server();
    std::optional<JSONValue> response = runToEnd(mcp.handle(JSONValue::decode(message)));
    return response ? response->data() : "nothing";
}

JSONValue result(const std::string& message) {
    JSONValue response = JSONValue::decode(answer(message));
    const JSONValue* found = response["result"];
    return found ? *found : JSONValue("no result: " + response.data());
}

std::string errorAnswer(const std::string& id, int code, const std::string& message) {
    return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"("},"id":)" + id +
           R"(,"jsonrpc":"2.0"})";
}

TEST(MCPServerTest, whatIsNoRequestIsRefusedWithANullID) {
    const std::string refused = errorAnswer("null", -32600, "Invalid request");

    EXPECT_EQ(answer("{}"), refused);
    EXPECT_EQ(answer("7"), refused);
    EXPECT_EQ(answer("null"), refused);
    EXPECT_EQ(answer("[]"), refused);
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0"})"), refused);
    EXPECT_EQ(answer(R"({"method":5})"), refused);
}

TEST(MCPServerTest, anObjectWithoutAMethodIsRefusedWithItsID) {
    EXPECT_EQ(answer(R"({"id":7})"), errorAnswer("7", -32600, "Invalid request"));
    EXPECT_EQ(answer(R"({"id":"x","method":[]})"), errorAnswer(R"("x")", -32600, "Invalid request"));
    EXPECT_EQ(answer(R"({"id":{"a":[1]}})"), errorAnswer(R"({"a":[1]})", -32600, "Invalid request"));
}

TEST(MCPServerTest, theClientsOwnAnswerGetsNone) {
    EXPECT_EQ(answer(R"({"id":7,"result":{}})"), "nothing");
    EXPECT_EQ(answer(R"({"id":7,"error":{}})"), "nothing");
    EXPECT_EQ(answer(R"({"result":null})"), "nothing");
}

TEST(MCPServerTest, aNotificationGetsNoAnswerWhateverItsMethod) {
    EXPECT_EQ(answer(R"({"method":"foo"})"), "nothing");
    EXPECT_EQ(answer(R"({"method":"ping"})"), "nothing");
    EXPECT_EQ(answer(R"({"method":"tools/call","params":{"name":"crash"}})"), "nothing");
}

TEST(MCPServerTest, aNullIDIsAnID) {
    std::string response = answer(R"({"method":"tools/list","id":null})");

    EXPECT_NE(response.find(R"("id":null)"), std::string::npos);
    EXPECT_NE(response.find(R"("tools":[)"), std::string::npos);
}

TEST(MCPServerTest, pingGetsAnEmptyResultAndItsOwnID) {
    EXPECT_EQ(answer(R"({"method":"ping","id":"a"})"), R"({"id":"a","jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(answer(R"({"method":"ping","id":[1.5,true]})"), R"({"id":[1.5,true],"jsonrpc":"2.0","result":{}})");
}

TEST(MCPServerTest, anUnknownMethodIsNamed) {
    EXPECT_EQ(answer(R"({"method":"foo/bar","id":1})"), errorAnswer("1", -32601, "Method not found: foo/bar"));
}

TEST(MCPServerTest, initializeTellsWhoTheServerIs) {
    EXPECT_EQ(result(R"({"id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18"}})").data(),
              R"({"capabilities":{"tools":{"listChanged":false}},"instructions":"How to use it.",)"
              R"("protocolVersion":"2025-06-18","serverInfo":{"name":"marlet","title":"Marlet","version":"1.2"}})");
}

TEST(MCPServerTest, initializeTakesASupportedVersionAndOffersTheNewestOtherwise) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {R"({"protocolVersion":"2025-11-25"})", "2025-11-25"},
        {R"({"protocolVersion":"2025-06-18"})", "2025-06-18"},
        {R"({"protocolVersion":"2025-03-26"})", "2025-03-26"},
        {R"({"protocolVersion":"1999-01-01"})", "2025-11-25"},
        {R"({"protocolVersion":20250326})", "2025-11-25"},
        {R"({})", "2025-11-25"},
        {R"([])", "2025-11-25"},
    };
    for (const auto& [params, version] : table) {
        JSONValue initialized = result(R"({"id":1,"method":"initialize","params":)" + params + "}");
        ASSERT_NE(initialized["protocolVersion"], nullptr);
        EXPECT_EQ(*initialized["protocolVersion"]->stringValue(), version) << params;
    }
    EXPECT_NE(answer(R"({"id":1,"method":"initialize"})").find("2025-11-25"), std::string::npos);
}

TEST(MCPServerTest, theListHasEveryToolInOrderWithItsTitleAmongTheAnnotations) {
    JSONValue list = result(R"({"id":1,"method":"tools/list"})");

    ASSERT_NE(list["tools"], nullptr);
    const JSONValue::Array& tools = *list["tools"]->arrayValue();
    ASSERT_EQ(tools.size(), 8u);
    EXPECT_EQ(tools[0].data(), R"({"annotations":{"readOnlyHint":true,"title":"A Title"},"description":"Does it.",)"
                               R"("inputSchema":{"type":"object"},"name":"echo","title":"A Title"})");
    EXPECT_EQ(*tools[1]["name"]->stringValue(), "list");
    EXPECT_EQ(*tools[7]["name"]->stringValue(), "infinite");
}

TEST(MCPServerTest, aCallGivesTheValueAsTextAndInStructure) {
    JSONValue called = result(R"({"id":1,"method":"tools/call","params":{"name":"echo","arguments":{"b":1,"a":"/"}}})");

    EXPECT_EQ(called,
              JSONValue::object({{"content", JSONValue::array({JSONValue::object(
                                                 {{"type", "text"}, {"text", "{\n  \"a\": \"/\",\n  \"b\": 1\n}"}})})},
                                 {"structuredContent", JSONValue::object({{"a", "/"}, {"b", 1}})},
                                 {"isError", false}}));
}

TEST(MCPServerTest, aValueThatIsNoObjectIsWrappedForItsStructure) {
    JSONValue called = result(R"({"id":1,"method":"tools/call","params":{"name":"list"}})");

    EXPECT_EQ(*called["structuredContent"], JSONValue::object({{"result", JSONValue::array({1, "b"})}}));
    EXPECT_EQ(*(*called["content"]->arrayValue())[0]["text"]->stringValue(), "[\n  1,\n  \"b\"\n]");
    JSONValue nothing = result(R"({"id":1,"method":"tools/call","params":{"name":"nothing"}})");
    EXPECT_EQ(nothing["structuredContent"]->data(), R"({"result":null})");
}

TEST(MCPServerTest, argumentsThatAreNoObjectCountAsNone) {
    for (const std::string arguments : {"5", "[1]", "null", "\"x\""}) {
        JSONValue called =
            result(R"({"id":1,"method":"tools/call","params":{"name":"echo","arguments":)" + arguments + "}}");
        EXPECT_EQ(called["structuredContent"]->data(), "{}");
    }
}

TEST(MCPServerTest, whatAToolThrowsReachesTheAgentAsText) {
    auto failure = [](const std::string& name) {
        return result(R"({"id":1,"method":"tools/call","params":{"name":")" + name + R"("}})").data();
    };
    auto expected = [](const std::string& text) {
        return R"({"content":[{"text":)" + JSONValue(text).data() + R"(,"type":"text"}],"isError":true})";
    };

    EXPECT_EQ(failure("refuse"), expected("Use list_tasks."));
    EXPECT_EQ(failure("backend"), expected(BackendError::notFound().errorDescription()));
    EXPECT_EQ(failure("crash"), expected("The operation failed: broken."));
    EXPECT_EQ(failure("odd"), expected("The operation failed for an unknown reason."));
    EXPECT_EQ(failure("infinite"), expected("A number that isn't finite can't be written as JSON."));
}

TEST(MCPServerTest, aCallWithoutAKnownToolIsAProtocolError) {
    const std::string missing = errorAnswer("1", -32602, "Missing tool name");

    EXPECT_EQ(answer(R"({"id":1,"method":"tools/call"})"), missing);
    EXPECT_EQ(answer(R"({"id":1,"method":"tools/call","params":5})"), missing);
    EXPECT_EQ(answer(R"({"id":1,"method":"tools/call","params":{"name":5}})"), missing);
    EXPECT_EQ(answer(R"({"id":1,"method":"tools/call","params":{"name":"Echo"}})"),
              errorAnswer("1", -32602, "Unknown tool: Echo"));
}

TEST(MCPServerTest, callsRunSideBySide) {
    auto gate = std::make_shared<OnceContinuation<int>>();
    static constexpr auto held = [](std::shared_ptr<OnceContinuation<int>> waited) -> Async<JSONValue> {
        int value = co_await waited->wait();
        co_return value;
    };
    MCPTool waiting = tool("wait", nullptr);
    waiting.handler = [gate](const JSONValue::Object&) { return held(gate); };
    MCPServer mcp("marlet", "1", "", {waiting});
    TestLoop loop;
    auto call = loop.start(mcp.handle(JSONValue::decode(R"({"id":1,"method":"tools/call","params":{"name":"wait"}})")));
    loop.runReady();

    std::optional<JSONValue> ping = loop.runToEnd(mcp.handle(JSONValue::decode(R"({"id":2,"method":"ping"})")));

    EXPECT_TRUE(ping);
    EXPECT_FALSE(call->isFinished);
    gate->resume(9);
    loop.runUntil([&] { return call->isFinished; });
    EXPECT_EQ((**call->value)["result"]->operator[]("structuredContent")->data(), R"({"result":9})");
}

}  // namespace
}  // namespace marlet
