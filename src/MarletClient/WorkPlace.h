#pragma once

#include <optional>
#include <string>

#include "MarletClient/Engine.h"
#include "MarletClient/WorkSubject.h"

namespace marlet {

struct WorkPlace {
    std::string folder;
    std::optional<std::string> branch;  // of a worktree
};

// The folder for the work on the task: a worktree of its own beside the repository's checkout, or a plain folder for a
// task without a repository. What there is of an earlier time is used again, and what is made is kept in the store at
// once: whatever goes wrong later, the next time goes on from there.
// Throws CommandError, FolderSchemeError.
Async<WorkPlace> prepareWorkPlace(Engine& engine, WorkSubject subject, WorkOptions options);

}  // namespace marlet
