#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeRecords.h"
#include "TestSupport/FakeService.h"

namespace marlet {

// An issue, a task, an incident, or a merge request.
struct FakeGitLabItem {
    std::string title;
    std::string body = {};
    bool isClosed = false;
    bool isMergeRequest = false;
    bool isMerged = false;
    std::string type = "issue";            // of what is no merge request
    std::vector<std::string> labels = {};  // by name
    std::vector<std::string> assignees = {};
    std::optional<FakeMilestone> milestone = {};
    std::optional<std::string> dueDay = {};  // "2026-03-20"
    std::optional<int64_t> parent = {};      // the number of an issue of the same project

    // What the service gives.
    int64_t id = 0;
    int64_t iid = 0;
    std::string author = {};
    Date createdAt = {};
    Date updatedAt = {};
    std::vector<FakeComment> comments = {};

    std::string taskID() const { return (isMergeRequest ? "!" : "") + std::to_string(iid); }
    std::string globalID() const { return "gid://gitlab/WorkItem/" + std::to_string(id); }
    bool operator==(const FakeGitLabItem&) const = default;
};

struct FakeGitLabProject {
    int64_t id = 0;
    std::string path;
    std::string description = {};
    bool hasIssues = true;
    bool hasMergeRequests = true;
    bool isArchived = false;
    Date updatedAt = {};
    std::vector<FakeLabel> labels = {};
    std::map<int64_t, FakeGitLabItem> issues = {};
    std::map<int64_t, FakeGitLabItem> mergeRequests = {};
};

struct FakeTodo {
    int64_t id = 0;
    int64_t projectID = 0;
    std::string targetType;
    std::string taskID;
    Date createdAt;
    Date updatedAt;
};

// GitLab in memory: projects, issues, tasks, merge requests, labels, notes, todos, and the three GraphQL documents that
// a client may send. See FakeService for the log, failures and violations.
class FakeGitLab final : public FakeService {
public:
    FakeGitLab(TimeSource now, std::string token);

    // What the test does is done by another user and makes todos. Throws std::out_of_range for what isn't there.
    std::string addProject(const std::string& path);                         // its id
    std::string addItem(const std::string& projectID, FakeGitLabItem item);  // its task id
    void editItem(const std::string& projectID, const std::string& taskID,
                  const std::function<void(FakeGitLabItem& item)>& change);
    void removeItem(const std::string& projectID, const std::string& taskID);
    void addLabel(const std::string& projectID, const std::string& name, const std::string& color = "0e8a16");
    void addComment(const std::string& projectID, const std::string& taskID, const std::string& body);
    // A todo about something else, such as an "Epic" of a group when the project is 0.
    void addTodo(int64_t projectID, const std::string& targetType);

    FakeGitLabItem item(const std::string& projectID, const std::string& taskID);
    std::vector<FakeGitLabItem> items(const std::string& projectID);  // issues and then merge requests, by number
    void editProject(const std::string& projectID, const std::function<void(FakeGitLabProject& project)>& change);

    void setToken(std::string accepted);
    // Lists longer than this don't tell their length.
    void setCountedLength(size_t length);

protected:
    std::optional<std::string> target(const std::string& url) const override;
    std::optional<FakeAnswer> refuse(const FakeRequest& request) override;
    FakeAnswer refusal(int status, const std::string& message) const override;
    void addStandingHeaders(FakeAnswer& answer) override;

private:
    using ItemAnswer = std::function<FakeAnswer(const FakeCall& call, FakeGitLabProject& project)>;

    FakeGitLabProject& projectNamed(const std::string& id) { return projects.at(std::stoll(id)); }
    static FakeGitLabItem& itemNamed(FakeGitLabProject& project, const std::string& taskID);
    FakeUser& user(const std::string& login);
    const FakeLabel& label(FakeGitLabProject& project, const std::string& name);
    FakeGitLabItem& make(FakeGitLabProject& project, FakeGitLabItem added, FakeActor actor);
    FakeComment& comment(FakeGitLabProject& project, FakeGitLabItem& item, const std::string& body, FakeActor actor);
    // What every change brings with it.
    void settle(FakeGitLabProject& project, FakeGitLabItem& item, FakeActor actor);

    void addRoutes();
    void addItemRoutes(const std::string& list, bool isMergeRequests);
    void addProjectRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                         std::vector<FakeBodyKey> body, ItemAnswer answer);
    FakeAnswer listProjects(const FakeCall& call);
    FakeAnswer listTodos(const FakeCall& call);
    FakeAnswer listItems(const FakeCall& call, FakeGitLabProject& project, bool isMergeRequests);
    FakeAnswer createIssue(const FakeCall& call, FakeGitLabProject& project);
    FakeAnswer changeItem(const FakeCall& call, FakeGitLabProject& project, FakeGitLabItem& item);
    FakeAnswer listNotes(const FakeCall& call, FakeGitLabItem& item);
    FakePaging paging(size_t total) const;

    // In FakeGitLabGraphQL.cpp.
    FakeAnswer graphQL(const FakeCall& call);
    FakeAnswer hierarchy(const boost::json::object& variables);
    FakeAnswer mergeRequestCount(const boost::json::object& variables);
    FakeAnswer changeParent(const boost::json::object& variables);
    FakeGitLabProject* projectOf(const boost::json::object& variables, size_t variableCount);
    std::pair<FakeGitLabProject*, FakeGitLabItem*> workItem(const std::string& globalID);

    // In FakeGitLabShapes.cpp: the records as JSON, with the fields that the real service sends.
    boost::json::object shape(const FakeGitLabProject& project) const;
    boost::json::object shape(FakeGitLabProject& project, const FakeGitLabItem& item, bool hasLabelDetails);
    boost::json::object shape(const FakeGitLabItem& item, const FakeComment& note);
    boost::json::object shape(const FakeTodo& todo);
    boost::json::object userShape(const std::string& login);

    std::string token;
    int64_t lastID = 0;
    size_t countedLength = 10'000;
    std::map<int64_t, FakeGitLabProject> projects;
    std::map<std::string, FakeUser> users;
    std::vector<FakeTodo> todos;  // the oldest first
};

}  // namespace marlet
