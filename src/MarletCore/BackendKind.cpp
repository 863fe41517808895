#include "MarletCore/BackendKind.h"

#include <array>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

struct KindTraits {
    const char* displayName;
    const char* defaultBaseURL;  // null when the user names the server
    NotesFormat notesFormat;
    TaskKind newTaskKind;
    bool supportsParent;
    const char* defaultTaskType;
    ParentScope parentScope;
    bool acceptsUsername;
    bool supportsEstimate;
};

// In the order of BackendKind.
constexpr std::array<KindTraits, 6> traits{{
    {"GitHub", "https://api.github.com", NotesFormat::markdown, TaskKind::issue, true, nullptr, ParentScope::account,
     false, false},
    {"GitLab", "https://gitlab.com", NotesFormat::markdown, TaskKind::issue, true, nullptr, ParentScope::project, false,
     false},
    {"Vikunja", nullptr, NotesFormat::html, TaskKind::task, true, nullptr, ParentScope::account, false, false},
    {"Forgejo", nullptr, NotesFormat::markdown, TaskKind::issue, false, nullptr, ParentScope::project, false, false},
    {"Jira", nullptr, NotesFormat::markdown, TaskKind::issue, true, "Task", ParentScope::project, true, true},
    {"On This Mac", "marlet://local", NotesFormat::markdown, TaskKind::task, true, nullptr, ParentScope::project, false,
     false},
}};

const KindTraits& traitsOf(BackendKind kind) {
    return traits.at(static_cast<size_t>(kind));
}

}  // namespace

std::string displayName(NotesFormat format) {
    return format == NotesFormat::markdown ? "Markdown" : "HTML";
}

std::string displayName(BackendKind kind) {
    return traitsOf(kind).displayName;
}

bool isLocal(BackendKind kind) {
    return kind == BackendKind::local;
}

bool isSelfHosted(BackendKind kind) {
    return traitsOf(kind).defaultBaseURL == nullptr;
}

std::optional<URL> defaultBaseURL(BackendKind kind) {
    return isSelfHosted(kind) ? std::nullopt : URL::parse(traitsOf(kind).defaultBaseURL);
}

NotesFormat notesFormat(BackendKind kind) {
    return traitsOf(kind).notesFormat;
}

TaskKind newTaskKind(BackendKind kind) {
    return traitsOf(kind).newTaskKind;
}

bool supportsParent(BackendKind kind) {
    return traitsOf(kind).supportsParent;
}

std::optional<std::string> defaultTaskType(BackendKind kind) {
    const char* type = traitsOf(kind).defaultTaskType;
    return type ? std::optional<std::string>(type) : std::nullopt;
}

ParentScope parentScope(BackendKind kind) {
    return traitsOf(kind).parentScope;
}

bool acceptsUsername(BackendKind kind) {
    return traitsOf(kind).acceptsUsername;
}

bool supportsEstimate(BackendKind kind) {
    return traitsOf(kind).supportsEstimate;
}

std::string credential(BackendKind kind, std::string_view username, std::string_view token) {
    std::string user = trimmed(username);
    std::string secret = trimmed(token);
    return kind == BackendKind::jira && !user.empty() ? user + ":" + secret : secret;
}

}  // namespace marlet
