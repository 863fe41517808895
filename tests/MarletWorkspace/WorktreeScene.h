#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "CheckoutFixture.h"
#include "MarletWorkspace/GitCommandsInternal.h"
#include "TestSupport/ScriptedRunner.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// A checkout of "team/app" and a git that says what the test tells it. At first there is no worktree, no branch, and
// the server's default branch is known.
struct WorktreeScene {
    static constexpr const char* git = "/tools/git";
    static constexpr const char* remote = "https://forge.example/team/app.git";
    static constexpr const char* commit = "4b825dc642cb6eb9a060e54bf8d69288fbee4904";

    WorktreeScene() {
        std::filesystem::create_directories(common);
        runner->answer("worktree", CommandResult{});
        runner->answer("fetch", CommandResult{});
        runner->answer("rev-parse", CommandResult{128, "", "fatal: no", false});
        says("rev-parse --show-toplevel", checkout);
        says("config --get remote.origin.url", remote);
        says("rev-parse --path-format=absolute --git-common-dir", common);
        says("remote get-url origin", remote);
        says("rev-parse --verify --quiet refs/remotes/origin/HEAD", commit);
        says("rev-parse --verify FETCH_HEAD", commit);
    }

    void says(const std::string& part, const std::string& line) const {
        runner->answer(part, CommandResult{0, line + "\n", "", false});
    }
    void fails(const std::string& part) const { runner->answer(part, CommandResult{128, "", "fatal: no\n", false}); }

    // There is a folder that git calls a worktree, on this branch.
    void hasWorktree(const std::string& path, const std::string& branch) const {
        std::filesystem::create_directories(path);
        std::string name = std::filesystem::path(path).filename().string();
        says(path + " rev-parse --path-format=absolute --show-toplevel",
             path + "\n" + common + "/worktrees/" + name + "\n" + common);
        says(path + " symbolic-ref", branch);
    }

    WorktreeRequest request() const {
        return {checkout, app, std::nullopt, "7-fix", std::nullopt, std::nullopt, usingGit(git)};
    }
    CheckoutResult prepare(const WorktreeRequest& request) const { return service.prepareWorktree(request); }
    std::string failure(const WorktreeRequest& request) const {
        return failureOf([&] { prepare(request); });
    }
    void remove(const std::string& path) const { service.removeWorktree(path, usingGit(git)); }

    static Command in(const std::string& folder, std::vector<std::string> words, double timeout = 30,
                      std::map<std::string, std::string> environment = {}) {
        words.insert(words.begin(), {"-C", folder});
        return {git, std::move(words), std::nullopt, std::move(environment), timeout};
    }
    // What every preparation begins with.
    std::vector<Command> inspection() const {
        return {in(checkout, {"rev-parse", "--show-toplevel"}), in(checkout, {"config", "--get", "remote.origin.url"}),
                in(checkout, {"rev-parse", "--path-format=absolute", "--git-common-dir"})};
    }
    static std::vector<Command> checkOf(const std::string& path) {
        return {in(path, {"rev-parse", "--path-format=absolute", "--show-toplevel", "--git-dir", "--git-common-dir"}),
                in(path, {"symbolic-ref", "--quiet", "--short", "HEAD"})};
    }
    // After the inspection.
    std::vector<Command> laterCommands() const {
        std::vector<Command> all = runner->commands();
        EXPECT_EQ(std::vector<Command>(all.begin(), all.begin() + 3), inspection());
        return {all.begin() + 3, all.end()};
    }

    TemporaryFolder temporary;
    std::filesystem::path root = std::filesystem::canonical(temporary.path());
    std::string checkout = (root / "app").string();
    std::string common = checkout + "/.git";
    std::string container = checkout + ".worktrees";
    std::string target = container + "/7-fix";
    std::shared_ptr<ScriptedRunner> runner = std::make_shared<ScriptedRunner>();
    CheckoutService service = serviceOver(runner, root.string());
};

}  // namespace marlet
