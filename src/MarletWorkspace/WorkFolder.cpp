#include "MarletWorkspace/WorkFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

#include "MarletBase/Descriptor.h"
#include "MarletBase/PrivateFile.h"
#include "MarletBase/Text.h"
#include "MarletWorkspace/ResolvedPath.h"
#include "MarletWorkspace/TaskBrief.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;

constexpr size_t resultLimit = 1 << 20;
// The line that makes a brief stands near its beginning.
constexpr size_t briefHeadLimit = 1 << 20;
// Git's own limit for the file that leads to a git folder.
constexpr size_t linkLimit = 1 << 20;
constexpr std::string_view briefMark = "- Marlet task_id: ";
constexpr std::string_view linkMark = "gitdir: ";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr const char* newBriefName = ".marlet-TASK.md.new";
constexpr mode_t readableFile = 0666;

fs::filesystem_error failure(const std::string& path, int reason) {
    return {"", path, std::error_code(reason, std::generic_category())};
}

class RegularFile {
public:
    // Throws WorkFolderError::notARegularFile for anything else. Waits for nobody, as opening a pipe would.
    RegularFile(const std::string& path, int flags)
        : path(path), file(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, readableFile)) {
        if (file.get() < 0 && errno == ENOENT) {
            return;
        }
        bool isOther = file.get() < 0 && (errno == ELOOP || errno == ENXIO);
        if (!isOther && (file.get() < 0 || ::fstat(file.get(), &status) != 0)) {
            throw failure(path, errno);
        }
        if (isOther || !S_ISREG(status.st_mode)) {
            throw WorkFolderError::notARegularFile(path);
        }
    }

    bool isMissing() const { return file.get() < 0; }

    Date modificationDate() const {
        constexpr double nanosecond = 1e-9;
        return dateFromSeconds(static_cast<double>(status.st_mtim.tv_sec) +
                               nanosecond * static_cast<double>(status.st_mtim.tv_nsec));
    }

    // At most `limit` bytes from the start.
    std::string read(size_t limit) const {
        constexpr size_t step = 1 << 16;
        std::string content;
        while (content.size() < limit) {
            size_t length = content.size();
            content.resize(std::min(limit, length + step));
            ssize_t count = ::read(file.get(), content.data() + length, content.size() - length);
            if (count < 0 && errno != EINTR) {
                throw failure(path, errno);
            }
            content.resize(length + static_cast<size_t>(std::max<ssize_t>(count, 0)));
            if (count == 0) {
                break;
            }
        }
        return content;
    }

    // The file holds all of it afterwards, or none.
    void append(std::string_view bytes) const {
        ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (std::cmp_equal(count, bytes.size())) {
            return;
        }
        int reason = count < 0 ? errno : ENOSPC;
        static_cast<void>(::ftruncate(file.get(), status.st_size));
        throw failure(path, reason);
    }

private:
    std::string path;
    Descriptor file;
    struct stat status {};
};

struct GitFolders {
    std::string own;     // of this checkout or worktree
    std::string common;  // of all worktrees together
};

std::optional<std::string> contentOf(const std::string& path, size_t limit) {
    RegularFile file(path, O_RDONLY);
    return file.isMissing() ? std::nullopt : std::optional(file.read(limit));
}

// The path that a file of git's holds, seen from a folder.
std::string linkedPath(const std::string& folder, std::string_view text) {
    while (text.ends_with('\n') || text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    return text.starts_with('/') ? std::string(text) : folder + "/" + std::string(text);
}

// No value where git would see no checkout's top either.
std::optional<GitFolders> gitFolders(const std::string& folder) {
    std::string entry = folder + "/.git";
    GitFolders folders{entry, entry};
    if (!fs::is_directory(entry)) {
        if (!fs::is_regular_file(entry)) {
            return std::nullopt;
        }
        std::string link = contentOf(entry, linkLimit).value_or("");
        if (!link.starts_with(linkMark)) {
            throw WorkFolderError::brokenGitLink(entry);
        }
        folders.own = linkedPath(folder, std::string_view(link).substr(linkMark.size()));
    }
    // It may be a link, also one to a branch that has no commit yet.
    if (!fs::exists(fs::symlink_status(folders.own + "/HEAD"))) {
        if (folders.own == entry) {
            return std::nullopt;
        }
        throw WorkFolderError::brokenGitLink(entry);
    }
    std::optional<std::string> common = contentOf(folders.own + "/commondir", linkLimit);
    folders.common = common ? linkedPath(folders.own, *common) : folders.own;
    if (!fs::is_directory(folders.common)) {
        throw WorkFolderError::brokenGitLink(entry);
    }
    return folders;
}

// The lines as git reads them.
bool hasPattern(std::string_view excludes, std::string_view pattern) {
    if (excludes.starts_with(byteOrderMark)) {
        excludes.remove_prefix(byteOrderMark.size());
    }
    for (std::string_view line : pieces(excludes, '\n')) {
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        if (line == pattern) {
            return true;
        }
    }
    return false;
}

// What to append so that git ignores both files, in the file's own kind of lines.
std::string missingPatterns(std::string_view excludes) {
    std::string_view lineEnd = excludes.find("\r\n") != std::string_view::npos ? "\r\n" : "\n";
    std::string missing;
    for (const char* name : {TaskBrief::briefFileName, TaskBrief::resultFileName}) {
        std::string pattern = "/" + std::string(name);
        if (!hasPattern(excludes, pattern)) {
            missing.append(pattern).append(lineEnd);
        }
    }
    bool endsInsideLine = !excludes.empty() && !excludes.ends_with('\n');
    return endsInsideLine && !missing.empty() ? std::string(lineEnd) + missing : missing;
}

// Whether there is a brief to be replaced.
bool hasBrief(const std::string& path) {
    RegularFile file(path, O_RDONLY | O_NOFOLLOW);
    if (file.isMissing()) {
        return false;
    }
    std::string head = file.read(briefHeadLimit);
    for (std::string_view line : pieces(head, '\n')) {
        if (line.starts_with(briefMark)) {
            return true;
        }
    }
    throw WorkFolderError::foreignBrief(path);
}

// What appears at `target` meanwhile is never replaced.
void moveToNewName(const std::string& source, const std::string& target) {
    if (::link(source.c_str(), target.c_str()) == 0) {
        ::unlink(source.c_str());
        return;
    }
    if (errno == EEXIST) {
        throw WorkFolderError::foreignBrief(target);
    }
    // Some file systems have no second name for a file.
    fs::rename(source, target);
}

// Passes through a file in `folder`, which must be on the brief's own file system.
void placeBrief(const std::string& folder, const std::string& brief, const std::string& markdown, bool replaces) {
    std::string made = folder + "/" + newBriefName;
    writeNewPrivateFile(made, markdown);
    try {
        if (replaces) {
            fs::rename(made, brief);
        } else {
            moveToNewName(made, brief);
        }
    } catch (...) {
        ::unlink(made.c_str());
        throw;
    }
}

}  // namespace

WorkFolderError::WorkFolderError(Case kind, std::string path, std::string_view advice)
    : LocalizedError(path + std::string(advice)), which(kind), given(std::move(path)) {}

WorkFolderError WorkFolderError::brokenGitLink(std::string path) {
    return {Case::brokenGitLink, std::move(path),
            " doesn't lead to a git folder. Run \"git worktree repair\" in the main checkout, and try again."};
}

WorkFolderError WorkFolderError::foreignBrief(std::string path) {
    return {Case::foreignBrief, std::move(path),
            " isn't a brief of Marlet's and stays as it is. Move it or rename it, and try again."};
}

WorkFolderError WorkFolderError::notARegularFile(std::string path) {
    return {Case::notARegularFile, std::move(path), " isn't a regular file. Move it away, and try again."};
}

WorkFolderError WorkFolderError::resultTooLarge(std::string path) {
    return {Case::resultTooLarge, std::move(path), " is larger than 1 MiB. Shorten it, and try again."};
}

WorkFolderError WorkFolderError::resultNotUTF8(std::string path) {
    return {Case::resultNotUTF8, std::move(path), " isn't UTF-8 text. Save it as UTF-8, and try again."};
}

void hideFromGit(const std::string& folder) {
    std::optional<GitFolders> git = gitFolders(resolvedPath(folder));
    if (!git) {
        return;
    }
    FolderLock lock(git->common);
    std::string excludes = git->common + "/info/exclude";
    std::string missing = missingPatterns(contentOf(excludes, SIZE_MAX).value_or(""));
    if (!missing.empty()) {
        fs::create_directories(git->common + "/info");
        // Through a link, and with the owner and mode that the file has.
        RegularFile(excludes, O_WRONLY | O_APPEND | O_CREAT).append(missing);
    }
}

void writeBrief(const std::string& folder, const std::string& markdown) {
    std::string top = resolvedPath(folder);
    FolderLock lock(top);
    std::string brief = top + "/" + TaskBrief::briefFileName;
    bool replaces = hasBrief(brief);
    // Git looks at all names in a checkout, but at none in its own folder.
    if (std::optional<GitFolders> git = gitFolders(top)) {
        try {
            placeBrief(git->own, brief, markdown, replaces);
            return;
        } catch (const fs::filesystem_error& error) {
            if (error.code() != std::errc::cross_device_link) {
                throw;
            }
        }
    }
    placeBrief(top, brief, markdown, replaces);
}

std::optional<WorkResult> readResult(const std::string& folder) {
    std::string path = resolvedPath(folder) + "/" + TaskBrief::resultFileName;
    RegularFile file(path, O_RDONLY | O_NOFOLLOW);
    if (file.isMissing()) {
        return std::nullopt;
    }
    std::string text = file.read(resultLimit + 1);
    if (text.size() > resultLimit) {
        throw WorkFolderError::resultTooLarge(path);
    }
    if (!isValidUTF8(text)) {
        throw WorkFolderError::resultNotUTF8(path);
    }
    if (text.starts_with(byteOrderMark)) {
        text.erase(0, byteOrderMark.size());
    }
    if (trimmed(text).empty()) {
        return std::nullopt;
    }
    // The date from before the text was read: what is written meanwhile is newer.
    return WorkResult{std::move(text), file.modificationDate()};
}

}  // namespace marlet
