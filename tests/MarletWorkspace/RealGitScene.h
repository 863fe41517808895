#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CheckoutFixture.h"
#include "MarletWorkspace/ProcessRunner.h"
#include "TestSupport/GitFixture.h"

namespace marlet {

// The real git against a server with "team/app".
struct RealGitScene {
    static constexpr const char* gitPath = "/usr/bin/git";

    RealGitScene() { server.addRepository("team/app"); }

    CheckoutResult clone(const std::string& remote, const std::string& folder) const {
        CheckoutRequest request{root().string(), {folder},         remote, *RepositoryCoordinates::parse(remote),
                                std::nullopt,    usingGit(gitPath)};
        return service.prepareCheckout(request);
    }
    // "app", of "team/app".
    std::string checkout() const { return clone(GitFixture::https("team/app"), "app").path; }

    void inspect(const std::filesystem::path& path, const RepositoryCoordinates& repository = app) const {
        service.inspect(path.string(), repository, gitPath);
    }
    std::string failureOfInspection(const std::filesystem::path& path) const {
        return failureOf([&] { inspect(path); });
    }

    WorktreeRequest request(const std::string& name, const std::filesystem::path& checkout) const {
        WorktreeRequest request{checkout.string(), app,          std::nullopt,     name,
                                std::nullopt,      std::nullopt, usingGit(gitPath)};
        return request;
    }
    WorktreeRequest request(const std::string& name) const { return request(name, root() / "app"); }
    CheckoutResult prepare(const WorktreeRequest& request) const { return service.prepareWorktree(request); }
    std::string failure(const WorktreeRequest& request) const {
        return failureOf([&] { prepare(request); });
    }
    void remove(const std::filesystem::path& path) const { service.removeWorktree(path.string(), usingGit(gitPath)); }
    std::string failureOfRemoval(const std::filesystem::path& path) const {
        return failureOf([&] { remove(path); });
    }

    const std::filesystem::path& root() const { return server.folder(); }
    std::filesystem::path container() const { return root() / "app.worktrees"; }
    std::string git(const std::filesystem::path& folder, const std::vector<std::string>& arguments) const {
        return GitFixture::git(folder, arguments);
    }
    std::string head(const std::filesystem::path& folder) const { return git(folder, {"rev-parse", "HEAD"}); }

    GitFixture server;
    CheckoutService service = serviceOver(std::make_shared<ProcessRunner>());
};

// An executable file.
inline void writeScript(const std::filesystem::path& file, const std::string& text) {
    writeFile(file, "#!/bin/sh\n" + text);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

}  // namespace marlet
