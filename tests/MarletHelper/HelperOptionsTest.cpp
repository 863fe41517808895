#include "MarletHelper/HelperOptions.h"

#include <gtest/gtest.h>

#include "MarletIPC/LineServer.h"
#include "TestSupport/EnvironmentVariable.h"

namespace marlet {
namespace {

TEST(HelperOptionsTest, withoutArgumentsAllIsAsUsual) {
    EXPECT_EQ(HelperOptions::parse({}), HelperOptions{});
}

TEST(HelperOptionsTest, everyOptionIsRead) {
    EXPECT_EQ(HelperOptions::parse({"--socket", "/tmp/s", "--until-input-ends"}),
              (HelperOptions{"/tmp/s", true, false}));
    EXPECT_EQ(HelperOptions::parse({"--socket=/tmp/=s"}), (HelperOptions{"/tmp/=s", false, false}));
    EXPECT_EQ(HelperOptions::parse({"--help"}), (HelperOptions{std::nullopt, false, true}));
}

TEST(HelperOptionsTest, aSocketIsWhereThePathLeadsAtTheStart) {
    EXPECT_EQ(HelperOptions::parse({"--socket", "s"}).socket, std::filesystem::current_path() / "s");
}

TEST(HelperOptionsTest, anythingElseIsRefused) {
    auto refusal = [](const std::vector<std::string>& arguments) -> std::string {
        try {
            HelperOptions::parse(arguments);
        } catch (const HelperUsageError& error) {
            return error.errorDescription();
        }
        return "(none)";
    };
    EXPECT_EQ(refusal({"--socket"}), "--socket needs a path.");
    EXPECT_EQ(refusal({"--socket", ""}), "--socket needs a path.");
    EXPECT_EQ(refusal({"--socket="}), "--socket needs a path.");
    EXPECT_EQ(refusal({"--sockets"}), "The argument \"--sockets\" isn't known.");
    EXPECT_EQ(refusal({"--until-input-ends", "now"}), "The argument \"now\" isn't known.");
    EXPECT_EQ(refusal({""}), "The argument \"\" isn't known.");
}

TEST(HelperOptionsTest, theUsualSocketIsInTheSessionsFolder) {
    EnvironmentVariable folder("XDG_RUNTIME_DIR", "/run/user/7");
    EXPECT_EQ(defaultHelperSocket(), "/run/user/7/io.tolvane.Marlet.Helper.sock");
}

TEST(HelperOptionsTest, withoutASessionThereIsNoUsualSocket) {
    for (const std::optional<std::string>& value :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("relative")}) {
        EnvironmentVariable folder("XDG_RUNTIME_DIR", value);
        EXPECT_THROW(defaultHelperSocket(), LineServerError);
    }
}

}  // namespace
}  // namespace marlet
