// How long silence is borne, by a clock moved by hand.

#include <gtest/gtest.h>

#include "CurlScenario.h"

namespace marlet {
namespace {

constexpr int timeout = 60;
constexpr int noticedLater = 11;  // at most a sixth of the time-out, and the second that is under way
constexpr int longestExchange = 600;
// More than the buffers of both ends of a connection hold: when it is written, some of it has been read.
// Linux lets those grow to 36 MB where much memory is.
constexpr size_t beyondAllBuffers = size_t(48) << 20;

SocketServer::Script silentAfterReading(Moment& isRead) {
    return [&](ServerConnection& connection) {
        connection.readRequest();
        isRead.come();
        connection.waitForClient();
    };
}

void expectTimedOut(const CurlScenario::Outcome& outcome) {
    ASSERT_TRUE(outcome.isFinished);
    NetworkError error = CurlScenario::failureOf(outcome);
    EXPECT_EQ(error.kind(), NetworkError::Kind::timedOut);
    EXPECT_NE(error.errorDescription().find("127.0.0.1"), std::string::npos) << error.errorDescription();
    EXPECT_NE(error.errorDescription().find("didn't answer in time"), std::string::npos) << error.errorDescription();
}

TEST(CurlTransportTimeoutTest, aServerThatNeverAnswersIsGivenUpAfterTheTimeout) {
    Moment isRead;
    SocketServer server(silentAfterReading(isRead));
    CurlScenario scenario;
    auto outcome = scenario.start(get(server.url()));
    isRead.wait();

    int passed = scenario.passTime(10 * timeout, outcome);

    expectTimedOut(*outcome);
    EXPECT_GE(passed, timeout);
    EXPECT_LE(passed, timeout + 2 * noticedLater);
}

TEST(CurlTransportTimeoutTest, aRequestsOwnTimeoutCounts) {
    Moment isRead;
    SocketServer server(silentAfterReading(isRead));
    CurlScenario scenario;
    URLRequest request = get(server.url());
    request.timeout = std::chrono::seconds(300);
    auto outcome = scenario.start(request);
    isRead.wait();

    EXPECT_GE(scenario.passTime(500, outcome), 300);

    expectTimedOut(*outcome);
}

TEST(CurlTransportTimeoutTest, aServerThatStopsWithinItsAnswerIsGivenUp) {
    SocketServer server([&](ServerConnection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nthe beginning");
        connection.waitForClient();
    });
    CurlScenario scenario;
    auto outcome = scenario.start(get(server.url()));

    int passed = scenario.passTime(10 * timeout, outcome);

    expectTimedOut(*outcome);
    EXPECT_GE(passed, timeout);
}

TEST(CurlTransportTimeoutTest, aConnectionThatIsNeverSecuredIsGivenUp) {
    SocketServer server([&](ServerConnection& connection) { connection.waitForClient(); });
    CurlScenario scenario;
    auto outcome = scenario.start(get("https://127.0.0.1:" + std::to_string(server.port())));

    int passed = scenario.passTime(10 * timeout, outcome);

    expectTimedOut(*outcome);
    EXPECT_GE(passed, timeout);
}

TEST(CurlTransportTimeoutTest, aSlowDownloadThatMovesGoesOn) {
    constexpr int pieces = 3;
    std::array<Moment, pieces> isWritten;
    std::array<Moment, pieces> mayGoOn;
    const std::string piece(beyondAllBuffers, 'x');
    SocketServer server([&](ServerConnection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(pieces * piece.size() + 1) +
                         "\r\n\r\n");
        for (int index = 0; index < pieces; ++index) {
            connection.write(piece);
            isWritten[index].come();
            mayGoOn[index].wait();
        }
        connection.write("x");
    });
    CurlScenario scenario;
    auto outcome = scenario.start(get(server.url()));
    for (int index = 0; index < pieces; ++index) {
        isWritten[index].wait();
        EXPECT_EQ(scenario.passTime(timeout - 10, outcome), timeout - 10);
        mayGoOn[index].come();
    }
    scenario.finish(outcome);

    ASSERT_TRUE(outcome->value);
    EXPECT_EQ(outcome->value->body.size(), pieces * piece.size() + 1);
}

TEST(CurlTransportTimeoutTest, anEndlessTrickleEnds) {
    // Always some bytes, never an end: written as fast as the client reads, while its clock runs.
    SocketServer server([&](ServerConnection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        while (connection.write("1\r\nx\r\n")) {
        }
    });
    CurlScenario scenario;
    auto outcome = scenario.start(get(server.url()));

    int passed = 0;
    while (!outcome->isFinished && passed < 2 * longestExchange) {
        passed += scenario.passTime(1, outcome);
    }

    expectTimedOut(*outcome);
    EXPECT_LE(passed, longestExchange + noticedLater);
}

TEST(CurlTransportTimeoutTest, waitingForATurnIsNotIdleness) {
    constexpr size_t connectionsPerServer = 6;
    Moment mayAnswer;
    std::array<Moment, connectionsPerServer> isRead;
    SocketServer server([&](ServerConnection& connection) {
        for (bool isFirst = true; connection.readRequest(); isFirst = false) {
            if (isFirst) {
                isRead.at(connection.number()).come();
                mayAnswer.wait();
            }
            connection.write(SocketServer::answer("200 OK", "patience"));
        }
    });
    CurlScenario scenario;
    std::vector<std::shared_ptr<CurlScenario::Outcome>> first;
    for (size_t index = 0; index < connectionsPerServer; ++index) {
        URLRequest request = get(server.url());
        request.timeout = std::chrono::seconds(500);
        first.push_back(scenario.start(request));
        isRead.at(index).wait();
    }
    auto last = scenario.start(get(server.url()));

    EXPECT_EQ(scenario.passTime(3 * timeout, last), 3 * timeout);
    mayAnswer.come();
    scenario.finish(last);

    ASSERT_TRUE(last->value);
    EXPECT_EQ(last->value->body, "patience");
    for (const auto& outcome : first) {
        scenario.finish(outcome);
        EXPECT_TRUE(outcome->value);
    }
}

}  // namespace
}  // namespace marlet
