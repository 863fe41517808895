#pragma once

#include <set>
#include <string>
#include <vector>

#include "MarletCore/Project.h"

namespace marlet {

// The ids of the projects that the user names: by id, by a name that only one has, or "all" of them.
// Throws NamingError with the candidates for a name that none or several have.
std::set<std::string> selectedProjectIDs(const std::vector<Project>& projects, const std::vector<std::string>& names);

}  // namespace marlet
