#include "JiraBackend/JiraFieldsInternal.h"

#include <algorithm>

#include "MarletBase/Text.h"

namespace marlet::jira {
namespace {

constexpr std::string_view epicLinkType = "com.pyxis.greenhopper.jira:gh-epic-link";
constexpr std::string_view storyPointsType = "com.pyxis.greenhopper.jira:jsw-story-points";

bool isOfType(const JiraField& field, std::string_view type) {
    return field.schema && field.schema->custom == type;
}

bool namesStoryPoints(const std::optional<std::string>& name) {
    std::string text = lowercasedASCII(name.value_or(""));
    return text == "story points" || text == "story point estimate";
}

// The service's own field for them, or one that somebody made and named so.
bool holdsStoryPoints(const JiraField& field) {
    bool isNumber = field.schema && field.schema->type == "number";
    return isOfType(field, storyPointsType) ||
           (isNumber && (namesStoryPoints(field.name) || namesStoryPoints(field.untranslatedName)));
}

// Keys of an answer come without their underscores.
std::string decodedKey(std::string fieldID) {
    std::erase(fieldID, '_');
    return fieldID;
}

}  // namespace

CustomFieldIDs customFieldIDs(const std::vector<JiraField>& fields, bool isCloud) {
    CustomFieldIDs ids;
    std::vector<std::string> namedSo;
    for (const JiraField& field : fields) {
        if (!isCloud && !ids.epicLink && isOfType(field, epicLinkType)) {
            ids.epicLink = field.id;
        }
        if (holdsStoryPoints(field)) {
            (isOfType(field, storyPointsType) ? ids.storyPoints : namedSo).push_back(field.id);
        }
    }
    ids.storyPoints.insert(ids.storyPoints.end(), namedSo.begin(), namedSo.end());
    return ids;
}

std::optional<std::string> parentKey(const JiraIssue& issue, const std::optional<std::string>& epicLink) {
    if (issue.fields.parent) {
        return issue.fields.parent->key;
    }
    if (!epicLink) {
        return std::nullopt;
    }
    auto found = issue.fields.customStrings.find(decodedKey(*epicLink));
    bool hasValue = found != issue.fields.customStrings.end() && !found->second.empty();
    return hasValue ? std::optional(found->second) : std::nullopt;
}

std::optional<StoryPoints> storyPoints(const JiraIssue& issue, const std::vector<std::string>& fieldIDs) {
    for (const std::string& id : fieldIDs) {
        auto found = issue.fields.customNumbers.find(decodedKey(id));
        if (found != issue.fields.customNumbers.end()) {
            return StoryPoints{id, found->second};
        }
    }
    return std::nullopt;
}

}  // namespace marlet::jira
