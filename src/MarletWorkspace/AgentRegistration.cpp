// Makes the local MCP endpoint known to the agents, and opens them.
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "MarletBase/PrivateFile.h"
#include "MarletWorkspace/AgentDestination.h"
#include "MarletWorkspace/CheckoutError.h"
#include "MarletWorkspace/CheckoutService.h"
#include "MarletWorkspace/CopilotMCPConfig.h"
#include "MarletWorkspace/GitCommandsInternal.h"
#include "MarletWorkspace/ResolvedPath.h"

namespace marlet {
namespace {

constexpr double commandLimit = 60;
constexpr mode_t ownerOnlyFolder = S_IRWXU;
// As many as the system itself follows.
constexpr int linkLimit = 40;

// The tool keeps the entries of all folders in one file, which it writes as it read it a moment ago: of two that run at
// once, one may lose its entry, and tells a success. A registration takes about a second, two minutes at most.
std::mutex claudeRegistration;

[[noreturn]] void fail(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

// What is missing of it, for its owner alone from the first moment. What exists stays as it is.
void makePrivateFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (std::filesystem::is_directory(folder, ignored)) {
        return;
    }
    if (folder.has_parent_path() && folder.has_relative_path()) {
        makePrivateFolder(folder.parent_path());
    }
    if (::mkdir(folder.c_str(), ownerOnlyFolder) == 0) {
        // The umask may have taken something away.
        if (::chmod(folder.c_str(), ownerOnlyFolder) != 0) {
            fail(errno, folder);
        }
    } else if (int error = errno; !std::filesystem::is_directory(folder, ignored)) {
        fail(error, folder);
    }
}

// The file that a link leads to in the end, so that replacing it leaves the link.
std::filesystem::path behindLinks(std::filesystem::path file) {
    for (int count = 0; std::filesystem::is_symlink(std::filesystem::symlink_status(file)); ++count) {
        if (count == linkLimit) {
            fail(ELOOP, file);
        }
        file = file.parent_path() / std::filesystem::read_symlink(file);
    }
    return file;
}

// Absolute, without "." and "..", and without a "/" at its end.
std::string plainFolderPath(const std::string& path) {
    std::string plain = (std::filesystem::current_path() / path).lexically_normal().string();
    if (plain.size() > 1 && plain.ends_with('/')) {
        plain.pop_back();
    }
    return plain;
}

}  // namespace

void CheckoutService::registerMCP(const MCPRegistration& registration) const {
    std::string claude = locator.claude(registration.tools.claudePath).path;
    Command removal{claude, {"mcp", "remove", "--scope", "local", CopilotMCPConfig::serverName}};
    removal.folder = registration.folder;
    removal.timeout = commandLimit;
    Command addition = removal;
    addition.arguments = {"mcp",
                          "add",
                          "--scope",
                          "local",
                          "--transport",
                          "http",
                          CopilotMCPConfig::serverName,
                          registration.endpoint,
                          "--header",
                          "Authorization: Bearer " + registration.token};

    std::lock_guard guard(claudeRegistration);
    // There may be nothing to remove.
    runner->run(removal);
    check(runner->run(addition), "claude mcp add", registration.token);
}

void CheckoutService::registerCopilotMCP(const std::string& endpoint, const std::string& token) const {
    std::filesystem::path folder = std::filesystem::path(homeDirectory) / ".copilot";
    makePrivateFolder(folder);
    std::filesystem::path file = behindLinks(folder / "mcp-config.json");
    FolderLock lock(file.parent_path());
    std::string content = readRegularFile(file).value_or("");
    replacePrivateFile(file, CopilotMCPConfig::updated(content, endpoint, token));
}

void CheckoutService::openInCopilot(const std::string& path) const {
    std::string folder = plainFolderPath(expandingTilde(path, homeDirectory));
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder, ignored)) {
        throw CheckoutError::notACheckout(folder);
    }
    Command open{"/usr/bin/open", {"-b", copilotBundleIdentifier, "--", folder}};
    open.timeout = commandLimit;
    check(runner->run(open), "open");
}

}  // namespace marlet
