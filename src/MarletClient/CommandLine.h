#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/LocalizedError.h"
#include "MarletClient/CommandMessage.h"

namespace CLI {
class App;
}

namespace marlet {

// Its script is told by CommandLine::information; nobody else carries it out.
inline constexpr const char* completionCommand = "completion";

// A command line that can't be followed.
class UsageError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// Where a command's token is to be read from, before it is carried out.
enum class TokenSource { terminal, standardInput };

struct CommandLine {
    std::filesystem::path dataFolder;
    bool wantsJSON = false;
    CommandRequest request;
    TokenSource token = TokenSource::terminal;
    // What is shown instead of carrying a command out: the help, the version, or a completion script.
    std::optional<std::string> information;
};

// The tree of commands, which fills the line as soon as it has parsed one. The line must outlive it.
std::unique_ptr<CLI::App> commandTree(CommandLine& line);

// Reads standard input where an option says so. Throws UsageError.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// Whether the arguments ask for JSON, also when they can't be followed otherwise.
bool asksForJSON(const std::vector<std::string>& arguments);

}  // namespace marlet
