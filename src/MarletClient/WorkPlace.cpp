#include "MarletClient/WorkPlace.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "MarletBase/Text.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Tools.h"
#include "MarletWorkspace/FolderScheme.h"
#include "MarletWorkspace/ResolvedPath.h"
#include "MarletWorkspace/Worktree.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;

constexpr size_t shownIDLength = 8;

const std::string& root(const WorkOptions& options) {
    return options.root ? *options.root : options.usualRoot;
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isGone(const std::string& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::not_found;
}

CheckoutResult checkoutIn(const HelperReply& reply) {
    const auto* checkout = std::get_if<HelperReply::Checkout>(&reply.value);
    if (!checkout) {
        throw CommandError(
            "The helper's answer belongs to another request. It may be of another version: end "
            "MarletHelper, then try again.");
    }
    return checkout->result;
}

std::string remoteOf(const Project& project, bool wantsSSH) {
    std::optional<std::string> remote = cloneAddress(project, wantsSSH ? CloneProtocol::ssh : CloneProtocol::https);
    if (!remote) {
        programmingError("A repository has no address to clone from.");
    }
    return *remote;
}

// For git, if `remote` is the account's own server.
Async<std::optional<std::string>> tokenFor(Engine& engine, Account account, std::string remote) {
    if (!mayShowToken(remote, account)) {
        co_return std::nullopt;
    }
    co_return co_await engine.services().token(account.id);
}

// The checkout that is known, as long as it is there, or else a new clone.
Async<std::string> checkoutPath(Engine& engine, WorkSubject subject, WorkOptions options, std::string remote,
                                std::optional<std::string> token) {
    const std::optional<std::string>& known = subject.handoff.checkoutPath;
    if (known && !options.root && !isGone(*known)) {
        co_return *known;
    }
    Step step(engine.steps, fmt::format("Cloning {}", subject.project->name));
    CheckoutRequest request{
        root(options),     CheckoutScheme().relativePath(*subject.repository, subject.account.displayName),
        std::move(remote), *subject.repository,
        std::move(token),  options.tools};
    HelperReply reply = co_await engine.helper().ask({HelperRequest::PrepareCheckout{std::move(request)}});
    CheckoutResult checkout = checkoutIn(reply);
    co_await engine.store().setCheckoutPath(checkout.path, subject.account.id, subject.project->id);
    co_return checkout.path;
}

Async<WorkPlace> prepareWorktree(Engine& engine, WorkSubject subject, WorkOptions options) {
    requireGit(options.tools);
    const TaskItem& item = subject.task.item;
    std::string remote = remoteOf(*subject.project, options.ssh);
    std::optional<std::string> token = co_await tokenFor(engine, subject.account, remote);
    std::string checkout = co_await checkoutPath(engine, subject, options, remote, token);
    Step step(engine.steps, fmt::format("Making the worktree for {}", item.title));
    WorktreeRequest request{.checkout = std::move(checkout),
                            .repository = *subject.repository,
                            .existing = subject.handoff.worktreePath,
                            .name = Worktree::name(item.id, item.kind, subject.task.localID, item.title),
                            .pullRequestRef = Worktree::pullRequestRef(item.id, item.kind, subject.account.kind),
                            .token = std::move(token),
                            .tools = options.tools};
    HelperReply reply = co_await engine.helper().ask({HelperRequest::PrepareWorktree{std::move(request)}});
    CheckoutResult worktree = checkoutIn(reply);
    co_await engine.store().recordWorktree(subject.task.localID, worktree.path);
    co_return WorkPlace{std::move(worktree.path), std::move(worktree.branch)};
}

// Makes what is missing of the path, for the user alone.
void makeFolders(const fs::path& path) {
    if (isFolder(path.string())) {
        return;
    }
    if (path.has_relative_path()) {
        makeFolders(path.parent_path());
    }
    int error = ::mkdir(path.c_str(), S_IRWXU) == 0 ? 0 : errno;
    if (error != 0 && !isFolder(path.string())) {
        throw CommandError(fmt::format("The work folder {} can't be made: {}.", path.string(),
                                       std::generic_category().message(error)));
    }
}

// A task that its server hasn't named yet goes by its id here, as its worktree would.
std::string folderNameOf(const TaskSnapshot& task) {
    return isUnsent(task) ? "new-" + lowercasedASCII(task.localID.text().substr(0, shownIDLength)) : task.item.id;
}

WorkPlace prepareFolder(const WorkSubject& subject, const WorkOptions& options) {
    const std::optional<std::string>& known = subject.handoff.claudeFolder;
    if (known && isFolder(*known) && !options.root) {
        return {*known, std::nullopt};
    }
    std::vector<std::string> segments = WorkspaceScheme().relativePath(
        subject.account.displayName, subject.task.projectName, folderNameOf(subject.task), subject.task.item.title);
    std::string folder = appendingCheckedSegments(root(options), segments);
    makeFolders(folder);
    return {std::move(folder), std::nullopt};
}

}  // namespace

Async<WorkPlace> prepareWorkPlace(Engine& engine, WorkSubject subject, WorkOptions options) {
    if (subject.repository) {
        co_return co_await prepareWorktree(engine, std::move(subject), std::move(options));
    }
    co_return prepareFolder(subject, options);
}

}  // namespace marlet
