// Telling agents of the endpoint, by the real helper and a claude that the test plays.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "ClientScenario.h"
#include "MarletBase/Description.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

enum class Way { withDaemon, inOwnProcess };

class RegisterTest : public testing::TestWithParam<Way> {
protected:
    RegisterTest() {
        std::filesystem::create_directories(tools);
        std::filesystem::create_directories(home);
        std::filesystem::create_directories(work);
        client.environment.push_back("HOME=" + home.string());
        client.environment.push_back("PATH=" + tools.string() + ":/usr/bin:/bin");
        JSONValue ready = client.startDaemon();
        endpoint = textOf(ready, "endpoint");
        token = textOf(ready, "token");
        if (GetParam() == Way::inOwnProcess) {
            client.stopDaemon();
        }
    }
    ~RegisterTest() override {
        if (GetParam() == Way::withDaemon) {
            EXPECT_EQ(client.stopDaemon(), 0);
        }
    }

    // A claude that writes down where it was run, and with what.
    void installClaude(const std::string& ending = "") const {
        std::filesystem::path claude = tools / "claude";
        std::ofstream(claude) << "#!/bin/sh\n"
                              << "{ pwd; printf '%s\\n' \"$@\"; } >> '" << calls.string() << "'\n"
                              << ending;
        ::chmod(claude.c_str(), 0755);
    }
    static std::string content(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::string expectedCalls() const {
        std::string place = work.string() + "\nmcp\n";
        return place + "remove\n--scope\nlocal\nmarlet\n" + place + "add\n--scope\nlocal\n--transport\nhttp\nmarlet\n" +
               endpoint + "\n--header\nAuthorization: Bearer " + token + "\n";
    }

    ClientScenario client;
    std::filesystem::path tools = client.folder.path() / "tools";
    std::filesystem::path home = client.folder.path() / "home";
    std::filesystem::path work = client.folder.path() / "a folder";
    std::filesystem::path calls = client.folder.path() / "calls";
    std::string endpoint;
    std::string token;
};

INSTANTIATE_TEST_SUITE_P(BothWays, RegisterTest, testing::Values(Way::withDaemon, Way::inOwnProcess),
                         [](const auto& info) {
                             return info.param == Way::withDaemon ? "withDaemon" : "inOwnProcess";
                         });

TEST_P(RegisterTest, claudeIsToldOfTheEndpointInTheFolder) {
    installClaude();

    JSONValue registered = client.json({"mcp", "register", "claude", "--folder", work.string()});

    EXPECT_EQ(registered, JSONValue::object({{"registered", true}, {"agent", "claude"}, {"folder", work.string()}}));
    EXPECT_EQ(content(calls), expectedCalls());
    EXPECT_EQ(registered.data().find(token), std::string::npos);
}

TEST_P(RegisterTest, theCurrentFolderIsMeantWithoutAnother) {
    installClaude();
    std::filesystem::create_symlink(work, client.folder.path() / "link");
    for (const std::string folder : {"cd \"$0\"", "cd \"$0/..\" && set -- \"$@\" --folder 'a folder'",
                                     "cd \"$0/..\" && set -- \"$@\" --folder link/../link/."}) {
        std::filesystem::remove(calls);
        ClientScenario::Arguments line{"/bin/sh", "-c", folder + " && exec \"$@\"", work.string()};
        ClientScenario::Arguments command = client.commandLine({"mcp", "register", "claude"});
        line.insert(line.end(), command.begin(), command.end());

        ChildOutcome outcome = runChild(line, "", client.environment);

        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')),
                  "Claude knows the endpoint now, in " + work.string() + ".");
        EXPECT_EQ(content(calls), expectedCalls()) << folder;
    }
}

TEST_P(RegisterTest, copilotIsToldOfTheEndpointOnceForAllFolders) {
    ChildOutcome outcome = client.run({"mcp", "register", "copilot"});

    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    std::string words = "GitHub Copilot knows the endpoint now.\n";
    EXPECT_EQ(outcome.output, GetParam() == Way::withDaemon
                                  ? words
                                  : words + "Marlet isn't running: agents reach it while marlet serve does.\n");
    JSONValue config = JSONValue::decode(content(home / ".copilot/mcp-config.json"));
    JSONValue entry = memberOf(memberOf(config, "mcpServers"), "marlet");
    EXPECT_EQ(textOf(entry, "url"), endpoint);
    EXPECT_EQ(textOf(memberOf(entry, "headers"), "Authorization"), "Bearer " + token);
    EXPECT_EQ(client.json({"mcp", "register", "copilot"}),
              JSONValue::object({{"registered", true}, {"agent", "copilot"}, {"folder", nullptr}}));
}

TEST_P(RegisterTest, whatTheHelperCouldNotDoIsToldInItsWords) {
    EXPECT_EQ(client.error({"mcp", "register", "claude", "--folder", work.string()}),
              "The claude command wasn't found. Install Claude Code or choose the command.");
    installClaude("[ \"$2\" = remove ] || { echo 'No such thing' >&2; exit 3; }\n");
    std::string message = client.error({"mcp", "register", "claude", "--folder", work.string()});
    EXPECT_NE(message.find("claude mcp add"), std::string::npos) << message;
    EXPECT_NE(message.find("No such thing"), std::string::npos) << message;
    EXPECT_EQ(message.find(token), std::string::npos) << message;
    std::filesystem::create_directory(home / ".copilot");
    std::ofstream(home / ".copilot/mcp-config.json") << "[]";
    EXPECT_EQ(
        client.error({"mcp", "register", "copilot"}),
        "~/.copilot/mcp-config.json isn't valid JSON, so Marlet left it alone. Fix or remove it, then try again.");
}

TEST_P(RegisterTest, afterARotationTheNewTokenIsRegistered) {
    installClaude();
    token = textOf(client.json({"mcp", "rotate"}), "token");

    client.json({"mcp", "register", "claude", "--folder", work.string()});

    EXPECT_EQ(content(calls), expectedCalls());
}

TEST_P(RegisterTest, aFolderThatIsNotThereIsRefused) {
    installClaude();
    std::ofstream(client.folder.path() / "file") << "no folder";
    for (const char* name : {"missing", "file"}) {
        std::string folder = (client.folder.path() / name).string();
        EXPECT_EQ(client.error({"mcp", "register", "claude", "--folder", folder}),
                  "There is no folder " + folder + ". Name one that is there with --folder.");
    }
    EXPECT_FALSE(std::filesystem::exists(calls));
}

TEST(RegisterLineTest, whatCannotBeFollowedIsRefused) {
    ClientScenario client;
    EXPECT_EQ(client.error({"mcp", "register", "copilot", "--folder", "/tmp"}, 2),
              "There is no use here for --folder: the configuration of GitHub Copilot is one for all folders.");
    EXPECT_EQ(client.error({"mcp", "register", "code"}, 2), "Unknown agent \"code\". Use claude or copilot.");
    EXPECT_EQ(client.error({"mcp", "register"}, 2), "AGENT is required. See marlet mcp register --help.");
    EXPECT_EQ(client.error({"mcp", "register", "claude", "--folder", ""}, 2), "--folder must name a folder.");
    EXPECT_FALSE(std::filesystem::exists(client.data));
    EXPECT_EQ(client.error({"mcp", "register", "copilot"}),
              "There is no endpoint for agents yet. Start marlet serve once to make it.");
}

TEST(AgentChoiceTest, everyDestinationCanBeChosen) {
    for (AgentDestination destination : allCases<AgentDestination>()) {
        EXPECT_TRUE(fromCode<AgentChoice>(code(destination))) << code(destination);
    }
    EXPECT_FALSE(fromCode<AgentDestination>(code(AgentChoice::none)));
}

}  // namespace
}  // namespace marlet
