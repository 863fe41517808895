#include <gtest/gtest.h>

#include <array>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>

#include "CurlScenario.h"

namespace marlet {
namespace {

// A request that the test can cancel.
struct CancellableRequest {
    CancellableRequest(CurlScenario& scenario, URLRequest request) {
        boost::asio::co_spawn(
            scenario.loop.executor(), scenario.sending(std::move(request)),
            boost::asio::bind_cancellation_slot(signal.slot(), [this](std::exception_ptr ending, TransportAnswer) {
                error = ending;
                isFinished = true;
            }));
    }

    // On the loop, where the coroutine runs. A signal that comes from elsewhere is passed on later, perhaps when the
    // request is over and this is gone.
    void cancelAndFinish(CurlScenario& scenario) {
        bool isCancelled = false;
        boost::asio::post(scenario.loop.executor(), [&] {
            signal.emit(boost::asio::cancellation_type::terminal);
            isCancelled = true;
        });
        scenario.loop.runUntil([&] { return isFinished && isCancelled; });
    }

    bool wasAborted() const {
        try {
            if (error) {
                std::rethrow_exception(error);
            }
        } catch (const boost::system::system_error& ending) {
            return ending.code() == boost::asio::error::operation_aborted;
        }
        return false;
    }

    boost::asio::cancellation_signal signal;
    std::exception_ptr error;
    bool isFinished = false;
};

TEST(CurlTransportCancellationTest, aRequestThatHasNotBegunIsCancelled) {
    SocketServer server([](ServerConnection& connection) { connection.waitForClient(); });
    CurlScenario scenario;
    CancellableRequest request(scenario, get(server.url()));

    request.cancelAndFinish(scenario);

    EXPECT_TRUE(request.wasAborted());
    EXPECT_EQ(scenario.clock->sleeperCount(), 0U);
}

TEST(CurlTransportCancellationTest, aRequestJustHandedOverIsCancelled) {
    SocketServer server([](ServerConnection& connection) { connection.waitForClient(); });
    CurlScenario scenario;
    CancellableRequest request(scenario, get(server.url()));
    scenario.loop.runReady();

    request.cancelAndFinish(scenario);

    EXPECT_TRUE(request.wasAborted());
}

TEST(CurlTransportCancellationTest, theConnectionOfACancelledRequestIsClosed) {
    Moment isRead;
    Moment isClosed;
    SocketServer server([&](ServerConnection& connection) {
        connection.readRequest();
        isRead.come();
        connection.waitForClient();
        isClosed.come();
    });
    CurlScenario scenario;
    CancellableRequest request(scenario, post(server.url(), "{}"));
    scenario.loop.runReady();
    isRead.wait();

    request.cancelAndFinish(scenario);

    EXPECT_TRUE(request.wasAborted());
    isClosed.wait();
    EXPECT_EQ(scenario.clock->sleeperCount(), 0U);
}

TEST(CurlTransportCancellationTest, aRequestIsCancelledWithinItsAnswer) {
    Moment isHalfWritten;
    SocketServer server([&](ServerConnection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nthe beginning");
        isHalfWritten.come();
        connection.waitForClient();
    });
    CurlScenario scenario;
    CancellableRequest request(scenario, get(server.url()));
    scenario.loop.runReady();
    isHalfWritten.wait();

    request.cancelAndFinish(scenario);

    EXPECT_TRUE(request.wasAborted());
}

TEST(CurlTransportCancellationTest, aRequestIsCancelledWhileItsNameIsLookedUp) {
    CurlScenario scenario;
    CancellableRequest request(scenario, get("http://nobody.invalid/"));
    scenario.loop.runReady();

    request.cancelAndFinish(scenario);

    // The resolver may have been faster.
    EXPECT_TRUE(request.error);
}

TEST(CurlTransportCancellationTest, aRequestThatWaitsForItsTurnIsCancelled) {
    constexpr size_t atATime = 6;
    Moment mayAnswer;
    SocketServer server([&](ServerConnection& connection) {
        while (connection.readRequest()) {
            mayAnswer.wait();
            connection.write(SocketServer::answer("200 OK", "fine"));
        }
    });
    CurlScenario scenario;
    std::vector<std::shared_ptr<CurlScenario::Outcome>> first;
    for (size_t index = 0; index < atATime; ++index) {
        first.push_back(scenario.start(get(server.url())));
    }
    CancellableRequest request(scenario, get(server.url("/never")));
    scenario.loop.runReady();

    request.cancelAndFinish(scenario);
    mayAnswer.come();
    for (const auto& outcome : first) {
        scenario.finish(outcome);
        EXPECT_TRUE(outcome->value);
    }

    EXPECT_TRUE(request.wasAborted());
    for (const ReceivedRequest& received : server.requests()) {
        EXPECT_EQ(received.target(), "/");
    }
}

TEST(CurlTransportCancellationTest, aCancelledRequestLeavesItsTurnToTheNext) {
    constexpr size_t atATime = 6;
    std::array<Moment, atATime> isRead;
    SocketServer server([&](ServerConnection& connection) {
        std::optional<ReceivedRequest> received = connection.readRequest();
        if (received && received->target() == "/next") {
            connection.write(SocketServer::answer("200 OK", "its turn"));
            return;
        }
        isRead.at(connection.number()).come();
        connection.waitForClient();
    });
    CurlScenario scenario;
    std::vector<std::unique_ptr<CancellableRequest>> first;
    for (Moment& moment : isRead) {
        first.push_back(std::make_unique<CancellableRequest>(scenario, get(server.url("/held"))));
        scenario.loop.runReady();
        moment.wait();
    }
    auto next = scenario.start(get(server.url("/next")));
    scenario.loop.runReady();

    first.front()->cancelAndFinish(scenario);
    scenario.finish(next);

    ASSERT_TRUE(next->value);
    EXPECT_EQ(next->value->body, "its turn");
    for (size_t index = 1; index < atATime; ++index) {
        EXPECT_FALSE(first[index]->isFinished);
        first[index]->cancelAndFinish(scenario);
    }
}

TEST(CurlTransportCancellationTest, othersGoOnWhenOneIsCancelled) {
    Moment isRead;
    SocketServer silent([&](ServerConnection& connection) {
        connection.readRequest();
        isRead.come();
        connection.waitForClient();
    });
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", "fine"); }));
    CurlScenario scenario;
    CancellableRequest request(scenario, get(silent.url()));
    scenario.loop.runReady();
    isRead.wait();
    auto other = scenario.start(get(server.url()));

    request.cancelAndFinish(scenario);
    scenario.finish(other);

    EXPECT_TRUE(request.wasAborted());
    ASSERT_TRUE(other->value);
    EXPECT_EQ(other->value->body, "fine");
    EXPECT_EQ(scenario.send(get(server.url())).body, "fine");
}

TEST(CurlTransportCancellationTest, aCancellationThatMeetsTheAnswerEndsTheRequestOnce) {
    SocketServer server(
        SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", "fine"); }));
    CurlScenario scenario;
    for (size_t turn = 1; turn <= 50; ++turn) {
        CancellableRequest request(scenario, get(server.url()));
        scenario.loop.runReady();
        if (turn % 2 == 0) {
            // The answer may be there or not.
            while (server.requests().size() < turn / 2) {
                std::this_thread::yield();
            }
        }
        request.cancelAndFinish(scenario);
        EXPECT_TRUE(!request.error || request.wasAborted());
    }
    EXPECT_EQ(scenario.send(get(server.url())).body, "fine");
}

}  // namespace
}  // namespace marlet
