#include <algorithm>
#include <filesystem>

#include "MarletBase/Text.h"
#include "MarletWorkspace/CheckoutError.h"
#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/FolderTurnInternal.h"
#include "MarletWorkspace/GitCommandsInternal.h"
#include "MarletWorkspace/ResolvedPath.h"
#include "MarletWorkspace/Worktree.h"

namespace marlet {
namespace {

constexpr double fetchTimeout = 300;
constexpr double addTimeout = 300;
constexpr double removeTimeout = 60;
constexpr std::string_view containerSuffix = ".worktrees";

// What all worktrees of a repository share.
std::string commonDirectory(const Git& git) {
    CommandResult result = git.run({"rev-parse", "--path-format=absolute", "--git-common-dir"});
    std::string line = succeeded(result) ? firstLine(result.output) : std::string();
    if (line.empty()) {
        throw CheckoutError::notACheckout(git.folder);
    }
    return resolvedPath(line);
}

// Throws unless the folder is the top of a linked worktree of this repository.
CheckoutResult existingWorktree(const Git& git, const std::string& common) {
    CommandResult result =
        git.run({"rev-parse", "--path-format=absolute", "--show-toplevel", "--git-dir", "--git-common-dir"});
    std::vector<std::string> folders;
    for (std::string_view line : pieces(result.output, '\n')) {
        folders.push_back(resolvedPath(std::string(line)));
    }
    // The main checkout alone has its git folder in common with the others.
    if (!succeeded(result) || folders.size() != 3 || folders[0] != git.folder || folders[1] == folders[2] ||
        folders[2] != common) {
        throw CheckoutError::notAWorktree(git.folder);
    }
    CommandResult head = git.run({"symbolic-ref", "--quiet", "--short", "HEAD"});
    return {git.folder, false, succeeded(head) ? std::optional(firstLine(head.output)) : std::nullopt};
}

// No value for anything else, and where git can't tell.
std::optional<CheckoutResult> worktreeAt(const std::string& path, const Git& checkout, const std::string& common) {
    try {
        return existingWorktree({checkout.runner, checkout.executable, resolvedPath(path)}, common);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// The commit at which a new branch begins.
std::string startPoint(const Git& checkout, const WorktreeRequest& request) {
    std::string remote = firstLine(checkout.run({"remote", "get-url", "origin"}).output);
    std::map<std::string, std::string> environment = gitEnvironment(remote, request.token);
    std::vector<std::string> fetch{"fetch", "--quiet", "--no-tags", "origin"};
    if (request.pullRequestRef) {
        fetch.push_back(*request.pullRequestRef);
        check(checkout.run(fetch, fetchTimeout, environment), "git fetch", request.token);
        return firstLine(checkout.run({"rev-parse", "--verify", "FETCH_HEAD"}).output);
    }
    // Work can begin offline, with what is known from before.
    checkout.run(fetch, fetchTimeout, environment);
    CommandResult known = checkout.run({"rev-parse", "--verify", "--quiet", "refs/remotes/origin/HEAD"});
    return succeeded(known) ? firstLine(known.output) : "HEAD";
}

// On the branch, which may be there from before.
void addWorktree(const Git& checkout, const WorktreeRequest& request, const std::string& target,
                 const std::string& branch) {
    // Git would refuse a folder that it has on its list, though somebody has deleted it.
    checkout.run({"worktree", "prune"});
    std::vector<std::string> add{"worktree", "add"};
    if (succeeded(checkout.run({"rev-parse", "--verify", "--quiet", "refs/heads/" + branch}))) {
        add.insert(add.end(), {target, branch});
    } else {
        add.insert(add.end(), {"--no-track", "-b", branch, target, startPoint(checkout, request)});
    }
    std::filesystem::create_directories(std::filesystem::path(target).parent_path());
    check(checkout.run(add, addTimeout), "git worktree add");
}

}  // namespace

CheckoutResult CheckoutService::prepareWorktree(const WorktreeRequest& request) const {
    std::string git = locator.git(request.tools.git, request.tools.gitPath).path;
    std::string path = expandingTilde(request.checkout, homeDirectory);
    inspect(path, request.repository, git);
    Git checkout{*runner, git, resolvedPath(path)};
    std::string common = commonDirectory(checkout);
    if (request.existing) {
        std::string remembered = expandingTilde(*request.existing, homeDirectory);
        if (std::optional<CheckoutResult> found = worktreeAt(remembered, checkout, common)) {
            return *found;
        }
    }
    if (!Worktree::isValidName(request.name)) {
        throw CheckoutError::invalidWorktreeName(request.name);
    }
    std::string target = appendingCheckedSegments(Worktree::container(checkout.folder), {request.name});
    FolderTurn turn(common);
    if (std::filesystem::exists(target)) {
        std::optional<CheckoutResult> found = worktreeAt(target, checkout, common);
        return found ? *found : throw CheckoutError::folderNotEmpty(target);
    }
    std::string branch = std::string(Worktree::branchPrefix) + request.name;
    addWorktree(checkout, request, target, branch);
    return {target, false, branch};
}

void CheckoutService::removeWorktree(const std::string& path, const ToolSettings& tools) const {
    std::string git = locator.git(tools.git, tools.gitPath).path;
    std::filesystem::path worktree = resolvedPath(expandingTilde(path, homeDirectory));
    if (!std::filesystem::exists(worktree)) {
        return;
    }
    Git here{*runner, git, worktree.string()};
    std::string common = commonDirectory(here);
    FolderTurn turn(common);
    if (!std::filesystem::exists(worktree)) {
        return;  // whoever had the turn before has removed it
    }
    existingWorktree(here, common);
    // From outside: the folder that git is in goes away.
    Git repository{*runner, git, common};
    check(repository.run({"worktree", "remove", worktree.string()}, removeTimeout), "git worktree remove");
    std::filesystem::path container = worktree.parent_path();
    if (container.filename().string().ends_with(containerSuffix)) {
        std::error_code ignored;
        std::filesystem::remove(container, ignored);  // does nothing while it holds anything
    }
}

}  // namespace marlet
