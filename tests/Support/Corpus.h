#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace marlet {

// The inputs in a folder: those that a fuzz target starts from, and those that once broke something.
std::vector<std::string> inputs(const std::filesystem::path& folder);

}  // namespace marlet
