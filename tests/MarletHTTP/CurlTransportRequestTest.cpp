// What goes out.

#include <gtest/gtest.h>

#include "CurlScenario.h"
#include "MarletCore/BackendError.h"
#include "TestSupport/EnvironmentVariable.h"

namespace marlet {
namespace {

SocketServer::Script answeringNothing() {
    return SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", ""); });
}

TEST(CurlTransportRequestTest, aRequestCarriesItsHeadersAndTheProgramsName) {
    SocketServer server(answeringNothing());
    CurlScenario scenario({.userAgent = "Marlet/9.8"});

    scenario.send(get(server.url("/a/../b%2Fc?q=a%20b%2Bc"),
                      {{"Accept", "application/json"}, {"PRIVATE-TOKEN", "secret"}, {"X-Empty", ""}}));

    ReceivedRequest received = server.requests().at(0);
    EXPECT_EQ(received.line, "GET /a/../b%2Fc?q=a%20b%2Bc HTTP/1.1");
    EXPECT_EQ(received.header("User-Agent"), "Marlet/9.8");
    EXPECT_EQ(received.header("Accept"), "application/json");
    EXPECT_EQ(received.header("PRIVATE-TOKEN"), "secret");
    EXPECT_EQ(received.header("X-Empty"), "");
    EXPECT_NE(received.header("Accept-Encoding").value_or("").find("gzip"), std::string::npos);
    EXPECT_FALSE(received.header("Content-Type"));
    EXPECT_FALSE(received.header("Authorization"));
}

TEST(CurlTransportRequestTest, everyMethodGoesOutUnderItsNameWithItsBody) {
    struct Row {
        HTTPMethod method;
        std::optional<std::string> body;
        std::string line;
        std::optional<std::string> length;
    };
    const std::vector<Row> rows = {
        {HTTPMethod::get, std::nullopt, "GET /x HTTP/1.1", std::nullopt},
        {HTTPMethod::post, "{}", "POST /x HTTP/1.1", "2"},
        {HTTPMethod::post, std::nullopt, "POST /x HTTP/1.1", "0"},
        {HTTPMethod::put, "{}", "PUT /x HTTP/1.1", "2"},
        {HTTPMethod::put, std::nullopt, "PUT /x HTTP/1.1", "0"},
        {HTTPMethod::patch, "{\"a\":1}", "PATCH /x HTTP/1.1", "7"},
        {HTTPMethod::delete_, std::nullopt, "DELETE /x HTTP/1.1", std::nullopt},
        {HTTPMethod::delete_, "{}", "DELETE /x HTTP/1.1", "2"},
    };
    SocketServer server(answeringNothing());
    CurlScenario scenario;
    for (const Row& row : rows) {
        scenario.send(request(row.method, server.url("/x"), {}, row.body));

        ReceivedRequest received = server.requests().back();
        EXPECT_EQ(received.line, row.line);
        EXPECT_EQ(received.header("Content-Length"), row.length) << row.line;
        EXPECT_EQ(received.body, row.body.value_or("")) << row.line;
        EXPECT_FALSE(received.header("Content-Type")) << row.line;
    }
}

TEST(CurlTransportRequestTest, aLargeBodyGoesOutWholeWithoutAskingFirst) {
    SocketServer server(answeringNothing());
    CurlScenario scenario;
    std::string body(5'000'000, 'x');
    body[4'321'000] = '\0';

    scenario.send(post(server.url(), body, {{"Content-Type", "application/json"}}));

    ReceivedRequest received = server.requests().at(0);
    EXPECT_TRUE(received.body == body);
    EXPECT_EQ(received.header("Content-Type"), "application/json");
    EXPECT_FALSE(received.header("Expect"));
}

TEST(CurlTransportRequestTest, cookiesAreNeitherKeptNorSent) {
    SocketServer server(SocketServer::answering([](const ReceivedRequest&) {
        return SocketServer::answer("200 OK", "", "Set-Cookie: session=1; Path=/\r\n");
    }));
    CurlScenario scenario;

    scenario.send(get(server.url("/first")));
    scenario.send(get(server.url("/second")));

    EXPECT_FALSE(server.requests().at(1).header("Cookie"));
}

TEST(CurlTransportRequestTest, theEnvironmentsProxyIsUsed) {
    SocketServer proxy(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", "by proxy"); }));
    CurlScenario scenario;
    EnvironmentVariable noException("no_proxy", "");
    EnvironmentVariable variable("http_proxy", proxy.url());

    EXPECT_EQ(scenario.send(get("http://tasks.example/a")).body, "by proxy");
    EXPECT_EQ(proxy.requests().at(0).line, "GET http://tasks.example/a HTTP/1.1");
}

TEST(CurlTransportRequestTest, aLineBreakInAHeaderSendsNothing) {
    SocketServer server(answeringNothing());
    CurlScenario scenario;
    for (const char* token : {"secret\r\nX-Forged: 1", "secret\n", "secret\r"}) {
        NetworkError error = scenario.failure(get(server.url(), {{"Authorization", token}}));

        EXPECT_EQ(error.kind(), NetworkError::Kind::other);
        EXPECT_EQ(error.errorDescription().find("secret"), std::string::npos);
        EXPECT_NE(error.errorDescription().find("line break"), std::string::npos);
    }
    EXPECT_EQ(server.connectionCount(), 0U);
}

TEST(CurlTransportRequestTest, anAddressThatIsNotOnTheWebIsInvalid) {
    CurlScenario scenario;
    for (const char* address :
         {"file:///etc/passwd", "ftp://example.org/", "/only/a/path", "https:///path", "mailto:a"}) {
        auto outcome = scenario.start(get(address));
        scenario.finish(outcome);
        ASSERT_TRUE(outcome->error) << address;
        try {
            std::rethrow_exception(outcome->error);
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::invalidURL()) << address;
        }
    }
}

TEST(CurlTransportRequestTest, theSharedTransportNamesTheVersionAndIsOne) {
    SocketServer server(answeringNothing());
    TestLoop loop;
    EnvironmentVariable direct("no_proxy", "*");

    loop.runToEnd(CurlTransport::shared()->send(get(server.url())));

    std::string name = server.requests().at(0).header("User-Agent").value_or("");
    EXPECT_TRUE(name.starts_with("Marlet/")) << name;
    EXPECT_GT(name.size(), std::string("Marlet/").size());
    EXPECT_EQ(CurlTransport::shared(), CurlTransport::shared());
}

}  // namespace
}  // namespace marlet
