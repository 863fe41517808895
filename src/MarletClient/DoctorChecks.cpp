#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "MarletBase/Database.h"
#include "MarletBase/UUID.h"
#include "MarletClient/Doctor.h"
#include "MarletClient/Endpoint.h"
#include "MarletClient/Engine.h"
#include "MarletKit/KeychainError.h"
#include "MarletKit/PlatformPasswordItems.h"
#include "MarletKit/SecurityKeychainItems.h"

namespace marlet {
namespace {

constexpr std::uintmax_t littleSpace = std::uintmax_t{100} << 20;
constexpr mode_t forOthers = S_IRWXG | S_IRWXO;

Finding folderFinding(std::string message, std::string advice) {
    return {"data folder", Standing::attention, std::move(message), std::move(advice)};
}

// The owner or the mode isn't what it should be; no value if all is well.
std::optional<Finding> exposure(const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    if (info.st_uid != ::geteuid()) {
        return folderFinding(fmt::format("{} belongs to another user.", path.string()),
                             "Make it yours with chown, or choose another data folder with --data.");
    }
    if ((info.st_mode & forOthers) != 0) {
        return folderFinding(fmt::format("Other users of this computer can get at {}.", path.string()),
                             fmt::format("Take that from them: chmod go= '{}'", path.string()));
    }
    return std::nullopt;
}

void examineFiles(const std::filesystem::path& folder, std::vector<Finding>& findings) {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path& file : files) {
        if (std::optional<Finding> finding = exposure(file)) {
            findings.push_back(std::move(*finding));
        }
    }
}

void examineSpace(const std::filesystem::path& folder, std::vector<Finding>& findings) {
    std::error_code error;
    std::filesystem::space_info space = std::filesystem::space(folder, error);
    if (!error && space.available < littleSpace) {
        findings.push_back(
            folderFinding(fmt::format("Only {} MB are left on the disk of {}.", space.available >> 20, folder.string()),
                          "Make room: on a full disk no change can be kept."));
    }
}

// Whether the daemon could have the port: 0, or why not.
int portError(int64_t port) {
    int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return errno;
    }
    // As the server does: what is left of a connection that ended doesn't count.
    int yes = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool isFree = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    int error = isFree ? 0 : errno;
    ::close(descriptor);
    return error;
}

// Reads from the keychain that is used here, and throws what keeps it from that.
bool hasKeyring(KeychainItems& items) {
    // Whether it answers, and whether it is locked, shows also by asking for what nobody put there.
    std::string nobody = UUID().text();
    try {
        items.read(nobody, false);
        return true;
    } catch (const KeychainError& error) {
        if (error.status != keychainUnavailable) {
            throw;
        }
    }
    items.read(nobody, true);
    return false;
}

Finding pathFinding(std::string name, const std::optional<std::string>& path, Standing otherwise, std::string message) {
    Finding finding{std::move(name), otherwise, std::move(message)};
    finding.facts["path"] = path;
    if (path) {
        finding.standing = Standing::ok;
        finding.message = *path;
    }
    return finding;
}

Finding missingGit() {
    Finding finding{"git", Standing::attention, "git wasn't found on the PATH, and marlet work needs it.",
                    "Install it."};
    finding.facts = {{"path", nullptr}, {"version", nullptr}};
    return finding;
}

Finding linkFinding(const DoctorOptions& options) {
    return pathFinding("xdg-open", options.linkOpener, Standing::note,
                       "xdg-open wasn't found on the PATH: marlet work prints links instead of opening them.");
}

Finding toolFinding(const std::string& name, const std::optional<LocatedTool>& tool,
                    const std::optional<std::string>& version, const std::optional<std::string>& error,
                    Standing otherwise) {
    Finding finding{name, otherwise, error.value_or("")};
    finding.facts = {{"path", nullptr}, {"version", version}};
    if (!tool) {
        return finding;
    }
    finding.facts["path"] = tool->path;
    if (!version) {
        finding.message = fmt::format("{} can't be run.", tool->path);
        finding.advice = "Install it again.";
        return finding;
    }
    if (version->empty()) {
        finding.message = fmt::format("{} doesn't tell its version, and may not work.", tool->path);
        finding.advice = fmt::format(
            "Run {} --version in a shell. If it works there, start marlet serve from that shell, so that what it needs "
            "is on the PATH of both.",
            name);
        return finding;
    }
    finding.standing = Standing::ok;
    finding.message = fmt::format("{}, {}", tool->path, *version);
    return finding;
}

}  // namespace

std::vector<Finding> examineFolder(const std::filesystem::path& folder) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        return {folderFinding(fmt::format("There is no folder {}.", folder.string()),
                              "Choose another data folder with --data.")};
    }
    std::vector<Finding> findings;
    if (std::optional<Finding> finding = exposure(folder)) {
        findings.push_back(std::move(*finding));
    }
    if (::faccessat(AT_FDCWD, folder.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
        findings.push_back(folderFinding(fmt::format("There is no way to use the data folder {}: {}.", folder.string(),
                                                     std::generic_category().message(errno)),
                                         "Check its permissions, or choose another data folder with --data."));
    }
    examineFiles(folder, findings);
    examineSpace(folder, findings);
    if (findings.empty()) {
        findings.push_back({"data folder", Standing::ok, folder.string() + ", for you alone"});
    }
    findings.front().facts["path"] = folder.string();
    return findings;
}

Finding examineDatabases(const DataFolder& folder) {
    std::string damage;
    for (const char* name : {"Marlet", "LocalTasks"}) {
        std::optional<std::string> found = databaseDamage(folder.path(), name);
        damage += found ? (damage.empty() ? "" : " ") + *found : "";
    }
    if (damage.empty()) {
        return {"store", Standing::ok, "The databases open, and SQLite finds them sound."};
    }
    return {"store", Standing::attention, damage};
}

Finding examineSecrets(const DataFolder& folder) {
    SecurityKeychainItems items(keychainService, std::make_shared<PlatformPasswordItems>(folder.tokenFile()));
    Finding finding{"secrets"};
    finding.facts["store"] = nullptr;
    try {
        bool isKeyring = hasKeyring(items);
        finding.facts["store"] = isKeyring ? "keyring" : "file";
        finding.message = isKeyring ? std::string("The desktop's keyring answers, and keeps the tokens.")
                                    : fmt::format("Without a keyring here, tokens are kept in {}, for you alone.",
                                                  folder.tokenFile().string());
    } catch (...) {
        finding.standing = Standing::attention;
        finding.message = localizedDescription(std::current_exception());
    }
    return finding;
}

Finding examineEndpoint(const DataFolder& folder) {
    Finding finding{"endpoint", Standing::attention};
    finding.facts["endpoint"] = nullptr;
    try {
        std::optional<Endpoint> endpoint = Endpoint::load(folder);
        if (!endpoint) {
            finding.standing = Standing::note;
            finding.message = "There is no endpoint for agents yet: marlet serve makes it.";
            return finding;
        }
        finding.facts["endpoint"] = endpoint->url();
        int error = portError(endpoint->port);
        if (error == 0) {
            finding.standing = Standing::ok;
            finding.message = fmt::format("Agents know {}, and its port is free for marlet serve.", endpoint->url());
        } else if (error == EADDRINUSE) {
            finding.message =
                fmt::format("Another program uses port {}, with which agents are registered.", endpoint->port);
            finding.advice =
                "End what uses it, or pick a new port with marlet serve --port 0 and register the agents again.";
        } else {
            finding.message =
                fmt::format("Port {} can't be used: {}.", endpoint->port, std::generic_category().message(error));
            finding.advice = "Pick a new port with marlet serve --port 0 and register the agents again.";
        }
    } catch (...) {
        finding.message = localizedDescription(std::current_exception());
    }
    return finding;
}

std::vector<Finding> examinePath(const DoctorOptions& options) {
    std::vector<Finding> findings;
    bool hasGit = options.tools.git == GitChoice::custom;
    findings.push_back(hasGit ? pathFinding("git", options.tools.gitPath, Standing::attention, "") : missingGit());
    std::optional<std::string> claude;
    if (!options.tools.claudePath.empty()) {
        claude = options.tools.claudePath;
    }
    findings.push_back(pathFinding("claude", claude, Standing::note, "claude wasn't found on the PATH."));
    findings.push_back(linkFinding(options));
    return findings;
}

std::vector<Finding> toolFindings(const DoctorOptions& options, const ToolReport& report) {
    std::vector<Finding> findings;
    findings.push_back(options.tools.git == GitChoice::custom
                           ? toolFinding("git", report.git, report.gitVersion, report.gitError, Standing::attention)
                           : missingGit());
    // Whoever hands no task to it needs none.
    findings.push_back(toolFinding("claude", report.claude, report.claudeVersion, report.claudeError, Standing::note));
    findings.push_back(linkFinding(options));
    return findings;
}

}  // namespace marlet
