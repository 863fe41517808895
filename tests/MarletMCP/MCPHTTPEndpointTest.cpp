#include "MarletMCP/MCPHTTPEndpoint.h"

#include <gtest/gtest.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>

#include "MarletBase/UUID.h"
#include "MarletMCP/BearerToken.h"
#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

const std::string pingBody = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
const std::string pingAnswer = R"({"id":1,"jsonrpc":"2.0","result":{}})";
const std::string initializeBody = R"({"jsonrpc":"2.0","id":1,"method":"initialize"})";
const std::string notificationBody = R"({"jsonrpc":"2.0","method":"notifications/initialized"})";

IncomingRequest request(std::string method = "POST", std::string body = pingBody) {
    return IncomingRequest(std::move(method), "/mcp", {{"Host", "localhost:8123"}, {"Authorization", "Bearer secret"}},
                           std::move(body));
}

IncomingRequest with(IncomingRequest changed, const std::string& name, std::optional<std::string> value) {
    if (value) {
        changed.headers[name] = *value;
    } else {
        changed.headers.erase(name);
    }
    return changed;
}

class MCPHTTPEndpointTest : public testing::Test {
protected:
    OutgoingResponse handle(IncomingRequest asked) { return loop.runToEnd(endpoint.handle(std::move(asked))); }

    // A session that the endpoint has handed out.
    std::string newSession() { return handle(request("POST", initializeBody)).headers.at("Mcp-Session-Id"); }

    TestLoop loop;
    MCPHTTPEndpoint endpoint{loop.executor(), MCPServer("marlet", "1", "", {}), "secret"};
};

// Answers once somebody cancels the gate.
Async<JSONValue> waitAt(boost::asio::steady_timer& gate) {
    co_await gate.async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
    co_return JSONValue::object({{"done", true}});
}

OutgoingResponse refused(int status, const std::string& body, HTTPHeaders headers = {}) {
    headers["Content-Type"] = "text/plain; charset=utf-8";
    return {status, headers, body};
}

const OutgoingResponse unauthorized = refused(401, "Missing or invalid bearer token", {{"WWW-Authenticate", "Bearer"}});
const OutgoingResponse invalidHost = refused(403, "Invalid Host header");
const OutgoingResponse invalidOrigin = refused(403, "Origin not allowed");
const OutgoingResponse unknownSession = refused(404, "Unknown session");

TEST_F(MCPHTTPEndpointTest, theFirstCheckThatFailsAnswers) {
    IncomingRequest nothingRight("BREW", "/other", {{"Host", "example.test"}, {"Origin", "null"}}, "x");
    EXPECT_EQ(handle(nothingRight), refused(404, "Not found"));

    nothingRight.path = "/mcp";
    EXPECT_EQ(handle(nothingRight), invalidHost);

    nothingRight.headers["host"] = "localhost";
    EXPECT_EQ(handle(nothingRight), invalidOrigin);

    nothingRight.headers.erase("origin");
    EXPECT_EQ(handle(nothingRight), unauthorized);

    nothingRight.method = "GET";
    EXPECT_EQ(handle(nothingRight), unauthorized);

    nothingRight.headers["authorization"] = "Bearer secret";
    EXPECT_EQ(handle(nothingRight), refused(405, "Server-sent events are not offered", {{"Allow", "POST, DELETE"}}));

    nothingRight.method = "BREW";
    EXPECT_EQ(handle(nothingRight), refused(405, "Method not allowed", {{"Allow", "POST, DELETE"}}));

    nothingRight.method = "POST";
    EXPECT_EQ(handle(nothingRight).status, 400);
}

TEST_F(MCPHTTPEndpointTest, onlyTheExactPathIsServed) {
    for (const std::string path : {"", "/", "/mcp/", "/MCP", "mcp", "/mcp2"}) {
        IncomingRequest asked = request();
        asked.path = path;
        EXPECT_EQ(handle(asked), refused(404, "Not found")) << path;
    }
}

TEST_F(MCPHTTPEndpointTest, theHostMustBeThisComputer) {
    for (const std::string host :
         {"localhost", "localhost:8123", "127.0.0.1:8123", "127.0.0.1", "[::1]:8123", "[::1]", "[localhost]:1"}) {
        EXPECT_EQ(handle(with(request(), "host", host)).status, 200) << host;
    }
    for (const std::string host : {"example.test", "example.test:80", "", ":8123", "[]", "[::1", "[::2]:80", "::1",
                                   "LOCALHOST", "localhost.", "localhost.example.test", "127.0.0.2", "localhost, a"}) {
        EXPECT_EQ(handle(with(request(), "host", host)), invalidHost) << host;
    }
    EXPECT_EQ(handle(with(request(), "host", std::nullopt)), invalidHost);
}

TEST_F(MCPHTTPEndpointTest, anOriginMustBeThisComputerIfThereIsOne) {
    for (const std::string origin :
         {"http://localhost:3000", "https://127.0.0.1", "http://[::1]:80", "any://localhost"}) {
        EXPECT_EQ(handle(with(request(), "origin", origin)).status, 200) << origin;
    }
    for (const std::string origin :
         {"null", "", "localhost", "http://", "http://example.test", "http://localhost.example.test",
          "http://localhost@example.test", "http://localhost, http://example.test", "http://example.test#@localhost",
          "http://[::2]", "file:///", "http:localhost", "http://example.test/localhost", "http://exa mple"}) {
        EXPECT_EQ(handle(with(request(), "origin", origin)), invalidOrigin) << origin;
    }
}

TEST_F(MCPHTTPEndpointTest, theTokenMustBeShownInFull) {
    for (const std::string value : {"Bearer secret", "BEARER secret", "bearer secret", "bEaReR   secret \t"}) {
        EXPECT_EQ(handle(with(request(), "authorization", value)).status, 200) << value;
    }
    for (const std::string value : {"Basic secret", "Bearer secre", "Bearer secrets", "Bearer ecret", "Bearer Secret",
                                    "Bearer", "Bearer ", "Bearersecret", "secret", "", "Bearer\tsecret"}) {
        EXPECT_EQ(handle(with(request(), "authorization", value)), unauthorized) << value;
    }
    EXPECT_EQ(handle(with(request(), "authorization", std::nullopt)), unauthorized);
}

TEST_F(MCPHTTPEndpointTest, aPostedMessageIsAnsweredAsJSON) {
    EXPECT_EQ(handle(request()), (OutgoingResponse{200, {{"Content-Type", "application/json"}}, pingAnswer}));
}

TEST_F(MCPHTTPEndpointTest, aBodyThatIsNotJSONIsAParseError) {
    for (const std::string body : {"", "{", "x", "[1] 2", "{\"a\":\"\xff\"}"}) {
        EXPECT_EQ(handle(request("POST", body)),
                  (OutgoingResponse{400,
                                    {{"Content-Type", "application/json"}},
                                    R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})"}));
    }
}

TEST_F(MCPHTTPEndpointTest, initializeHandsOutANewSessionEachTime) {
    std::string first = newSession();
    std::string second = newSession();

    EXPECT_TRUE(UUID::parse(first));
    EXPECT_NE(first, second);
    EXPECT_EQ(handle(with(request(), "mcp-session-id", first)).status, 200);
    EXPECT_EQ(handle(with(request(), "mcp-session-id", second)).status, 200);
}

TEST_F(MCPHTTPEndpointTest, initializeWithAnUnknownSessionGetsANewOne) {
    OutgoingResponse response = handle(with(request("POST", initializeBody), "mcp-session-id", "unknown"));

    EXPECT_EQ(response.status, 200);
    EXPECT_NE(response.headers.at("Mcp-Session-Id"), "unknown");
}

TEST_F(MCPHTTPEndpointTest, aBatchWithAnInitializeAnywhereIsAnInitialization) {
    OutgoingResponse response =
        handle(with(request("POST", "[" + pingBody + "," + initializeBody + "]"), "mcp-session-id", "unknown"));

    EXPECT_EQ(response.status, 200);
    EXPECT_TRUE(response.headers.contains("Mcp-Session-Id"));
    EXPECT_EQ(JSONValue::decode(response.body).arrayValue()->size(), 2u);
}

TEST_F(MCPHTTPEndpointTest, anInitializeNotificationGetsASessionWithoutABody) {
    OutgoingResponse response = handle(request("POST", R"({"method":"initialize"})"));

    EXPECT_EQ(response.status, 202);
    EXPECT_TRUE(response.headers.contains("Mcp-Session-Id"));
    EXPECT_EQ(response.body, "");
}

TEST_F(MCPHTTPEndpointTest, anUnknownSessionIsTold) {
    EXPECT_EQ(handle(with(request(), "mcp-session-id", "unknown")), unknownSession);
    EXPECT_EQ(handle(with(request("POST", "[]"), "mcp-session-id", "unknown")), unknownSession);
    EXPECT_EQ(handle(with(request("POST", notificationBody), "mcp-session-id", "")), unknownSession);
}

TEST_F(MCPHTTPEndpointTest, aDeletedSessionIsUnknownAndTheOthersStay) {
    std::string kept = newSession();
    std::string deleted = newSession();

    OutgoingResponse response = handle(with(request("DELETE", ""), "mcp-session-id", deleted));

    EXPECT_EQ(response, (OutgoingResponse{204, {}, ""}));
    EXPECT_EQ(handle(with(request(), "mcp-session-id", deleted)), unknownSession);
    EXPECT_EQ(handle(with(request(), "mcp-session-id", kept)).status, 200);
}

TEST_F(MCPHTTPEndpointTest, deletingNothingIsFine) {
    EXPECT_EQ(handle(request("DELETE", "")), (OutgoingResponse{204, {}, ""}));
    EXPECT_EQ(handle(with(request("DELETE", ""), "mcp-session-id", "unknown")), (OutgoingResponse{204, {}, ""}));
}

TEST_F(MCPHTTPEndpointTest, whatNeedsNoAnswerIsAccepted) {
    const OutgoingResponse accepted{202, {}, ""};

    EXPECT_EQ(handle(request("POST", notificationBody)), accepted);
    EXPECT_EQ(handle(request("POST", "[" + notificationBody + "," + notificationBody + "]")), accepted);
    EXPECT_EQ(handle(request("POST", "[]")), accepted);
    EXPECT_EQ(handle(request("POST", R"({"id":7,"result":{}})")), accepted);
}

TEST_F(MCPHTTPEndpointTest, aBatchGetsAListOfTheAnswersInOrder) {
    EXPECT_EQ(handle(request("POST", "[" + notificationBody + "," + pingBody + "]")).body, "[" + pingAnswer + "]");
    OutgoingResponse mixed = handle(request("POST", "[" + pingBody + R"(,5,{"id":2,"method":"x"}])"));
    EXPECT_EQ(mixed.body, "[" + pingAnswer +
                              R"(,{"error":{"code":-32600,"message":"Invalid request"},"id":null,"jsonrpc":"2.0"})"
                              R"(,{"error":{"code":-32601,"message":"Method not found: x"},"id":2,"jsonrpc":"2.0"}])");
}

TEST_F(MCPHTTPEndpointTest, aSingleMessageThatIsNoObjectIsAnInvalidRequest) {
    OutgoingResponse response = handle(request("POST", "\"initialize\""));

    EXPECT_EQ(response.status, 200);
    EXPECT_FALSE(response.headers.contains("Mcp-Session-Id"));
    EXPECT_NE(response.body.find("-32600"), std::string::npos);
}

TEST_F(MCPHTTPEndpointTest, aNewTokenIsTheOnlyOneFromThenOn) {
    std::string session = newSession();

    loop.runToEnd(endpoint.setToken("fresh"));

    IncomingRequest old = with(request(), "mcp-session-id", session);
    EXPECT_EQ(handle(old), unauthorized);
    EXPECT_EQ(handle(with(old, "authorization", "Bearer fresh")).status, 200);
}

TEST(MCPHTTPEndpointTokenTest, aRequestThatIsPastTheCheckIsStillAnswered) {
    TestLoop loop;
    boost::asio::steady_timer gate(loop.executor(), std::chrono::steady_clock::time_point::max());
    MCPTool slow{.name = "slow", .handler = [&gate](JSONValue::Object) -> Async<JSONValue> { return waitAt(gate); }};
    MCPHTTPEndpoint endpoint(loop.executor(), MCPServer("marlet", "1", "", {slow}), "secret");
    IncomingRequest call =
        request("POST", R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"slow","arguments":{}}})");
    auto early = loop.start(endpoint.handle(call));
    loop.runReady();

    loop.runToEnd(endpoint.setToken("fresh"));

    EXPECT_EQ(loop.runToEnd(endpoint.handle(call)), unauthorized);
    EXPECT_FALSE(early->isFinished);
    gate.cancel();
    loop.runUntil([&] { return early->isFinished; });
    EXPECT_EQ(early->value->status, 200);
}

TEST(BearerTokenTest, aTokenHas43CharactersThatAURLCanHold) {
    std::set<std::string> tokens;
    for (int round = 0; round < 200; ++round) {
        std::string token = generateToken();
        EXPECT_EQ(token.size(), 43u);
        EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
                  std::string::npos);
        tokens.insert(token);
    }
    EXPECT_EQ(tokens.size(), 200u);
}

TEST(BearerTokenTest, secretsAreTheSameOnlyByteForByte) {
    EXPECT_TRUE(isSameSecret("grün", "grün"));
    EXPECT_TRUE(isSameSecret("", ""));
    EXPECT_FALSE(isSameSecret("a", ""));
    EXPECT_FALSE(isSameSecret("abc", "abd"));
    EXPECT_FALSE(isSameSecret("abc", "xbc"));
    EXPECT_FALSE(isSameSecret("abc", "ab"));
}

}  // namespace
}  // namespace marlet
