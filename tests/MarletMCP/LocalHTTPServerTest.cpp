#include "MarletMCP/LocalHTTPServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/this_coro.hpp>

#include "MarletMCP/OnceContinuation.h"
#include "ServerScenario.h"

namespace marlet {
namespace {

constexpr size_t maximalBodySize = 8388608;

std::string badRequest(const std::string& status) {
    return "HTTP/1.1 " + status +
           "\r\nConnection: close\r\nContent-Length: 11\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nBad request";
}

// Handlers that are held back until the test lets them go.
class Gate {
public:
    LocalHTTPServer::Handler handler() {
        return [shared = state](IncomingRequest request) { return held(shared, std::move(request)); };
    }

    // Returns when a handler has begun.
    void waitForOne(ServerScenario& scenario) { scenario.wait(state->entered.wait()); }
    void open() { state->opened.resume(true); }
    int finishedCount() const { return state->finished; }

private:
    struct State {
        OnceContinuation<bool> entered;
        OnceContinuation<bool> opened;
        std::atomic<int> finished = 0;
    };

    static Async<OutgoingResponse> held(std::shared_ptr<State> shared, IncomingRequest request) {
        if (request.path != "/held") {
            co_return OutgoingResponse::text("free", 200);
        }
        shared->entered.resume(true);
        co_await shared->opened.wait();
        ++shared->finished;
        co_return OutgoingResponse::text("held", 200);
    }

    std::shared_ptr<State> state = std::make_shared<State>();
};

TEST(LocalHTTPServerTest, portZeroGivesARealPort) {
    ServerScenario scenario(echo());

    EXPECT_GT(scenario.port, 0);
}

TEST(LocalHTTPServerTest, aRequestIsAnsweredByTheHandler) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send(post("/x?y=1", "hello"));

    EXPECT_EQ(client.receiveResponse(),
              "HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: 14\r\n"
              "Content-Type: text/plain; charset=utf-8\r\n\r\nPOST /x: hello");
}

TEST(LocalHTTPServerTest, oneConnectionServesManyRequests) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    for (int round = 0; round < 100; ++round) {
        client.send(get("/" + std::to_string(round)));
        ASSERT_EQ(bodyOf(client.receiveResponse()), "GET /" + std::to_string(round) + ": ");
    }
}

TEST(LocalHTTPServerTest, twoRequestsInOnePacketAreBothAnsweredInOrder) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send(post("/1", "one") + get("/2"));

    EXPECT_EQ(bodyOf(client.receiveResponse()), "POST /1: one");
    EXPECT_EQ(bodyOf(client.receiveResponse()), "GET /2: ");
}

TEST(LocalHTTPServerTest, aRequestThatComesByteByByteIsAnswered) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    for (char byte : post("/slow", "body")) {
        client.send(std::string_view(&byte, 1));
    }

    EXPECT_EQ(bodyOf(client.receiveResponse()), "POST /slow: body");
}

TEST(LocalHTTPServerTest, connectionCloseEndsTheConnectionAfterTheAnswer) {
    ServerScenario scenario(echo());
    for (const std::string value : {"close", "Close", "CLOSE"}) {
        LoopbackClient client = scenario.client();
        client.send(get("/1", "Connection: " + value + "\r\n") + get("/2"));

        std::string answers = client.receiveAll();

        EXPECT_NE(answers.find("Connection: close\r\n"), std::string::npos);
        EXPECT_EQ(bodyOf(answers), "GET /1: ");
    }
}

TEST(LocalHTTPServerTest, onlyTheExactWordCloseEndsTheConnection) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send(get("/1", "Connection: close, te\r\n"));
    EXPECT_NE(client.receiveResponse().find("Connection: keep-alive\r\n"), std::string::npos);
    client.send(get("/2"));
    EXPECT_EQ(bodyOf(client.receiveResponse()), "GET /2: ");
}

TEST(LocalHTTPServerTest, aPeerThatHasFinishedSendingStillGetsItsAnswer) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send(get("/1"));
    client.finishSending();

    EXPECT_EQ(bodyOf(client.receiveAll()), "GET /1: ");
}

TEST(LocalHTTPServerTest, theLastAnswerToAPeerThatHasFinishedSendingSaysClose) {
    Gate gate;
    ServerScenario scenario(gate.handler());
    LoopbackClient client = scenario.client();
    client.send(get("/held"));
    gate.waitForOne(scenario);
    // All of this waits in the server's socket when it reads on.
    client.send(get("/second") + get("/last"));
    client.finishSending();

    gate.open();

    EXPECT_NE(client.receiveResponse().find("Connection: keep-alive\r\n"), std::string::npos);
    EXPECT_NE(client.receiveResponse().find("Connection: keep-alive\r\n"), std::string::npos);
    std::string last = client.receiveAll();
    EXPECT_NE(last.find("Connection: close\r\n"), std::string::npos);
    EXPECT_EQ(bodyOf(last), "free");
}

TEST(LocalHTTPServerTest, aHalfSentRequestBehindTheLastOneDoesNotCostItsAnswer) {
    Gate gate;
    ServerScenario scenario(gate.handler());
    LoopbackClient client = scenario.client();
    client.send(get("/held"));
    gate.waitForOne(scenario);
    client.send(get("/last") + "GET /unfinished HT");
    client.finishSending();

    gate.open();

    EXPECT_EQ(bodyOf(client.receiveResponse()), "held");
    EXPECT_EQ(bodyOf(client.receiveAll()), "free");
}

TEST(LocalHTTPServerTest, bytesHiddenInABodyAreNeverTakenForARequest) {
    ServerScenario scenario(echo());
    const std::string hidden = get("/hidden");
    const std::string size = std::to_string(hidden.size());

    // Two lengths, also of the same size, tell no length; the connection ends before anything behind them is read.
    for (const std::string& lengths :
         {"Content-Length: 0\r\nContent-Length: " + size, "Content-Length: " + size + "\r\nContent-Length: " + size,
          "Content-Length: " + size + ", " + size, "Content-Length : 0\r\ncontent-length: " + size}) {
        LoopbackClient client = scenario.client();
        client.send("POST /x HTTP/1.1\r\n" + lengths + "\r\n\r\n" + hidden);
        EXPECT_EQ(client.receiveAll(), badRequest("400 Bad Request")) << lengths;
    }

    // Chunks count, whatever a length says, in whatever order and spelling the two come.
    for (const std::string headers :
         {"Content-Length: 3\r\nTransfer-Encoding: chunked", "Transfer-Encoding: chunked\r\nContent-Length: 3",
          "Content-Length: 3\r\nTransfer-Encoding : identity, Chunked"}) {
        LoopbackClient client = scenario.client();
        client.send("POST /x HTTP/1.1\r\n" + headers + "\r\n\r\n18\r\n" + hidden + "\r\n0\r\n\r\n" + get("/next"));
        EXPECT_EQ(bodyOf(client.receiveResponse()), "POST /x: " + hidden) << headers;
        EXPECT_EQ(bodyOf(client.receiveResponse()), "GET /next: ") << headers;
    }
}

TEST(LocalHTTPServerTest, anUnfinishedRequestAtTheEndOfTheConnectionGetsNoAnswer) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send("POST /x HTTP/1.1\r\nContent-Length: 5\r\n\r\nhel");
    client.finishSending();

    EXPECT_EQ(client.receiveAll(), "");
}

TEST(LocalHTTPServerTest, aMalformedRequestGets400AndTheEnd) {
    ServerScenario scenario(echo());
    for (const std::string request :
         {"nonsense\r\n\r\n", "GET /x HTTP/2.0\r\n\r\n", "GET /x HTTP/1.1\r\nno colon\r\n\r\n",
          "GET /x HTTP/1.1\r\nContent-Length: -1\r\n\r\n"}) {
        LoopbackClient client = scenario.client();
        client.send(request + get("/never"));
        EXPECT_EQ(client.receiveAll(), badRequest("400 Bad Request")) << request;
    }
}

TEST(LocalHTTPServerTest, aMistakeBehindAGoodRequestIsToldAfterItsAnswer) {
    ServerScenario scenario(echo());
    LoopbackClient client = scenario.client();

    client.send(get("/good") + "bad\r\n\r\n");

    EXPECT_EQ(bodyOf(client.receiveResponse()), "GET /good: ");
    EXPECT_EQ(client.receiveAll(), badRequest("400 Bad Request"));
}

TEST(LocalHTTPServerTest, whatIsTooLargeGets413AndTheEnd) {
    ServerScenario scenario(echo());
    const std::string refused = badRequest("413 Content Too Large");

    LoopbackClient endlessHead = scenario.client();
    endlessHead.send("GET /x HTTP/1.1\r\nA: " + std::string(65536, 'a'));
    EXPECT_EQ(endlessHead.receiveAll(), refused);

    LoopbackClient announced = scenario.client();
    announced.send("POST /x HTTP/1.1\r\nContent-Length: 8388609\r\n\r\n");
    EXPECT_EQ(announced.receiveAll(), refused);

    LoopbackClient chunked = scenario.client();
    chunked.send("POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n800000\r\n");
    EXPECT_EQ(chunked.receiveAll(), refused);
}

TEST(LocalHTTPServerTest, aBodyOf8MiBPassesAndOneByteMoreIsRefusedToTheSenderOfAllOfIt) {
    ServerScenario scenario(echo());
    std::string body(maximalBodySize, 'b');

    LoopbackClient allowed = scenario.client();
    ASSERT_TRUE(allowed.send(post("/x", body)));
    EXPECT_EQ(bodyOf(allowed.receiveResponse()), "POST /x: " + body);

    LoopbackClient refused = scenario.client();
    refused.send(post("/x", body + "b"));
    EXPECT_EQ(refused.receiveAll(), badRequest("413 Content Too Large"));
}

TEST(LocalHTTPServerTest, anErrorOfTheHandlerIsStatus500AndTheConnectionGoesOn) {
    static constexpr auto failing = [](IncomingRequest request) -> Async<OutgoingResponse> {
        if (request.path == "/fail") {
            throw std::runtime_error("broken");
        }
        co_return OutgoingResponse::text("fine", 200);
    };
    ServerScenario scenario([](IncomingRequest request) { return failing(std::move(request)); });
    LoopbackClient client = scenario.client();

    client.send(get("/fail") + get("/fine"));

    EXPECT_TRUE(client.receiveResponse().starts_with("HTTP/1.1 500 Internal Server Error\r\n"));
    EXPECT_EQ(bodyOf(client.receiveResponse()), "fine");
}

TEST(LocalHTTPServerTest, handlersRunOnTheStrandThatTheServerIsGiven) {
    static constexpr auto tell = [](Executor expected) -> Async<OutgoingResponse> {
        Executor current = co_await boost::asio::this_coro::executor;
        co_return OutgoingResponse::text(current == expected ? "there" : "elsewhere", 200);
    };
    ServerScenario scenario(echo());
    Strand own(scenario.executor());
    LocalHTTPServer second(own, [own](const IncomingRequest&) { return tell(own); });
    LoopbackClient client(scenario.wait(second.start(0)));

    client.send(get("/1") + get("/2"));

    EXPECT_EQ(bodyOf(client.receiveResponse()), "there");
    EXPECT_EQ(bodyOf(client.receiveResponse()), "there");
    second.stop();
    scenario.wait(second.drain());
}

TEST(LocalHTTPServerTest, aSlowHandlerHoldsUpItsOwnConnectionAlone) {
    Gate gate;
    ServerScenario scenario(gate.handler());
    LoopbackClient slow = scenario.client();
    slow.send(get("/held") + get("/behind"));
    gate.waitForOne(scenario);

    LoopbackClient quick = scenario.client();
    quick.send(get("/quick"));
    EXPECT_EQ(bodyOf(quick.receiveResponse()), "free");
    EXPECT_EQ(gate.finishedCount(), 0);

    gate.open();
    EXPECT_EQ(bodyOf(slow.receiveResponse()), "held");
    EXPECT_EQ(bodyOf(slow.receiveResponse()), "free");
}

TEST(LocalHTTPServerTest, stopEndsListenerAndConnectionsButNotTheRunningHandler) {
    Gate gate;
    ServerScenario scenario(gate.handler());
    LoopbackClient idle = scenario.client();
    idle.send(get("/x"));
    ASSERT_EQ(bodyOf(idle.receiveResponse()), "free");
    LoopbackClient unfinished = scenario.client();
    unfinished.send("GET /x HT");
    LoopbackClient held = scenario.client();
    held.send(get("/held"));
    gate.waitForOne(scenario);

    scenario.server->stop();

    EXPECT_EQ(idle.receiveAll(), "");
    EXPECT_EQ(unfinished.receiveAll(), "");
    EXPECT_EQ(held.receiveAll(), "");
    EXPECT_THROW(scenario.client(), std::system_error);
    EXPECT_EQ(gate.finishedCount(), 0);
    gate.open();
    scenario.stopAndDrain();
    EXPECT_EQ(gate.finishedCount(), 1);
}

TEST(LocalHTTPServerTest, droppingTheServerEndsEverything) {
    Gate gate;
    ServerScenario scenario(gate.handler());
    LoopbackClient idle = scenario.client();
    LoopbackClient held = scenario.client();
    held.send(get("/held"));
    gate.waitForOne(scenario);

    scenario.drop();

    EXPECT_EQ(idle.receiveAll(), "");
    EXPECT_EQ(held.receiveAll(), "");
    gate.open();
}

TEST(LocalHTTPServerTest, aStoppedServerCanBeStartedOnTheSamePort) {
    ServerScenario scenario(echo());
    LoopbackClient before = scenario.client();
    before.send(get("/1"));
    ASSERT_EQ(bodyOf(before.receiveResponse()), "GET /1: ");
    scenario.stopAndDrain();

    EXPECT_EQ(scenario.wait(scenario.server->start(scenario.port)), scenario.port);

    LoopbackClient after = scenario.client();
    after.send(get("/2"));
    EXPECT_EQ(bodyOf(after.receiveResponse()), "GET /2: ");
}

TEST(LocalHTTPServerTest, aPortInUseIsToldWithItsNumber) {
    ServerScenario first(echo());
    LocalHTTPServer second(first.executor(), echo());
    try {
        first.wait(second.start(first.port));
        FAIL() << "listens on a port that is taken";
    } catch (const LocalHTTPServerError& error) {
        EXPECT_EQ(error.errorDescription(), "Port " + std::to_string(first.port) +
                                                " is already in use. Stop the program that uses it, or choose another "
                                                "port (0 for any free one).");
    }
    EXPECT_GT(first.wait(second.start(0)), 0);
    second.stop();
    first.wait(second.drain());
}

TEST(LocalHTTPServerTest, startingARunningServerIsRefusedAndItGoesOn) {
    ServerScenario scenario(echo());

    EXPECT_THROW(scenario.wait(scenario.server->start(0)), LocalHTTPServerError);

    LoopbackClient client = scenario.client();
    client.send(get("/x"));
    EXPECT_EQ(bodyOf(client.receiveResponse()), "GET /x: ");
}

}  // namespace
}  // namespace marlet
