#include "MarletWorkspace/ToolLocatorError.h"

#include <gtest/gtest.h>

#include <vector>

namespace marlet {
namespace {

struct ErrorCase {
    ToolLocatorError error;
    ToolLocatorError::Case kind;
    std::string text;
    std::string line;
};

const std::vector<ErrorCase> errorCases{
    {ToolLocatorError::notExecutable("~/my \"bin\"/git"), ToolLocatorError::Case::notExecutable,
     "~/my \"bin\"/git isn't an executable file.", R"({"notExecutable":{"_0":"~/my \"bin\"/git"}})"},
    {ToolLocatorError::commandLineToolsMissing(), ToolLocatorError::Case::commandLineToolsMissing,
     "Apple's git needs the Command Line Tools or Xcode, and `xcode-select -p` reports neither.",
     R"({"commandLineToolsMissing":{}})"},
    {ToolLocatorError::homebrewGitMissing(), ToolLocatorError::Case::homebrewGitMissing,
     "Homebrew's git isn't installed (brew install git).", R"({"homebrewGitMissing":{}})"},
    {ToolLocatorError::gitNotFound(), ToolLocatorError::Case::gitNotFound,
     "No git found. Install the Command Line Tools or Homebrew's git, or choose one.", R"({"gitNotFound":{}})"},
    {ToolLocatorError::claudeNotFound(), ToolLocatorError::Case::claudeNotFound,
     "The claude command wasn't found. Install Claude Code or choose the command.", R"({"claudeNotFound":{}})"},
};

TEST(ToolLocatorErrorTest, everyCaseHasItsText) {
    for (const ErrorCase& expected : errorCases) {
        EXPECT_EQ(expected.error.kind(), expected.kind);
        EXPECT_EQ(expected.error.errorDescription(), expected.text);
    }
    EXPECT_EQ(errorCases.front().error.path(), "~/my \"bin\"/git");
}

TEST(ToolLocatorErrorTest, everyCaseTravelsAsAnObjectWithItsNameAsTheOneKey) {
    for (const ErrorCase& expected : errorCases) {
        EXPECT_EQ(expected.error.line(), expected.line);
        EXPECT_EQ(ToolLocatorError::parse(expected.line), expected.error) << expected.line;
    }
    EXPECT_FALSE(ToolLocatorError::notExecutable("a") == ToolLocatorError::notExecutable("b"));
    EXPECT_EQ(ToolLocatorError::parse(R"({"new":1,"gitNotFound":{"more":2}})"), ToolLocatorError::gitNotFound());
}

TEST(ToolLocatorErrorTest, anythingElseIsNoSuchError) {
    auto failureOf = [](const std::string& line) -> std::string {
        try {
            ToolLocatorError::parse(line);
        } catch (const LocalizedError& error) {
            return error.errorDescription();
        }
        return "(none)";
    };
    const std::string wrongCount = "The data can't be read: Invalid number of keys found, expected one.";

    EXPECT_EQ(failureOf("{}"), wrongCount);
    EXPECT_EQ(failureOf(R"({"unknown":{}})"), wrongCount);
    EXPECT_EQ(failureOf(R"({"gitNotFound":{},"claudeNotFound":{}})"), wrongCount);
    EXPECT_EQ(failureOf("[]"), "The data can't be read: it isn't an object.");
    EXPECT_EQ(failureOf(R"({"gitNotFound":null})"), "The data can't be read: \"gitNotFound\" isn't an object.");
    EXPECT_EQ(failureOf(R"({"notExecutable":{}})"), "The data can't be read: \"notExecutable._0\" is missing.");
    EXPECT_NE(failureOf("{"), "(none)");
}

}  // namespace
}  // namespace marlet
