#include <fmt/format.h>

#include <algorithm>

#include "MarletBase/Text.h"
#include "TestSupport/FakeJira.h"

namespace marlet {
namespace {

// "2026-03-14T11:26:53.589+0200": in a zone of the server's own, and without a colon.
std::string jiraDate(Date date) {
    Date local = date + 7200;
    double seconds = secondsSince1970(local);
    auto thousandths = static_cast<int64_t>(std::llround(seconds * 1000)) % 1000;
    std::string text = iso8601(local);
    text.pop_back();
    return fmt::format("{}.{:03}+0200", text, thousandths);
}

boost::json::value textOrNull(const std::optional<std::string>& text) {
    return text ? boost::json::value(*text) : boost::json::value(nullptr);
}

std::string categoryOf(const std::string& status) {
    return status == "Done" ? "done" : status == "To Do" ? "new" : "indeterminate";
}

boost::json::object statusShape(const std::string& name) {
    boost::json::object category{{"id", 2}, {"key", categoryOf(name)}, {"colorName", "default"}, {"name", name}};
    return {{"name", name}, {"id", "1"}, {"statusCategory", std::move(category)}};
}

boost::json::object customField(const std::string& id, const std::string& name, const std::string& type,
                                const std::string& custom) {
    boost::json::object schema{{"type", type}, {"custom", "com.pyxis.greenhopper.jira:" + custom}};
    return {{"id", id}, {"key", id}, {"name", name}, {"custom", true}, {"schema", std::move(schema)}};
}

}  // namespace

boost::json::array FakeJira::fieldShapes() const {
    boost::json::array list{{{"id", "issuekey"}, {"name", "Key"}, {"custom", false}}};
    boost::json::object summary{{"type", "string"}, {"system", "summary"}};
    list.push_back({{"id", "summary"}, {"name", "Summary"}, {"custom", false}, {"schema", std::move(summary)}});
    if (hasBoards) {
        list.push_back(customField("customfield_10019", "Rank", "any", "gh-lexo-rank"));
        list.push_back(customField(epicLinkField, "Epic Link", "any", "gh-epic-link"));
        list.push_back(customField(pointsField, "Story point estimate", "number", "jsw-story-points"));
    }
    return list;
}

boost::json::object FakeJira::shape(const FakeJiraType& type) const {
    boost::json::object shape{{"id", type.id}, {"name", type.name}, {"description", ""}, {"subtask", type.isSubTask()}};
    if (isCloud()) {
        shape["hierarchyLevel"] = type.level;
    }
    return shape;
}

boost::json::object FakeJira::shape(const FakeJiraProject& project, bool hasTypes) const {
    boost::json::object shape{{"id", std::to_string(project.id)},
                              {"key", project.key},
                              {"name", project.name},
                              {"self", fmt::format("{}/rest/api/2/project/{}", root(), project.id)},
                              {"projectTypeKey", "software"}};
    if (project.isArchived || !isCloud()) {
        shape["archived"] = project.isArchived;
    }
    if (hasTypes) {
        boost::json::array types;
        for (const FakeJiraType& type : project.types) {
            types.push_back(this->shape(type));
        }
        shape["issueTypes"] = std::move(types);
    }
    return shape;
}

boost::json::object FakeJira::userShape(const std::string& login) const {
    boost::json::object pictures{{"48x48", "https://pictures.example/" + login}};
    boost::json::object shape{{"displayName", login}, {"active", true}, {"avatarUrls", std::move(pictures)}};
    if (isCloud()) {
        shape["accountId"] = "557058:" + login;
        shape["accountType"] = "atlassian";
    } else {
        shape["name"] = login;
        shape["key"] = "JIRAUSER-" + login;
    }
    return shape;
}

boost::json::object FakeJira::fieldsShape(const FakeJiraIssue& issue) {
    boost::json::array versions;
    for (const FakeMilestone& version : issue.versions) {
        versions.push_back({{"id", std::to_string(version.id)},
                            {"name", version.title},
                            {"archived", false},
                            {"released", version.isClosed}});
    }
    boost::json::array labels(issue.labels.begin(), issue.labels.end());
    bool hasText = !issue.description.empty();
    boost::json::object fields{
        {"summary", issue.summary},
        {"description", hasText ? boost::json::value(issue.description) : boost::json::value(nullptr)},
        {"status", statusShape(issue.status)},
        {"created", jiraDate(issue.createdAt)},
        {"updated", jiraDate(issue.updatedAt)},
        {"duedate", textOrNull(issue.dueDay)},
        {"priority", {{"id", issue.priority}, {"name", "Medium"}}},
        {"labels", std::move(labels)},
        {"assignee", issue.assignee ? boost::json::value(userShape(*issue.assignee)) : boost::json::value(nullptr)},
        {"fixVersions", std::move(versions)},
        {"project", shape(projectOf(issue), false)},
        {"issuetype", shape(typeOf(issue))}};
    bool isLinked = issue.parent && !isCloud() && !typeOf(issue).isSubTask();
    if (hasBoards) {
        fields["customfield_10019"] = "0|i00001:";
        fields[pointsField] = issue.points ? boost::json::value(*issue.points) : boost::json::value(nullptr);
        if (!isCloud()) {
            fields[epicLinkField] = isLinked ? boost::json::value(*issue.parent) : boost::json::value(nullptr);
        }
    }
    const FakeJiraIssue* parent = issue.parent && !isLinked ? find(*issue.parent) : nullptr;
    if (parent) {
        boost::json::object told{{"summary", parent->summary}, {"status", statusShape(parent->status)}};
        fields["parent"] =
            boost::json::object{{"id", std::to_string(parent->id)}, {"key", parent->key}, {"fields", std::move(told)}};
    }
    return fields;
}

boost::json::object FakeJira::shape(const FakeJiraIssue& issue, const std::string& wanted) {
    boost::json::object fields = fieldsShape(issue);
    if (wanted != "*all") {
        boost::json::object asked;
        for (std::string_view name : pieces(wanted, ',')) {
            if (const boost::json::value* found = fields.if_contains(name)) {
                asked[name] = *found;
            }
        }
        fields = std::move(asked);
    }
    std::string id = std::to_string(issue.id);
    return {{"expand", "operations,changelog"},
            {"id", id},
            {"key", issue.key},
            {"self", root() + "/rest/api/2/issue/" + id},
            {"fields", std::move(fields)}};
}

boost::json::object FakeJira::shape(const FakeComment& comment) const {
    return {{"id", std::to_string(comment.id)},
            {"author", userShape(comment.author)},
            {"body", comment.body},
            {"created", jiraDate(comment.createdAt)},
            {"updated", jiraDate(comment.createdAt)}};
}

boost::json::object FakeJira::shape(const FakeJiraTransition& transition) const {
    boost::json::object fields;
    if (!transition.resolutions.empty()) {
        boost::json::array values;
        for (const FakeJiraResolution& resolution : transition.resolutions) {
            values.push_back({{"id", resolution.id}, {"name", resolution.name}});
        }
        fields["resolution"] = boost::json::object{{"required", true}, {"allowedValues", std::move(values)}};
    }
    return {{"id", transition.id},
            {"name", "To " + transition.to},
            {"to", statusShape(transition.to)},
            {"fields", std::move(fields)}};
}

boost::json::object FakeJira::editMetaShape(FakeJiraIssue& issue) {
    boost::json::object fields;
    for (const char* name : {"summary", "description", "labels", "duedate", "priority", "assignee"}) {
        fields[name] = boost::json::object{{"required", false}, {"name", name}, {"operations", {"set"}}};
    }
    if (hasBoards && projectOf(issue).hasPointsOnScreen) {
        fields[pointsField] = boost::json::object{{"required", false}, {"name", "Story point estimate"}};
    }
    return {{"fields", std::move(fields)}};
}

}  // namespace marlet
