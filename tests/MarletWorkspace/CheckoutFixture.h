// What the tests of checkouts and worktrees share.
#pragma once

#include <memory>
#include <string>

#include "MarletWorkspace/CheckoutService.h"

namespace marlet {

inline const RepositoryCoordinates app("forge.example", std::nullopt, "team", "app");

inline ToolSettings usingGit(const std::string& path) {
    return {GitChoice::custom, path, ""};
}

// Takes any git for one that is there.
inline CheckoutService serviceOver(std::shared_ptr<const CommandRunner> runner, const std::string& home = "/home/kai") {
    CheckoutService service;
    service.runner = std::move(runner);
    service.locator.isExecutable = [](const std::string&) { return true; };
    service.locator.developerDirectory = [] { return std::nullopt; };
    service.locator.shellLookup = [](const std::string&) { return std::nullopt; };
    service.locator.homeDirectory = home;
    service.homeDirectory = home;
    return service;
}

// The text of what `work` throws; empty when it throws nothing.
template <class Work>
std::string failureOf(Work work) {
    try {
        work();
    } catch (...) {
        return localizedDescription(std::current_exception());
    }
    return {};
}

}  // namespace marlet
