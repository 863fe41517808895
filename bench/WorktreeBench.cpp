// A task of a repository with 20,000 files is handed off: a worktree on a new branch, after a fetch that finds nothing.
// Baseline: the same git commands started by hand one after the other, with their output dropped.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/ProcessRunner.h"
#include "Measure.h"
#include "TestSupport/GitFixture.h"

namespace marlet {
namespace {

constexpr int fileCount = 20'000;
constexpr const char* gitPath = "/usr/bin/git";

void runByHand(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    int error = ::posix_spawn(&process, gitPath, &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || ::waitpid(process, &status, 0) != process) {
        throw std::runtime_error("git can't be run");
    }
}

// A checkout of a repository as large as this, and its worktrees.
class LargeCheckout {
public:
    explicit LargeCheckout(int files) {
        std::map<std::string, std::string> contents;
        for (int number = 0; number < files; ++number) {
            std::string folder = "module-" + std::to_string(number / 100);
            std::string text = "The text of file " + std::to_string(number) + ".\n";
            for (int doubling = 0; doubling < 5; ++doubling) {
                text += text;
            }
            contents[folder + "/file-" + std::to_string(number) + ".txt"] = text;
        }
        server.addEmptyRepository("team/app");
        server.commit("team/app", "refs/heads/main", contents);
        path = (server.folder() / "app").string();
        GitFixture::git(server.folder(), {"clone", "--quiet", GitFixture::https("team/app"), path});
        service.runner = std::make_shared<ProcessRunner>();
        service.locator.isExecutable = [](const std::string&) { return true; };
        service.homeDirectory = server.folder().string();
    }

    double prepare(const std::string& name) {
        WorktreeRequest request{path,
                                RepositoryCoordinates("forge.example", std::nullopt, "team", "app"),
                                std::nullopt,
                                name,
                                std::nullopt,
                                std::nullopt,
                                {GitChoice::custom, gitPath, ""}};
        return secondsFor([&] { service.prepareWorktree(request); });
    }

    double prepareByHand(const std::string& name) {
        std::string target = path + ".worktrees/" + name;
        return secondsFor([&] {
            for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                     {"rev-parse", "--show-toplevel"},
                     {"config", "--get", "remote.origin.url"},
                     {"rev-parse", "--path-format=absolute", "--git-common-dir"},
                     {"worktree", "prune"},
                     {"rev-parse", "--verify", "--quiet", "refs/heads/marlet/" + name},
                     {"remote", "get-url", "origin"},
                     {"fetch", "--quiet", "--no-tags", "origin"},
                     {"rev-parse", "--verify", "--quiet", "refs/remotes/origin/HEAD"},
                     {"worktree", "add", "--no-track", "-b", "marlet/" + name, target, "origin/HEAD"},
                 }) {
                std::vector<std::string> command{gitPath, "-C", path};
                command.insert(command.end(), words.begin(), words.end());
                runByHand(command);
            }
        });
    }

    // Also shows that there was one to remove.
    void remove(const std::string& name) {
        std::string target = path + ".worktrees/" + name;
        GitFixture::git(path, {"worktree", "remove", "--force", target});
        GitFixture::git(path, {"branch", "--quiet", "-D", "marlet/" + name});
    }

private:
    GitFixture server;
    std::string path;
    CheckoutService service;
};

void prepareWorktree(benchmark::State& state) {
    LargeCheckout checkout(static_cast<int>(state.range(0)));
    int round = 0;
    auto named = [&](const char* who) { return who + std::to_string(round); };
    auto byHand = [&] {
        ++round;
        double seconds = checkout.prepareByHand(named("hand"));
        checkout.remove(named("hand"));
        return seconds;
    };
    auto own = [&] {
        double seconds = checkout.prepare(named("own"));
        checkout.remove(named("own"));
        return seconds;
    };
    byHand();  // the file system knows the files from here on
    measureAgainst(state, own, byHand);
}
BENCHMARK(prepareWorktree)->Arg(fileCount)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
// Next to nothing to write: what starting nine commands costs.
BENCHMARK(prepareWorktree)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

}  // namespace
}  // namespace marlet
