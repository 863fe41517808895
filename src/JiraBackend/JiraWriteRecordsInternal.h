// What Jira sends around a write.
#pragma once

#include "JiraBackend/JiraRecordsInternal.h"

namespace marlet {

struct ProjectDetail {
    std::optional<std::vector<JiraIssueType>> issueTypes;
};
BOOST_DESCRIBE_STRUCT(ProjectDetail, (), (issueTypes))

struct CreatedJiraIssue {
    std::string key;
};
BOOST_DESCRIBE_STRUCT(CreatedJiraIssue, (), (key))

// The fields on an issue's edit screen, by their ids as the service writes them.
struct EditMeta {
    std::map<std::string, PresenceMarker> fields;
};
BOOST_DESCRIBE_STRUCT(EditMeta, (), (fields))

struct JiraAllowedValue {
    std::string id;
    std::optional<std::string> name;
};
BOOST_DESCRIBE_STRUCT(JiraAllowedValue, (), (id, name))

struct JiraTransitionField {
    std::optional<bool> required;
    std::optional<std::vector<JiraAllowedValue>> allowedValues;
};
BOOST_DESCRIBE_STRUCT(JiraTransitionField, (), (required, allowedValues))

struct JiraTransitionFields {
    std::optional<JiraTransitionField> resolution;
};
BOOST_DESCRIBE_STRUCT(JiraTransitionFields, (), (resolution))

struct JiraTransitionTarget {
    std::optional<JiraStatusCategory> statusCategory;
};
BOOST_DESCRIBE_STRUCT(JiraTransitionTarget, (), (statusCategory))

struct JiraTransition {
    std::string id;
    std::optional<JiraTransitionTarget> to;
    std::optional<JiraTransitionFields> fields;
};
BOOST_DESCRIBE_STRUCT(JiraTransition, (), (id, to, fields))

struct TransitionList {
    std::vector<JiraTransition> transitions;
};
BOOST_DESCRIBE_STRUCT(TransitionList, (), (transitions))

}  // namespace marlet
