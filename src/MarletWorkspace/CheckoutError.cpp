#include "MarletWorkspace/CheckoutError.h"

#include <fmt/format.h>

namespace marlet {

CheckoutError::CheckoutError(Case kind, std::string description)
    : LocalizedError(std::move(description)), which(kind) {}

CheckoutError CheckoutError::folderNotEmpty(const std::string& path) {
    return {Case::folderNotEmpty, path + " already exists and isn't a checkout of this repository."};
}

CheckoutError CheckoutError::otherRepository(const std::string& path, const std::string& origin) {
    return {Case::otherRepository, fmt::format("{} is a checkout of another repository ({}).", path, origin)};
}

CheckoutError CheckoutError::notACheckout(const std::string& path) {
    return {Case::notACheckout, path + " isn't the top folder of a git checkout."};
}

CheckoutError CheckoutError::notAWorktree(const std::string& path) {
    return {Case::notAWorktree, path + " isn't a worktree of the repository's checkout."};
}

CheckoutError CheckoutError::invalidWorktreeName(const std::string& name) {
    return {Case::invalidWorktreeName, fmt::format("“{}” can't be used as a worktree name.", name)};
}

CheckoutError CheckoutError::commandFailed(const std::string& command, const std::string& message) {
    return {Case::commandFailed, fmt::format("{} failed: {}", command, message)};
}

}  // namespace marlet
