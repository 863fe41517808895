#include <gtest/gtest.h>

#include <thread>

#include "RealGitScene.h"

namespace marlet {
namespace {

// With a checkout of "team/app" and a worktree "7-fix".
struct Scene : RealGitScene {
    Scene() {
        checkout();
        prepare(request("7-fix"));
    }

    bool isListed(const std::filesystem::path& path) const {
        return git(root() / "app", {"worktree", "list", "--porcelain"}).find(path.string()) != std::string::npos;
    }

    const std::filesystem::path worktree = container() / "7-fix";
};

std::string notAWorktree(const std::filesystem::path& path) {
    return path.string() + " isn't a worktree of the repository's checkout.";
}

TEST(WorktreeRemovalGitTest, theLastWorktreeTakesTheFolderOfWorktreesWithIt) {
    Scene scene;
    std::filesystem::path other = scene.prepare(scene.request("8")).path;

    scene.remove(scene.worktree);
    EXPECT_FALSE(std::filesystem::exists(scene.worktree));
    EXPECT_TRUE(std::filesystem::exists(other / "README.md"));

    scene.remove(other);
    EXPECT_FALSE(std::filesystem::exists(scene.container()));
    EXPECT_FALSE(scene.isListed(scene.container()));
}

TEST(WorktreeRemovalGitTest, theBranchStays) {
    Scene scene;
    std::string branch = scene.git(scene.root() / "app", {"rev-parse", "marlet/7-fix"});

    scene.remove(scene.worktree);

    EXPECT_EQ(scene.git(scene.root() / "app", {"rev-parse", "marlet/7-fix"}), branch);
}

TEST(WorktreeRemovalGitTest, aWorktreeThatIsGoneIsRemovedAlready) {
    Scene scene;
    scene.remove(scene.worktree);

    EXPECT_EQ(scene.failureOfRemoval(scene.worktree), "");
    EXPECT_EQ(scene.failureOfRemoval(scene.root() / "never/was"), "");
}

TEST(WorktreeRemovalGitTest, aWorktreeWithChangesStays) {
    Scene scene;
    std::string refused = "git worktree remove failed: fatal: '" + scene.worktree.string() +
                          "' contains modified or untracked files, use --force to delete it";
    writeFile(scene.worktree / "README.md", "half done");
    EXPECT_EQ(scene.failureOfRemoval(scene.worktree), refused);
    EXPECT_EQ(contentOf(scene.worktree / "README.md"), "half done");

    scene.git(scene.worktree, {"checkout", "--quiet", "README.md"});
    writeFile(scene.worktree / "new", "text");
    EXPECT_EQ(scene.failureOfRemoval(scene.worktree), refused);
    EXPECT_EQ(contentOf(scene.worktree / "new"), "text");
}

TEST(WorktreeRemovalGitTest, aFileThatGitIgnoresGoesWithTheWorktree) {
    Scene scene;
    writeFile(scene.root() / "app/.git/info/exclude", "TASK.md\n");
    writeFile(scene.worktree / "TASK.md", "text");

    scene.remove(scene.worktree);

    EXPECT_FALSE(std::filesystem::exists(scene.worktree));
}

TEST(WorktreeRemovalGitTest, aLockedWorktreeStays) {
    Scene scene;
    scene.git(scene.root() / "app", {"worktree", "lock", "--reason", "on a stick", scene.worktree.string()});

    EXPECT_EQ(scene.failureOfRemoval(scene.worktree),
              "git worktree remove failed: fatal: cannot remove a locked working tree, lock reason: on a stick use "
              "'remove -f -f' to override or unlock first");
    EXPECT_TRUE(std::filesystem::exists(scene.worktree / "README.md"));
}

TEST(WorktreeRemovalGitTest, nothingButTheTopOfALinkedWorktreeIsRemoved) {
    Scene scene;
    std::filesystem::path app = scene.root() / "app";
    std::filesystem::create_directories(scene.worktree / "src");
    std::filesystem::create_directories(scene.root() / "photos");

    EXPECT_EQ(scene.failureOfRemoval(app), notAWorktree(app));
    EXPECT_EQ(scene.failureOfRemoval(app / ".git"), notAWorktree(app / ".git"));
    EXPECT_EQ(scene.failureOfRemoval(scene.worktree / "src"), notAWorktree(scene.worktree / "src"));
    EXPECT_EQ(scene.failureOfRemoval(scene.server.bare("team/app")), notAWorktree(scene.server.bare("team/app")));
    for (const std::filesystem::path& path : {scene.root() / "photos", scene.worktree / "README.md"}) {
        EXPECT_EQ(scene.failureOfRemoval(path), path.string() + " isn't the top folder of a git checkout.");
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_TRUE(std::filesystem::exists(app / "README.md"));
    EXPECT_TRUE(scene.isListed(scene.worktree));
}

TEST(WorktreeRemovalGitTest, aWorktreeBehindALinkIsRemovedAndTheLinkStays) {
    Scene scene;
    std::filesystem::create_directory_symlink(scene.worktree, scene.root() / "link");

    scene.remove(scene.root() / "link");

    EXPECT_FALSE(std::filesystem::exists(scene.container()));
    EXPECT_TRUE(std::filesystem::is_symlink(scene.root() / "link"));
    EXPECT_EQ(scene.failureOfRemoval(scene.root() / "link"), "") << "a link to nowhere holds nothing";
}

TEST(WorktreeRemovalGitTest, aFolderOfWorktreesThatHoldsAnythingElseStays) {
    Scene scene;
    writeFile(scene.container() / "notes", "text");

    scene.remove(scene.worktree);

    EXPECT_EQ(contentOf(scene.container() / "notes"), "text");
}

TEST(WorktreeRemovalGitTest, worktreesAreMadeAndRemovedAtTheSameTime) {
    Scene scene;
    std::vector<std::string> failures(4);
    {
        std::vector<std::jthread> threads;
        for (size_t number = 0; number < failures.size(); ++number) {
            threads.emplace_back([&, number] {
                WorktreeRequest request = scene.request(std::to_string(number));
                for (int round = 0; round < 10; ++round) {
                    failures[number] += failureOf([&] { scene.remove(scene.prepare(request).path); });
                }
            });
        }
    }
    EXPECT_EQ(failures, std::vector<std::string>(4));
}

TEST(WorktreeRemovalGitTest, aWorktreeOfTheUsersOwnIsRemovedWithoutItsFolder) {
    Scene scene;
    std::filesystem::path own = scene.root() / "mine/feature";
    scene.git(scene.root() / "app", {"worktree", "add", "--quiet", "--detach", own.string()});

    scene.remove(own);

    EXPECT_FALSE(std::filesystem::exists(own));
    EXPECT_TRUE(std::filesystem::is_directory(scene.root() / "mine"));
}

}  // namespace
}  // namespace marlet
