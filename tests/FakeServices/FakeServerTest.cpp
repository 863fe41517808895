#include "TestSupport/FakeServer.h"

#include <memory>

#include "ForgeCaller.h"
#include "TestSupport/LoopbackClient.h"

namespace marlet {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A fake forge on a port of its own, and what it is sent there.
struct Scene {
    std::string head(const std::string& line) const {
        return line + " HTTP/1.1\r\nHost: " + server.url().substr(7) +
               "\r\nuser-agent: Test\r\nAuthorization: Bearer ghp_secret\r\nAccept: application/vnd.github+json\r\n"
               "X-GitHub-Api-Version: 2022-11-28\r\n";
    }

    ForgeCaller caller;
    FakeServer server{caller.forge};
};

TEST(FakeServerTest, requestsOfOneConnectionAreAnsweredInTurn) {
    Scene scene;
    LoopbackClient client(scene.server.port());
    std::string body = R"({"title": "Water the beans"})";

    client.send(scene.head("POST /api/v3/repos/o/r/issues") + "Content-Type: application/json\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body + scene.head("GET /api/v3/user") + "\r\n");
    std::string created = client.receiveResponse();
    std::string viewer = client.receiveResponse();

    EXPECT_THAT(created, StartsWith("HTTP/1.1 201 "));
    EXPECT_THAT(bodyOf(created), HasSubstr(scene.server.url() + "/api/v3/repos/o/r/issues/1"));
    EXPECT_THAT(bodyOf(viewer), HasSubstr("\"login\":\"ada\""));
    EXPECT_THAT(scene.caller.forge.violations(), IsEmpty());
}

TEST(FakeServerTest, aConnectionThatIsCutBringsNothing) {
    Scene scene;
    scene.caller.forge.fail("GET /user", FakeFailure::cut());
    LoopbackClient client(scene.server.port());
    client.send(scene.head("GET /api/v3/user") + "\r\n");

    EXPECT_EQ(client.receiveAll(), "");
}

TEST(FakeServerTest, aTruncatedAnswerEndsAmidItsBody) {
    Scene scene;
    scene.caller.forge.fail("GET /user", FakeFailure::truncated());
    LoopbackClient client(scene.server.port());
    client.send(scene.head("GET /api/v3/user") + "\r\n");

    std::string received = client.receiveAll();

    EXPECT_THAT(received, HasSubstr("\"login\":\"ada\""));
    EXPECT_THAT(received, testing::Not(EndsWith("}")));
}

TEST(FakeServerTest, aHeldAnswerComesWhenItIsReleased) {
    Scene scene;
    auto gate = std::make_shared<FakeGate>();
    scene.caller.forge.fail("GET /user", FakeFailure::held(gate));
    LoopbackClient held(scene.server.port());
    LoopbackClient other(scene.server.port());
    held.send(scene.head("GET /api/v3/user") + "\r\n");
    other.send(scene.head("GET /api/v3/repos/o/r/issues") + "\r\n");

    EXPECT_THAT(other.receiveResponse(), StartsWith("HTTP/1.1 200 "));
    gate->open();
    EXPECT_THAT(held.receiveResponse(), StartsWith("HTTP/1.1 200 "));
}

TEST(FakeServerTest, aServerThatGoesEndsItsConnections) {
    ForgeCaller caller;
    auto server = std::make_unique<FakeServer>(caller.forge);
    LoopbackClient client(server->port());
    client.send("GET /api/v3/user HTTP/1.1\r\n\r\n");
    client.receiveResponse();

    server.reset();

    EXPECT_EQ(client.receiveAll(), "");
}

}  // namespace
}  // namespace marlet
