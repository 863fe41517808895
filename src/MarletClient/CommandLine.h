#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/LocalizedError.h"
#include "MarletClient/CommandMessage.h"

namespace marlet {

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
    // The help or version text that was asked for instead of a command.
    std::optional<std::string> information;
};

// Reads standard input where an option says so. Throws UsageError.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

// Whether the arguments ask for JSON, also when they can't be followed otherwise.
bool asksForJSON(const std::vector<std::string>& arguments);

}  // namespace marlet
