// What Jira sends. The keys on the wire are these names; all dates stay texts until they are mapped.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet {

struct ServerInfo {
    std::optional<std::string> deploymentType;
};
BOOST_DESCRIBE_STRUCT(ServerInfo, (), (deploymentType))

struct JiraFieldSchema {
    std::optional<std::string> type;
    std::optional<std::string> custom;
};
BOOST_DESCRIBE_STRUCT(JiraFieldSchema, (), (type, custom))

struct JiraField {
    std::string id;
    std::optional<std::string> name;
    std::optional<std::string> untranslatedName;
    std::optional<JiraFieldSchema> schema;
};
BOOST_DESCRIBE_STRUCT(JiraField, (), (id, name, untranslatedName, schema))

struct JiraProject {
    std::string id;
    std::string key;
    std::string name;
    std::optional<bool> archived;
};
BOOST_DESCRIBE_STRUCT(JiraProject, (), (id, key, name, archived))

struct ProjectPage {
    std::vector<JiraProject> values;
    std::optional<bool> isLast;
};
BOOST_DESCRIBE_STRUCT(ProjectPage, (), (values, isLast))

struct JiraStatusCategory {
    std::string key;
};
BOOST_DESCRIBE_STRUCT(JiraStatusCategory, (), (key))

struct JiraStatus {
    std::optional<std::string> name;
    std::optional<JiraStatusCategory> statusCategory;
};
BOOST_DESCRIBE_STRUCT(JiraStatus, (), (name, statusCategory))

struct JiraPriority {
    std::optional<std::string> id;
    std::optional<std::string> name;
};
BOOST_DESCRIBE_STRUCT(JiraPriority, (), (id, name))

struct JiraVersion {
    std::string id;
    std::string name;
    std::optional<std::string> releaseDate;
    std::optional<bool> released;
};
BOOST_DESCRIBE_STRUCT(JiraVersion, (), (id, name, releaseDate, released))

struct JiraProjectReference {
    std::string id;
};
BOOST_DESCRIBE_STRUCT(JiraProjectReference, (), (id))

struct JiraIssueType {
    std::string id;
    std::string name;
    std::optional<bool> subtask;
    std::optional<int64_t> hierarchyLevel;
};
BOOST_DESCRIBE_STRUCT(JiraIssueType, (), (id, name, subtask, hierarchyLevel))

struct JiraParentFields {
    std::optional<std::string> summary;
};
BOOST_DESCRIBE_STRUCT(JiraParentFields, (), (summary))

struct JiraParent {
    std::string key;
    std::optional<JiraParentFields> fields;
};
BOOST_DESCRIBE_STRUCT(JiraParent, (), (key, fields))

struct JiraUser {
    std::optional<std::string> accountId;
    std::optional<std::string> key;
    std::optional<std::string> name;
    std::optional<std::string> displayName;
    std::optional<std::map<std::string, WebAddress>> avatarUrls;
};
BOOST_DESCRIBE_STRUCT(JiraUser, (), (accountId, key, name, displayName, avatarUrls))

// The fields that every server has.
struct JiraNamedFields {
    std::optional<std::string> summary;
    std::optional<std::string> description;
    std::optional<JiraStatus> status;
    std::optional<std::string> created;
    std::optional<std::string> updated;
    std::optional<std::string> duedate;
    std::optional<JiraPriority> priority;
    std::optional<std::vector<std::string>> labels;
    std::optional<JiraUser> assignee;
    std::optional<std::vector<JiraVersion>> fixVersions;
    std::optional<JiraProjectReference> project;
    std::optional<JiraIssueType> issuetype;
    std::optional<JiraParent> parent;
};
BOOST_DESCRIBE_STRUCT(JiraNamedFields, (),
                      (summary, description, status, created, updated, duedate, priority, labels, assignee, fixVersions,
                       project, issuetype, parent))

// With the custom fields that hold texts and numbers. Like all keys of the services, theirs are read without the
// underscore: "customfield_10014" is "customfield10014".
struct JiraFields : JiraNamedFields {
    std::map<std::string, std::string> customStrings;
    std::map<std::string, double> customNumbers;
};
void decode(const boost::json::value& json, JiraFields& fields, const DecodingPath& path);

struct JiraIssue {
    std::string id;
    std::string key;
    JiraFields fields;
};
BOOST_DESCRIBE_STRUCT(JiraIssue, (), (id, key, fields))

struct CloudSearchPage {
    std::vector<JiraIssue> issues;
    std::optional<std::string> nextPageToken;
    std::optional<bool> isLast;
};
BOOST_DESCRIBE_STRUCT(CloudSearchPage, (), (issues, nextPageToken, isLast))

struct ServerSearchPage {
    std::vector<JiraIssue> issues;
    std::optional<int64_t> total;
};
BOOST_DESCRIBE_STRUCT(ServerSearchPage, (), (issues, total))

struct ApproximateCount {
    int64_t count = 0;
};
BOOST_DESCRIBE_STRUCT(ApproximateCount, (), (count))

struct JiraComment {
    std::string id;
    std::optional<JiraUser> author;
    std::string body;
    std::optional<std::string> created;
    std::optional<std::string> updated;
};
BOOST_DESCRIBE_STRUCT(JiraComment, (), (id, author, body, created, updated))

struct JiraCommentIdentity {
    std::string id;
};
BOOST_DESCRIBE_STRUCT(JiraCommentIdentity, (), (id))

using CreatedJiraComment = Created<JiraCommentIdentity, JiraComment>;

struct CommentPage {
    std::vector<JiraComment> comments;
    std::optional<int64_t> total;
};
BOOST_DESCRIBE_STRUCT(CommentPage, (), (comments, total))

}  // namespace marlet
