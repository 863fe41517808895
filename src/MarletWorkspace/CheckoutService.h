#pragma once

#include <memory>
#include <string>

#include "MarletWorkspace/HelperMessages.h"
#include "MarletWorkspace/ToolLocator.h"

namespace marlet {

// What the helper does on this machine: checkouts, worktrees, and the agents' registrations.
//
// Immutable, so any thread may call it, several at once too. Every call blocks for as long as its commands run, up to a
// quarter of an hour for a clone. All but locateTools throw CheckoutError, ToolLocatorError, FolderSchemeError,
// CopilotConfigError, or what the platform reports.
struct CheckoutService {
    std::shared_ptr<const CommandRunner> runner;
    ToolLocator locator;
    std::string homeDirectory;

    // Carries the request out. Throws nothing: what goes wrong is the reply.
    HelperReply handle(const HelperRequest& request) const;

    ToolReport locateTools(const ToolSettings& settings) const;

    // Clones where the folder is missing or empty, accepts a checkout of the repository that is there, and refuses
    // anything else.
    CheckoutResult prepareCheckout(const CheckoutRequest& request) const;
    // Throws unless `path` is the top folder of a checkout of the repository. Waits for a clone that is under way
    // there.
    void inspect(const std::string& path, const RepositoryCoordinates& repository, const std::string& git) const;

    // A worktree beside the checkout on a branch of its own: the one of before, or a new one.
    CheckoutResult prepareWorktree(const WorktreeRequest& request) const;
    // A worktree with changes stays, and so does anything that isn't a linked worktree. One that is gone is no error.
    void removeWorktree(const std::string& path, const ToolSettings& tools) const;

    // Leaves one entry for the local endpoint in what Claude Code reads for the folder.
    void registerMCP(const MCPRegistration& registration) const;
    // The same in Copilot's configuration, which keeps everything else it holds.
    void registerCopilotMCP(const std::string& endpoint, const std::string& token) const;
    void openInCopilot(const std::string& path) const;
};

}  // namespace marlet
