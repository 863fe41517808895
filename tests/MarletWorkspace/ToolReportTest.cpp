#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "MarletWorkspace/CheckoutService.h"
#include "TestSupport/PrintedCommand.h"
#include "TestSupport/ScriptedRunner.h"

namespace marlet {
namespace {

// A computer with a developer folder, on which these files are executable.
struct Machine {
    std::set<std::string> executables;
    std::optional<std::string> developerDirectory = {};
    std::shared_ptr<ScriptedRunner> runner = std::make_shared<ScriptedRunner>();

    ToolReport report(const ToolSettings& settings = {}) const {
        ToolLocator locator{.isExecutable = [this](const std::string& path) { return executables.contains(path); },
                            .developerDirectory = [this] { return developerDirectory; },
                            .shellLookup = [](const std::string&) { return std::optional<std::string>(); },
                            .homeDirectory = "/home/ada",
                            .homebrewPrefixes = ToolLocator::nativeHomebrewPrefixes};
        return CheckoutService{runner, locator, "/home/ada"}.locateTools(settings);
    }
};

const LocatedTool brewedGit{"/opt/homebrew/bin/git", LocatedTool::Variant::homebrew};
const LocatedTool brewedClaude{"/opt/homebrew/bin/claude", LocatedTool::Variant::found};

TEST(ToolReportTest, bothToolsAreReportedWithTheirVersions) {
    Machine machine{.executables = {brewedGit.path, brewedClaude.path}, .developerDirectory = "/Library/Tools"};
    machine.runner->answer("git --version", CommandResult{.output = "\n git version 2.39.5 \nmore\n"});
    machine.runner->answer("claude --version", CommandResult{.output = "1.0.9 (Claude Code)\n"});

    EXPECT_EQ(machine.report(), (ToolReport{.git = brewedGit,
                                            .gitVersion = "git version 2.39.5",
                                            .claude = brewedClaude,
                                            .claudeVersion = "1.0.9 (Claude Code)",
                                            .developerDirectory = "/Library/Tools"}));
    EXPECT_EQ(machine.runner->commands(),
              (std::vector<Command>{{.executable = brewedGit.path, .arguments = {"--version"}, .timeout = 30},
                                    {.executable = brewedClaude.path, .arguments = {"--version"}, .timeout = 30}}));
}

TEST(ToolReportTest, aMachineWithoutToolsHasOnlyTheReasons) {
    EXPECT_EQ(
        Machine{}.report(),
        (ToolReport{.gitError = "No git found. Install the Command Line Tools or Homebrew's git, or choose one.",
                    .claudeError = "The claude command wasn't found. Install Claude Code or choose the command."}));
}

TEST(ToolReportTest, theSettingsChooseTheTools) {
    Machine machine{.executables = {brewedGit.path, brewedClaude.path, "/home/ada/git", "/home/ada/claude"}};
    machine.runner->answer("--version", CommandResult{.output = "1\n"});

    ToolReport report =
        machine.report({.git = GitChoice::custom, .gitPath = "~/git", .claudePath = "/home/ada/claude"});

    EXPECT_EQ(report.git, (LocatedTool{"/home/ada/git", LocatedTool::Variant::custom}));
    EXPECT_EQ(report.claude, (LocatedTool{"/home/ada/claude", LocatedTool::Variant::custom}));
}

TEST(ToolReportTest, oneToolsFailureDoesNotHideTheOther) {
    Machine machine{.executables = {brewedClaude.path}};
    machine.runner->answer("claude --version", CommandResult{.output = "1\n"});

    ToolReport report = machine.report({.git = GitChoice::custom, .gitPath = "/x/git"});

    EXPECT_EQ(
        report,
        (ToolReport{.gitError = "/x/git isn't an executable file.", .claude = brewedClaude, .claudeVersion = "1"}));
}

TEST(ToolReportTest, aVersionCountsWhateverTheStatusAndMayBeEmpty) {
    Machine machine{.executables = {brewedGit.path, brewedClaude.path}};
    machine.runner->answer("git --version", CommandResult{.status = 1, .output = "git version 1\n"});
    machine.runner->answer("claude --version", CommandResult{.status = 15, .timedOut = true});

    ToolReport report = machine.report();

    EXPECT_EQ(report.gitVersion, "git version 1");
    EXPECT_EQ(report.claudeVersion, "");
    EXPECT_EQ(report.claudeError, std::nullopt);
}

TEST(ToolReportTest, aToolThatCannotBeRunStaysWithoutAVersion) {
    Machine machine{.executables = {brewedGit.path, brewedClaude.path}};
    machine.runner->answer("--version", [](const Command&) -> CommandResult { throw std::runtime_error("broken"); });

    EXPECT_EQ(machine.report(), (ToolReport{.git = brewedGit, .claude = brewedClaude}));
}

}  // namespace
}  // namespace marlet
