#include "MarletWorkspace/ToolLocator.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr double developerDirectoryTimeout = 30;
constexpr double shellTimeout = 10;

// No value when it couldn't be run: to the search that is the same as a tool that isn't there.
std::optional<CommandResult> resultOf(const CommandRunner& runner, const Command& command) {
    try {
        return runner.run(command);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<std::string> selectedDeveloperDirectory(const CommandRunner& runner) {
    Command command{.executable = "/usr/bin/xcode-select", .arguments = {"-p"}, .timeout = developerDirectoryTimeout};
    std::optional<CommandResult> result = resultOf(runner, command);
    std::string folder = result && result->status == 0 ? trimmed(result->output) : std::string();
    return folder.empty() ? std::nullopt : std::optional(folder);
}

// A login shell may greet before it answers, so the answer is the last line.
std::optional<std::string> shellAnswer(const CommandRunner& runner, const std::string& shell, const std::string& name) {
    Command command{.executable = shell, .arguments = {"-lc", "command -v " + name}, .timeout = shellTimeout};
    std::optional<CommandResult> result = resultOf(runner, command);
    if (!result || result->status != 0 || result->timedOut) {
        return std::nullopt;
    }
    std::vector<std::string_view> lines = pieces(result->output, '\n');
    return lines.empty() ? std::nullopt : std::optional<std::string>(lines.back());
}

std::string expanded(const std::string& path, const std::string& homeDirectory) {
    return path.starts_with("~/") ? homeDirectory + path.substr(1) : path;
}

LocatedTool customTool(const ToolLocator& locator, const std::string& given) {
    std::string path = expanded(given, locator.homeDirectory);
    if (!locator.isExecutable(path)) {
        throw ToolLocatorError::notExecutable(given);
    }
    return {path, LocatedTool::Variant::custom};
}

// The tools' own git is reached by a fixed path, which finds the selected one. That path is there without them too, and
// then only asks to install them.
std::optional<LocatedTool> appleGit(const ToolLocator& locator) {
    std::optional<std::string> folder = locator.developerDirectory();
    if (!folder || !locator.isExecutable(*folder + "/usr/bin/git")) {
        return std::nullopt;
    }
    return LocatedTool{"/usr/bin/git", LocatedTool::Variant::apple};
}

std::optional<LocatedTool> homebrewGit(const ToolLocator& locator) {
    for (const std::string& prefix : locator.homebrewPrefixes) {
        if (std::string path = prefix + "/bin/git"; locator.isExecutable(path)) {
            return LocatedTool{path, LocatedTool::Variant::homebrew};
        }
    }
    return std::nullopt;
}

}  // namespace

const std::vector<std::string> ToolLocator::nativeHomebrewPrefixes{"/opt/homebrew", "/usr/local"};

ToolLocator ToolLocator::live(std::shared_ptr<const CommandRunner> runner, std::string homeDirectory,
                              std::string shell) {
    ToolLocator locator;
    locator.isExecutable = isExecutableFile;
    locator.developerDirectory = [runner] { return selectedDeveloperDirectory(*runner); };
    locator.shellLookup = [runner, shell = std::move(shell)](const std::string& name) {
        return shellAnswer(*runner, shell, name);
    };
    locator.homeDirectory = std::move(homeDirectory);
    locator.homebrewPrefixes = nativeHomebrewPrefixes;
    return locator;
}

LocatedTool ToolLocator::git(GitChoice choice, std::optional<std::string> customPath) const {
    switch (choice) {
        case GitChoice::automatic:
            if (std::optional<LocatedTool> apple = appleGit(*this)) {
                return *std::move(apple);
            }
            if (std::optional<LocatedTool> homebrew = homebrewGit(*this)) {
                return *std::move(homebrew);
            }
            throw ToolLocatorError::gitNotFound();
        case GitChoice::apple:
            if (std::optional<LocatedTool> apple = appleGit(*this)) {
                return *std::move(apple);
            }
            throw ToolLocatorError::commandLineToolsMissing();
        case GitChoice::homebrew:
            if (std::optional<LocatedTool> homebrew = homebrewGit(*this)) {
                return *std::move(homebrew);
            }
            throw ToolLocatorError::homebrewGitMissing();
        case GitChoice::custom:
            return customTool(*this, customPath.value_or(""));
    }
    programmingError("A choice of git has no search.");
}

LocatedTool ToolLocator::claude(std::optional<std::string> customPath) const {
    if (customPath && !customPath->empty()) {
        return customTool(*this, *customPath);
    }
    std::vector<std::string> candidates{homeDirectory + "/.local/bin/claude", homeDirectory + "/.claude/local/claude"};
    for (const std::string& prefix : homebrewPrefixes) {
        candidates.push_back(prefix + "/bin/claude");
    }
    for (const std::string& candidate : candidates) {
        if (isExecutable(candidate)) {
            return {candidate, LocatedTool::Variant::found};
        }
    }
    // A shell knows aliases and functions too, which are nobody else's to run.
    std::optional<std::string> path = shellLookup("claude");
    if (!path || !isExecutable(*path)) {
        throw ToolLocatorError::claudeNotFound();
    }
    return {*path, LocatedTool::Variant::found};
}

bool isExecutableFile(const std::string& path) {
    struct stat status {};
    // The system would take a NUL for the end of another path.
    return path.find('\0') == std::string::npos && ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> toolFolders(const std::string& homeDirectory) {
    std::vector<std::string> folders{homeDirectory + "/.local/bin"};
    for (const std::string& prefix : ToolLocator::nativeHomebrewPrefixes) {
        folders.push_back(prefix + "/bin");
    }
    return folders;
}

std::string loginShell(const passwd* user) {
    if (!user) {
        return "/bin/zsh";
    }
    if (!user->pw_shell) {
        programmingError("The user's record has no shell.");
    }
    return user->pw_shell;
}

std::string firstLine(std::string_view output) {
    constexpr std::string_view blanks = " \t";
    std::vector<std::string_view> lines = pieces(output, '\n');
    std::string_view line = lines.empty() ? std::string_view() : lines.front();
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    line.remove_suffix(line.size() - (line.find_last_not_of(blanks) + 1));
    return std::string(line);
}

}  // namespace marlet
