#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "MarletWorkspace/FolderTurnInternal.h"
#include "WorktreeScene.h"

namespace marlet {
namespace {

using Scene = WorktreeScene;

// What git does when it removes a worktree.
void letGitRemove(const Scene& scene, const std::string& path) {
    scene.runner->answer("worktree remove", [path](const Command&) {
        std::filesystem::remove_all(path);
        return CommandResult{};
    });
}

void awaitRequests(const std::string& folder, size_t count) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (FolderTurn::requestsFor(folder) < count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(FolderTurn::requestsFor(folder), count);
}

TEST(WorktreeRemovalTest, aWorktreeIsRemovedFromOutsideAndItsFolderWithIt) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/7-fix");
    letGitRemove(scene, scene.target);

    scene.remove("~/app.worktrees/7-fix");

    std::vector<Command> expected{Scene::in(scene.target, {"rev-parse", "--path-format=absolute", "--git-common-dir"})};
    for (const Command& command : Scene::checkOf(scene.target)) {
        expected.push_back(command);
    }
    expected.push_back(Scene::in(scene.common, {"worktree", "remove", scene.target}, 60));
    EXPECT_EQ(scene.runner->commands(), expected);
    EXPECT_FALSE(std::filesystem::exists(scene.container));
}

TEST(WorktreeRemovalTest, theFolderStaysWhileItHoldsAnotherWorktree) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/7-fix");
    std::filesystem::create_directories(scene.container + "/8");
    letGitRemove(scene, scene.target);

    scene.remove(scene.target);

    EXPECT_TRUE(std::filesystem::is_directory(scene.container + "/8"));
}

TEST(WorktreeRemovalTest, anEmptyFolderOfAnotherNameStays) {
    Scene scene;
    std::string path = (scene.root / "mine/7-fix").string();
    scene.hasWorktree(path, "marlet/7-fix");
    letGitRemove(scene, path);

    scene.remove(path);

    EXPECT_TRUE(std::filesystem::is_directory(scene.root / "mine"));
}

TEST(WorktreeRemovalTest, whatIsGoneIsRemovedAlready) {
    Scene scene;

    scene.remove(scene.target);

    EXPECT_TRUE(scene.runner->commands().empty());
}

// Git fails now and then where it finds a worktree that is half made or half removed.
TEST(WorktreeRemovalTest, aRemovalWaitsForWhoeverHasTheRepository) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/7-fix");
    letGitRemove(scene, scene.target);
    std::jthread other;
    {
        FolderTurn someoneFetches(scene.common);
        other = std::jthread([&] { scene.remove(scene.target); });
        awaitRequests(scene.common, 2);
        EXPECT_LE(scene.runner->commands().size(), 1U);
    }
    other.join();

    EXPECT_FALSE(std::filesystem::exists(scene.target));
}

TEST(WorktreeRemovalTest, ofTwoRemovalsTheSecondFindsItDone) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/7-fix");
    std::string failure = "unknown";
    std::jthread other;
    scene.runner->answer("worktree remove", [&](const Command&) {
        other = std::jthread([&] { failure = failureOf([&] { scene.remove(scene.target); }); });
        awaitRequests(scene.common, 2);
        std::filesystem::remove_all(scene.target);
        return CommandResult{};
    });

    scene.remove(scene.target);
    other.join();

    EXPECT_EQ(failure, "");
    EXPECT_EQ(scene.runner->commands().size(), 5U) << "the second one has asked for the repository alone";
}

TEST(WorktreeRemovalTest, aMissingGitIsToldEvenThen) {
    Scene scene;
    scene.service.locator.isExecutable = [](const std::string&) { return false; };

    EXPECT_EQ(failureOf([&] { scene.remove(scene.target); }), "/tools/git isn't an executable file.");
}

TEST(WorktreeRemovalTest, aRefusalOfGitIsToldAndEverythingStays) {
    Scene scene;
    scene.hasWorktree(scene.target, "marlet/7-fix");
    scene.runner->answer("worktree remove", CommandResult{128, "", "fatal: it has changes\n", false});
    EXPECT_EQ(failureOf([&] { scene.remove(scene.target); }), "git worktree remove failed: fatal: it has changes");

    scene.runner->answer("worktree remove", CommandResult{15, "", "", true});
    EXPECT_EQ(failureOf([&] { scene.remove(scene.target); }),
              "git worktree remove failed: it took too long and was stopped");
    EXPECT_TRUE(std::filesystem::exists(scene.target));
}

TEST(WorktreeRemovalTest, whatIsNoLinkedWorktreeIsNeverRemoved) {
    Scene scene;
    scene.says(scene.checkout + " rev-parse --path-format=absolute --show-toplevel",
               scene.checkout + "\n" + scene.common + "\n" + scene.common);
    EXPECT_EQ(failureOf([&] { scene.remove(scene.checkout); }),
              scene.checkout + " isn't a worktree of the repository's checkout.");

    scene.hasWorktree(scene.target, "marlet/7-fix");
    std::string inside = scene.target + "/src";
    std::filesystem::create_directories(inside);
    scene.says(inside + " rev-parse --path-format=absolute --show-toplevel",
               scene.target + "\n" + scene.common + "/worktrees/7-fix\n" + scene.common);
    EXPECT_EQ(failureOf([&] { scene.remove(inside); }), inside + " isn't a worktree of the repository's checkout.");

    for (const std::string& line : scene.runner->lines()) {
        EXPECT_EQ(line.find("worktree remove"), std::string::npos) << line;
    }
}

TEST(WorktreeRemovalTest, whatIsInNoRepositoryIsNoCheckout) {
    Scene scene;
    scene.fails("--git-common-dir");

    EXPECT_EQ(failureOf([&] { scene.remove(scene.root.string()); }),
              scene.root.string() + " isn't the top folder of a git checkout.");
}

}  // namespace
}  // namespace marlet
