// What a write sends, as plain values.
#pragma once

#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <vector>

#include "JiraBackend/JiraFieldsInternal.h"
#include "JiraBackend/JiraWriteRecordsInternal.h"
#include "MarletCore/TaskItem.h"

namespace marlet::jira {

// Of the wanted name, where the project has it; else a task, or what comes nearest to one. Throws
// BackendError::rejected for a project with nothing but types of sub-tasks.
JiraIssueType issueTypeFor(const std::optional<std::string>& wanted, const std::vector<JiraIssueType>& types);

boost::json::object newFields(const TaskDraft& draft, const std::string& projectID, const JiraIssueType& type);
// Takes the place of a new issue that can't be read.
JiraIssue issueAsSent(std::string key, const TaskDraft& draft, const std::string& projectID, JiraIssueType type);

// The texts, labels and due date that differ from the issue's. Descriptions are compared as Markdown: the conversion
// may write the same text in another way.
boost::json::object changedTexts(const TaskItem& task, const JiraIssue& issue);

// How a field is set: null clears it.
boost::json::value textOrNull(const std::optional<std::string>& text);
boost::json::value keyOrNull(const std::optional<std::string>& key);
boost::json::value numberOrNull(const std::optional<double>& number);

// The first of the story point fields that the edit screen has. Throws BackendError::rejected for none.
std::string storyPointsOnScreen(const std::vector<std::string>& fieldIDs, const EditMeta& screen);

// The body of the best transition that completes or reopens the issue. Throws BackendError::rejected where the
// workflow has none.
boost::json::object transitionBody(const std::string& key, bool completes, const std::vector<JiraTransition>& known);

}  // namespace marlet::jira
