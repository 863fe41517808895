#pragma once

#include <boost/describe.hpp>
#include <string>
#include <string_view>

#include "MarletBase/LocalizedError.h"

namespace marlet {

// Why a tool wasn't found, in words for the user.
class ToolLocatorError final : public LocalizedError {
public:
    enum class Case { notExecutable, commandLineToolsMissing, homebrewGitMissing, gitNotFound, claudeNotFound };
    BOOST_DESCRIBE_NESTED_ENUM(Case, notExecutable, commandLineToolsMissing, homebrewGitMissing, gitNotFound,
                               claudeNotFound)

    static ToolLocatorError notExecutable(const std::string& path);
    static ToolLocatorError commandLineToolsMissing();
    static ToolLocatorError homebrewGitMissing();
    static ToolLocatorError gitNotFound();
    static ToolLocatorError claudeNotFound();

    Case kind() const { return which; }
    const std::string& path() const { return given; }  // of notExecutable

    // In the form of the helper's messages: an object with the case's name as its one key.
    std::string line() const;
    // Throws LocalizedError.
    static ToolLocatorError parse(std::string_view line);

    bool operator==(const ToolLocatorError& other) const { return which == other.which && given == other.given; }

private:
    explicit ToolLocatorError(Case kind, std::string path = {});

    Case which;
    std::string given;
};

}  // namespace marlet
