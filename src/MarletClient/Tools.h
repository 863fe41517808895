// The programs of this computer that work is done with, found as the user's shell finds them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "MarletWorkspace/ToolSettings.h"

namespace marlet {

// The full path of the program by a list of folders such as the PATH; no value when none of them has it. Folders that
// aren't absolute are passed over: what the current folder happens to hold is nobody's tool.
std::optional<std::string> programIn(std::string_view folders, const std::string& name);
// By the PATH of this process.
std::optional<std::string> programOnPath(const std::string& name);

// git and claude as the PATH has them. What it hasn't is left to the helper to look for.
ToolSettings toolsOnPath();

// Throws CommandError when the PATH had no git.
void requireGit(const ToolSettings& tools);

}  // namespace marlet
