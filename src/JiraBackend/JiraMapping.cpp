#include "JiraBackend/JiraMappingInternal.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "JiraBackend/JiraRequestsInternal.h"
#include "MarletBase/Text.h"
#include "MarletCore/JiraMarkup.h"
#include "MarletHTTP/HTTPResponse.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet::jira {
namespace {

// "…+0200" becomes "…+02:00".
std::string withRepairedOffset(std::string text) {
    constexpr size_t offsetLength = 5;
    if (text.size() < offsetLength) {
        return text;
    }
    std::string_view offset = std::string_view(text).substr(text.size() - offsetLength);
    bool hasSign = offset.starts_with('+') || offset.starts_with('-');
    if (hasSign && offset.find_first_not_of("0123456789", 1) == std::string_view::npos) {
        text.insert(text.size() - 2, ":");
    }
    return text;
}

// Jira counts from 1, the highest. Priorities of one's own have other ids.
std::optional<int64_t> priority(const std::optional<JiraPriority>& found) {
    std::optional<int64_t> id = found && found->id ? decimalInteger(*found->id) : std::nullopt;
    return id && *id >= 1 && *id <= 5 ? std::optional(6 - *id) : std::nullopt;
}

std::optional<std::string> firstOf(std::initializer_list<std::optional<std::string>> names) {
    for (const std::optional<std::string>& name : names) {
        if (name) {
            return name;
        }
    }
    return std::nullopt;
}

User user(JiraUser person) {
    User result;
    result.id = firstOf({person.accountId, person.key, person.name, person.displayName}).value_or("");
    result.login = firstOf({person.name, person.displayName}).value_or(result.id);
    result.displayName = std::move(person.displayName);
    if (person.avatarUrls) {
        auto picture = person.avatarUrls->find("48x48");
        result.avatarURL = picture == person.avatarUrls->end() ? std::nullopt : url(picture->second);
    }
    return result;
}

// The next version to come, or else the first.
std::optional<Milestone> milestone(const std::optional<std::vector<JiraVersion>>& versions) {
    if (!versions || versions->empty()) {
        return std::nullopt;
    }
    auto isOpen = [](const JiraVersion& version) { return !version.released.value_or(false); };
    auto open = std::find_if(versions->begin(), versions->end(), isOpen);
    const JiraVersion& version = open == versions->end() ? versions->front() : *open;
    return Milestone{version.id, version.name, day(version.releaseDate), version.released.value_or(false)};
}

// Levels are told by Cloud alone: 1 is the level of epics.
bool canHaveChildren(const std::optional<JiraIssueType>& type) {
    if (!type) {
        return false;
    }
    return type->hierarchyLevel ? *type->hierarchyLevel == 1 : equalIgnoringCase(type->name, "Epic");
}

std::optional<TaskParent> parent(const JiraIssue& issue, const JiraMappingContext& context) {
    std::optional<std::string> key = parentKey(issue, context.ids.epicLink);
    if (!key) {
        return std::nullopt;
    }
    const std::optional<JiraParent>& named = issue.fields.parent;
    std::string title = named && named->fields ? named->fields->summary.value_or("") : "";
    if (title.empty()) {
        auto known = context.titles.find(*key);
        title = known == context.titles.end() ? "" : known->second;
    }
    return TaskParent{std::move(*key), std::move(title)};
}

}  // namespace

std::optional<Date> date(const std::optional<std::string>& text) {
    return text ? JSONCoding::parseDate(withRepairedOffset(*text)) : std::nullopt;
}

std::optional<Date> day(const std::optional<std::string>& text) {
    constexpr size_t length = 10;
    std::string start = text.value_or("").substr(0, length);
    std::vector<std::string_view> parts = pieces(start, '-');
    if (parts.size() != 3) {
        return std::nullopt;
    }
    std::optional<int64_t> year = decimalInteger(parts[0]);
    std::optional<int64_t> month = decimalInteger(parts[1]);
    std::optional<int64_t> day = decimalInteger(parts[2]);
    return year && month && day ? parseLocalDay(fmt::format("{:04}-{:02}-{:02}", *year, *month, *day)) : std::nullopt;
}

std::vector<Project> projects(const std::vector<JiraProject>& found, const UUID& accountID, const URL& webBaseURL) {
    std::vector<Project> result;
    for (const JiraProject& project : found) {
        if (project.archived.value_or(false)) {
            continue;
        }
        Project& added = result.emplace_back();
        added.id = project.id;
        added.accountID = accountID;
        added.name = project.name;
        added.detail = project.key;
        added.webURL = browseURL(webBaseURL, project.key);
        added.kind = projectKind(std::nullopt, added.cloneURL, added.sshCloneURL);
    }
    return result;
}

bool isCompleted(const JiraIssue& issue) {
    const std::optional<JiraStatus>& status = issue.fields.status;
    return status && status->statusCategory && status->statusCategory->key == "done";
}

void addTitles(const std::vector<JiraIssue>& issues, JiraTitles& titles) {
    for (const JiraIssue& issue : issues) {
        titles[issue.key] = issue.fields.summary.value_or("");
    }
}

std::vector<std::string> parentsWithoutTitle(const std::vector<JiraIssue>& issues, const CustomFieldIDs& ids,
                                             const JiraTitles& titles) {
    if (!ids.epicLink) {
        return {};
    }
    std::set<std::string> keys;
    for (const JiraIssue& issue : issues) {
        std::optional<std::string> key = parentKey(issue, ids.epicLink);
        if (key && !titles.contains(*key)) {
            keys.insert(std::move(*key));
        }
    }
    return {keys.begin(), keys.end()};
}

TaskItem taskItem(JiraIssue issue, const JiraMappingContext& context) {
    JiraFields& fields = issue.fields;
    TaskItem item;
    item.parent = parent(issue, context);
    item.isCompleted = isCompleted(issue);
    if (std::optional<StoryPoints> points = storyPoints(issue, context.ids.storyPoints)) {
        item.estimate = points->value;
    }
    item.webURL = browseURL(context.webBaseURL, issue.key);
    item.id = std::move(issue.key);
    item.projectID = fields.project ? fields.project->id : context.projectID;
    item.kind = TaskKind::issue;
    item.title = std::move(fields.summary).value_or("");
    item.notes = JiraMarkup::markdown(fields.description.value_or(""));
    item.createdAt = date(fields.created);
    item.updatedAt = date(fields.updated);
    item.dueDate = day(fields.duedate);
    item.priority = priority(fields.priority);
    if (fields.labels) {
        for (std::string& label : *fields.labels) {
            item.labels.push_back({std::move(label), std::nullopt});
        }
    }
    if (fields.assignee) {
        item.assignees.push_back(user(std::move(*fields.assignee)));
    }
    item.milestone = milestone(fields.fixVersions);
    item.canHaveChildren = canHaveChildren(fields.issuetype);
    item.canChangeParent = !(fields.issuetype && fields.issuetype->subtask.value_or(false));
    if (fields.issuetype) {
        item.typeName = std::move(fields.issuetype->name);
    }
    return item;
}

TaskComment taskComment(JiraComment comment) {
    TaskComment result;
    result.id = std::move(comment.id);
    if (comment.author) {
        result.author = user(std::move(*comment.author));
    }
    result.body = JiraMarkup::markdown(comment.body);
    result.createdAt = date(comment.created);
    result.updatedAt = date(comment.updated);
    return result;
}

TaskComment taskComment(CreatedJiraComment created, const std::string& wikiText) {
    if (created.record) {
        return taskComment(std::move(*created.record));
    }
    return taskComment(JiraComment{std::move(created.identity.id), {}, wikiText, {}, {}});
}

ChangeHints changeHints(const std::vector<JiraIssue>& issues) {
    ChangeHints hints;
    for (const JiraIssue& issue : issues) {
        std::optional<Date> updated = date(issue.fields.updated);
        if (issue.fields.project && updated) {
            add(hints, *updated, issue.fields.project->id, false);
        }
    }
    return hints;
}

}  // namespace marlet::jira
