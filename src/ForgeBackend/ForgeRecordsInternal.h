// What GitHub and Forgejo send and take. The keys on the wire are these names in snake case.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/Date.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet {

struct ForgeRepository {
    std::string fullName;
    std::optional<std::string> description;
    WebAddress htmlUrl;
    WebAddress cloneUrl;
    std::optional<std::string> sshUrl;
    std::optional<bool> hasIssues;
    std::optional<bool> archived;
};
BOOST_DESCRIBE_STRUCT(ForgeRepository, (), (fullName, description, htmlUrl, cloneUrl, sshUrl, hasIssues, archived))

struct ForgeOrganization {
    std::string login;
};
BOOST_DESCRIBE_STRUCT(ForgeOrganization, (), (login))

struct ForgeLabel {
    int64_t id = 0;
    std::string name;
    std::optional<std::string> color;
};
BOOST_DESCRIBE_STRUCT(ForgeLabel, (), (id, name, color))

struct ForgeUser {
    int64_t id = 0;
    std::string login;
    std::optional<std::string> fullName;
    WebAddress avatarUrl;
};
BOOST_DESCRIBE_STRUCT(ForgeUser, (), (id, login, fullName, avatarUrl))

struct ForgeMilestone {
    int64_t id = 0;
    std::optional<int64_t> number;
    std::string title;
    std::optional<std::string> state;
    std::optional<Date> dueOn;
};
BOOST_DESCRIBE_STRUCT(ForgeMilestone, (), (id, number, title, state, dueOn))

struct ForgeIssueType {
    std::string name;
};
BOOST_DESCRIBE_STRUCT(ForgeIssueType, (), (name))

struct ForgeIssue {
    std::optional<int64_t> id;
    int64_t number = 0;
    std::string title;
    std::optional<std::string> body;
    std::string state;
    WebAddress htmlUrl;
    std::vector<ForgeLabel> labels;
    std::optional<std::vector<ForgeUser>> assignees;
    std::optional<ForgeMilestone> milestone;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<Date> dueDate;
    std::optional<PresenceMarker> pullRequest;
    WebAddress parentIssueUrl;
    std::optional<ForgeIssueType> type;
};
BOOST_DESCRIBE_STRUCT(ForgeIssue, (),
                      (id, number, title, body, state, htmlUrl, labels, assignees, milestone, createdAt, updatedAt,
                       dueDate, pullRequest, parentIssueUrl, type))

struct ForgeComment {
    int64_t id = 0;
    std::optional<ForgeUser> user;
    std::optional<std::string> body;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
};
BOOST_DESCRIBE_STRUCT(ForgeComment, (), (id, user, body, createdAt, updatedAt))

struct ForgeIssueIdentity {
    int64_t number = 0;
};
BOOST_DESCRIBE_STRUCT(ForgeIssueIdentity, (), (number))

struct ForgeCommentIdentity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(ForgeCommentIdentity, (), (id))

using CreatedIssue = Created<ForgeIssueIdentity, ForgeIssue>;
using CreatedComment = Created<ForgeCommentIdentity, ForgeComment>;

struct ForgeNotificationRepository {
    std::string fullName;
};
BOOST_DESCRIBE_STRUCT(ForgeNotificationRepository, (), (fullName))

struct ForgeNotificationSubject {
    std::string type;
};
BOOST_DESCRIBE_STRUCT(ForgeNotificationSubject, (), (type))

struct ForgeNotification {
    ForgeNotificationRepository repository;
    ForgeNotificationSubject subject;
    Date updatedAt;
};
BOOST_DESCRIBE_STRUCT(ForgeNotification, (), (repository, subject, updatedAt))

// How a write names labels: GitHub by name, Forgejo by id. On the wire a bare list.
struct LabelReferences {
    std::variant<std::vector<std::string>, std::vector<int64_t>> namesOrIDs;
};
boost::json::value encode(const LabelReferences& labels, const CodingStyle& style);

struct CreateIssue {
    std::string title;
    std::string body;
    std::optional<LabelReferences> labels;
    std::optional<Date> dueDate;
};
BOOST_DESCRIBE_STRUCT(CreateIssue, (), (title, body, labels, dueDate))

struct EditIssue {
    std::string title;
    std::string body;
    std::string state;
    std::optional<LabelReferences> labels;
    std::optional<Date> dueDate;
    std::optional<bool> unsetDueDate;
};
BOOST_DESCRIBE_STRUCT(EditIssue, (), (title, body, state, labels, dueDate, unsetDueDate))

struct ReplaceLabels {
    LabelReferences labels;
};
BOOST_DESCRIBE_STRUCT(ReplaceLabels, (), (labels))

struct AddComment {
    std::string body;
};
BOOST_DESCRIBE_STRUCT(AddComment, (), (body))

struct SubIssueReference {
    int64_t subIssueId = 0;  // the issue's id, not its number
    std::optional<bool> replaceParent;
};
BOOST_DESCRIBE_STRUCT(SubIssueReference, (), (subIssueId, replaceParent))

}  // namespace marlet
