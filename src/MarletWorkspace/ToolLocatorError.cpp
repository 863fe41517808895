#include "MarletWorkspace/ToolLocatorError.h"

#include <array>
#include <map>
#include <optional>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/JSONText.h"
#include "MarletWorkspace/HelperMessages.h"

namespace marlet {
namespace {

struct NoPayload {};
BOOST_DESCRIBE_STRUCT(NoPayload, (), ())

struct PathPayload {
    std::string path;
};
BOOST_DESCRIBE_STRUCT(PathPayload, (), (path))

constexpr std::array<KeyName, 1> keyNames(const PathPayload*) {
    return {{{"path", "_0"}}};
}

std::string descriptionOf(ToolLocatorError::Case kind, const std::string& path) {
    switch (kind) {
        case ToolLocatorError::Case::notExecutable:
            return path + " isn't an executable file.";
        case ToolLocatorError::Case::commandLineToolsMissing:
            return "Apple's git needs the Command Line Tools or Xcode, and `xcode-select -p` reports neither.";
        case ToolLocatorError::Case::homebrewGitMissing:
            return "Homebrew's git isn't installed (brew install git).";
        case ToolLocatorError::Case::gitNotFound:
            return "No git found. Install the Command Line Tools or Homebrew's git, or choose one.";
        case ToolLocatorError::Case::claudeNotFound:
            return "The claude command wasn't found. Install Claude Code or choose the command.";
    }
    programmingError("An error of the tool search has no text.");
}

}  // namespace

ToolLocatorError::ToolLocatorError(Case kind, std::string path)
    : LocalizedError(descriptionOf(kind, path)), which(kind), given(std::move(path)) {}

ToolLocatorError ToolLocatorError::notExecutable(const std::string& path) {
    return ToolLocatorError(Case::notExecutable, path);
}

ToolLocatorError ToolLocatorError::commandLineToolsMissing() {
    return ToolLocatorError(Case::commandLineToolsMissing);
}

ToolLocatorError ToolLocatorError::homebrewGitMissing() {
    return ToolLocatorError(Case::homebrewGitMissing);
}

ToolLocatorError ToolLocatorError::gitNotFound() {
    return ToolLocatorError(Case::gitNotFound);
}

ToolLocatorError ToolLocatorError::claudeNotFound() {
    return ToolLocatorError(Case::claudeNotFound);
}

std::string ToolLocatorError::line() const {
    std::string text = "{\"" + std::string(code(which)) + "\":";
    if (which == Case::notExecutable) {
        appendJSON(text, PathPayload{given});
    } else {
        appendJSON(text, NoPayload{});
    }
    return text + "}";
}

ToolLocatorError ToolLocatorError::parse(std::string_view line) {
    auto members = decoded<std::map<std::string, boost::json::value>>(parseJSON(line));
    std::vector<Case> kinds;
    for (const auto& [key, value] : members) {
        if (std::optional<Case> kind = fromCode<Case>(key)) {
            kinds.push_back(*kind);
        }
    }
    if (kinds.size() != 1) {
        throw HelperMessageError("The data can't be read: Invalid number of keys found, expected one.");
    }
    Case kind = kinds.front();
    std::string key(code(kind));
    DecodingPath message(DateCoding::seconds);
    DecodingPath path{&message, key};
    if (kind == Case::notExecutable) {
        PathPayload payload;
        decode(members.at(key), payload, path);
        return notExecutable(payload.path);
    }
    NoPayload none;
    decode(members.at(key), none, path);
    return ToolLocatorError(kind);
}

}  // namespace marlet
