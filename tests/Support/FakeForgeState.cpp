#include "TestSupport/FakeForgeState.h"

#include <algorithm>
#include <chrono>

#include "TestSupport/FakeMessages.h"

namespace marlet {
namespace {

// The services keep whole seconds.
Date wholeSeconds(Date date) {
    return std::chrono::floor<std::chrono::seconds>(date);
}

}  // namespace

std::string FakeBoard::key() const {
    return std::string("projects/") + (isOrganizations ? "orgs/" : "users/") + login + "/" + std::to_string(number);
}

FakeForgeState::FakeForgeState(bool serverIsGitHub) : isGitHub(serverIsGitHub) {}

FakeRepository& FakeForgeState::repository(const std::string& fullName) {
    return repositories.at(fullName);
}

FakeIssue& FakeForgeState::issue(const std::string& repository, int64_t number) {
    return repositories.at(repository).issues.at(number);
}

FakeRepository* FakeForgeState::repositoryByID(int64_t id) {
    for (auto& [name, repository] : repositories) {
        if (repository.id == id) {
            return &repository;
        }
    }
    return nullptr;
}

FakeUser& FakeForgeState::user(const std::string& login) {
    FakeUser& user = users[login];
    if (user.id == 0) {
        user.id = ++lastID;
        user.login = login;
    }
    return user;
}

FakeRepository& FakeForgeState::addRepository(FakeRepository added, Date now) {
    std::string name = added.fullName;
    added.id = ++lastID;
    added.updatedAt = wholeSeconds(now);
    repositoryOrder.push_back(name);
    return repositories[name] = std::move(added);
}

const FakeLabel* FakeForgeState::findLabel(const FakeRepository& repository, const std::string& name) const {
    auto isNamed = [&](const FakeLabel& label) {
        return isGitHub ? loweredASCII(label.name) == loweredASCII(name) : label.name == name;
    };
    auto found = std::find_if(repository.labels.begin(), repository.labels.end(), isNamed);
    return found == repository.labels.end() ? nullptr : &*found;
}

FakeLabel& FakeForgeState::label(FakeRepository& repository, const std::string& name, const std::string& color) {
    if (const FakeLabel* found = findLabel(repository, name)) {
        return repository.labels[static_cast<size_t>(found - repository.labels.data())];
    }
    return repository.labels.emplace_back(FakeLabel{.id = ++lastID, .name = name, .color = color});
}

FakeIssue& FakeForgeState::addIssue(const std::string& repositoryName, FakeIssue issue, FakeActor actor, Date now) {
    FakeRepository& owner = repository(repositoryName);
    issue.id = ++lastID;
    issue.number = ++owner.lastNumber;
    issue.author = login(actor);
    issue.createdAt = wholeSeconds(now);
    FakeIssue& kept = owner.issues[issue.number] = std::move(issue);
    settle(owner, kept, actor, now);
    return kept;
}

FakeIssue& FakeForgeState::editIssue(const std::string& repositoryName, int64_t number,
                                     const std::function<void(FakeIssue& issue)>& change, FakeActor actor, Date now) {
    FakeRepository& owner = repository(repositoryName);
    FakeIssue& edited = owner.issues.at(number);
    change(edited);
    settle(owner, edited, actor, now);
    return edited;
}

// What every change brings with it.
void FakeForgeState::settle(FakeRepository& owner, FakeIssue& issue, FakeActor actor, Date now) {
    for (std::string& name : issue.labels) {
        name = label(owner, name).name;
    }
    issue.updatedAt = wholeSeconds(now);
    if (!issue.isClosed) {
        issue.closedAt.reset();
    } else if (!issue.closedAt) {
        issue.closedAt = issue.updatedAt;
    }
    if (actor == FakeActor::client) {
        return;
    }
    auto isAboutIt = [&](const FakeNotification& thread) {
        return thread.repository == owner.fullName && thread.number == issue.number;
    };
    auto thread = std::find_if(notifications.begin(), notifications.end(), isAboutIt);
    if (thread == notifications.end()) {
        std::string type = !issue.isPullRequest ? "Issue" : isGitHub ? "PullRequest" : "Pull";
        thread = notifications.insert(notifications.end(),
                                      {++lastID, owner.fullName, issue.number, type, issue.title, issue.updatedAt});
    }
    thread->title = issue.title;
    thread->updatedAt = issue.updatedAt;
}

FakeComment& FakeForgeState::addComment(const std::string& repositoryName, int64_t number, const std::string& body,
                                        FakeActor actor, Date now) {
    FakeRepository& owner = repository(repositoryName);
    FakeIssue& commented = owner.issues.at(number);
    FakeComment& comment =
        commented.comments.emplace_back(FakeComment{++lastID, login(actor), body, wholeSeconds(now)});
    settle(owner, commented, actor, now);
    return comment;
}

void FakeForgeState::removeIssue(const std::string& repositoryName, int64_t number) {
    repository(repositoryName).issues.erase(number);
}

void FakeForgeState::notify(const std::string& repositoryName, const std::string& subjectType, const std::string& title,
                            Date now) {
    notifications.push_back({++lastID, repositoryName, 0, subjectType, title, wholeSeconds(now)});
}

std::optional<FakeIssuePlace> FakeForgeState::find(int64_t issueID) const {
    for (const auto& [name, repository] : repositories) {
        for (const auto& [number, issue] : repository.issues) {
            if (issue.id == issueID) {
                return FakeIssuePlace{name, number};
            }
        }
    }
    return std::nullopt;
}

std::vector<FakeIssue*> FakeForgeState::children(const FakeIssuePlace& parent) {
    std::vector<FakeIssue*> result;
    for (auto& [name, repository] : repositories) {
        for (auto& [number, issue] : repository.issues) {
            if (issue.parent == parent) {
                result.push_back(&issue);
            }
        }
    }
    return result;
}

FakeBoard& FakeForgeState::addBoard(FakeBoard added) {
    if (!added.statusOptions.empty()) {
        added.statusFieldID = ++lastID;
    }
    for (FakeStatusOption& option : added.statusOptions) {
        if (option.id.empty()) {
            option.id = "opt" + std::to_string(++lastID);
        }
    }
    if (!added.isOrganizations) {
        user(added.login);
    }
    std::string key = added.key();
    return boards[key] = std::move(added);
}

FakeBoardItem& FakeForgeState::addBoardItem(FakeBoard& board, FakeBoardItem item, Date now) {
    item.id = ++lastID;
    item.createdAt = wholeSeconds(now);
    item.updatedAt = item.createdAt;
    item.contentUpdatedAt = item.createdAt;
    return board.items[item.id] = std::move(item);
}

}  // namespace marlet
