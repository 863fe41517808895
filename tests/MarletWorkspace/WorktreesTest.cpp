#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <system_error>
#include <thread>

#include "MarletWorkspace/CheckoutError.h"
#include "MarletWorkspace/FolderTurnInternal.h"
#include "WorktreeScene.h"

namespace marlet {
namespace {

using Scene = WorktreeScene;

Command addingNewBranch(const Scene& scene, const std::string& startPoint) {
    return Scene::in(scene.checkout, {"worktree", "add", "--no-track", "-b", "marlet/7-fix", scene.target, startPoint},
                     300);
}

TEST(WorktreesTest, aNewWorktreeBeginsAtTheDefaultBranchOfTheServer) {
    Scene scene;
    WorktreeRequest request = scene.request();
    request.token = "s3cret";

    CheckoutResult result = scene.prepare(request);

    EXPECT_EQ(result, (CheckoutResult{scene.target, false, "marlet/7-fix"}));
    EXPECT_EQ(scene.laterCommands(),
              std::vector<Command>(
                  {Scene::in(scene.checkout, {"worktree", "prune"}),
                   Scene::in(scene.checkout, {"rev-parse", "--verify", "--quiet", "refs/heads/marlet/7-fix"}),
                   Scene::in(scene.checkout, {"remote", "get-url", "origin"}),
                   Scene::in(scene.checkout, {"fetch", "--quiet", "--no-tags", "origin"}, 300,
                             gitEnvironment(Scene::remote, "s3cret")),
                   Scene::in(scene.checkout, {"rev-parse", "--verify", "--quiet", "refs/remotes/origin/HEAD"}),
                   addingNewBranch(scene, Scene::commit)}));
    EXPECT_TRUE(std::filesystem::is_directory(scene.container));
    EXPECT_FALSE(std::filesystem::exists(scene.target)) << "that one is git's to make";
}

TEST(WorktreesTest, aPullRequestIsFetchedAndBegunAt) {
    Scene scene;
    WorktreeRequest request = scene.request();
    request.pullRequestRef = "refs/pull/7/head";
    request.token = "s3cret";

    CheckoutResult result = scene.prepare(request);

    EXPECT_EQ(result, (CheckoutResult{scene.target, false, "marlet/7-fix"}));
    std::vector<Command> commands = scene.laterCommands();
    ASSERT_EQ(commands.size(), 6U);
    EXPECT_EQ(commands[3], Scene::in(scene.checkout, {"fetch", "--quiet", "--no-tags", "origin", "refs/pull/7/head"},
                                     300, gitEnvironment(Scene::remote, "s3cret")));
    EXPECT_EQ(commands[4], Scene::in(scene.checkout, {"rev-parse", "--verify", "FETCH_HEAD"}));
    EXPECT_EQ(commands[5], addingNewBranch(scene, Scene::commit));
}

TEST(WorktreesTest, anOriginBySSHIsShownNoToken) {
    Scene scene;
    scene.says("remote get-url origin", "git@forge.example:team/app.git");
    WorktreeRequest request = scene.request();
    request.token = "s3cret";

    scene.prepare(request);

    EXPECT_EQ(scene.laterCommands().at(3).environment, gitEnvironment("git@forge.example:team/app.git", "s3cret"));
}

TEST(WorktreesTest, aPullRequestThatCanNotBeFetchedIsAFailure) {
    Scene scene;
    scene.runner->answer("fetch", CommandResult{128, "", "fatal: couldn't find s3cret\n", false});
    WorktreeRequest request = scene.request();
    request.pullRequestRef = "refs/pull/7/head";
    request.token = "s3cret";

    EXPECT_EQ(scene.failure(request), "git fetch failed: fatal: couldn't find ***");
    EXPECT_FALSE(std::filesystem::exists(scene.container));
}

TEST(WorktreesTest, aPullRequestWhoseFetchTakesTooLongIsAFailure) {
    Scene scene;
    scene.runner->answer("fetch", CommandResult{0, "", "", true});
    WorktreeRequest request = scene.request();
    request.pullRequestRef = "refs/pull/7/head";

    EXPECT_EQ(scene.failure(request), "git fetch failed: it took too long and was stopped");
}

TEST(WorktreesTest, offlineItBeginsWhereTheServerWasLast) {
    Scene scene;
    for (const CommandResult& offline : {CommandResult{128, "", "no route", false}, CommandResult{15, "", "", true}}) {
        scene.runner->answer("fetch", offline);
        EXPECT_EQ(scene.prepare(scene.request()).branch, "marlet/7-fix");
        EXPECT_EQ(scene.runner->commands().back(), addingNewBranch(scene, Scene::commit));
    }
}

TEST(WorktreesTest, offlineWithoutAKnownDefaultBranchItBeginsAtTheCheckoutsOwnHead) {
    Scene scene;
    scene.fails("fetch");
    scene.runner->answer("refs/remotes/origin/HEAD", CommandResult{1, "", "", false});

    scene.prepare(scene.request());

    EXPECT_EQ(scene.runner->commands().back(), addingNewBranch(scene, "HEAD"));
}

TEST(WorktreesTest, aBranchOfBeforeIsUsedAgainWithoutAFetch) {
    Scene scene;
    scene.says("refs/heads/marlet/7-fix", Scene::commit);

    CheckoutResult result = scene.prepare(scene.request());

    EXPECT_EQ(result, (CheckoutResult{scene.target, false, "marlet/7-fix"}));
    EXPECT_EQ(scene.laterCommands(),
              std::vector<Command>(
                  {Scene::in(scene.checkout, {"worktree", "prune"}),
                   Scene::in(scene.checkout, {"rev-parse", "--verify", "--quiet", "refs/heads/marlet/7-fix"}),
                   Scene::in(scene.checkout, {"worktree", "add", scene.target, "marlet/7-fix"}, 300)}));
}

TEST(WorktreesTest, aPruneThatFailsIsNoFailure) {
    Scene scene;
    scene.fails("worktree prune");

    EXPECT_EQ(scene.failure(scene.request()), "");
}

TEST(WorktreesTest, anAddThatFailsIsTold) {
    Scene scene;
    scene.runner->answer("worktree add", CommandResult{128, "", "fatal: the disk is full\n", false});
    EXPECT_EQ(scene.failure(scene.request()), "git worktree add failed: fatal: the disk is full");

    scene.runner->answer("worktree add", CommandResult{0, "", "", true});
    EXPECT_EQ(scene.failure(scene.request()), "git worktree add failed: it took too long and was stopped");
}

TEST(WorktreesTest, aRememberedWorktreeIsUsedAgain) {
    Scene scene;
    std::string remembered = (scene.root / "elsewhere").string();
    scene.hasWorktree(remembered, "feature");
    WorktreeRequest request = scene.request();
    request.existing = "~/elsewhere";
    request.name = "Not Valid";  // isn't needed

    CheckoutResult result = scene.prepare(request);

    EXPECT_EQ(result, (CheckoutResult{remembered, false, "feature"}));
    EXPECT_EQ(scene.laterCommands(), Scene::checkOf(remembered));
}

TEST(WorktreesTest, aRememberedWorktreeWithADetachedHeadHasNoBranch) {
    Scene scene;
    std::string remembered = (scene.root / "elsewhere").string();
    scene.hasWorktree(remembered, "feature");
    WorktreeRequest request = scene.request();
    request.existing = remembered;

    for (const CommandResult& detached : {CommandResult{1, "", "", false}, CommandResult{0, "feature\n", "", true}}) {
        scene.runner->answer("symbolic-ref", detached);
        EXPECT_EQ(scene.prepare(request), (CheckoutResult{remembered, false, std::nullopt}));
    }
}

TEST(WorktreesTest, aRememberedPathThatIsNoWorktreeOfTheRepositoryIsDropped) {
    Scene scene;
    std::string path = (scene.root / "elsewhere").string();
    std::string check = path + " rev-parse --path-format=absolute --show-toplevel";
    scene.says(path + " symbolic-ref", "feature");
    WorktreeRequest request = scene.request();
    request.existing = path;
    std::string worktree = scene.common + "/worktrees/elsewhere";
    for (const CommandResult& answer : {
             CommandResult{128, "", "fatal: not a git repository", false},
             CommandResult{0, path + "\n" + worktree + "\n" + scene.common + "\n", "", true},
             CommandResult{1, path + "\n" + worktree + "\n" + scene.common + "\n", "", false},
             CommandResult{0, path + "/above\n" + worktree + "\n" + scene.common + "\n", "", false},
             CommandResult{0, path + "\n" + scene.common + "\n" + scene.common + "\n", "", false},
             CommandResult{0, path + "\n" + worktree + "\n/w/other/.git\n", "", false},
             CommandResult{0, path + "\n" + worktree + "\n", "", false},
             CommandResult{0, path + "\n" + worktree + "\n" + scene.common + "\n" + scene.common + "\n", "", false},
             CommandResult{0, "", "", false},
         }) {
        scene.runner->answer(check, answer);
        EXPECT_EQ(scene.prepare(request).path, scene.target) << answer.output;
    }
}

TEST(WorktreesTest, aRememberedPathThatCanNotBeLookedAtIsDropped) {
    Scene scene;
    WorktreeRequest request = scene.request();
    request.existing = (scene.root / "elsewhere").string();
    scene.runner->answer("elsewhere", [](const Command&) -> CommandResult {
        throw std::system_error(std::make_error_code(std::errc::not_enough_memory));
    });

    EXPECT_EQ(scene.prepare(request).path, scene.target);

    request.existing = std::string("/else\0where", 11);
    EXPECT_EQ(scene.prepare(request).path, scene.target) << "no path at all";
}

TEST(WorktreesTest, whatGitNamesByAnotherWayIsTheSame) {
    Scene scene;
    std::string remembered = (scene.root / "elsewhere").string();
    std::filesystem::create_directories(remembered);
    std::filesystem::create_directory_symlink(scene.root, scene.root / "link");
    std::string link = (scene.root / "link").string();
    scene.says("rev-parse --path-format=absolute --git-common-dir", link + "/app/.git");
    scene.says(remembered + " rev-parse --path-format=absolute --show-toplevel",
               link + "/elsewhere\n\n" + scene.common + "/worktrees/elsewhere\n" + link + "/app/../app/.git/");
    scene.says(remembered + " symbolic-ref", "feature");
    WorktreeRequest request = scene.request();
    request.existing = link + "/elsewhere";

    EXPECT_EQ(scene.prepare(request), (CheckoutResult{remembered, false, "feature"}));
}

TEST(WorktreesTest, theMainCheckoutIsNoWorktreeToUseAgain) {
    Scene scene;
    scene.says(scene.checkout + " rev-parse --path-format=absolute --show-toplevel",
               scene.checkout + "\n" + scene.common + "\n" + scene.common);
    WorktreeRequest request = scene.request();
    request.existing = scene.checkout;

    EXPECT_EQ(scene.prepare(request).path, scene.target);
}

TEST(WorktreesTest, aWorktreeInItsPlaceIsUsedAgain) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/renamed");

    CheckoutResult result = scene.prepare(scene.request());

    EXPECT_EQ(result, (CheckoutResult{scene.target, false, "marlet/renamed"}));
    EXPECT_EQ(scene.laterCommands(), Scene::checkOf(scene.target));
}

TEST(WorktreesTest, anythingElseInItsPlaceIsRefused) {
    Scene scene;
    std::string refused = scene.target + " already exists and isn't a checkout of this repository.";
    std::filesystem::create_directories(scene.target);
    EXPECT_EQ(scene.failure(scene.request()), refused) << "not even an empty folder";

    std::filesystem::remove(scene.target);
    std::ofstream(scene.target) << "a file";
    EXPECT_EQ(scene.failure(scene.request()), refused);
}

TEST(WorktreesTest, aNameThatIsNoneIsRefusedBeforeAnythingIsDone) {
    Scene scene;
    for (const char* name : {"", "A", "-a", "a b", "../a", "a/b", "a.b", "\xC3\xA9"}) {
        WorktreeRequest request = scene.request();
        request.name = name;
        EXPECT_EQ(scene.failure(request),
                  "\xE2\x80\x9C" + std::string(name) + "\xE2\x80\x9D can't be used as a worktree name.");
    }
    for (const Command& command : scene.runner->commands()) {
        EXPECT_EQ(lineOf(command).find("worktree"), std::string::npos) << lineOf(command);
    }
}

TEST(WorktreesTest, aCheckoutOfAnotherRepositoryIsToldFirst) {
    Scene scene;
    scene.says("config", "git@forge.example:team/other.git");
    WorktreeRequest request = scene.request();
    request.name = "Not Valid";

    EXPECT_EQ(scene.failure(request),
              scene.checkout + " is a checkout of another repository (git@forge.example:team/other.git).");
    EXPECT_EQ(scene.runner->commands().size(), 2U);
}

TEST(WorktreesTest, aMissingGitIsToldBeforeAnythingIsAsked) {
    Scene scene;
    scene.service.locator.isExecutable = [](const std::string&) { return false; };

    EXPECT_EQ(scene.failure(scene.request()), "/tools/git isn't an executable file.");
    EXPECT_TRUE(scene.runner->commands().empty());
}

TEST(WorktreesTest, aCheckoutWhoseRepositoryGitDoesNotNameIsNone) {
    Scene scene;
    for (const CommandResult& answer :
         {CommandResult{128, "", "", false}, CommandResult{1, scene.common + "\n", "", false},
          CommandResult{0, scene.common + "\n", "", true}, CommandResult{0, "", "", false}}) {
        scene.runner->answer("--path-format=absolute --git-common-dir", answer);
        EXPECT_EQ(scene.failure(scene.request()), scene.checkout + " isn't the top folder of a git checkout.");
    }
}

TEST(WorktreesTest, aCheckoutByALinkOrATildeIsTheOneItLeadsTo) {
    Scene scene;
    std::filesystem::create_directory_symlink(scene.checkout, scene.root / "link");
    WorktreeRequest request = scene.request();
    request.checkout = "~/link";

    EXPECT_EQ(scene.prepare(request).path, scene.target);
}

TEST(WorktreesTest, aContainerThatLeadsElsewhereIsFollowedAndAPlaceThatDoesIsRefused) {
    Scene scene;
    std::filesystem::path elsewhere = scene.root / "elsewhere";
    std::filesystem::create_directories(elsewhere);
    std::filesystem::create_directory_symlink(elsewhere, scene.container);
    EXPECT_EQ(scene.prepare(scene.request()).path, (elsewhere / "7-fix").string());

    std::filesystem::create_directory_symlink(scene.checkout, elsewhere / "7-fix");
    EXPECT_EQ(scene.failure(scene.request()), scene.checkout + " is outside the root folder.");
}

// What git fetched last is in one file of the repository.
TEST(WorktreesTest, aSecondRequestForARepositoryWaitsForTheFirst) {
    Scene scene;
    std::string failureOfSecond;
    std::atomic<bool> ended = false;
    bool waited = false;
    std::jthread other;
    scene.says("FETCH_HEAD", "the second one's");
    scene.runner->answer("refs/pull/1/head", [&](const Command&) {
        scene.says("FETCH_HEAD", "the first one's");
        other = std::jthread([&] {
            WorktreeRequest request = scene.request();
            request.name = "2";
            request.pullRequestRef = "refs/pull/2/head";
            failureOfSecond = scene.failure(request);
            ended = true;
        });
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!waited && !ended && std::chrono::steady_clock::now() < deadline) {
            waited = FolderTurn::requestsFor(scene.common) == 2;
            std::this_thread::yield();
        }
        return CommandResult{};
    });
    scene.runner->answer("refs/pull/2/head", [&](const Command&) {
        scene.says("FETCH_HEAD", "the second one's");
        return CommandResult{};
    });
    WorktreeRequest request = scene.request();
    request.pullRequestRef = "refs/pull/1/head";

    scene.prepare(request);
    other.join();

    EXPECT_TRUE(waited);
    EXPECT_EQ(failureOfSecond, "");
    std::vector<std::string> lines = scene.runner->lines();
    auto added = [&](const std::string& start) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.ends_with("-fix " + start); });
    };
    EXPECT_EQ(added("the first one's"), 1);
}

TEST(WorktreesTest, aRememberedWorktreeIsUsedWithoutWaiting) {
    Scene scene;
    std::string remembered = (scene.root / "elsewhere").string();
    scene.hasWorktree(remembered, "feature");
    WorktreeRequest request = scene.request();
    request.existing = remembered;
    FolderTurn someoneFetches(scene.common);

    EXPECT_EQ(scene.prepare(request).path, remembered);
}

}  // namespace
}  // namespace marlet
