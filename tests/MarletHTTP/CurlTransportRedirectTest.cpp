// Redirects on the wire.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "CurlScenario.h"

namespace marlet {
namespace {

// Sends "/old…" to this place, and answers the rest with the request's own line.
SocketServer::Script sendingOn(int status, std::string location) {
    return SocketServer::answering([status, location = std::move(location)](const ReceivedRequest& received) {
        return received.target().starts_with("/old")
                   ? SocketServer::answer(fmt::format("{} Moved", status), "gone",
                                          fmt::format("Location: {}\r\nX-Hop: first\r\n", location))
                   : SocketServer::answer("200 OK", received.line + " " + received.body);
    });
}

TEST(CurlTransportRedirectTest, aReadFollowsWithItsCredentialsOnTheSameServer) {
    for (int status : {301, 302, 303, 307, 308}) {
        for (const char* location : {"/new?a=b", "new?a=b"}) {
            SocketServer server(sendingOn(status, location));
            CurlScenario scenario;

            TransportAnswer answer = scenario.send(get(server.url("/old"), {{"PRIVATE-TOKEN", "secret"}}));

            EXPECT_EQ(answer.status, 200);
            EXPECT_EQ(answer.body, "GET /new?a=b HTTP/1.1 ");
            EXPECT_EQ(answer.headers.size(), 1U) << "only the final answer's";
            EXPECT_EQ(server.requests().at(1).header("PRIVATE-TOKEN"), "secret");
        }
    }
}

TEST(CurlTransportRedirectTest, credentialsDoNotFollowElsewhere) {
    SocketServer elsewhere(sendingOn(302, "/"));
    SocketServer server(sendingOn(302, elsewhere.url("/new")));
    CurlScenario scenario;
    for (const char* header : {"Authorization", "PRIVATE-TOKEN", "X-Api-Key"}) {
        NetworkError error = scenario.failure(get(server.url("/old?q=hidden"), {{header, "secret"}}));

        EXPECT_EQ(error.kind(), NetworkError::Kind::redirect);
        EXPECT_EQ(error.errorDescription(),
                  fmt::format("The server 127.0.0.1:{} has moved to http://127.0.0.1:{}. Change the account's address "
                              "to the new one.",
                              server.port(), elsewhere.port()));
    }
    EXPECT_EQ(elsewhere.connectionCount(), 0U);
}

TEST(CurlTransportRedirectTest, aReadWithoutCredentialsIsFollowedElsewhere) {
    SocketServer elsewhere(sendingOn(302, "/"));
    SocketServer server(sendingOn(302, elsewhere.url("/new")));
    CurlScenario scenario;

    EXPECT_EQ(scenario.send(get(server.url("/old"), {{"Accept", "a/b"}})).body, "GET /new HTTP/1.1 ");
    EXPECT_EQ(elsewhere.requests().at(0).header("Accept"), "a/b");
}

TEST(CurlTransportRedirectTest, aWriteIsSentOnWithItsBodyOrNotAtAll) {
    CurlScenario scenario;
    for (int status : {307, 308}) {
        SocketServer server(sendingOn(status, "/new"));
        EXPECT_EQ(scenario.send(post(server.url("/old"), "{\"a\":1}")).body, "POST /new HTTP/1.1 {\"a\":1}");
    }
    for (int status : {301, 302, 303}) {
        SocketServer server(sendingOn(status, "/new"));
        NetworkError error = scenario.failure(request(HTTPMethod::patch, server.url("/old"), {}, "{\"a\":1}"));
        EXPECT_EQ(error.kind(), NetworkError::Kind::redirect);
        EXPECT_EQ(server.requests().size(), 1U);
    }
}

TEST(CurlTransportRedirectTest, tenRedirectsAreFollowedAndNoMore) {
    SocketServer server(SocketServer::answering([](const ReceivedRequest& received) {
        int left = std::stoi(received.target().substr(1));
        return left == 0 ? SocketServer::answer("200 OK", "there")
                         : SocketServer::answer("302 Found", "", fmt::format("Location: /{}\r\n", left - 1));
    }));
    CurlScenario scenario;

    EXPECT_EQ(scenario.send(get(server.url("/10"))).body, "there");
    NetworkError error = scenario.failure(get(server.url("/11")));

    EXPECT_EQ(error.kind(), NetworkError::Kind::redirect);
    EXPECT_NE(error.errorDescription().find("without end"), std::string::npos);
}

TEST(CurlTransportRedirectTest, aRedirectToNowhereIsTheAnswer) {
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("302 Found", "nowhere"); }));
    CurlScenario scenario;

    TransportAnswer answer = scenario.send(get(server.url()));

    EXPECT_EQ(answer.status, 302);
    EXPECT_EQ(answer.body, "nowhere");
}

TEST(CurlTransportRedirectTest, aRedirectToAFileIsRefused) {
    for (const char* location : {"file:///etc/passwd", "ftp://127.0.0.1/", "gopher://127.0.0.1/"}) {
        SocketServer server(sendingOn(302, location));
        CurlScenario scenario;
        EXPECT_EQ(scenario.failure(get(server.url("/old"))).kind(), NetworkError::Kind::redirect) << location;
    }
}

}  // namespace
}  // namespace marlet
