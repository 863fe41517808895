#include "MarletHelper/HelperSurroundings.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <list>

#include "MarletBase/Text.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

TEST(HelperSurroundingsTest, everyVariableThatGitKeepsToARepositoryIsDropped) {
    ChildOutcome known = runChild({"git", "rev-parse", "--local-env-vars"});
    ASSERT_EQ(known.status, 0);
    std::vector<std::string> names{"GIT_NAMESPACE", "GIT_QUARANTINE_PATH"};
    for (std::string_view name : pieces(known.output, '\n')) {
        if (!name.starts_with("GIT_CONFIG_")) {
            names.emplace_back(name);
        }
    }
    EXPECT_GT(names.size(), 8U);
    std::list<EnvironmentVariable> scopes;
    for (const std::string& name : names) {
        scopes.emplace_back(name, "/elsewhere");
    }

    dropRepositoryVariables();

    for (const std::string& name : names) {
        EXPECT_EQ(std::getenv(name.c_str()), nullptr) << name;
    }
}

TEST(HelperSurroundingsTest, theUsersOwnVariablesOfGitStay) {
    std::list<EnvironmentVariable> scopes;
    for (const char* name :
         {"GIT_CONFIG_GLOBAL", "GIT_CONFIG_COUNT", "GIT_CONFIG_KEY_0", "GIT_CONFIG_VALUE_0", "GIT_CONFIG_PARAMETERS",
          "GIT_SSH_COMMAND", "GIT_AUTHOR_NAME", "GIT_CEILING_DIRECTORIES"}) {
        scopes.emplace_back(name, "mine");
    }

    dropRepositoryVariables();

    for (const char* name :
         {"GIT_CONFIG_GLOBAL", "GIT_CONFIG_COUNT", "GIT_CONFIG_KEY_0", "GIT_CONFIG_VALUE_0", "GIT_CONFIG_PARAMETERS",
          "GIT_SSH_COMMAND", "GIT_AUTHOR_NAME", "GIT_CEILING_DIRECTORIES"}) {
        EXPECT_STREQ(std::getenv(name), "mine") << name;
    }
}

TEST(HelperSurroundingsTest, homeIsWhatTheEnvironmentSaysOrElseTheSystem) {
    {
        EnvironmentVariable home("HOME", "/home/ada");
        EXPECT_EQ(userHomeDirectory(), "/home/ada");
    }
    for (const std::optional<std::string>& none : {std::optional<std::string>(), std::optional<std::string>("")}) {
        EnvironmentVariable home("HOME", none);
        EXPECT_EQ(userHomeDirectory(), ::getpwuid(::getuid())->pw_dir);
    }
}

TEST(HelperSurroundingsTest, theServiceFindsAndRunsWhatThisMachineHas) {
    TemporaryFolder folder;
    EnvironmentVariable home("HOME", folder.path().string());
    EnvironmentVariable path("PATH", "/usr/bin:/bin");

    CheckoutService service = liveCheckoutService();

    EXPECT_EQ(service.homeDirectory, folder.path());
    EXPECT_EQ(service.locator.homeDirectory, folder.path());
    EXPECT_EQ(service.locator.homebrewPrefixes, (std::vector<std::string>{"/opt/homebrew", "/usr/local"}));
    EXPECT_TRUE(service.locator.isExecutable("/bin/sh"));
    CommandResult result = service.runner->run({"/bin/sh", {"-c", "echo $PATH"}});
    EXPECT_EQ(result.output,
              "/usr/bin:/bin:" + folder.path().string() + "/.local/bin:/opt/homebrew/bin:/usr/local/bin\n");
}

}  // namespace
}  // namespace marlet
