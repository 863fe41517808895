#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "MarletMCP/LocalHTTPServer.h"
#include "ServerScenario.h"

namespace marlet {
namespace {

void expectNormalService(ServerScenario& scenario) {
    LoopbackClient client = scenario.client();
    client.send(post("/normal", "body"));
    EXPECT_EQ(bodyOf(client.receiveResponse()), "POST /normal: body");
}

// As many descriptors as are open now may be open, until the end of life.
class DescriptorLimit {
public:
    DescriptorLimit() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        rlimit lowered = before;
        // The iterator that counts has a descriptor too, the highest number is what the limit means.
        int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        lowered.rlim_cur = static_cast<rlim_t>(next);
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before); }

private:
    rlimit before{};
};

TEST(LocalHTTPServerLoadTest, halfSentRequestsDoNotKeepANormalClientWaiting) {
    ServerScenario scenario(echo());
    std::vector<LoopbackClient> stalled;
    for (size_t index = 0; index < 200; ++index) {
        stalled.push_back(scenario.client());
        std::string request = post("/stalled", "never all of it");
        stalled.back().send(std::string_view(request).substr(0, index % request.size()));
    }

    expectNormalService(scenario);
}

TEST(LocalHTTPServerLoadTest, aThousandConnectionsLeaveNoDescriptorBehind) {
    ServerScenario scenario(echo());
    expectNormalService(scenario);
    scenario.stopAndDrain();
    scenario.wait(scenario.server->start(scenario.port));
    size_t before = openDescriptorCount();

    for (int round = 0; round < 1000; ++round) {
        LoopbackClient client = scenario.client();
        if (round % 4 == 0) {
            client.send(get("/x", "Connection: close\r\n"));
            ASSERT_EQ(bodyOf(client.receiveAll()), "GET /x: ");
        } else if (round % 4 == 1) {
            client.send(get("/x"));
            ASSERT_EQ(bodyOf(client.receiveResponse()), "GET /x: ");
        } else if (round % 4 == 2) {
            client.send("GET /unfinished");
        } else {
            client.send("bad\r\n\r\n");
            client.reset();
        }
    }

    scenario.stopAndDrain();
    EXPECT_LT(openDescriptorCount(), before);  // the listener has gone too
}

TEST(LocalHTTPServerLoadTest, randomBytesNeverEndTheServer) {
    ServerScenario scenario(echo());
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        LoopbackClient client = scenario.client();
        std::string bytes = round % 3 == 0 ? "POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" : "";
        for (size_t length = random() % 2000; length > 0; --length) {
            bytes += static_cast<char>(round % 2 == 0 ? random() : "0123abc\r\n:; /HTP."[random() % 18]);
        }
        client.send(bytes);
        client.finishSending();
        std::string answer = client.receiveAll();
        ASSERT_TRUE(answer.empty() || answer.starts_with("HTTP/1.1 ")) << answer;
    }

    expectNormalService(scenario);
}

TEST(LocalHTTPServerLoadTest, peersThatGoAwayAtAnyMomentHarmNobody) {
    static constexpr auto large = [](IncomingRequest request) -> Async<OutgoingResponse> {
        bool isLarge = request.path == "/large";
        co_return OutgoingResponse::text(isLarge ? std::string(16 << 20, 'x') : "POST /normal: body", 200);
    };
    ServerScenario scenario([](IncomingRequest request) { return large(std::move(request)); });
    std::string request = post("/large", "body");
    for (size_t sent = 0; sent <= request.size(); sent += 3) {
        scenario.client().send(std::string_view(request).substr(0, sent));
        LoopbackClient abrupt = scenario.client();
        abrupt.send(std::string_view(request).substr(0, sent));
        abrupt.reset();
    }
    for (int round = 0; round < 10; ++round) {
        LoopbackClient inMidResponse = scenario.client();
        inMidResponse.send(get("/large") + get("/large"));
        if (round % 2 == 0) {
            inMidResponse.reset();
        }
    }

    expectNormalService(scenario);
}

TEST(LocalHTTPServerLoadTest, aSlowReaderOfALargeResponseDelaysNobodyAndGetsAllOfIt) {
    static constexpr auto large = [](IncomingRequest request) -> Async<OutgoingResponse> {
        bool isLarge = request.path == "/large";
        co_return OutgoingResponse::text(isLarge ? std::string(16 << 20, 'x') : "POST /normal: body", 200);
    };
    ServerScenario scenario([](IncomingRequest request) { return large(std::move(request)); });
    LoopbackClient slow = scenario.client();
    slow.send(get("/large"));

    for (int round = 0; round < 20; ++round) {
        expectNormalService(scenario);
    }

    EXPECT_EQ(bodyOf(slow.receiveResponse()).size(), size_t{16} << 20);
}

TEST(LocalHTTPServerLoadTest, manyClientsAtOnceAllGetTheirOwnAnswers) {
    ServerScenario scenario(echo(), 3);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> clients;
    for (int number = 0; number < 8; ++number) {
        clients.emplace_back([&scenario, &wrong, number] {
            for (int connection = 0; connection < 5; ++connection) {
                LoopbackClient client = scenario.client();
                for (int round = 0; round < 20; ++round) {
                    std::string body = std::to_string(number) + "-" + std::to_string(round);
                    client.send(post("/x", body) + get("/y"));
                    bool isRight = bodyOf(client.receiveResponse()) == "POST /x: " + body &&
                                   bodyOf(client.receiveResponse()) == "GET /y: ";
                    wrong += isRight ? 0 : 1;
                }
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    EXPECT_EQ(wrong, 0);
}

TEST(LocalHTTPServerLoadTest, stoppingAmidTrafficIsClean) {
    for (int round = 0; round < 20; ++round) {
        ServerScenario scenario(echo(), 2);
        std::vector<LoopbackClient> clients;
        for (int index = 0; index < 10; ++index) {
            clients.push_back(scenario.client());
            clients.back().send(get("/x") + get("/y") + "GET");
        }
        scenario.stopAndDrain();
        for (LoopbackClient& client : clients) {
            client.receiveAll();
        }
    }
}

TEST(LocalHTTPServerLoadTest, theListenerOutlivesAShortageOfDescriptors) {
    ServerScenario scenario(echo());
    LoopbackClient open = scenario.client();
    open.send(get("/before"));
    ASSERT_EQ(bodyOf(open.receiveResponse()), "GET /before: ");
    std::optional<LoopbackClient> waiting;
    {
        // The client's own descriptor is made first, so that none is left for the server's end.
        std::optional<DescriptorLimit> limit;
        std::optional<LoopbackClient> placeholder(scenario.client());
        placeholder->send(get("/placeholder"));
        ASSERT_EQ(bodyOf(placeholder->receiveResponse()), "GET /placeholder: ");
        int spare = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        limit.emplace();
        ::close(spare);
        waiting.emplace(scenario.client());
        waiting->send(get("/after"));
        open.send(get("/meanwhile"));
        EXPECT_EQ(bodyOf(open.receiveResponse()), "GET /meanwhile: ");
    }

    EXPECT_EQ(bodyOf(waiting->receiveResponse()), "GET /after: ");
}

}  // namespace
}  // namespace marlet
