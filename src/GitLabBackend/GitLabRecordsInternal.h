// What GitLab sends and takes. The keys on the wire are these names, in snake case with REST and as they are with
// GraphQL.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/Date.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet {

struct GitLabProject {
    int64_t id = 0;
    std::string pathWithNamespace;
    std::optional<std::string> description;
    WebAddress webUrl;
    WebAddress httpUrlToRepo;
    std::optional<std::string> sshUrlToRepo;
    std::optional<bool> issuesEnabled;
    std::optional<bool> archived;
};
BOOST_DESCRIBE_STRUCT(GitLabProject, (),
                      (id, pathWithNamespace, description, webUrl, httpUrlToRepo, sshUrlToRepo, issuesEnabled,
                       archived))

// The lists tell a label's color, the answers to writes give its bare name.
struct GitLabLabel {
    std::string name;
    std::optional<std::string> color;
};
void decode(const boost::json::value& json, GitLabLabel& label, const DecodingPath& path);

struct GitLabUser {
    int64_t id = 0;
    std::string username;
    std::optional<std::string> name;
    WebAddress avatarUrl;
};
BOOST_DESCRIBE_STRUCT(GitLabUser, (), (id, username, name, avatarUrl))

struct GitLabMilestone {
    int64_t id = 0;
    std::string title;
    std::optional<std::string> state;
    std::optional<std::string> dueDate;
};
BOOST_DESCRIBE_STRUCT(GitLabMilestone, (), (id, title, state, dueDate))

// An issue, a task, or a merge request.
struct GitLabIssue {
    std::optional<int64_t> id;
    int64_t iid = 0;
    std::string title;
    std::optional<std::string> description;
    std::string state;
    WebAddress webUrl;
    std::vector<GitLabLabel> labels;
    std::optional<std::vector<GitLabUser>> assignees;
    std::optional<GitLabMilestone> milestone;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<std::string> dueDate;
    std::optional<std::string> issueType;
};
BOOST_DESCRIBE_STRUCT(GitLabIssue, (),
                      (id, iid, title, description, state, webUrl, labels, assignees, milestone, createdAt, updatedAt,
                       dueDate, issueType))

struct GitLabNote {
    int64_t id = 0;
    std::optional<std::string> body;
    std::optional<GitLabUser> author;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<bool> system;
};
BOOST_DESCRIBE_STRUCT(GitLabNote, (), (id, body, author, createdAt, updatedAt, system))

struct GitLabTodoProject {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(GitLabTodoProject, (), (id))

struct GitLabTodo {
    std::optional<GitLabTodoProject> project;  // none for what belongs to a group
    std::string targetType;
    Date createdAt;
    std::optional<Date> updatedAt;
};
BOOST_DESCRIBE_STRUCT(GitLabTodo, (), (project, targetType, createdAt, updatedAt))

struct GitLabIssueCounts {
    int64_t all = 0;
};
BOOST_DESCRIBE_STRUCT(GitLabIssueCounts, (), (all))

struct GitLabCountedIssues {
    GitLabIssueCounts counts;
};
BOOST_DESCRIBE_STRUCT(GitLabCountedIssues, (), (counts))

struct GitLabIssueStatistics {
    GitLabCountedIssues statistics;
};
BOOST_DESCRIBE_STRUCT(GitLabIssueStatistics, (), (statistics))

struct GitLabIssueIdentity {
    int64_t iid = 0;
};
BOOST_DESCRIBE_STRUCT(GitLabIssueIdentity, (), (iid))

struct GitLabNoteIdentity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(GitLabNoteIdentity, (), (id))

}  // namespace marlet

namespace marlet::gitlab {

using CreatedIssue = Created<GitLabIssueIdentity, GitLabIssue>;
using CreatedNote = Created<GitLabNoteIdentity, GitLabNote>;

struct CreateIssue {
    std::string title;
    std::string description;
    std::optional<std::string> labels;
    std::optional<std::string> dueDate;
};
BOOST_DESCRIBE_STRUCT(CreateIssue, (), (title, description, labels, dueDate))

struct EditIssue {
    std::string title;
    std::string description;
    std::string labels;
    std::optional<std::string> stateEvent;
    bool includesDueDate = false;  // without a date it is sent as null, which takes the old one away
    std::optional<std::string> dueDate;
};
boost::json::value encode(const EditIssue& edit, const CodingStyle& style);

struct AddNote {
    std::string body;
};
BOOST_DESCRIBE_STRUCT(AddNote, (), (body))

}  // namespace marlet::gitlab
