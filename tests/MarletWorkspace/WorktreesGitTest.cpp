#include <gtest/gtest.h>

#include <thread>

#include "RealGitScene.h"

namespace marlet {
namespace {

// With a checkout of "team/app".
struct Scene : RealGitScene {
    Scene() { checkout(); }

    const std::filesystem::path app = root() / "app";
};

std::string addFailed(const std::string& message) {
    return "git worktree add failed: " + message;
}

TEST(WorktreesGitTest, aNewWorktreeBeginsAtWhatTheServerHasNow) {
    Scene scene;
    std::string before = scene.head(scene.app);
    std::string now = scene.server.commit("team/app", "refs/heads/main", {{"README.md", "The second words.\n"}});

    CheckoutResult result = scene.prepare(scene.request("7-fix"));

    EXPECT_EQ(result, (CheckoutResult{(scene.container() / "7-fix").string(), false, "marlet/7-fix"}));
    EXPECT_EQ(scene.head(result.path), now);
    EXPECT_EQ(contentOf(scene.container() / "7-fix/README.md"), "The second words.\n");
    EXPECT_EQ(scene.git(result.path, {"symbolic-ref", "HEAD"}), "refs/heads/marlet/7-fix");
    EXPECT_EQ(scene.git(result.path, {"for-each-ref", "--format=%(upstream)", "refs/heads/marlet/7-fix"}), "");
    EXPECT_EQ(scene.head(scene.app), before);
    EXPECT_EQ(scene.git(scene.app, {"status", "--porcelain"}), "");
}

TEST(WorktreesGitTest, eachTaskHasAWorktreeOfItsOwn) {
    Scene scene;

    std::string first = scene.prepare(scene.request("7-fix")).path;
    std::string second = scene.prepare(scene.request("8")).path;
    writeFile(first + "/README.md", "changed");

    EXPECT_NE(first, second);
    EXPECT_EQ(contentOf(second + "/README.md"), "The first words of team/app.\n");
    EXPECT_EQ(scene.git(second, {"branch", "--show-current"}), "marlet/8");
}

TEST(WorktreesGitTest, aWorktreeIsFoundAgainAsItWasLeft) {
    Scene scene;
    std::string path = scene.prepare(scene.request("7-fix")).path;
    writeFile(path + "/README.md", "half done");
    scene.git(path, {"switch", "--quiet", "--create", "renamed"});

    CheckoutResult again = scene.prepare(scene.request("7-fix"));

    EXPECT_EQ(again, (CheckoutResult{path, false, "renamed"}));
    EXPECT_EQ(contentOf(path + "/README.md"), "half done");
}

TEST(WorktreesGitTest, aPullOrMergeRequestIsBegunAtItsHead) {
    Scene scene;
    for (const char* ref : {"refs/pull/12/head", "refs/merge-requests/3/head"}) {
        std::string commit = scene.server.commit("team/app", ref, {{"new.txt", ref}});
        WorktreeRequest request = scene.request(ref == std::string("refs/pull/12/head") ? "pr-12" : "mr-3");
        request.pullRequestRef = ref;

        std::string path = scene.prepare(request).path;

        EXPECT_EQ(scene.head(path), commit);
        EXPECT_EQ(contentOf(path + "/new.txt"), ref);
    }
}

TEST(WorktreesGitTest, aPullRequestThatTheServerDoesNotHaveLeavesNothing) {
    Scene scene;
    WorktreeRequest request = scene.request("pr-99");
    request.pullRequestRef = "refs/pull/99/head";

    EXPECT_EQ(scene.failure(request), "git fetch failed: fatal: couldn't find remote ref refs/pull/99/head");
    EXPECT_FALSE(std::filesystem::exists(scene.container()));
    EXPECT_EQ(scene.git(scene.app, {"branch", "--list", "marlet/*"}), "");
}

TEST(WorktreesGitTest, offlineItBeginsWhereTheServerWasLast) {
    Scene scene;
    std::string known = scene.git(scene.app, {"rev-parse", "origin/main"});
    scene.git(scene.app, {"commit", "--quiet", "--allow-empty", "--message", "only here"});
    scene.server.takeServerAway();

    EXPECT_EQ(scene.head(scene.prepare(scene.request("7-fix")).path), known);
}

TEST(WorktreesGitTest, offlineWithoutAKnownDefaultBranchItBeginsAtTheCheckoutsOwnHead) {
    Scene scene;
    scene.git(scene.app, {"remote", "set-head", "origin", "--delete"});
    scene.git(scene.app, {"commit", "--quiet", "--allow-empty", "--message", "only here"});
    scene.server.takeServerAway();

    EXPECT_EQ(scene.head(scene.prepare(scene.request("7-fix")).path), scene.head(scene.app));
}

TEST(WorktreesGitTest, offlineAPullRequestIsAFailure) {
    Scene scene;
    scene.server.commit("team/app", "refs/pull/12/head", {{"new.txt", "new"}});
    WorktreeRequest request = scene.request("pr-12");
    request.pullRequestRef = "refs/pull/12/head";
    scene.server.takeServerAway();
    EXPECT_TRUE(scene.failure(request).starts_with("git fetch failed: "));

    scene.server.bringServerBack();

    EXPECT_EQ(scene.failure(request), "");
}

TEST(WorktreesGitTest, aDefaultBranchOfAnyNameIsFollowed) {
    Scene scene;
    std::string branch = "refs/heads/hölzern/日本";
    std::string commit = scene.server.commit("team/app", branch, {{"grüß.txt", "text"}});
    scene.git(scene.server.bare("team/app"), {"symbolic-ref", "HEAD", branch});
    std::string other = scene.clone(GitFixture::https("team/app"), "other").path;

    std::filesystem::path path = scene.prepare(scene.request("7-fix", other)).path;

    EXPECT_EQ(scene.head(path), commit);
    EXPECT_EQ(contentOf(path / "grüß.txt"), "text");
}

TEST(WorktreesGitTest, aBranchOfBeforeIsGoneOnWith) {
    Scene scene;
    std::string path = scene.prepare(scene.request("7-fix")).path;
    scene.git(path, {"commit", "--quiet", "--allow-empty", "--message", "work"});
    std::string work = scene.head(path);
    scene.remove(path);

    EXPECT_EQ(scene.prepare(scene.request("7-fix")), (CheckoutResult{path, false, "marlet/7-fix"}));
    EXPECT_EQ(scene.head(path), work);
}

TEST(WorktreesGitTest, aFolderThatWasDeletedByHandIsMadeAgain) {
    Scene scene;
    std::string path = scene.prepare(scene.request("7-fix")).path;
    scene.git(path, {"commit", "--quiet", "--allow-empty", "--message", "work"});
    std::string work = scene.head(path);
    std::filesystem::remove_all(path);
    WorktreeRequest request = scene.request("7-fix");
    request.existing = path;

    EXPECT_EQ(scene.prepare(request), (CheckoutResult{path, false, "marlet/7-fix"}));
    EXPECT_EQ(scene.head(path), work);
}

TEST(WorktreesGitTest, aLockedWorktreeThatWasDeletedByHandIsLeftToTheUser) {
    Scene scene;
    std::string path = scene.prepare(scene.request("7-fix")).path;
    scene.git(scene.app, {"worktree", "lock", path});
    std::filesystem::remove_all(path);

    std::string failure = scene.failure(scene.request("7-fix"));

    EXPECT_TRUE(failure.starts_with(addFailed(""))) << failure;
    EXPECT_NE(failure.find("missing but locked worktree"), std::string::npos) << failure;
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(WorktreesGitTest, aBranchThatTheCheckoutIsOnIsLeftToTheUser) {
    Scene scene;
    scene.git(scene.app, {"switch", "--quiet", "--create", "marlet/7-fix"});

    EXPECT_EQ(scene.failure(scene.request("7-fix")),
              addFailed("Preparing worktree (checking out 'marlet/7-fix') fatal: 'marlet/7-fix' is already checked out "
                        "at '" +
                        scene.app.string() + "'"));
    EXPECT_FALSE(std::filesystem::exists(scene.container() / "7-fix"));
}

TEST(WorktreesGitTest, aWorktreeThatWasMovedIsUsedWhereItIs) {
    Scene scene;
    std::filesystem::path moved = scene.root() / "moved \"by\" hand";
    scene.git(scene.app, {"worktree", "move", scene.prepare(scene.request("7-fix")).path, moved.string()});
    WorktreeRequest request = scene.request("7-fix");

    request.existing = moved.string();
    EXPECT_EQ(scene.prepare(request), (CheckoutResult{moved.string(), false, "marlet/7-fix"}));

    request.existing = (scene.container() / "7-fix").string();
    std::string failure = scene.failure(request);
    EXPECT_NE(failure.find("is already checked out at '" + moved.string() + "'"), std::string::npos) << failure;
}

TEST(WorktreesGitTest, aWorktreeThatWasMovedByHandIsUsedWhereItIsAndKeepsItsFilesInAnyCase) {
    Scene scene;
    std::filesystem::path moved = scene.root() / "moved";
    WorktreeRequest request = scene.request("7-fix");
    std::filesystem::rename(scene.prepare(request).path, moved);

    request.existing = moved.string();
    EXPECT_EQ(scene.prepare(request), (CheckoutResult{moved.string(), false, "marlet/7-fix"}));

    request.existing = std::nullopt;
    EXPECT_EQ(scene.prepare(request).path, (scene.container() / "7-fix").string());
    EXPECT_EQ(contentOf(moved / "README.md"), "The first words of team/app.\n");
}

TEST(WorktreesGitTest, aRememberedWorktreeWithADetachedHeadHasNoBranch) {
    Scene scene;
    WorktreeRequest request = scene.request("7-fix");
    request.existing = scene.prepare(request).path;
    scene.git(*request.existing, {"switch", "--quiet", "--detach"});

    EXPECT_EQ(scene.prepare(request), (CheckoutResult{*request.existing, false, std::nullopt}));
}

TEST(WorktreesGitTest, aRememberedPathThatIsNoneOfItsWorktreesIsDropped) {
    Scene scene;
    std::filesystem::path foreign = scene.clone(GitFixture::ssh("team/app"), "foreign").path;
    std::filesystem::path foreignWorktree = scene.prepare(scene.request("1", foreign)).path;
    std::filesystem::path own = scene.prepare(scene.request("1")).path;
    std::filesystem::create_directories(own / "src");
    std::filesystem::path twoLines = scene.root() / "two\nlines";
    scene.git(scene.app, {"worktree", "add", "--quiet", "--detach", twoLines.string()});
    writeFile(scene.root() / "file", "text");
    int number = 7;
    for (const std::filesystem::path& path :
         {scene.app, foreign, foreignWorktree, own / "src", scene.app / ".git", scene.root(), scene.root() / "file",
          scene.root() / "missing", twoLines}) {
        WorktreeRequest request = scene.request(std::to_string(number++));
        request.existing = path.string();
        EXPECT_EQ(scene.prepare(request).path, (scene.container() / request.name).string()) << path;
    }
}

TEST(WorktreesGitTest, whatIsInItsPlaceIsNeverTouched) {
    Scene scene;
    std::filesystem::path target = scene.container() / "7-fix";
    std::string refused = target.string() + " already exists and isn't a checkout of this repository.";
    std::filesystem::create_directories(target);
    EXPECT_EQ(scene.failure(scene.request("7-fix")), refused);

    writeFile(target / "mine", "text");
    EXPECT_EQ(scene.failure(scene.request("7-fix")), refused);
    EXPECT_EQ(contentOf(target / "mine"), "text");

    std::filesystem::remove_all(target);
    std::filesystem::path foreign = scene.clone(GitFixture::ssh("team/app"), "foreign").path;
    scene.git(foreign, {"worktree", "add", "--quiet", "--detach", target.string()});
    EXPECT_EQ(scene.failure(scene.request("7-fix")), refused);
}

TEST(WorktreesGitTest, aCheckoutBehindALinkHasItsWorktreesBesideTheRealOne) {
    Scene scene;
    std::filesystem::create_directories(scene.root() / "links");
    std::filesystem::create_directory_symlink(scene.app, scene.root() / "links/link");
    WorktreeRequest request = scene.request("7-fix", scene.root() / "links/link");

    CheckoutResult result = scene.prepare(request);

    EXPECT_EQ(result.path, (scene.container() / "7-fix").string());
    std::filesystem::create_directory_symlink(result.path, scene.root() / "links/worktree");
    request.existing = (scene.root() / "links/worktree").string();
    EXPECT_EQ(scene.prepare(request), result);
}

TEST(WorktreesGitTest, namesOfAnyScriptAndPunctuationAreFolders) {
    Scene scene;
    for (const char* folder : {"Straße 日本", "it's \"quoted\"", "-C", "back\\slash", "tab\there"}) {
        std::string checkout = scene.clone(GitFixture::https("team/app"), folder).path;
        WorktreeRequest request = scene.request("7-fix", checkout);

        CheckoutResult result = scene.prepare(request);

        EXPECT_EQ(result.path, checkout + ".worktrees/7-fix");
        EXPECT_EQ(scene.prepare(request), result);
        scene.remove(result.path);
        EXPECT_FALSE(std::filesystem::exists(checkout + ".worktrees")) << folder;
    }
}

TEST(WorktreesGitTest, aRepositoryWithoutCommitsHasNowhereToBegin) {
    Scene scene;
    scene.server.addEmptyRepository("team/empty");
    std::filesystem::path checkout = scene.clone(GitFixture::https("team/empty"), "empty").path;
    WorktreeRequest request = scene.request("7-fix", checkout);
    request.repository.name = "empty";

    std::string failure = scene.failure(request);

    EXPECT_TRUE(failure.starts_with(addFailed(""))) << failure;
    EXPECT_FALSE(std::filesystem::exists(checkout.string() + ".worktrees/7-fix"));
    EXPECT_EQ(scene.git(checkout, {"worktree", "list", "--porcelain"}).find("7-fix"), std::string::npos);
    EXPECT_EQ(scene.git(checkout, {"branch", "--list"}), "");
}

TEST(WorktreesGitTest, aCheckoutWithSubmodulesHasWorktreesAndSoHasASubmodule) {
    Scene scene;
    scene.server.addRepository("team/whole");
    std::filesystem::path whole = scene.clone(GitFixture::https("team/whole"), "whole").path;
    scene.git(whole, {"submodule", "--quiet", "add", GitFixture::https("team/app"), "part"});
    WorktreeRequest request = scene.request("7-fix", whole);
    request.repository.name = "whole";

    EXPECT_EQ(scene.prepare(request).path, whole.string() + ".worktrees/7-fix");
    EXPECT_EQ(scene.prepare(scene.request("7-fix", whole / "part")).path, whole.string() + "/part.worktrees/7-fix");
}

TEST(WorktreesGitTest, aWorktreeCanItselfBeTheCheckout) {
    Scene scene;
    std::string linked = scene.prepare(scene.request("1")).path;

    CheckoutResult result = scene.prepare(scene.request("7-fix", linked));

    EXPECT_EQ(result.path, linked + ".worktrees/7-fix");
    EXPECT_EQ(scene.git(result.path, {"rev-parse", "--path-format=absolute", "--git-common-dir"}),
              (scene.app / ".git").string());
}

TEST(WorktreesGitTest, aHookThatFailsIsToldAndTheWorktreeIsUsedTheNextTime) {
    Scene scene;
    std::filesystem::create_directories(scene.app / ".git/hooks");
    writeScript(scene.app / ".git/hooks/post-checkout", "echo the hook says no >&2\nexit 1\n");

    std::string failure = scene.failure(scene.request("7-fix"));

    EXPECT_TRUE(failure.starts_with(addFailed(""))) << failure;
    EXPECT_TRUE(failure.ends_with(" the hook says no")) << failure;
    EXPECT_EQ(scene.prepare(scene.request("7-fix")).branch, "marlet/7-fix");
    EXPECT_EQ(scene.git(scene.container() / "7-fix", {"status", "--porcelain"}), "");
}

TEST(WorktreesGitTest, tasksPreparedAtOnceBeginAtTheirOwnPullRequests) {
    Scene scene;
    constexpr int count = 6;
    std::vector<std::string> commits;
    std::vector<std::string> failures(count);
    for (int number = 0; number < count; ++number) {
        std::string ref = "refs/pull/" + std::to_string(number) + "/head";
        commits.push_back(scene.server.commit("team/app", ref, {{"number", std::to_string(number)}}));
    }
    {
        std::vector<std::jthread> threads;
        for (int number = 0; number < count; ++number) {
            threads.emplace_back([&, number] {
                WorktreeRequest request = scene.request("pr-" + std::to_string(number));
                request.pullRequestRef = "refs/pull/" + std::to_string(number) + "/head";
                failures[number] = scene.failure(request);
            });
        }
    }

    EXPECT_EQ(failures, std::vector<std::string>(count));
    for (int number = 0; number < count; ++number) {
        EXPECT_EQ(scene.head(scene.container() / ("pr-" + std::to_string(number))), commits[number]);
    }
}

TEST(WorktreesGitTest, aTaskPreparedTwiceAtOnceHasOneWorktree) {
    Scene scene;
    std::vector<std::string> failures(4);
    std::vector<CheckoutResult> results(failures.size());
    {
        std::vector<std::jthread> threads;
        for (size_t number = 0; number < failures.size(); ++number) {
            threads.emplace_back([&, number] {
                failures[number] = failureOf([&] { results[number] = scene.prepare(scene.request("7-fix")); });
            });
        }
    }

    EXPECT_EQ(failures, std::vector<std::string>(4));
    CheckoutResult worktree{(scene.container() / "7-fix").string(), false, "marlet/7-fix"};
    EXPECT_EQ(results, std::vector<CheckoutResult>(4, worktree));
    std::string list = scene.git(scene.app, {"worktree", "list", "--porcelain"});
    EXPECT_EQ(list.find("marlet/7-fix"), list.rfind("marlet/7-fix")) << list;
}

}  // namespace
}  // namespace marlet
