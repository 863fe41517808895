#include "MarletClient/ProjectSelection.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <numeric>

#include "MarletBase/Text.h"
#include "MarletClient/Naming.h"

namespace marlet {
namespace {

constexpr size_t mostTypingErrors = 2;

// How many letters have to be put in, taken out or replaced to make one text the other.
size_t typingErrors(const std::string& left, const std::string& right) {
    std::vector<size_t> previous(right.size() + 1);
    std::iota(previous.begin(), previous.end(), size_t{0});
    for (size_t row = 1; row <= left.size(); ++row) {
        std::vector<size_t> current(right.size() + 1, row);
        for (size_t column = 1; column <= right.size(); ++column) {
            size_t replaced = previous[column - 1] + (left[row - 1] == right[column - 1] ? 0 : 1);
            current[column] = std::min({replaced, previous[column] + 1, current[column - 1] + 1});
        }
        previous = std::move(current);
    }
    return previous.back();
}

bool isClose(const Project& project, const std::string& folded) {
    for (const std::string& name : {foldedForSearch(project.id), foldedForSearch(project.name)}) {
        std::string lastPart = name.substr(name.rfind('/') + 1);
        bool isPart = !folded.empty() && name.find(folded) != std::string::npos;
        if (isPart || typingErrors(name, folded) <= mostTypingErrors ||
            typingErrors(lastPart, folded) <= std::min(mostTypingErrors, lastPart.size() / 3)) {
            return true;
        }
    }
    return false;
}

// The name as the user can type it: the id where others have the same name.
std::string label(const Project& project) {
    return project.id == project.name ? project.name : fmt::format("{} ({})", project.id, project.name);
}

std::vector<std::string> labels(const std::vector<Project>& projects) {
    std::vector<std::string> texts;
    std::transform(projects.begin(), projects.end(), std::back_inserter(texts), label);
    return texts;
}

[[noreturn]] void refuseUnknown(const std::vector<Project>& projects, const std::string& name) {
    if (projects.empty()) {
        throw NamingError(fmt::format("No project \"{}\": the server lists none for this token.", name));
    }
    std::string folded = foldedForSearch(name);
    std::vector<Project> close;
    std::copy_if(projects.begin(), projects.end(), std::back_inserter(close),
                 [&](const Project& project) { return isClose(project, folded); });
    throw NamingError(
        close.empty() ? fmt::format("No project \"{}\" on the server. It has: {}.", name, listed(labels(projects)))
                      : fmt::format("No project \"{}\" on the server. Did you mean {}?", name, listed(labels(close))));
}

const Project& projectNamed(const std::vector<Project>& projects, const std::string& name) {
    auto known = std::find_if(projects.begin(), projects.end(), [&](const Project& other) { return other.id == name; });
    if (known != projects.end()) {
        return *known;
    }
    std::vector<size_t> alike;
    for (size_t index = 0; index < projects.size(); ++index) {
        if (equalIgnoringCase(projects[index].name, name) || equalIgnoringCase(projects[index].id, name)) {
            alike.push_back(index);
        }
    }
    if (alike.empty()) {
        refuseUnknown(projects, name);
    }
    if (alike.size() > 1) {
        std::vector<std::string> ids;
        std::transform(alike.begin(), alike.end(), std::back_inserter(ids),
                       [&](size_t index) { return projects[index].id; });
        throw NamingError(
            fmt::format("{} projects are named \"{}\". Use the id: {}.", alike.size(), name, listed(ids)));
    }
    return projects[alike.front()];
}

}  // namespace

std::set<std::string> selectedProjectIDs(const std::vector<Project>& projects, const std::vector<std::string>& names) {
    std::set<std::string> ids;
    for (const std::string& name : names) {
        if (name == "all") {
            std::transform(projects.begin(), projects.end(), std::inserter(ids, ids.end()),
                           [](const Project& project) { return project.id; });
        } else {
            ids.insert(projectNamed(projects, name).id);
        }
    }
    return ids;
}

}  // namespace marlet
