// What Jira's records mean in the engine's own words.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "JiraBackend/JiraFieldsInternal.h"
#include "JiraBackend/JiraRecordsInternal.h"
#include "MarletBase/URL.h"
#include "MarletCore/ChangeHint.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"

namespace marlet::jira {

// "2026-03-14T09:26:53.589+0200", as Jira writes offsets. No value for what can't be read.
std::optional<Date> date(const std::optional<std::string>& text);
// The beginning of the day, in the computer's zone, that the text begins with.
std::optional<Date> day(const std::optional<std::string>& text);

// Those that aren't archived.
std::vector<Project> projects(const std::vector<JiraProject>& found, const UUID& accountID, const URL& webBaseURL);

bool isCompleted(const JiraIssue& issue);

// Titles of issues by their keys.
using JiraTitles = std::map<std::string, std::string>;
void addTitles(const std::vector<JiraIssue>& issues, JiraTitles& titles);
// The keys of parents that have no title yet, each once and in order. Only a server with epic links is asked for them:
// the others name a parent with its title.
std::vector<std::string> parentsWithoutTitle(const std::vector<JiraIssue>& issues, const CustomFieldIDs& ids,
                                             const JiraTitles& titles);

// What all issues of one answer are mapped with.
struct JiraMappingContext {
    CustomFieldIDs ids;
    std::string projectID;
    URL webBaseURL;
    JiraTitles titles;
};
TaskItem taskItem(JiraIssue issue, const JiraMappingContext& context);

TaskComment taskComment(JiraComment comment);
// What the answer leaves unreadable is as it was sent.
TaskComment taskComment(CreatedJiraComment created, const std::string& wikiText);

// When something of the issues changed, by project.
ChangeHints changeHints(const std::vector<JiraIssue>& issues);

}  // namespace marlet::jira
