#include "JiraBackend/JiraChangesInternal.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <cmath>

#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/JiraMarkup.h"

namespace marlet::jira {
namespace {

boost::json::array textList(const std::vector<std::string>& texts) {
    boost::json::array list;
    for (const std::string& text : texts) {
        list.emplace_back(text);
    }
    return list;
}

std::optional<std::string> dayOf(const std::optional<Date>& date) {
    return date ? std::optional(localDay(*date)) : std::nullopt;
}

std::string withPlainLineEnds(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t index = 0; index < text.size(); ++index) {
        if (!text.substr(index).starts_with("\r\n")) {
            result += text[index];
        }
    }
    return result;
}

bool isSameText(const std::string& notes, const std::optional<std::string>& description) {
    return withPlainLineEnds(JiraMarkup::markdown(description.value_or(""))) == withPlainLineEnds(notes);
}

template <class Condition>
const JiraIssueType* firstType(const std::vector<JiraIssueType>& types, Condition condition) {
    auto found = std::find_if(types.begin(), types.end(), [&](const JiraIssueType& type) {
        return !type.subtask.value_or(false) && condition(type);
    });
    return found == types.end() ? nullptr : &*found;
}

const JiraTransition* firstTransition(const std::vector<JiraTransition>& known, std::string_view category) {
    auto found = std::find_if(known.begin(), known.end(), [&](const JiraTransition& transition) {
        return transition.to && transition.to->statusCategory && transition.to->statusCategory->key == category;
    });
    return found == known.end() ? nullptr : &*found;
}

const JiraTransition* transitionFor(bool completes, const std::vector<JiraTransition>& known) {
    if (completes) {
        return firstTransition(known, "done");
    }
    const JiraTransition* toNew = firstTransition(known, "new");
    return toNew ? toNew : firstTransition(known, "indeterminate");
}

// No value where none is required, or none is offered.
std::optional<std::string> resolutionFor(const JiraTransition& transition) {
    const JiraTransitionField* field =
        transition.fields && transition.fields->resolution ? &*transition.fields->resolution : nullptr;
    if (!field || !field->required.value_or(false) || !field->allowedValues || field->allowedValues->empty()) {
        return std::nullopt;
    }
    const std::vector<JiraAllowedValue>& values = *field->allowedValues;
    auto isDone = [](const JiraAllowedValue& value) { return value.name && equalIgnoringCase(*value.name, "Done"); };
    auto done = std::find_if(values.begin(), values.end(), isDone);
    return done == values.end() ? values.front().id : done->id;
}

}  // namespace

JiraIssueType issueTypeFor(const std::optional<std::string>& wanted, const std::vector<JiraIssueType>& types) {
    auto isNamed = [](std::string_view name) {
        return [name](const JiraIssueType& type) { return equalIgnoringCase(type.name, name); };
    };
    const JiraIssueType* chosen = wanted ? firstType(types, isNamed(*wanted)) : nullptr;
    if (!chosen) {
        chosen = firstType(types, isNamed("Task"));
    }
    if (!chosen) {
        chosen = firstType(types, [&](const JiraIssueType& type) {
            return type.hierarchyLevel.value_or(0) == 0 && !isNamed("Epic")(type);
        });
    }
    if (!chosen) {
        chosen = firstType(types, [](const JiraIssueType&) { return true; });
    }
    if (!chosen) {
        throw BackendError::rejected("The Jira project has no issue type that Marlet can create.");
    }
    return *chosen;
}

boost::json::object newFields(const TaskDraft& draft, const std::string& projectID, const JiraIssueType& type) {
    boost::json::object fields;
    fields["project"] = boost::json::object{{"id", projectID}};
    fields["issuetype"] = boost::json::object{{"id", type.id}};
    fields["summary"] = draft.title;
    if (!draft.notes.empty()) {
        fields["description"] = JiraMarkup::wiki(draft.notes);
    }
    if (!draft.labels.empty()) {
        fields["labels"] = textList(draft.labels);
    }
    if (draft.dueDate) {
        fields["duedate"] = localDay(*draft.dueDate);
    }
    return fields;
}

JiraIssue issueAsSent(std::string key, const TaskDraft& draft, const std::string& projectID, JiraIssueType type) {
    JiraIssue issue;
    issue.key = std::move(key);
    issue.fields.summary = draft.title;
    issue.fields.description = JiraMarkup::wiki(draft.notes);
    issue.fields.labels = draft.labels;
    issue.fields.duedate = dayOf(draft.dueDate);
    issue.fields.project = JiraProjectReference{projectID};
    issue.fields.issuetype = std::move(type);
    return issue;
}

boost::json::object changedTexts(const TaskItem& task, const JiraIssue& issue) {
    boost::json::object fields;
    if (issue.fields.summary != task.title) {
        fields["summary"] = task.title;
    }
    if (!isSameText(task.notes, issue.fields.description)) {
        fields["description"] = JiraMarkup::wiki(task.notes);
    }
    std::vector<TaskLabel> labels;
    for (const std::string& name : issue.fields.labels.value_or(std::vector<std::string>())) {
        labels.push_back({name, std::nullopt});
    }
    if (!haveSameNames(task.labels, labels)) {
        fields["labels"] = textList(labelNames(task.labels));
    }
    std::optional<std::string> due = dayOf(task.dueDate);
    if (due != issue.fields.duedate) {
        fields["duedate"] = textOrNull(due);
    }
    return fields;
}

boost::json::value textOrNull(const std::optional<std::string>& text) {
    return text ? boost::json::value(*text) : boost::json::value(nullptr);
}

boost::json::value keyOrNull(const std::optional<std::string>& key) {
    return key ? boost::json::value(boost::json::object{{"key", *key}}) : boost::json::value(nullptr);
}

boost::json::value numberOrNull(const std::optional<double>& number) {
    constexpr double exactIntegerLimit = 9007199254740992.0;
    if (!number) {
        return nullptr;
    }
    // "5" and not "5E0": what a person reads in the request.
    bool isWhole = std::trunc(*number) == *number && std::fabs(*number) < exactIntegerLimit;
    return isWhole ? boost::json::value(static_cast<int64_t>(*number)) : boost::json::value(*number);
}

std::string storyPointsOnScreen(const std::vector<std::string>& fieldIDs, const EditMeta& screen) {
    auto isOnScreen = [&](const std::string& id) { return screen.fields.contains(id); };
    auto found = std::find_if(fieldIDs.begin(), fieldIDs.end(), isOnScreen);
    if (found == fieldIDs.end()) {
        throw BackendError::rejected("This issue has no story points field on its edit screen.");
    }
    return *found;
}

boost::json::object transitionBody(const std::string& key, bool completes, const std::vector<JiraTransition>& known) {
    const JiraTransition* transition = transitionFor(completes, known);
    if (!transition) {
        throw BackendError::rejected(key + " has no workflow transition that " + (completes ? "completes" : "reopens") +
                                     " it.");
    }
    boost::json::object body;
    body["transition"] = boost::json::object{{"id", transition->id}};
    if (std::optional<std::string> resolution = resolutionFor(*transition)) {
        boost::json::object value{{"id", *resolution}};
        body["fields"] = boost::json::object{{"resolution", std::move(value)}};
    }
    return body;
}

}  // namespace marlet::jira
