// Names of worktrees, and where they live.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/UUID.h"
#include "MarletCore/BackendKind.h"

namespace marlet {

struct Worktree {
    static constexpr std::string_view branchPrefix = "marlet/";

    static std::string name(const std::string& taskID, TaskKind kind, const UUID& localID, const std::string& title);
    // What to fetch to have the changes of a pull or merge request; no value for anything else.
    static std::optional<std::string> pullRequestRef(const std::string& taskID, TaskKind kind, BackendKind backend);
    static bool isValidName(std::string_view name);
    // The folder beside a checkout that holds its worktrees.
    static std::string container(const std::string& checkout);
};

}  // namespace marlet
