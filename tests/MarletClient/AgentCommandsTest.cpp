// The endpoint that agents are registered with, and its token.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "ClientScenario.h"
#include "EditingAgent.h"

namespace marlet {
namespace {

const char* const noEndpoint = "There is no endpoint for agents yet. Start marlet serve once to make it.";

// The first line of the answer to a call over this connection.
std::string answer(LoopbackClient& connection, AgentEndpoint endpoint, const std::string& token) {
    endpoint.token = token;
    connection.send(endpoint.request("list_accounts", {}));
    std::string response = connection.receiveResponse();
    return response.substr(0, response.find("\r\n"));
}

const char* const accepted = "HTTP/1.1 200 OK";
const char* const turnedAway = "HTTP/1.1 401 Unauthorized";

TEST(RotateTest, aRunningDaemonTakesTheNewTokenAtOnceAndTheOldOneNoLonger) {
    ClientScenario client;
    AgentEndpoint endpoint(client.startDaemon());
    std::string old = endpoint.token;
    LoopbackClient open(endpoint.port);
    EXPECT_EQ(answer(open, endpoint, old), accepted);

    JSONValue rotated = client.json({"mcp", "rotate"});

    std::string token = textOf(rotated, "token");
    EXPECT_EQ(token.size(), 43U);
    EXPECT_NE(token, old);
    EXPECT_EQ(client.json({"mcp", "show"}), rotated);
    EXPECT_EQ(answer(open, endpoint, old), turnedAway) << "a connection that is open is no exception";
    EXPECT_EQ(answer(open, endpoint, token), accepted);
    LoopbackClient later(endpoint.port);
    EXPECT_EQ(answer(later, endpoint, old), turnedAway);
    EXPECT_EQ(answer(later, endpoint, token), accepted);
    EXPECT_EQ(client.stopDaemon(), 0);

    JSONValue next = client.startDaemon();
    EXPECT_EQ(textOf(next, "token"), token);
    EXPECT_EQ(textOf(next, "endpoint"), textOf(rotated, "endpoint"));
    EXPECT_EQ(client.stopDaemon(), 0);
}

TEST(RotateTest, withoutADaemonTheNextOneStartsWithTheNewToken) {
    ClientScenario client;
    JSONValue first = client.startDaemon();
    client.stopDaemon();

    JSONValue rotated = client.json({"mcp", "rotate"});

    EXPECT_NE(textOf(rotated, "token"), textOf(first, "token"));
    EXPECT_EQ(textOf(rotated, "endpoint"), textOf(first, "endpoint"));
    EXPECT_EQ(textOf(client.startDaemon(), "token"), textOf(rotated, "token"));
    client.stopDaemon();
}

TEST(RotateTest, peopleAreToldThatAgentsMustBeRegisteredAgain) {
    ClientScenario client;
    client.startDaemon();

    ChildOutcome rotated = client.run({"mcp", "rotate"});

    JSONValue shown = client.json({"mcp", "show"});
    EXPECT_EQ(rotated.output,
              "endpoint  " + textOf(shown, "endpoint") + "\ntoken     " + textOf(shown, "token") +
                  "\nThe old token is worth nothing any more. Register your agents again with marlet mcp register, or "
                  "put the new token into their configuration.\n");
    client.stopDaemon();
}

TEST(RotateTest, withoutAnEndpointThereIsNothingToReplace) {
    ClientScenario client;
    EXPECT_EQ(client.error({"mcp", "rotate"}), noEndpoint);
    EXPECT_FALSE(std::filesystem::exists(client.data / "endpoint.json"));
}

TEST(RotateTest, ofSeveralAtOnceTheOneThatIsKeptIsValid) {
    ClientScenario client;
    AgentEndpoint endpoint(client.startDaemon());
    std::vector<std::unique_ptr<ChildProcess>> commands;
    for (int number = 0; number < 8; ++number) {
        commands.push_back(client.start({"--json", "mcp", "rotate"}));
    }
    std::vector<std::string> tokens{endpoint.token};
    for (const auto& command : commands) {
        EXPECT_EQ(command->wait(), 0) << command->errors;
        tokens.push_back(textOf(JSONValue::decode(command->output), "token"));
    }

    std::string kept = textOf(client.json({"mcp", "show"}), "token");

    EXPECT_NE(std::find(tokens.begin() + 1, tokens.end(), kept), tokens.end());
    LoopbackClient connection(endpoint.port);
    for (const std::string& token : tokens) {
        EXPECT_EQ(answer(connection, endpoint, token), token == kept ? accepted : turnedAway);
    }
    client.stopDaemon();
}

TEST(RotateTest, aTokenThatCannotBeKeptDoesNotBecomeValid) {
    ClientScenario client;
    AgentEndpoint endpoint(client.startDaemon());
    // In the place of the file that would become the new one.
    std::filesystem::create_directory(client.data /
                                      ("endpoint.json." + std::to_string(client.daemon().pid()) + ".new"));

    std::string message = client.error({"mcp", "rotate"});

    EXPECT_TRUE(message.starts_with("There is no way to write ")) << message;
    EXPECT_EQ(textOf(client.json({"mcp", "show"}), "token"), endpoint.token);
    LoopbackClient connection(endpoint.port);
    EXPECT_EQ(answer(connection, endpoint, endpoint.token), accepted);
    client.stopDaemon();
}

}  // namespace
}  // namespace marlet
