#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "RealGitScene.h"

namespace marlet {
namespace {

using Scene = RealGitScene;
using Strings = std::vector<std::string>;

std::string notACheckout(const std::filesystem::path& path) {
    return path.string() + " isn't the top folder of a git checkout.";
}

// Gives every command half a second.
class HurriedRunner final : public CommandRunner {
public:
    CommandResult run(const Command& command) const override {
        Command hurried = command;
        hurried.timeout = 0.5;
        return runner.run(hurried);
    }

private:
    ProcessRunner runner;
};

// The server of this scene does so before it sends anything of a repository.
void beforeSending(const Scene& scene, const std::string& script) {
    writeScript(scene.root() / "sending", script);
    scene.git(scene.root(), {"config", "--global", "uploadpack.packObjectsHook", (scene.root() / "sending").string()});
}

void sendAsUsual(const Scene& scene) {
    scene.git(scene.root(), {"config", "--global", "--unset", "uploadpack.packObjectsHook"});
}

// A clone whose git was killed at once while it waited for the server.
std::string killedClone(Scene& scene) {
    std::filesystem::path note = scene.root() / "process";
    writeScript(scene.root() / "git", "echo $$ >" + note.string() + "\nexec /usr/bin/git \"$@\"\n");
    beforeSending(scene, "kill -KILL $(cat " + note.string() + ")\n");
    CheckoutRequest request{scene.root().string(),
                            {"app"},
                            GitFixture::https("team/app"),
                            app,
                            std::nullopt,
                            usingGit((scene.root() / "git").string())};
    std::string failure = failureOf([&] { scene.service.prepareCheckout(request); });
    sendAsUsual(scene);
    return failure;
}

TEST(CheckoutsGitTest, aRepositoryIsClonedByHTTPSAndAcceptedTheNextTime) {
    Scene scene;
    std::string remote = GitFixture::https("team/app");

    CheckoutResult first = scene.clone(remote, "app");
    CheckoutResult second = scene.clone(remote, "app");

    EXPECT_EQ(first, (CheckoutResult{(scene.root() / "app").string(), true, std::nullopt}));
    EXPECT_EQ(second, (CheckoutResult{(scene.root() / "app").string(), false, std::nullopt}));
    EXPECT_EQ(contentOf(scene.root() / "app/README.md"), "The first words of team/app.\n");
    EXPECT_EQ(scene.git(first.path, {"config", "remote.origin.url"}), remote);
}

TEST(CheckoutsGitTest, aRepositoryIsClonedBySSHAndIsTheSameByItsOtherAddress) {
    Scene scene;

    CheckoutResult first = scene.clone(GitFixture::ssh("team/app"), "app");

    EXPECT_TRUE(first.cloned);
    EXPECT_FALSE(scene.clone(GitFixture::https("TEAM/App"), "app").cloned);
}

TEST(CheckoutsGitTest, anEmptyFolderIsClonedInto) {
    Scene scene;
    std::filesystem::create_directories(scene.root() / "app");

    EXPECT_TRUE(scene.clone(GitFixture::https("team/app"), "app").cloned);
    EXPECT_TRUE(std::filesystem::exists(scene.root() / "app/README.md"));
}

TEST(CheckoutsGitTest, aRepositoryWithoutCommitsIsACheckoutToo) {
    Scene scene;
    scene.server.addEmptyRepository("team/empty");
    std::string remote = GitFixture::https("team/empty");

    EXPECT_TRUE(scene.clone(remote, "empty").cloned);
    EXPECT_FALSE(scene.clone(remote, "empty").cloned);
}

TEST(CheckoutsGitTest, namesOfAnyScriptAndPunctuationAreFolders) {
    Scene scene;
    scene.server.addRepository("größe/日本");
    for (const char* folder : {"Straße 日本", "it's \"quoted\"", "-C", "back\\slash", "tab\there"}) {
        std::string remote = GitFixture::https("größe/日本");
        EXPECT_EQ(scene.clone(remote, folder).path, (scene.root() / folder).string());
        EXPECT_FALSE(scene.clone(remote, folder).cloned);
    }
}

TEST(CheckoutsGitTest, aFolderWithALineEndInItsNameIsNoCheckout) {
    Scene scene;
    std::string remote = GitFixture::https("team/app");
    EXPECT_TRUE(scene.clone(remote, "two\nlines").cloned);

    EXPECT_EQ(failureOf([&] { scene.clone(remote, "two\nlines"); }),
              (scene.root() / "two\nlines").string() + " already exists and isn't a checkout of this repository.");
}

TEST(CheckoutsGitTest, onlyTheTopFolderOfACheckoutIsOne) {
    Scene scene;
    std::filesystem::path checkout = scene.checkout();
    std::filesystem::create_directories(checkout / "src");
    writeFile(scene.root() / "file", "text");

    EXPECT_EQ(scene.failureOfInspection(checkout), "");
    EXPECT_EQ(scene.failureOfInspection(checkout / "src"), notACheckout(checkout / "src"));
    EXPECT_EQ(scene.failureOfInspection(checkout / ".git"), notACheckout(checkout / ".git"));
    EXPECT_EQ(scene.failureOfInspection(scene.root()), notACheckout(scene.root()));
    EXPECT_EQ(scene.failureOfInspection(scene.root() / "file"), notACheckout(scene.root() / "file"));
    EXPECT_EQ(scene.failureOfInspection(scene.root() / "missing"), notACheckout(scene.root() / "missing"));
    EXPECT_EQ(scene.failureOfInspection(scene.server.bare("team/app")), notACheckout(scene.server.bare("team/app")));
}

TEST(CheckoutsGitTest, aCheckoutBehindALinkIsFound) {
    Scene scene;
    std::filesystem::create_directory_symlink(scene.checkout(), scene.root() / "link");

    EXPECT_EQ(scene.failureOfInspection(scene.root() / "link"), "");
    EXPECT_EQ(scene.failureOfInspection((scene.root() / "link").string() + "/"), "");
}

TEST(CheckoutsGitTest, aCheckoutOfAnotherRepositoryIsRefused) {
    Scene scene;
    scene.server.addRepository("team/other");
    std::string path = scene.clone(GitFixture::ssh("team/other"), "app").path;

    EXPECT_EQ(failureOf([&] { scene.checkout(); }),
              path + " is a checkout of another repository (git@forge.example:team/other.git).");
}

TEST(CheckoutsGitTest, aCheckoutWithoutARemoteIsRefused) {
    Scene scene;
    std::filesystem::path path = scene.root() / "app";
    std::filesystem::create_directories(path);
    scene.git(path, {"init", "--quiet"});

    EXPECT_EQ(scene.failureOfInspection(path), path.string() + " is a checkout of another repository (no origin).");
}

TEST(CheckoutsGitTest, aSubmoduleIsACheckoutOfItsOwnRepository) {
    Scene scene;
    scene.server.addRepository("team/whole");
    std::filesystem::path whole = scene.clone(GitFixture::https("team/whole"), "whole").path;
    scene.git(whole, {"submodule", "--quiet", "add", GitFixture::https("team/app"), "part"});

    EXPECT_EQ(scene.failureOfInspection(whole / "part"), "");
    EXPECT_EQ(scene.failureOfInspection(whole),
              whole.string() + " is a checkout of another repository (https://forge.example/team/whole.git).");
}

TEST(CheckoutsGitTest, aRepositoryThatIsMissingLeavesNothingBehind) {
    Scene scene;

    std::string failure = failureOf([&] { scene.clone(GitFixture::https("team/late"), "late"); });

    EXPECT_TRUE(failure.starts_with("git clone failed: ")) << failure;
    EXPECT_NE(failure.find("and the repository exists."), std::string::npos) << failure;
    EXPECT_FALSE(std::filesystem::exists(scene.root() / "late"));
    scene.server.addRepository("team/late");
    EXPECT_TRUE(scene.clone(GitFixture::https("team/late"), "late").cloned);
}

TEST(CheckoutsGitTest, aFileAndALinkToNowhereAreNotClonedOver) {
    Scene scene;
    writeFile(scene.root() / "app", "text");
    EXPECT_EQ(failureOf([&] { scene.checkout(); }),
              (scene.root() / "app").string() + " already exists and isn't a checkout of this repository.");
    EXPECT_EQ(contentOf(scene.root() / "app"), "text");

    std::filesystem::create_symlink(scene.server.bare("nowhere"), scene.root() / "link");
    std::string failure = failureOf([&] { scene.clone(GitFixture::https("team/app"), "link"); });
    EXPECT_TRUE(failure.starts_with("git clone failed: ")) << failure;
    EXPECT_FALSE(std::filesystem::exists(scene.server.bare("nowhere")));
}

TEST(CheckoutsGitTest, aCloneThatIsStoppedLeavesNothingBehind) {
    Scene scene;
    beforeSending(scene, "sleep 60\n");
    CheckoutService hurried = scene.service;
    hurried.runner = std::make_shared<HurriedRunner>();
    CheckoutRequest request{scene.root().string(),   {"app"}, GitFixture::https("team/app"), app, std::nullopt,
                            usingGit(Scene::gitPath)};

    EXPECT_EQ(failureOf([&] { hurried.prepareCheckout(request); }),
              "git clone failed: it took too long and was stopped");

    EXPECT_FALSE(std::filesystem::exists(scene.root() / "app"));
    sendAsUsual(scene);
    EXPECT_TRUE(scene.clone(GitFixture::https("team/app"), "app").cloned);
}

// Git can't clean up then, and what it leaves has the repository's address: a checkout without commits, like the clone
// of an empty repository. The user sees it by the worktree that can't begin anywhere.
TEST(CheckoutsGitTest, aCloneThatWasKilledIsACheckoutWithoutCommits) {
    Scene scene;

    std::string failure = killedClone(scene);

    EXPECT_TRUE(failure.starts_with("git clone failed: ")) << failure;
    EXPECT_FALSE(scene.clone(GitFixture::https("team/app"), "app").cloned);
    std::string next = scene.failure(scene.request("7-fix"));
    EXPECT_EQ(next,
              "git worktree add failed: Preparing worktree (new branch 'marlet/7-fix') "
              "fatal: not a valid object name: 'HEAD'");
    EXPECT_FALSE(std::filesystem::exists(scene.container() / "7-fix"));
    EXPECT_EQ(scene.git(scene.root() / "app", {"branch", "--list"}), "");

    std::filesystem::remove_all(scene.root() / "app");
    EXPECT_TRUE(scene.clone(GitFixture::https("team/app"), "app").cloned);
    EXPECT_EQ(scene.failure(scene.request("7-fix")), "");
}

TEST(CheckoutsGitTest, ofSeveralRequestsForAFolderOneClones) {
    Scene scene;
    std::vector<std::string> failures(4);
    std::vector<CheckoutResult> results(failures.size());
    {
        std::vector<std::jthread> threads;
        for (size_t number = 0; number < failures.size(); ++number) {
            threads.emplace_back([&, number] {
                failures[number] =
                    failureOf([&] { results[number] = scene.clone(GitFixture::https("team/app"), "app"); });
            });
        }
    }

    EXPECT_EQ(failures, Strings(4));
    EXPECT_EQ(std::count_if(results.begin(), results.end(), [](const auto& result) { return result.cloned; }), 1);
    for (const CheckoutResult& result : results) {
        EXPECT_EQ(result.path, (scene.root() / "app").string());
    }
    EXPECT_EQ(scene.git(scene.root() / "app", {"status", "--porcelain"}), "");
}

}  // namespace
}  // namespace marlet
