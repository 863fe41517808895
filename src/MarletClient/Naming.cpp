#include "MarletClient/Naming.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

constexpr size_t shortestBeginning = 4;
constexpr size_t shownIDLength = 8;
constexpr size_t mostCandidates = 10;

bool isPartOfID(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
               (character >= 'a' && character <= 'f') || character == '-';
    });
}

// The elements with the name, exactly written so or else in any case.
template <class Element, class Name>
std::vector<Element> withName(const std::vector<Element>& elements, const std::string& text, Name name) {
    std::vector<Element> exact;
    std::vector<Element> alike;
    for (const Element& element : elements) {
        if (name(element) == text) {
            exact.push_back(element);
        } else if (equalIgnoringCase(name(element), text)) {
            alike.push_back(element);
        }
    }
    return exact.empty() ? alike : exact;
}

template <class Element, class Describe>
std::vector<std::string> described(const std::vector<Element>& elements, Describe describe) {
    std::vector<std::string> texts;
    std::transform(elements.begin(), elements.end(), std::back_inserter(texts), describe);
    return texts;
}

std::string numberWithoutSign(const std::string& text) {
    return text.starts_with('#') ? text.substr(1) : text;
}

// The task with this number in the project: "7", "PROJ-7" in any case.
Async<std::optional<TaskSnapshot>> taskWithNumber(TaskStore& store, ProjectSnapshot project, std::string number) {
    std::vector<TaskSnapshot> found = co_await store.tasksNamed(number, project.accountID, project.projectID);
    co_return found.empty() ? std::nullopt : std::optional(found.front());
}

Async<std::optional<TaskSnapshot>> taskWithBeginning(TaskStore& store, std::string text) {
    if (text.size() < shortestBeginning || !isPartOfID(text)) {
        co_return std::nullopt;
    }
    std::vector<UUID> found = co_await store.taskIDs(text, mostCandidates + 1);
    if (found.size() > 1) {
        std::vector<std::string> ids = described(found, [](const UUID& id) { return id.text(); });
        std::string rest = ids.size() > mostCandidates ? ", and others" : "";
        ids.resize(std::min(ids.size(), mostCandidates));
        throw NamingError(
            fmt::format("\"{}\" begins the ids of several tasks: {}{}. Use more of the id.", text, listed(ids), rest));
    }
    if (found.empty()) {
        co_return std::nullopt;
    }
    co_return co_await store.taskSnapshot(found.front());
}

}  // namespace

std::string listed(const std::vector<std::string>& candidates) {
    size_t shown = std::min(candidates.size(), mostCandidates);
    std::string text =
        fmt::format("{}", fmt::join(candidates.begin(), candidates.begin() + static_cast<long>(shown), ", "));
    return candidates.size() > shown ? fmt::format("{} and {} more", text, candidates.size() - shown) : text;
}

Async<AccountSyncState> accountNamed(TaskStore& store, std::string text) {
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    std::optional<UUID> id = UUID::parse(text);
    auto known = std::find_if(accounts.begin(), accounts.end(),
                              [&](const AccountSyncState& state) { return state.account.id == id; });
    if (known != accounts.end()) {
        co_return *known;
    }
    std::vector<AccountSyncState> named = withName(
        accounts, text, [](const AccountSyncState& state) -> const std::string& { return state.account.displayName; });
    if (named.empty()) {
        throw NamingError(fmt::format("No account \"{}\". Use marlet account list to find it.", text));
    }
    if (named.size() > 1) {
        std::vector<std::string> ids =
            described(named, [](const AccountSyncState& state) { return state.account.id.text(); });
        throw NamingError(
            fmt::format("{} accounts are named \"{}\". Use the id: {}.", named.size(), text, listed(ids)));
    }
    co_return named.front();
}

Async<ProjectSnapshot> projectNamed(TaskStore& store, std::string text, std::optional<UUID> accountID) {
    std::optional<ProjectSnapshot> known = co_await store.projectSnapshot(text);
    if (known) {
        co_return *known;
    }
    std::vector<ProjectSnapshot> projects = co_await store.projectSnapshots(std::nullopt, false);
    std::vector<ProjectSnapshot> named =
        withName(projects, text, [](const ProjectSnapshot& project) -> const std::string& { return project.name; });
    auto elsewhere = std::stable_partition(named.begin(), named.end(), [&](const ProjectSnapshot& project) {
        return !accountID || project.accountID == *accountID;
    });
    if (elsewhere != named.begin()) {
        named.erase(elsewhere, named.end());
    }
    if (named.empty()) {
        throw NamingError(fmt::format("No project \"{}\". Use marlet project list --all to find it.", text));
    }
    if (named.size() > 1) {
        std::vector<std::string> keys = described(named, [](const ProjectSnapshot& project) { return project.key; });
        throw NamingError(
            fmt::format("{} projects are named \"{}\". Use the key: {}.", named.size(), text, listed(keys)));
    }
    co_return named.front();
}

Async<std::vector<ProjectSnapshot>> projectsNamed(TaskStore& store, std::vector<std::string> texts) {
    std::vector<ProjectSnapshot> projects;
    for (const std::string& text : texts) {
        ProjectSnapshot project = co_await projectNamed(store, text);
        if (std::find(projects.begin(), projects.end(), project) == projects.end()) {
            projects.push_back(std::move(project));
        }
    }
    co_return projects;
}

Async<TaskSnapshot> taskNamed(TaskStore& store, std::string text, std::optional<std::string> projectName) {
    std::optional<ProjectSnapshot> project;
    if (projectName) {
        project = co_await projectNamed(store, *projectName);
        std::optional<TaskSnapshot> numbered = co_await taskWithNumber(store, *project, numberWithoutSign(text));
        if (numbered) {
            co_return *numbered;
        }
    }
    std::optional<TaskSnapshot> found = co_await taskWithBeginning(store, text);
    if (found && (!project || found->projectKey() == project->key)) {
        co_return *found;
    }
    if (project) {
        throw NamingError(
            fmt::format("No task \"{}\" in project {}. Use marlet task list --all to find it.", text, project->name));
    }
    if (text.size() < shortestBeginning) {
        throw NamingError(
            fmt::format("\"{}\" is too short for a task. Use 4 characters of its id or more, or its number with "
                        "--project.",
                        text));
    }
    throw NamingError(fmt::format(
        "No task \"{}\". Use marlet task list --all to find it; a number needs --project beside it.", text));
}

Async<std::vector<TaskSnapshot>> tasksNamed(TaskStore& store, std::vector<std::string> texts,
                                            std::optional<std::string> project) {
    std::vector<TaskSnapshot> tasks;
    for (const std::string& text : texts) {
        TaskSnapshot task = co_await taskNamed(store, text, project);
        bool isNew = std::none_of(tasks.begin(), tasks.end(),
                                  [&](const TaskSnapshot& other) { return other.localID == task.localID; });
        if (isNew) {
            tasks.push_back(std::move(task));
        }
    }
    co_return tasks;
}

Async<std::string> completedTaskID(TaskStore& store, std::string text) {
    // A few digits are a number. As many as lists show of an id may be a beginning of one.
    if ((isAllNumbers(text) && text.size() < shownIDLength) || UUID::parse(text)) {
        co_return text;
    }
    std::optional<TaskSnapshot> task = co_await taskWithBeginning(store, text);
    co_return task ? task->localID.text() : text;
}

}  // namespace marlet
