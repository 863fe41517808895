// Which custom fields of a server hold epics and story points.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "JiraBackend/JiraRecordsInternal.h"

namespace marlet {

// As the service names them: "customfield_10014".
struct CustomFieldIDs {
    std::optional<std::string> epicLink;
    std::vector<std::string> storyPoints;  // the likeliest first

    bool operator==(const CustomFieldIDs&) const = default;
};

namespace jira {

CustomFieldIDs customFieldIDs(const std::vector<JiraField>& fields, bool isCloud);

// The parent that the issue names: its parent, or else its epic.
std::optional<std::string> parentKey(const JiraIssue& issue, const std::optional<std::string>& epicLink);

// The first of the fields that has a value in the issue.
struct StoryPoints {
    std::string fieldID;
    double value = 0;
};
std::optional<StoryPoints> storyPoints(const JiraIssue& issue, const std::vector<std::string>& fieldIDs);

}  // namespace jira
}  // namespace marlet
