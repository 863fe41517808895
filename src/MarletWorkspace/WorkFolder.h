// The files in a work folder by which a task goes to an agent and its outcome comes back: TASK.md and RESULT.md.
//
// All of this blocks on the file system. Besides WorkFolderError it throws what the platform reports, and
// FolderSchemeError for a folder whose name holds a NUL.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/Date.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {

class WorkFolderError final : public LocalizedError {
public:
    enum class Case { brokenGitLink, foreignBrief, notARegularFile, resultTooLarge, resultNotUTF8 };

    static WorkFolderError brokenGitLink(std::string path);
    static WorkFolderError foreignBrief(std::string path);
    static WorkFolderError notARegularFile(std::string path);
    static WorkFolderError resultTooLarge(std::string path);
    static WorkFolderError resultNotUTF8(std::string path);

    Case kind() const { return which; }
    const std::string& path() const { return given; }

private:
    WorkFolderError(Case kind, std::string path, std::string_view advice);

    Case which;
    std::string given;
};

struct WorkResult {
    std::string text;
    Date modificationDate;

    bool operator==(const WorkResult&) const = default;
};

// Keeps both files out of git's sight, in the checkout whose top folder this is and in all its worktrees, by lines of
// info/exclude, where everything else stays as it is. Does nothing where the folder isn't the top of a checkout or
// worktree. Throws WorkFolderError::brokenGitLink. Several may do it at once.
void hideFromGit(const std::string& folder);

// Writes TASK.md as a whole, in place of the brief of before. Nothing else is ever overwritten: throws
// WorkFolderError::foreignBrief or notARegularFile for a TASK.md that isn't a brief. Once hideFromGit was called git
// sees none of it, also not while it is written (unless its own folder is on another file system). Throws
// WorkFolderError::brokenGitLink.
void writeBrief(const std::string& folder, const std::string& markdown);

// What stands in RESULT.md; no value if there is none or it is blank. Throws WorkFolderError::notARegularFile, also for
// a symbolic link, resultTooLarge (above 1 MiB), and resultNotUTF8.
std::optional<WorkResult> readResult(const std::string& folder);

}  // namespace marlet
