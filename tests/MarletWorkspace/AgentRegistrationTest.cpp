#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>
#include <vector>

#include "MarletBase/PrivateFile.h"
#include "MarletWorkspace/CheckoutError.h"
#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/CopilotMCPConfig.h"
#include "TestSupport/ScriptedRunner.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;

constexpr const char* endpoint = "http://127.0.0.1:8421/mcp";
constexpr const char* token = "s3cret-t0ken";

class AgentRegistrationTest : public testing::Test {
protected:
    AgentRegistrationTest() {
        service.locator.isExecutable = [](const std::string& path) { return path == "/opt/claude"; };
        service.locator.shellLookup = [](const std::string&) { return std::nullopt; };
        service.locator.homeDirectory = service.homeDirectory;
    }

    std::string home(const std::string& name) const { return service.homeDirectory + "/" + name; }

    // The text of what it throws; empty when it doesn't.
    template <class Operation>
    static std::string failure(const Operation& operation) {
        try {
            operation();
            return "";
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    TemporaryFolder temporary;
    std::shared_ptr<ScriptedRunner> runner = std::make_shared<ScriptedRunner>();
    CheckoutService service{runner, ToolLocator(), temporary.path().string()};
};

// Claude Code, by its command line.
class ClaudeRegistrationTest : public AgentRegistrationTest {
protected:
    ClaudeRegistrationTest() {
        runner->answer("mcp remove", CommandResult{});
        runner->answer("mcp add", CommandResult{});
    }

    void registerMCP(const std::string& folder = "/home/ada/garden") const {
        MCPRegistration registration{folder, endpoint, token, ToolSettings()};
        registration.tools.claudePath = "/opt/claude";
        service.registerMCP(registration);
    }

    std::string failureOfAdding(CommandResult result) const {
        runner->answer("mcp add", std::move(result));
        return failure([this] { registerMCP(); });
    }
};

TEST_F(ClaudeRegistrationTest, theOldEntryIsRemovedBeforeTheNewOneIsAdded) {
    registerMCP();

    Command removal{"/opt/claude", {"mcp", "remove", "--scope", "local", "marlet"}, "/home/ada/garden", {}, 60};
    Command addition{"/opt/claude",
                     {"mcp", "add", "--scope", "local", "--transport", "http", "marlet", "http://127.0.0.1:8421/mcp",
                      "--header", "Authorization: Bearer s3cret-t0ken"},
                     "/home/ada/garden",
                     {},
                     60};
    EXPECT_EQ(runner->commands(), (std::vector<Command>{removal, addition}));
}

TEST_F(ClaudeRegistrationTest, aSecondRegistrationRemovesTheEntryOfTheFirst) {
    // As the tool itself: it adds no entry that is there.
    bool isThere = false;
    runner->answer("mcp remove", [&](const Command&) {
        int32_t status = isThere ? 0 : 1;
        isThere = false;
        return CommandResult{status, "", "", false};
    });
    runner->answer("mcp add", [&](const Command&) {
        int32_t status = isThere ? 1 : 0;
        isThere = true;
        return CommandResult{status, "", "", false};
    });

    registerMCP();
    registerMCP();

    EXPECT_TRUE(isThere);
}

// The tool keeps those of all folders in one file.
TEST_F(ClaudeRegistrationTest, registrationsAtTheSameTimeDoNotComeBetweenEachOther) {
    std::atomic<int> running = 0;
    auto countRunning = [&](const Command& command) {
        bool isAddition = command.arguments.at(1) == "add";
        running += isAddition ? 0 : 1;
        std::this_thread::yield();
        EXPECT_EQ(running, 1);
        running -= isAddition ? 1 : 0;
        return CommandResult{};
    };
    runner->answer("mcp remove", countRunning);
    runner->answer("mcp add", countRunning);

    std::vector<std::jthread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this, index] {
            for (int round = 0; round < 50; ++round) {
                registerMCP("/home/ada/" + std::to_string(index));
            }
        });
    }
    threads.clear();

    EXPECT_EQ(runner->commands().size(), 400u);
}

TEST_F(ClaudeRegistrationTest, aRemovalThatFailsIsPassedOver) {
    runner->answer("mcp remove", CommandResult{1, "", "No MCP server named \"marlet\"", false});
    EXPECT_NO_THROW(registerMCP());

    runner->answer("mcp remove", CommandResult{15, "", "", true});
    EXPECT_NO_THROW(registerMCP());
}

TEST_F(ClaudeRegistrationTest, aRemovalThatCannotRunIsReported) {
    runner->answer("mcp remove", [](const Command&) -> CommandResult {
        throw std::system_error(EACCES, std::generic_category(), "/opt/claude");
    });

    EXPECT_THROW(registerMCP(), std::system_error);
    EXPECT_EQ(runner->commands().size(), 1u);
}

TEST_F(ClaudeRegistrationTest, anAdditionThatFailsSaysWhy) {
    EXPECT_EQ(failureOfAdding({1, "", "one\ntwo\n\nthree\nfour\n", false}), "claude mcp add failed: two three four");
    EXPECT_EQ(failureOfAdding({3, "", "", false}), "claude mcp add failed: exit status 3");
    EXPECT_EQ(failureOfAdding({0, "", "", true}), "claude mcp add failed: it took too long and was stopped");
}

TEST_F(ClaudeRegistrationTest, aFailureNeverShowsTheToken) {
    EXPECT_EQ(failureOfAdding({1, "", "Invalid header format: \"Authorization: Bearer s3cret-t0ken\"\n", false}),
              "claude mcp add failed: Invalid header format: \"Authorization: Bearer ***\"");
    EXPECT_EQ(failureOfAdding({1, "", "s3cret-t0kens3cret-t0ken s3cret-t0ke", false}),
              "claude mcp add failed: ****** s3cret-t0ke");
}

TEST_F(ClaudeRegistrationTest, withoutClaudeNothingIsRun) {
    MCPRegistration registration{"/home/ada/garden", endpoint, token, ToolSettings()};
    registration.tools.claudePath = "/nowhere/claude";

    EXPECT_THROW(service.registerMCP(registration), ToolLocatorError);
    EXPECT_TRUE(runner->commands().empty());
}

// Copilot, by its configuration file.
class CopilotRegistrationTest : public AgentRegistrationTest {
protected:
    static mode_t mode(const fs::path& path) {
        return static_cast<mode_t>(fs::status(path).permissions() & fs::perms::mask);
    }

    static void write(const fs::path& path, std::string_view bytes, mode_t permissions) {
        std::ofstream(path) << bytes;
        fs::permissions(path, static_cast<fs::perms>(permissions));
    }

    void registerCopilot() const { service.registerCopilotMCP(endpoint, token); }

    static std::string updated(std::string_view before) { return CopilotMCPConfig::updated(before, endpoint, token); }

    fs::path folder = temporary.path() / ".copilot";
    fs::path file = folder / "mcp-config.json";
};

TEST_F(CopilotRegistrationTest, aNewFileAndItsFolderAreForTheirOwnerAlone) {
    for (mode_t mask : {mode_t(0), mode_t(0777)}) {
        fs::remove_all(folder);
        mode_t before = ::umask(mask);
        registerCopilot();
        ::umask(before);

        EXPECT_EQ(readRegularFile(file), updated(""));
        EXPECT_EQ(mode(file), 0600u);
        EXPECT_EQ(mode(folder), 0700u);
    }
}

TEST_F(CopilotRegistrationTest, aHomeThatIsMissingIsMade) {
    service.homeDirectory += "/far/away";

    registerCopilot();

    EXPECT_EQ(readRegularFile(home(".copilot/mcp-config.json")), updated(""));
    EXPECT_EQ(mode(temporary.path() / "far"), 0700u);
}

TEST_F(CopilotRegistrationTest, anExistingFileKeepsItsOtherKeysAndIsClosedToOthers) {
    fs::create_directory(folder);
    fs::permissions(folder, static_cast<fs::perms>(0755));
    write(file, R"({"mcpServers":{"other":{}},"n":1.10})", 0644);

    registerCopilot();

    EXPECT_EQ(readRegularFile(file), updated(R"({"mcpServers":{"other":{}},"n":1.10})"));
    EXPECT_EQ(mode(file), 0600u);
    EXPECT_EQ(mode(folder), 0755u);
}

TEST_F(CopilotRegistrationTest, aFileThatCannotBeUnderstoodIsLeftAlone) {
    fs::create_directory(folder);
    write(file, "{\"mcpServers\": // mine\n{}}", 0644);

    EXPECT_EQ(
        failure([this] { registerCopilot(); }),
        "~/.copilot/mcp-config.json isn't valid JSON, so Marlet left it alone. Fix or remove it, then try again.");

    EXPECT_EQ(readRegularFile(file), "{\"mcpServers\": // mine\n{}}");
    EXPECT_EQ(mode(file), 0644u);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(CopilotRegistrationTest, aLinkIsWrittenThroughAndStays) {
    fs::create_directories(temporary.path() / "dotfiles/copilot");
    fs::create_directory(folder);
    write(temporary.path() / "dotfiles/copilot/config.json", R"({"a":1})", 0644);
    fs::create_symlink("../dotfiles/link.json", file);
    fs::create_symlink(temporary.path() / "dotfiles/copilot/config.json", temporary.path() / "dotfiles/link.json");

    registerCopilot();

    EXPECT_EQ(fs::read_symlink(file), "../dotfiles/link.json");
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(temporary.path() / "dotfiles/link.json")));
    EXPECT_EQ(readRegularFile(temporary.path() / "dotfiles/copilot/config.json"), updated(R"({"a":1})"));
    EXPECT_EQ(mode(temporary.path() / "dotfiles/copilot/config.json"), 0600u);
}

TEST_F(CopilotRegistrationTest, aLinkToNothingYetMakesItsTarget) {
    fs::create_directory(folder);
    fs::create_symlink(temporary.path() / "later.json", file);

    registerCopilot();

    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(file)));
    EXPECT_EQ(readRegularFile(temporary.path() / "later.json"), updated(""));
}

TEST_F(CopilotRegistrationTest, aFolderThatIsALinkStaysOne) {
    fs::create_directory(temporary.path() / "dotfiles");
    fs::create_symlink("dotfiles", folder);

    registerCopilot();

    EXPECT_EQ(fs::read_symlink(folder), "dotfiles");
    EXPECT_EQ(readRegularFile(temporary.path() / "dotfiles/mcp-config.json"), updated(""));
}

TEST_F(CopilotRegistrationTest, linksInACircleAreReported) {
    fs::create_directory(folder);
    fs::create_symlink("mcp-config.json", file);

    EXPECT_THROW(registerCopilot(), std::system_error);
}

TEST_F(CopilotRegistrationTest, whatIsNoFileOrFolderIsReported) {
    fs::create_directories(file);
    EXPECT_THROW(registerCopilot(), std::system_error);
    EXPECT_TRUE(fs::is_directory(file));

    fs::remove_all(folder);
    write(folder, "mine", 0644);
    EXPECT_THROW(registerCopilot(), std::system_error);
    EXPECT_EQ(readRegularFile(folder), "mine");
}

TEST_F(CopilotRegistrationTest, registrationsAtTheSameTimeLeaveAWholeFile) {
    fs::create_directory(folder);
    write(file, R"({"a":1})", 0600);

    std::vector<std::jthread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this] {
            for (int round = 0; round < 10; ++round) {
                EXPECT_NO_THROW(registerCopilot());
            }
        });
    }
    threads.clear();

    EXPECT_EQ(readRegularFile(file), updated(R"({"a":1})"));
}

class OpenInCopilotTest : public AgentRegistrationTest {
protected:
    OpenInCopilotTest() {
        runner->answer("/usr/bin/open", CommandResult{});
        fs::create_directory(garden);
    }

    std::string opened(const std::string& path) const {
        service.openInCopilot(path);
        return runner->commands().back().arguments.back();
    }

    std::string garden = home("garden");
};

TEST_F(OpenInCopilotTest, theFolderIsOpenedWithTheApp) {
    service.openInCopilot(garden);

    Command expected{"/usr/bin/open", {"-b", "com.github.githubapp", "--", garden}, std::nullopt, {}, 60};
    EXPECT_EQ(runner->commands(), std::vector<Command>{expected});
}

TEST_F(OpenInCopilotTest, thePathIsBroughtIntoItsPlainForm) {
    EXPECT_EQ(opened("~/garden"), garden);
    EXPECT_EQ(opened("~"), service.homeDirectory);
    EXPECT_EQ(opened(garden + "/"), garden);
    EXPECT_EQ(opened(garden + "/.//../garden/."), garden);
    EXPECT_EQ(opened("/"), "/");
    EXPECT_EQ(opened("/.."), "/");
    EXPECT_EQ(opened("."), fs::current_path().string());
}

TEST_F(OpenInCopilotTest, aLinkToAFolderIsOpenedAsItIsNamed) {
    fs::create_directory_symlink(garden, home("link"));

    EXPECT_EQ(opened("~/link"), home("link"));
}

TEST_F(OpenInCopilotTest, whatIsNoFolderIsRefused) {
    std::ofstream(home("file")) << "x";

    EXPECT_EQ(failure([this] { service.openInCopilot("~/nowhere/"); }),
              home("nowhere") + " isn't the top folder of a git checkout.");
    EXPECT_EQ(failure([this] { service.openInCopilot(home("file")); }),
              home("file") + " isn't the top folder of a git checkout.");
    EXPECT_TRUE(runner->commands().empty());
}

TEST_F(OpenInCopilotTest, aFailureSaysWhy) {
    runner->answer("/usr/bin/open", CommandResult{1, "", "Unable to find application\n", false});
    EXPECT_EQ(failure([this] { service.openInCopilot(garden); }), "open failed: Unable to find application");

    runner->answer("/usr/bin/open", CommandResult{0, "", "", true});
    EXPECT_EQ(failure([this] { service.openInCopilot(garden); }), "open failed: it took too long and was stopped");
}

}  // namespace
}  // namespace marlet
