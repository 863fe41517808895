// Which git and which claude to use, and what was found of them.
#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>

namespace marlet {

enum class GitChoice { automatic, apple, homebrew, custom };
BOOST_DESCRIBE_ENUM(GitChoice, automatic, apple, homebrew, custom)

std::string title(GitChoice choice);

struct ToolSettings {
    GitChoice git = GitChoice::automatic;
    std::string gitPath;     // for a custom git
    std::string claudePath;  // empty: search

    bool operator==(const ToolSettings&) const = default;
};
BOOST_DESCRIBE_STRUCT(ToolSettings, (), (git, gitPath, claudePath))

struct LocatedTool {
    enum class Variant { apple, homebrew, custom, found };
    BOOST_DESCRIBE_NESTED_ENUM(Variant, apple, homebrew, custom, found)

    std::string path;
    Variant variant = Variant::found;  // custom: the user's own path; found: a search found it

    bool operator==(const LocatedTool&) const = default;
};
BOOST_DESCRIBE_STRUCT(LocatedTool, (), (path, variant))

struct ToolReport {
    std::optional<LocatedTool> git;
    std::optional<std::string> gitVersion;  // the first line of what --version says
    std::optional<std::string> gitError;    // why there is none
    std::optional<LocatedTool> claude;
    std::optional<std::string> claudeVersion;
    std::optional<std::string> claudeError;
    std::optional<std::string> developerDirectory;

    bool operator==(const ToolReport&) const = default;
};
BOOST_DESCRIBE_STRUCT(ToolReport, (),
                      (git, gitVersion, gitError, claude, claudeVersion, claudeError, developerDirectory))

}  // namespace marlet
