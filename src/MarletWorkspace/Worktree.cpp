#include "MarletWorkspace/Worktree.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "MarletWorkspace/FolderScheme.h"

namespace marlet {
namespace {

constexpr size_t partLength = 40;
constexpr size_t nameLimit = 81;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || isDigit(character);
}

std::string stem(const std::string& taskID, TaskKind kind, const UUID& localID) {
    if (taskID.starts_with("local-")) {
        return "new-" + localID.lowercaseText().substr(0, 8);
    }
    std::string slug = PathTemplate::slug(taskID, partLength);
    if (kind == TaskKind::pullRequest) {
        return (taskID.starts_with('!') ? "mr-" : "pr-") + slug;
    }
    return slug;
}

std::optional<std::string> numberedRef(std::string_view folder, std::string_view digits) {
    int64_t number = 0;
    bool areDigits = std::all_of(digits.begin(), digits.end(), isDigit);
    if (!areDigits || std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc()) {
        return std::nullopt;
    }
    return std::string(folder) + std::to_string(number) + "/head";
}

}  // namespace

std::string Worktree::name(const std::string& taskID, TaskKind kind, const UUID& localID, const std::string& title) {
    std::string name = stem(taskID, kind, localID);
    std::string tail = PathTemplate::slug(title, partLength);
    return tail.empty() ? name : name + "-" + tail;
}

std::optional<std::string> Worktree::pullRequestRef(const std::string& taskID, TaskKind kind, BackendKind backend) {
    if (kind != TaskKind::pullRequest) {
        return std::nullopt;
    }
    switch (backend) {
        case BackendKind::github:
        case BackendKind::forgejo:
            return numberedRef("refs/pull/", taskID);
        case BackendKind::gitlab: {
            std::string_view number = taskID;
            number.remove_prefix(std::min(number.find_first_not_of('!'), number.size()));
            return numberedRef("refs/merge-requests/", number);
        }
        case BackendKind::vikunja:
        case BackendKind::jira:
        case BackendKind::local:
            return std::nullopt;
    }
    return std::nullopt;
}

bool Worktree::isValidName(std::string_view name) {
    return !name.empty() && name.size() <= nameLimit && isLetterOrDigit(name.front()) &&
           std::all_of(name.begin(), name.end(),
                       [](char character) { return isLetterOrDigit(character) || character == '-'; });
}

std::string Worktree::container(const std::string& checkout) {
    size_t end = checkout.find_last_not_of('/');
    return end == std::string::npos ? "/.worktrees" : checkout.substr(0, end + 1) + ".worktrees";
}

}  // namespace marlet
