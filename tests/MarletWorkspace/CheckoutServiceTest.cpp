#include "MarletWorkspace/CheckoutService.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <system_error>

#include "CheckoutFixture.h"
#include "TestSupport/ScriptedRunner.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

const std::string git = "/tools/git";

// A helper over a scripted git, in a home folder of its own.
struct Scene {
    // As it goes to the client.
    std::string handle(const HelperRequest& request) const { return service.handle(request).line(); }

    template <class Error>
    void everyCommandThrows(Error error) {
        runner->answer("", [thrown = std::make_exception_ptr(error)](const Command&) -> CommandResult {
            std::rethrow_exception(thrown);
        });
    }

    TemporaryFolder temporary;
    std::filesystem::path home = std::filesystem::canonical(temporary.path());
    std::shared_ptr<ScriptedRunner> runner = std::make_shared<ScriptedRunner>();
    CheckoutService service = serviceOver(runner, home.string());
};

std::string failure(const std::string& message) {
    return HelperReply{HelperReply::Failure{message}}.line();
}

std::string checkout(const std::filesystem::path& path, bool cloned) {
    return HelperReply{HelperReply::Checkout{{path.string(), cloned, std::nullopt}}}.line();
}

const std::string done = HelperReply{HelperReply::Done{}}.line();

HelperRequest inspection(const std::string& path) {
    return {HelperRequest::InspectCheckout{path, app, usingGit(git)}};
}

HelperRequest installation() {
    return {HelperRequest::InstallCommandLineTools{}};
}

TEST(CheckoutServiceTest, toolsAreReported) {
    Scene scene;
    scene.service.locator.isExecutable = [](const std::string&) { return false; };

    ToolReport report;
    report.gitError = "/tools/git isn't an executable file.";
    report.claudeError = "The claude command wasn't found. Install Claude Code or choose the command.";
    EXPECT_EQ(scene.handle({HelperRequest::LocateTools{usingGit(git)}}),
              HelperReply{HelperReply::Tools{report}}.line());
}

TEST(CheckoutServiceTest, aPreparedCheckoutIsTheReply) {
    Scene scene;
    scene.runner->answer("clone", CommandResult{});
    CheckoutRequest request{"~/w", {"app"}, "https://forge.example/team/app", app, std::nullopt, usingGit(git)};

    EXPECT_EQ(scene.handle({HelperRequest::PrepareCheckout{request}}), checkout(scene.home / "w/app", true));
}

TEST(CheckoutServiceTest, anInspectedCheckoutIsTheReplyWithItsResolvedPath) {
    Scene scene;
    std::filesystem::create_directories(scene.home / "app");
    std::filesystem::create_directory_symlink(scene.home / "app", scene.home / "link");
    scene.runner->answer("rev-parse", CommandResult{0, (scene.home / "app").string() + "\n", "", false});
    scene.runner->answer("config", CommandResult{0, "git@forge.example:team/app\n", "", false});

    EXPECT_EQ(scene.handle(inspection("~/link")), checkout(scene.home / "app", false));
}

TEST(CheckoutServiceTest, aTildeAloneInspectsTheHomeFolderItself) {
    Scene scene;
    scene.runner->answer("rev-parse", CommandResult{0, scene.home.string() + "\n", "", false});
    scene.runner->answer("config", CommandResult{0, "git@forge.example:team/app\n", "", false});

    EXPECT_EQ(scene.handle(inspection("~")), checkout(scene.home, false));
    EXPECT_EQ(scene.runner->lines().at(0), "/tools/git -C " + scene.home.string() + " rev-parse --show-toplevel");
}

TEST(CheckoutServiceTest, aMissingGitIsToldAlsoForAPathThatIsMissing) {
    Scene scene;
    scene.service.locator.isExecutable = [](const std::string&) { return false; };

    EXPECT_EQ(scene.handle(inspection("/nowhere")), failure("/tools/git isn't an executable file."));
    EXPECT_TRUE(scene.runner->commands().empty());
}

TEST(CheckoutServiceTest, aFailedInspectionIsAFailure) {
    Scene scene;
    scene.runner->answer("rev-parse", CommandResult{128, "", "", false});

    EXPECT_EQ(scene.handle(inspection("/nowhere")), failure("/nowhere isn't the top folder of a git checkout."));
}

TEST(CheckoutServiceTest, aWorktreeThatCanNotBePreparedIsAFailure) {
    Scene scene;
    scene.runner->answer("rev-parse", CommandResult{128, "", "", false});
    WorktreeRequest request{"/nowhere", app, std::nullopt, "7", std::nullopt, std::nullopt, usingGit(git)};

    EXPECT_EQ(scene.handle({HelperRequest::PrepareWorktree{request}}),
              failure("/nowhere isn't the top folder of a git checkout."));
}

TEST(CheckoutServiceTest, removingAWorktreeThatIsGoneIsDone) {
    Scene scene;

    EXPECT_EQ(scene.handle({HelperRequest::RemoveWorktree{"~/gone", usingGit(git)}}), done);
}

TEST(CheckoutServiceTest, removingWhatIsNoWorktreeIsAFailure) {
    Scene scene;
    scene.runner->answer("--git-common-dir", CommandResult{128, "", "", false});

    EXPECT_EQ(scene.handle({HelperRequest::RemoveWorktree{"~", usingGit(git)}}),
              failure(scene.home.string() + " isn't the top folder of a git checkout."));
}

TEST(CheckoutServiceTest, theDeveloperToolsAreInstalledByTheSystem) {
    Scene scene;
    scene.runner->answer("xcode-select", CommandResult{});

    EXPECT_EQ(scene.handle(installation()), done);
    EXPECT_EQ(scene.runner->commands(),
              std::vector<Command>({{"/usr/bin/xcode-select", {"--install"}, std::nullopt, {}, 60}}));
}

TEST(CheckoutServiceTest, anInstallationThatFailsIsDoneAllTheSame) {
    Scene scene;
    for (const CommandResult& result :
         {CommandResult{1, "", "already installed", false}, CommandResult{15, "", "", true}}) {
        scene.runner->answer("xcode-select", result);
        EXPECT_EQ(scene.handle(installation()), done);
    }
}

TEST(CheckoutServiceTest, anInstallationThatCanNotBeStartedIsAFailure) {
    Scene scene;
    scene.everyCommandThrows(std::system_error(std::make_error_code(std::errc::no_such_file_or_directory)));

    EXPECT_EQ(scene.handle(installation()), failure("The operation failed: No such file or directory."));
}

TEST(CheckoutServiceTest, whateverIsThrownIsAFailure) {
    Scene scene;

    scene.everyCommandThrows(std::bad_alloc());
    EXPECT_EQ(scene.handle(installation()), failure("There isn't enough memory."));

    scene.everyCommandThrows(7);
    EXPECT_EQ(scene.handle(installation()), failure("The operation failed for an unknown reason."));

    scene.everyCommandThrows(LocalizedError("It is raining."));
    EXPECT_EQ(scene.handle(installation()), failure("It is raining."));
}

TEST(CheckoutServiceTest, aFailureIsTextEvenWhereAPathIsNot) {
    Scene scene;
    scene.everyCommandThrows(LocalizedError("/w/\xFF isn't there."));

    EXPECT_EQ(scene.handle(installation()), failure("/w/\xEF\xBF\xBD isn't there."));
}

TEST(CheckoutServiceTest, anAgentThatCanNotBeReachedIsAFailure) {
    Scene scene;
    scene.everyCommandThrows(LocalizedError("It is raining."));

    std::string registered =
        scene.handle({HelperRequest::RegisterMCP{{scene.home.string(), "http://127.0.0.1:1/mcp", "t", usingGit(git)}}});
    std::string opened = scene.handle({HelperRequest::OpenInCopilot{scene.home.string()}});

    EXPECT_EQ(registered, failure("It is raining."));
    EXPECT_EQ(opened, failure("It is raining."));
}

TEST(CheckoutServiceTest, aRegistrationIsDone) {
    Scene scene;
    scene.runner->answer("", CommandResult{});

    EXPECT_EQ(scene.handle({HelperRequest::RegisterCopilotMCP{"http://127.0.0.1:1/mcp", "t"}}), done);
    EXPECT_TRUE(std::filesystem::exists(scene.home / ".copilot/mcp-config.json"));
    EXPECT_EQ(
        scene.handle({HelperRequest::RegisterMCP{{scene.home.string(), "http://127.0.0.1:1/mcp", "t", usingGit(git)}}}),
        done);
    EXPECT_EQ(scene.handle({HelperRequest::OpenInCopilot{scene.home.string()}}), done);
}

}  // namespace
}  // namespace marlet
