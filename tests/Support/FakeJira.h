#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeJiraQuery.h"
#include "TestSupport/FakeJiraState.h"
#include "TestSupport/FakeService.h"

namespace marlet {

enum class FakeJiraKind { cloud, server };

// Jira in memory, in both its deployments: projects with their types, workflow and edit screen, issues with wiki text,
// labels, versions, parents, story points and comments. See FakeService for the log, failures and violations.
//
// Cloud answers a token that it doesn't know as it does in reality: without an error, with lists that are empty.
class FakeJira final : public FakeService {
public:
    // A token with a colon is expected as a name and a password.
    FakeJira(FakeJiraKind kind, TimeSource now, std::string token);

    // What the test does is done by another user. Throws std::out_of_range for what isn't there.
    std::string addProject(const std::string& key, const std::string& name);  // its id
    std::string addIssue(const std::string& projectID, FakeJiraIssue issue);  // its key
    void editIssue(const std::string& key, const std::function<void(FakeJiraIssue& issue)>& change);
    void removeIssue(const std::string& key);
    void addComment(const std::string& key, const std::string& body);
    void editProject(const std::string& projectID, const std::function<void(FakeJiraProject& project)>& change);

    FakeJiraIssue issue(const std::string& key);
    std::vector<FakeJiraIssue> issues(const std::string& projectID);  // in the order in which they were made

    void setToken(std::string accepted);
    // A server without boards has no epics that issues could be linked to, and no story points.
    void setHasBoards(bool has);

    static const std::string pointsField;
    static const std::string epicLinkField;

protected:
    std::optional<std::string> target(const std::string& url) const override;
    std::optional<FakeAnswer> refuse(const FakeRequest& request) override;
    FakeAnswer refusal(int status, const std::string& message) const override;
    void addStandingHeaders(FakeAnswer& answer) override;

private:
    using IssueAnswer = std::function<FakeAnswer(const FakeCall& call, FakeJiraIssue& issue)>;
    using Fields = boost::json::object;

    bool isCloud() const { return kind == FakeJiraKind::cloud; }
    FakeJiraProject& projectOf(const FakeJiraIssue& issue) { return projects.at(issue.projectID); }
    const FakeJiraType& typeOf(const FakeJiraIssue& issue) const;
    FakeJiraIssue* find(const std::string& key);
    FakeJiraIssue& make(FakeJiraProject& project, FakeJiraIssue added, const std::string& author);
    void comment(FakeJiraIssue& issue, const std::string& body, const std::string& author);
    // An answer to a token that Cloud doesn't know.
    FakeAnswer answerToStranger(const std::string& target) const;
    static FakeAnswer fieldRefusal(const std::string& field, const std::string& message);

    void addListRoutes();
    FakeAnswer listProjects(const FakeCall& call);
    FakeAnswer search(const FakeCall& call);
    FakeAnswer approximateCount(const FakeCall& call);
    // Gives what is wrong with the query instead, if anything is.
    std::optional<FakeAnswer> select(const std::string& jql, std::vector<const FakeJiraIssue*>& found);
    bool fits(const FakeJiraIssue& issue, const FakeJiraQuery& query) const;

    // In FakeJiraIssues.cpp.
    void addIssueRoutes();
    void addIssueRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                       std::vector<FakeBodyKey> body, IssueAnswer answer);
    FakeAnswer createIssue(const FakeCall& call);
    FakeAnswer editIssue(const FakeCall& call, FakeJiraIssue& issue);
    FakeAnswer runTransition(const FakeCall& call, FakeJiraIssue& issue);
    // Sets one field of an issue that is made or edited. Gives what is wrong with it, if anything is.
    std::optional<FakeAnswer> setField(FakeJiraIssue& issue, const std::string& name, const boost::json::value& value);
    std::optional<FakeAnswer> setParent(FakeJiraIssue& issue, const boost::json::value& key, const std::string& field);
    std::vector<FakeJiraTransition> transitionsOf(FakeJiraIssue& issue);

    // In FakeJiraShapes.cpp: the records as JSON, with the fields that the real service sends.
    boost::json::array fieldShapes() const;
    boost::json::object shape(const FakeJiraProject& project, bool hasTypes) const;
    boost::json::object shape(const FakeJiraType& type) const;
    boost::json::object shape(const FakeJiraIssue& issue, const std::string& fields);
    boost::json::object fieldsShape(const FakeJiraIssue& issue);
    boost::json::object shape(const FakeComment& comment) const;
    boost::json::object shape(const FakeJiraTransition& transition) const;
    boost::json::object userShape(const std::string& login) const;
    boost::json::object editMetaShape(FakeJiraIssue& issue);

    FakeJiraKind kind;
    std::string token;
    bool hasBoards = true;
    int64_t lastID = 10'000;
    std::map<int64_t, FakeJiraProject> projects;
    std::vector<FakeJiraIssue> allIssues;
};

}  // namespace marlet
