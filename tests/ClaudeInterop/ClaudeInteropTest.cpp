// Registers with the real command-line tool, in a home folder of its own: no login, no network but the loopback.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/PrivateFile.h"
#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/ProcessRunner.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using testing::HasSubstr;

boost::json::value json(std::string_view text) {
    return boost::json::parse(boost::json::string_view(text.data(), text.size()));
}

class ClaudeInteropTest : public testing::Test {
protected:
    ClaudeInteropTest() {
        std::filesystem::create_directory(home);
        std::filesystem::create_directory(folder);
        service.locator = ToolLocator::live(service.runner, home, "/bin/sh");
    }

    void SetUp() override { ASSERT_NE(std::getenv("MARLET_CLAUDE"), nullptr) << "tests/ClaudeInterop/run sets it"; }

    void registerMCP(const std::string& path, const std::string& endpoint, const std::string& token) const {
        MCPRegistration registration{path, endpoint, token, ToolSettings()};
        registration.tools.claudePath = std::getenv("MARLET_CLAUDE");
        service.registerMCP(registration);
    }

    CommandResult claude(const std::string& path, std::vector<std::string> arguments) const {
        Command command{std::getenv("MARLET_CLAUDE"), std::move(arguments)};
        command.folder = path;
        command.timeout = 60;
        return service.runner->run(command);
    }

    // What the tool keeps for the folder.
    boost::json::value servers(const std::string& path) const {
        boost::json::value kept = json(readRegularFile(home + "/.claude.json").value());
        return kept.at("projects").at(path).at("mcpServers");
    }

    TemporaryFolder temporary;
    std::string home = (temporary.path() / "home").string();
    std::string folder = std::filesystem::canonical(temporary.path()).string() + "/work";
    EnvironmentVariable homeVariable{"HOME", home};
    EnvironmentVariable configFolder{"CLAUDE_CONFIG_DIR", std::nullopt};
    EnvironmentVariable quiet{"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1"};
    CheckoutService service{std::make_shared<ProcessRunner>(), ToolLocator(), home};
};

boost::json::value entry(const std::string& endpoint, const std::string& token) {
    return {{"type", "http"}, {"url", endpoint}, {"headers", {{"Authorization", "Bearer " + token}}}};
}

TEST_F(ClaudeInteropTest, registeringTwiceLeavesOneEntryWithTheNewAddressAndToken) {
    ASSERT_EQ(claude(folder, {"mcp", "add", "--scope", "local", "--transport", "http", "other", "http://127.0.0.1:9/o"})
                  .status,
              0);

    registerMCP(folder, "http://127.0.0.1:9/mcp", "first-token");
    registerMCP(folder, "http://127.0.0.1:10/mcp", "second-token");

    boost::json::value expected = {{"other", {{"type", "http"}, {"url", "http://127.0.0.1:9/o"}}},
                                   {"marlet", entry("http://127.0.0.1:10/mcp", "second-token")}};
    EXPECT_EQ(servers(folder), expected);
}

// The tool itself loses entries when it runs several times at once.
TEST_F(ClaudeInteropTest, registrationsOfSeveralFoldersAtOnceAreAllKept) {
    constexpr int count = 4;
    {
        std::vector<std::jthread> threads;
        for (int number = 0; number < count; ++number) {
            std::string path = folder + std::to_string(number);
            std::filesystem::create_directory(path);
            threads.emplace_back([this, path] { registerMCP(path, "http://127.0.0.1:9/mcp", "token"); });
        }
    }

    for (int number = 0; number < count; ++number) {
        EXPECT_EQ(servers(folder + std::to_string(number)).as_object().count("marlet"), 1U);
    }
}

TEST_F(ClaudeInteropTest, theToolReachesTheEndpointThatIsRegistered) {
    ChildProcess daemon({MARLET_PROGRAM, "--data", home + "/data", "--json", "serve"}, "",
                        {"DBUS_SESSION_BUS_ADDRESS=disabled:"});
    boost::json::value endpoint = json(daemon.readLine().value());

    registerMCP(folder, endpoint.at("endpoint").as_string().c_str(), endpoint.at("token").as_string().c_str());

    EXPECT_THAT(claude(folder, {"mcp", "get", "marlet"}).output, HasSubstr("Connected"));

    registerMCP(folder, endpoint.at("endpoint").as_string().c_str(), "another-token");
    EXPECT_THAT(claude(folder, {"mcp", "get", "marlet"}).output, HasSubstr("Failed to connect"));
}

TEST_F(ClaudeInteropTest, whatIsRegisteredForAWorktreeIsReadThere) {
    std::string worktree = folder + "-tree";
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"init", "--quiet"},
                                               {"-c", "user.name=Ash", "-c", "user.email=ash@marlet.example", "commit",
                                                "--quiet", "--allow-empty", "-mA"},
                                               {"worktree", "add", "--quiet", worktree}}) {
        std::vector<std::string> command{"/usr/bin/git", "-C", folder};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ASSERT_EQ(runChild(command).status, 0);
    }

    registerMCP(folder, "http://127.0.0.1:9/mcp", "first-token");
    registerMCP(worktree, "http://127.0.0.1:10/mcp", "second-token");

    EXPECT_THAT(claude(worktree, {"mcp", "get", "marlet"}).output, HasSubstr("http://127.0.0.1:10/mcp"));
}

}  // namespace
}  // namespace marlet
