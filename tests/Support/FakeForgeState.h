// What a fake GitHub or Forgejo holds, and how it changes: plain data without any protocol.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Date.h"
#include "TestSupport/FakeRecords.h"

namespace marlet {

struct FakeIssuePlace {
    std::string repository;
    int64_t number = 0;

    bool operator==(const FakeIssuePlace&) const = default;
};

struct FakeIssue {
    std::string title;
    std::string body = {};
    bool isClosed = false;
    bool isPullRequest = false;
    std::vector<std::string> labels = {};  // by name
    std::vector<std::string> assignees = {};
    std::optional<FakeMilestone> milestone = {};
    std::optional<Date> dueDate = {};
    std::optional<FakeIssuePlace> parent = {};
    std::optional<std::string> typeName = {};

    // What the service gives.
    int64_t id = 0;
    int64_t number = 0;
    std::string author = {};
    Date createdAt = {};
    Date updatedAt = {};
    std::optional<Date> closedAt = {};
    std::vector<FakeComment> comments = {};

    bool operator==(const FakeIssue&) const = default;
};

struct FakeRepository {
    int64_t id = 0;
    std::string fullName;
    std::string description = {};
    bool hasIssues = true;
    bool isArchived = false;
    bool isListedAsOwn = true;  // otherwise only its organisation lists it
    // Where its pages and its git are, unless they are on this server.
    std::optional<std::string> pageURL = {};
    std::optional<std::string> cloneURL = {};
    std::optional<std::string> sshURL = {};
    Date updatedAt = {};
    std::vector<FakeLabel> labels = {};
    std::map<int64_t, FakeIssue> issues = {};
    int64_t lastNumber = 0;

    std::string owner() const { return fullName.substr(0, fullName.find('/')); }
    std::string name() const { return fullName.substr(fullName.find('/') + 1); }
};

struct FakeNotification {
    int64_t id = 0;
    std::string repository;
    int64_t number = 0;  // of the issue; 0 for a thread about something else
    std::string subjectType;
    std::string title;
    Date updatedAt;
};

struct FakeStatusOption {
    std::string id;
    std::string name;
};

struct FakeBoardItem {
    int64_t id = 0;
    std::string contentType = "DraftIssue";
    std::string title = {};
    std::string body = {};
    std::optional<std::string> statusID = {};  // of a FakeStatusOption
    bool isArchived = false;
    Date createdAt = {};
    Date updatedAt = {};
    Date contentUpdatedAt = {};

    std::string nodeID() const { return "DI_fake" + std::to_string(id); }
};

struct FakeBoard {
    bool isOrganizations = true;  // otherwise a user's
    std::string login;
    int64_t number = 0;
    std::string title;
    std::optional<std::string> shortDescription = {};
    bool isClosed = false;
    bool isTemplate = false;
    std::vector<FakeStatusOption> statusOptions = {};  // none: the board has no field for it
    std::map<int64_t, FakeBoardItem> items = {};
    int64_t statusFieldID = 0;

    // As the client names it: "projects/orgs/acme/12".
    std::string key() const;
};

class FakeForgeState {
public:
    explicit FakeForgeState(bool serverIsGitHub);

    // Throws std::out_of_range for what isn't there.
    FakeRepository& repository(const std::string& fullName);
    FakeIssue& issue(const std::string& repository, int64_t number);
    FakeRepository* repositoryByID(int64_t id);
    FakeBoard& board(const std::string& key) { return boards.at(key); }
    FakeUser& user(const std::string& login);  // made when it is first named

    FakeRepository& addRepository(FakeRepository added, Date now);
    // A label of this name, with the colour if it is new. Labels differ by case on Forgejo alone.
    FakeLabel& label(FakeRepository& repository, const std::string& name, const std::string& color = "ededed");
    const FakeLabel* findLabel(const FakeRepository& repository, const std::string& name) const;

    FakeIssue& addIssue(const std::string& repository, FakeIssue issue, FakeActor actor, Date now);
    FakeIssue& editIssue(const std::string& repository, int64_t number,
                         const std::function<void(FakeIssue& issue)>& change, FakeActor actor, Date now);
    FakeComment& addComment(const std::string& repository, int64_t number, const std::string& body, FakeActor actor,
                            Date now);
    void removeIssue(const std::string& repository, int64_t number);
    void notify(const std::string& repository, const std::string& subjectType, const std::string& title, Date now);
    // The place of the issue with this id.
    std::optional<FakeIssuePlace> find(int64_t issueID) const;
    std::vector<FakeIssue*> children(const FakeIssuePlace& parent);

    FakeBoard& addBoard(FakeBoard added);
    FakeBoardItem& addBoardItem(FakeBoard& board, FakeBoardItem item, Date now);

    bool isGitHub;
    std::string viewer = "ada";
    std::string otherUser = "grace";
    std::vector<std::string> organizations;
    std::map<std::string, FakeUser> users;
    std::vector<std::string> repositoryOrder;
    std::map<std::string, FakeRepository> repositories;
    std::vector<FakeNotification> notifications;
    std::map<std::string, FakeBoard> boards;
    int hiddenOrganizations = 0;

private:
    const std::string& login(FakeActor actor) const { return actor == FakeActor::client ? viewer : otherUser; }
    void settle(FakeRepository& repository, FakeIssue& issue, FakeActor actor, Date now);

    int64_t lastID = 1000;
};

}  // namespace marlet
