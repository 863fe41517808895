#include "MarletWorkspace/ToolLocator.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <stdexcept>

#include "TestSupport/PrintedCommand.h"
#include "TestSupport/ScriptedRunner.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using Variant = LocatedTool::Variant;

// A computer on which these files are executable, of a user whose home is /home/ada.
struct Computer {
    std::set<std::string> executables;
    std::optional<std::string> developerDirectory = {};
    std::optional<std::string> shellAnswer = {};
    mutable std::vector<std::string> shellQuestions = {};

    ToolLocator locator() const {
        return {.isExecutable = [this](const std::string& path) { return executables.contains(path); },
                .developerDirectory = [this] { return developerDirectory; },
                .shellLookup =
                    [this](const std::string& name) {
                        shellQuestions.push_back(name);
                        return shellAnswer;
                    },
                .homeDirectory = "/home/ada",
                .homebrewPrefixes = ToolLocator::nativeHomebrewPrefixes};
    }

    LocatedTool git(GitChoice choice, std::optional<std::string> path = {}) const {
        return locator().git(choice, std::move(path));
    }
    LocatedTool claude(std::optional<std::string> path = {}) const { return locator().claude(std::move(path)); }
};

template <class Search>
std::string failureOf(Search search) {
    try {
        search();
    } catch (const ToolLocatorError& error) {
        return error.errorDescription();
    }
    return "(none)";
}

std::string gitFailure(const Computer& computer, GitChoice choice, std::optional<std::string> path = {}) {
    return failureOf([&] { computer.git(choice, path); });
}

std::string claudeFailure(const Computer& computer, std::optional<std::string> path = {}) {
    return failureOf([&] { computer.claude(path); });
}

constexpr const char* gitNotFound = "No git found. Install the Command Line Tools or Homebrew's git, or choose one.";
constexpr const char* toolsMissing =
    "Apple's git needs the Command Line Tools or Xcode, and `xcode-select -p` reports neither.";
constexpr const char* claudeNotFound = "The claude command wasn't found. Install Claude Code or choose the command.";

TEST(ToolLocatorTest, everyChoiceOfGitHasATitle) {
    EXPECT_EQ(title(GitChoice::automatic), "Automatic");
    EXPECT_EQ(title(GitChoice::apple), "Apple (Xcode or Command Line Tools)");
    EXPECT_EQ(title(GitChoice::homebrew), "Homebrew");
    EXPECT_EQ(title(GitChoice::custom), "Custom");
}

TEST(ToolLocatorTest, theDeveloperToolsGitIsReachedByItsFixedPath) {
    Computer computer{.executables = {"/Library/Tools/usr/bin/git", "/opt/homebrew/bin/git"},
                      .developerDirectory = "/Library/Tools"};

    EXPECT_EQ(computer.git(GitChoice::automatic), (LocatedTool{"/usr/bin/git", Variant::apple}));
    EXPECT_EQ(computer.git(GitChoice::apple), (LocatedTool{"/usr/bin/git", Variant::apple}));
}

TEST(ToolLocatorTest, aGitWithoutADeveloperFolderIsNeverTheFixedOne) {
    Computer computer{.executables = {"/usr/bin/git", "/usr/local/bin/git"}};
    EXPECT_EQ(computer.git(GitChoice::automatic), (LocatedTool{"/usr/local/bin/git", Variant::homebrew}));
    EXPECT_EQ(gitFailure(computer, GitChoice::apple), toolsMissing);

    computer.executables = {"/usr/bin/git"};
    EXPECT_EQ(gitFailure(computer, GitChoice::automatic), gitNotFound);
}

TEST(ToolLocatorTest, aDeveloperFolderWithoutAGitCountsAsNone) {
    Computer computer{.executables = {"/usr/bin/git", "/opt/homebrew/bin/git"}, .developerDirectory = "/Library/Tools"};

    EXPECT_EQ(computer.git(GitChoice::automatic), (LocatedTool{"/opt/homebrew/bin/git", Variant::homebrew}));
    EXPECT_EQ(gitFailure(computer, GitChoice::apple), toolsMissing);
}

TEST(ToolLocatorTest, theFirstPrefixOfHomebrewWins) {
    Computer computer{.executables = {"/opt/homebrew/bin/git", "/usr/local/bin/git"}};
    EXPECT_EQ(computer.git(GitChoice::homebrew), (LocatedTool{"/opt/homebrew/bin/git", Variant::homebrew}));
    EXPECT_EQ(computer.git(GitChoice::automatic), (LocatedTool{"/opt/homebrew/bin/git", Variant::homebrew}));

    computer = {.executables = {"/Library/Tools/usr/bin/git"}, .developerDirectory = "/Library/Tools"};
    EXPECT_EQ(gitFailure(computer, GitChoice::homebrew), "Homebrew's git isn't installed (brew install git).");
}

TEST(ToolLocatorTest, aCustomGitIsTheUsersPath) {
    Computer computer{.executables = {"/home/ada/bin/git", "/opt/git", "/opt/homebrew/bin/git"}};

    EXPECT_EQ(computer.git(GitChoice::custom, "/opt/git"), (LocatedTool{"/opt/git", Variant::custom}));
    EXPECT_EQ(computer.git(GitChoice::custom, "~/bin/git"), (LocatedTool{"/home/ada/bin/git", Variant::custom}));
}

TEST(ToolLocatorTest, aCustomGitWithAnEmptyPathFails) {
    Computer computer{.executables = {"/opt/homebrew/bin/git"}};

    EXPECT_EQ(gitFailure(computer, GitChoice::custom, ""), " isn't an executable file.");
    EXPECT_EQ(gitFailure(computer, GitChoice::custom), " isn't an executable file.");
}

TEST(ToolLocatorTest, aCustomPathThatFailsIsNamedAsItWasGiven) {
    EXPECT_EQ(gitFailure({}, GitChoice::custom, "~/bin/git"), "~/bin/git isn't an executable file.");
    EXPECT_EQ(claudeFailure({}, "~/bin/claude"), "~/bin/claude isn't an executable file.");
}

TEST(ToolLocatorTest, aTildeAloneIsNotExpanded) {
    Computer computer{.executables = {"/home/ada", "/home/adagit", "~", "~git"}};

    EXPECT_EQ(computer.git(GitChoice::custom, "~").path, "~");
    EXPECT_EQ(computer.git(GitChoice::custom, "~git").path, "~git");
    EXPECT_EQ(gitFailure({.executables = {"/home/ada"}}, GitChoice::custom, "~"), "~ isn't an executable file.");
}

TEST(ToolLocatorTest, aCustomClaudeIsTheUsersPath) {
    Computer computer{.executables = {"/home/ada/tools/claude", "/home/ada/.local/bin/claude"}};

    EXPECT_EQ(computer.claude("~/tools/claude"), (LocatedTool{"/home/ada/tools/claude", Variant::custom}));
}

TEST(ToolLocatorTest, aCustomClaudeThatIsNotExecutableFailsAndSearchesNothing) {
    Computer computer{.executables = {"/home/ada/.local/bin/claude", "/x/claude"}, .shellAnswer = "/x/claude"};

    EXPECT_EQ(claudeFailure(computer, "/opt/claude"), "/opt/claude isn't an executable file.");
    EXPECT_EQ(computer.shellQuestions.size(), 0);
}

TEST(ToolLocatorTest, claudeIsSearchedInOrder) {
    const std::vector<std::string> order{"/home/ada/.local/bin/claude", "/home/ada/.claude/local/claude",
                                         "/opt/homebrew/bin/claude", "/usr/local/bin/claude", "/from/the/shell/claude"};
    Computer computer{.executables = {order.begin(), order.end()}, .shellAnswer = order.back()};
    for (const std::string& path : order) {
        EXPECT_EQ(computer.shellQuestions.size(), 0) << path;
        EXPECT_EQ(computer.claude(), (LocatedTool{path, Variant::found}));
        computer.executables.erase(path);
    }
    EXPECT_EQ(computer.shellQuestions, std::vector<std::string>{"claude"});
    EXPECT_EQ(claudeFailure(computer), claudeNotFound);
}

TEST(ToolLocatorTest, anEmptyPathOfClaudeMeansToSearch) {
    Computer computer{.executables = {"/usr/local/bin/claude"}};

    EXPECT_EQ(computer.claude(""), (LocatedTool{"/usr/local/bin/claude", Variant::found}));
}

TEST(ToolLocatorTest, anAnswerOfTheShellsThatIsNoFileDoesNotCount) {
    Computer computer{.shellAnswer = "alias claude='/x/claude --quiet'"};
    EXPECT_EQ(claudeFailure(computer), claudeNotFound);

    computer.shellAnswer = std::nullopt;
    EXPECT_EQ(claudeFailure(computer), claudeNotFound);
}

// The real locator, with its commands scripted.
struct LiveLocator {
    std::shared_ptr<ScriptedRunner> runner = std::make_shared<ScriptedRunner>();
    ToolLocator locator = ToolLocator::live(runner, "/home/ada", "/bin/fish");

    std::optional<std::string> folderFrom(const CommandResult& result) const {
        runner->answer("xcode-select", result);
        return locator.developerDirectory();
    }
    std::optional<std::string> claudeFrom(const CommandResult& result) const {
        runner->answer("command -v", result);
        return locator.shellLookup("claude");
    }
};

TEST(ToolLocatorTest, theLiveLocatorKnowsTheUsersHomeAndHomebrewsPrefixes) {
    LiveLocator live;

    EXPECT_EQ(live.locator.homeDirectory, "/home/ada");
    EXPECT_EQ(live.locator.homebrewPrefixes, (std::vector<std::string>{"/opt/homebrew", "/usr/local"}));
}

TEST(ToolLocatorTest, theDeveloperFolderIsWhatXcodeSelectSays) {
    LiveLocator live;

    EXPECT_EQ(live.folderFrom({.output = " /Library/Tools\r\n\n"}), "/Library/Tools");
    EXPECT_EQ(live.folderFrom({.output = "/late", .timedOut = true}), "/late");
    EXPECT_EQ(live.folderFrom({.status = 2, .output = "/Library/Tools\n"}), std::nullopt);
    EXPECT_EQ(live.folderFrom({.output = " \n", .errorOutput = "none"}), std::nullopt);
    Command expected{.executable = "/usr/bin/xcode-select", .arguments = {"-p"}, .timeout = 30};
    EXPECT_EQ(live.runner->commands().at(0), expected);
}

TEST(ToolLocatorTest, theShellsAnswerIsItsLastLine) {
    LiveLocator live;

    EXPECT_EQ(live.claudeFrom({.output = "welcome\n/usr/local/bin/claude\n"}), "/usr/local/bin/claude");
    EXPECT_EQ(live.claudeFrom({.output = "/usr/local/bin/claude\n\n\n"}), "/usr/local/bin/claude");
    EXPECT_EQ(live.claudeFrom({.output = "\n\n"}), std::nullopt);
    EXPECT_EQ(live.claudeFrom({.status = 1, .output = "/x/claude\n"}), std::nullopt);
    EXPECT_EQ(live.claudeFrom({.output = "/x/claude\n", .timedOut = true}), std::nullopt);
    Command expected{.executable = "/bin/fish", .arguments = {"-lc", "command -v claude"}, .timeout = 10};
    EXPECT_EQ(live.runner->commands().at(0), expected);
}

TEST(ToolLocatorTest, aCommandThatCannotBeRunGivesNoAnswer) {
    LiveLocator live;
    live.runner->answer("", [](const Command&) -> CommandResult { throw std::runtime_error("no such file"); });

    EXPECT_EQ(live.locator.developerDirectory(), std::nullopt);
    EXPECT_EQ(live.locator.shellLookup("claude"), std::nullopt);
}

TEST(ToolLocatorTest, anExecutableIsAFileThatMayBeRun) {
    TemporaryFolder folder;
    std::string tool = (folder.path() / "tool").string();
    std::ofstream(tool) << "#!/bin/sh\n";
    std::string link = (folder.path() / "link").string();
    std::filesystem::create_symlink(tool, link);
    LiveLocator live;

    EXPECT_FALSE(live.locator.isExecutable(tool));
    EXPECT_FALSE(live.locator.isExecutable(link));
    ::chmod(tool.c_str(), S_IRUSR | S_IXUSR);
    EXPECT_TRUE(live.locator.isExecutable(tool));
    EXPECT_TRUE(live.locator.isExecutable(link));
    EXPECT_FALSE(live.locator.isExecutable(folder.path().string()));
    EXPECT_FALSE(live.locator.isExecutable((folder.path() / "missing").string()));
    EXPECT_FALSE(live.locator.isExecutable(""));
    EXPECT_FALSE(live.locator.isExecutable(tool + std::string("\0x", 2)));
    std::filesystem::remove(tool);
    EXPECT_FALSE(live.locator.isExecutable(link));
}

TEST(ToolLocatorTest, theFoldersOfToolsBeginWithTheUsersOwn) {
    EXPECT_EQ(toolFolders("/home/ada"),
              (std::vector<std::string>{"/home/ada/.local/bin", "/opt/homebrew/bin", "/usr/local/bin"}));
}

TEST(ToolLocatorTest, theLoginShellIsThatOfTheUsersRecord) {
    std::string shell = "/bin/fish";
    passwd user{};
    user.pw_shell = shell.data();

    EXPECT_EQ(loginShell(&user), "/bin/fish");
    EXPECT_EQ(loginShell(nullptr), "/bin/zsh");
    user.pw_shell = nullptr;
    EXPECT_DEATH(loginShell(&user), "The user's record has no shell");
}

TEST(ToolLocatorTest, theFirstLineIsTheFirstThatIsNotEmptyWithoutBlanks) {
    EXPECT_EQ(firstLine("\n\n \tgit version 2.39.5\t \nmore\n"), "git version 2.39.5");
    EXPECT_EQ(firstLine("one"), "one");
    EXPECT_EQ(firstLine(" \t\nsecond\n"), "") << "a line of blanks is not an empty one";
    EXPECT_EQ(firstLine("\n\n"), "");
    EXPECT_EQ(firstLine(""), "");
}

}  // namespace
}  // namespace marlet
