// How connections are used, and that nothing is sent twice.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "CurlScenario.h"

namespace marlet {
namespace {

constexpr size_t connectionsPerServer = 6;

// Answers so many requests per connection, reads one more and hangs up on it.
SocketServer::Script hangingUpAfter(int answers) {
    return [answers](ServerConnection& connection) {
        for (int count = 0; connection.readRequest() && count < answers; ++count) {
            connection.write(SocketServer::answer("200 OK", "fine"));
        }
    };
}

size_t count(const SocketServer& server, std::string_view method) {
    size_t result = 0;
    for (const ReceivedRequest& received : server.requests()) {
        result += received.line.starts_with(method) ? 1 : 0;
    }
    return result;
}

TEST(CurlTransportConnectionTest, readsShareAConnection) {
    SocketServer server(SocketServer::answering(
        [](const ReceivedRequest& received) { return SocketServer::answer("200 OK", received.target()); }));
    CurlScenario scenario;
    for (int index = 0; index < 5; ++index) {
        std::string target = fmt::format("/{}", index);
        EXPECT_EQ(scenario.send(get(server.url(target))).body, target);
    }
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST(CurlTransportConnectionTest, everyWriteHasAConnectionOfItsOwn) {
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", ""); }));
    CurlScenario scenario;
    scenario.send(get(server.url()));
    ASSERT_EQ(server.connectionCount(), 1U);
    size_t connections = 1;
    for (HTTPMethod method : {HTTPMethod::post, HTTPMethod::put, HTTPMethod::patch, HTTPMethod::delete_}) {
        scenario.send(request(method, server.url(), {}, "{}"));
        EXPECT_EQ(server.connectionCount(), ++connections);
    }
    scenario.send(get(server.url()));
    EXPECT_EQ(server.connectionCount(), connections);
}

TEST(CurlTransportConnectionTest, theConnectionOfAWriteIsNotKept) {
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", ""); }));
    CurlScenario scenario;

    scenario.send(request(HTTPMethod::post, server.url(), {}, "{}"));
    scenario.send(get(server.url()));

    EXPECT_EQ(server.connectionCount(), 2U);
}

TEST(CurlTransportConnectionTest, aWriteWhoseConnectionIsCutIsSentOnce) {
    for (HTTPMethod method : {HTTPMethod::post, HTTPMethod::put, HTTPMethod::patch, HTTPMethod::delete_}) {
        SocketServer server(hangingUpAfter(1));
        CurlScenario scenario;
        scenario.send(get(server.url()));
        SocketServer cutting(hangingUpAfter(0));

        EXPECT_EQ(scenario.send(request(method, server.url(), {}, "{}")).body, "fine");
        NetworkError error = scenario.failure(request(method, cutting.url(), {}, "{}"));

        EXPECT_EQ(error.kind(), NetworkError::Kind::interrupted);
        EXPECT_EQ(count(server, requestName(method)), 1U);
        EXPECT_EQ(count(cutting, requestName(method)), 1U);
    }
}

TEST(CurlTransportConnectionTest, aWriteNeverGoesOverAConnectionThatTheServerCutsOnTheSecondRequest) {
    SocketServer server([](ServerConnection& connection) {
        // Whatever comes second on a connection is read, and lost.
        if (connection.readRequest() && connection.write(SocketServer::answer("200 OK", "first"))) {
            connection.readRequest();
        }
    });
    CurlScenario scenario;
    for (int index = 0; index < 3; ++index) {
        scenario.send(get(server.url()));
        EXPECT_EQ(scenario.send(post(server.url(), "{}")).body, "first");
    }
    EXPECT_EQ(count(server, "POST"), 3U);
}

TEST(CurlTransportConnectionTest, aReadWhoseKeptConnectionIsCutIsSentAgain) {
    SocketServer server(hangingUpAfter(1));
    CurlScenario scenario;
    scenario.send(get(server.url()));

    EXPECT_EQ(scenario.send(get(server.url())).body, "fine");

    EXPECT_EQ(count(server, "GET"), 3U);
    EXPECT_EQ(server.connectionCount(), 2U);
}

TEST(CurlTransportConnectionTest, aHundredRequestsAtOnceAreAnsweredOverFewConnections) {
    SocketServer server(SocketServer::answering(
        [](const ReceivedRequest& received) { return SocketServer::answer("200 OK", received.target()); }));
    CurlScenario scenario;
    std::vector<std::shared_ptr<CurlScenario::Outcome>> outcomes;
    for (int index = 0; index < 100; ++index) {
        outcomes.push_back(scenario.start(get(server.url(fmt::format("/{}", index)))));
    }
    for (int index = 0; index < 100; ++index) {
        scenario.finish(outcomes[index]);
        ASSERT_TRUE(outcomes[index]->value);
        EXPECT_EQ(outcomes[index]->value->body, fmt::format("/{}", index));
    }
    EXPECT_LE(server.connectionCount(), connectionsPerServer);
    EXPECT_EQ(server.requests().size(), 100U);
}

TEST(CurlTransportConnectionTest, requestsFromSeveralThreadsAreAnswered) {
    SocketServer server(SocketServer::answering(
        [](const ReceivedRequest& received) { return SocketServer::answer("200 OK", received.target()); }));
    auto clock = std::make_shared<VirtualClock>();
    std::vector<std::unique_ptr<TestLoop>> loops;
    for (int index = 0; index < 4; ++index) {
        loops.push_back(std::make_unique<TestLoop>());
    }
    CurlTransport transport(clock);
    std::atomic<int> answered = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&, index] {
            for (int turn = 0; turn < 10; ++turn) {
                std::string target = fmt::format("/{}/{}", index, turn);
                answered += loops[index]->runToEnd(transport.send(get(server.url(target)))).body == target ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answered, 40);
}

TEST(CurlTransportConnectionTest, aLoopMayGoAsSoonAsItsRequestHasEnded) {
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", "fine"); }));
    CurlScenario first;  // knows that there is no proxy
    CurlTransport transport(first.clock);
    for (int turn = 0; turn < 200; ++turn) {
        TestLoop loop;
        EXPECT_EQ(loop.runToEnd(transport.send(get(server.url()))).body, "fine");
    }
}

TEST(CurlTransportConnectionTest, aServerThatIsNotThereIsUnreachable) {
    uint16_t port = 0;
    {
        SocketServer gone([](ServerConnection&) {});
        port = gone.port();
    }
    CurlScenario scenario;

    NetworkError error = scenario.failure(get(fmt::format("http://127.0.0.1:{}/?token=secret", port)));

    EXPECT_EQ(error.kind(), NetworkError::Kind::unreachable);
    EXPECT_EQ(error.errorDescription(),
              fmt::format("The server 127.0.0.1:{} refused the connection. Check the account's address, or try again "
                          "later.",
                          port));
}

TEST(CurlTransportConnectionTest, aServerWithoutAnAddressCannotBeFound) {
    CurlScenario scenario;

    NetworkError error = scenario.failure(get("http://nobody.invalid/"));

    EXPECT_EQ(error.kind(), NetworkError::Kind::unreachable);
    EXPECT_EQ(error.errorDescription(),
              "The server nobody.invalid can't be found. Check the account's address and the network connection.");
}

TEST(CurlTransportConnectionTest, aConnectionThatIsResetIsInterrupted) {
    SocketServer server([](ServerConnection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n123");
        connection.reset();
    });
    CurlScenario scenario;

    EXPECT_EQ(scenario.failure(get(server.url())).kind(), NetworkError::Kind::interrupted);
}

TEST(CurlTransportConnectionTest, aTransportMayGoWithoutHavingSentAnything) {
    auto clock = std::make_shared<VirtualClock>();
    for (int turn = 0; turn < 20; ++turn) {
        CurlTransport transport(clock);
    }
    EXPECT_EQ(clock.use_count(), 1);
}

}  // namespace
}  // namespace marlet
