#include "MarletWorkspace/CheckoutService.h"

namespace marlet {
namespace {

constexpr double versionTimeout = 30;

// No value when it couldn't be run. What it says counts, whatever its status.
std::optional<std::string> versionOf(const LocatedTool& tool, const CommandRunner& runner) {
    try {
        Command command{.executable = tool.path, .arguments = {"--version"}, .timeout = versionTimeout};
        return firstLine(runner.run(command).output);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

ToolReport CheckoutService::locateTools(const ToolSettings& settings) const {
    ToolReport report;
    report.developerDirectory = locator.developerDirectory();
    try {
        report.git = locator.git(settings.git, settings.gitPath);
        report.gitVersion = versionOf(*report.git, *runner);
    } catch (const ToolLocatorError& error) {
        report.gitError = error.errorDescription();
    }
    try {
        report.claude = locator.claude(settings.claudePath);
        report.claudeVersion = versionOf(*report.claude, *runner);
    } catch (const ToolLocatorError& error) {
        report.claudeError = error.errorDescription();
    }
    return report;
}

}  // namespace marlet
