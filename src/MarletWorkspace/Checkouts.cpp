#include <filesystem>

#include "MarletWorkspace/CheckoutError.h"
#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/FolderTurnInternal.h"
#include "MarletWorkspace/GitCommandsInternal.h"
#include "MarletWorkspace/ResolvedPath.h"

namespace marlet {
namespace {

constexpr double cloneTimeout = 900;

// Empty unless the folder is part of a checkout.
std::string topFolder(const Git& git) {
    CommandResult result;
    try {
        result = git.run({"rev-parse", "--show-toplevel"});
    } catch (const std::exception&) {
        return {};
    }
    return succeeded(result) ? firstLine(result.output) : std::string();
}

// Throws unless the folder is the top of a checkout of the repository.
void requireCheckout(const Git& here, const RepositoryCoordinates& repository) {
    std::string top = topFolder(here);
    // To git, a folder anywhere inside a checkout is as good as its top.
    if (top.empty() || resolvedPath(top) != here.folder) {
        throw CheckoutError::notACheckout(here.folder);
    }
    std::string origin = firstLine(here.run({"config", "--get", "remote.origin.url"}).output);
    std::optional<RepositoryCoordinates> found = RepositoryCoordinates::parse(origin);
    if (!found || !found->isSameRepository(repository)) {
        throw CheckoutError::otherRepository(here.folder, origin.empty() ? "no origin" : withoutUserInfo(origin));
    }
}

// False when there is something else. Makes the folder that git doesn't make.
bool isFreeForClone(const std::filesystem::path& target) {
    if (!std::filesystem::exists(target)) {
        std::filesystem::create_directories(target.parent_path());
        return true;
    }
    return std::filesystem::is_directory(target) && std::filesystem::is_empty(target);
}

}  // namespace

CheckoutResult CheckoutService::prepareCheckout(const CheckoutRequest& request) const {
    std::string git = locator.git(request.tools.git, request.tools.gitPath).path;
    std::string root = resolvedPath(expandingTilde(request.root, homeDirectory));
    std::filesystem::create_directories(root);
    std::string target = appendingCheckedSegments(root, request.relativePath);
    FolderTurn turn(target);
    if (isFreeForClone(target)) {
        Command clone{git, {"clone", "--", request.remote, target}};
        clone.environment = gitEnvironment(request.remote, request.token);
        clone.timeout = cloneTimeout;
        check(runner->run(clone), "git clone", request.token);
        return {target, true, std::nullopt};
    }
    try {
        requireCheckout({*runner, git, target}, request.repository);
    } catch (const CheckoutError& error) {
        if (error.kind() == CheckoutError::Case::notACheckout) {
            throw CheckoutError::folderNotEmpty(target);
        }
        throw;
    }
    return {target, false, std::nullopt};
}

void CheckoutService::inspect(const std::string& path, const RepositoryCoordinates& repository,
                              const std::string& git) const {
    std::string folder = resolvedPath(path);
    FolderTurn turn(folder);
    requireCheckout({*runner, git, folder}, repository);
}

}  // namespace marlet
