#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletWorkspace/CommandRunner.h"
#include "MarletWorkspace/ToolLocatorError.h"
#include "MarletWorkspace/ToolSettings.h"

struct passwd;

namespace marlet {

// Finds git and claude, anew with every call: a tool installed a moment ago is seen at once.
//
// Safe to use from any thread, as its functions must be; they block for as long as their commands run.
struct ToolLocator {
    static const std::vector<std::string> nativeHomebrewPrefixes;

    std::function<bool(const std::string& path)> isExecutable;
    std::function<std::optional<std::string>()> developerDirectory;
    std::function<std::optional<std::string>(const std::string& command)> shellLookup;  // what the user's shell says
    std::string homeDirectory;
    std::vector<std::string> homebrewPrefixes;

    // Asks the file system, and the developer tools and the shell by `runner`.
    static ToolLocator live(std::shared_ptr<const CommandRunner> runner, std::string homeDirectory, std::string shell);

    // Both throw ToolLocatorError.
    LocatedTool git(GitChoice choice, std::optional<std::string> customPath) const;
    LocatedTool claude(std::optional<std::string> customPath) const;
};

// A file that this user may run; a folder that may be entered is none.
bool isExecutableFile(const std::string& path);

// Where people and installers put tools of their own, which a service's PATH lacks.
std::vector<std::string> toolFolders(const std::string& homeDirectory);

// The shell of the user's passwd record, or "/bin/zsh" when there is no record. A record without a shell is a mistake
// of the system that ends the process.
std::string loginShell(const passwd* user);

// The first line of a command's output that isn't empty, without blanks around it; empty when there is none.
std::string firstLine(std::string_view output);

}  // namespace marlet
