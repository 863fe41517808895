#include "MarletCore/Project.h"

#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet {

std::optional<std::string> Project::doneStatus() const {
    if (statusOptions.empty()) {
        return std::nullopt;
    }
    auto found = std::find_if(statusOptions.begin(), statusOptions.end(),
                              [](const std::string& option) { return equalIgnoringCase(option, "done"); });
    return found != statusOptions.end() ? *found : statusOptions.back();
}

std::optional<std::string> Project::openStatus() const {
    std::optional<std::string> done = doneStatus();
    auto found = std::find_if(statusOptions.begin(), statusOptions.end(),
                              [&](const std::string& option) { return option != done; });
    return found != statusOptions.end() ? std::optional(*found) : std::nullopt;
}

ProjectKind projectKind(std::optional<ProjectKind> given, const std::optional<URL>& cloneURL,
                        const std::optional<std::string>& sshCloneURL) {
    return given.value_or(cloneURL || sshCloneURL ? ProjectKind::repository : ProjectKind::list);
}

}  // namespace marlet
