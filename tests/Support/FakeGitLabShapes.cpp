#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <cmath>

#include "TestSupport/FakeGitLab.h"

namespace marlet {
namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

// "2026-03-14T09:26:53.589Z"
std::string moment(Date date) {
    double seconds = std::floor(secondsSince1970(date));
    std::string text = iso8601(date);
    text.pop_back();
    return fmt::format("{}.{:03}Z", text, static_cast<int>((secondsSince1970(date) - seconds) * 1000));
}

value textOrNull(const std::optional<std::string>& text) {
    return text ? value(*text) : value(nullptr);
}

value milestoneShape(const std::optional<FakeMilestone>& milestone) {
    if (!milestone) {
        return nullptr;
    }
    value due = milestone->dueOn ? value(localDay(*milestone->dueOn)) : value(nullptr);
    return object{{"id", milestone->id},
                  {"iid", milestone->number},
                  {"title", milestone->title},
                  {"description", ""},
                  {"state", milestone->isClosed ? "closed" : "active"},
                  {"due_date", due},
                  {"start_date", nullptr}};
}

std::string uppercased(std::string text) {
    for (char& character : text) {
        character = character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return text;
}

std::string stateOf(const FakeGitLabItem& item) {
    return item.isMerged ? "merged" : item.isClosed ? "closed" : "opened";
}

}  // namespace

object FakeGitLab::userShape(const std::string& login) {
    const FakeUser& person = user(login);
    return {{"id", person.id},   {"username", login}, {"public_email", nullptr}, {"name", person.name},
            {"state", "active"}, {"locked", false},   {"avatar_url", nullptr},   {"web_url", root() + "/" + login}};
}

object FakeGitLab::shape(const FakeGitLabProject& project) const {
    std::string host = root().substr(root().find("//") + 2);
    return {{"id", project.id},
            {"name", project.path.substr(project.path.rfind('/') + 1)},
            {"path_with_namespace", project.path},
            {"description", project.description.empty() ? value(nullptr) : value(project.description)},
            {"default_branch", "main"},
            {"web_url", root() + "/" + project.path},
            {"http_url_to_repo", root() + "/" + project.path + ".git"},
            {"ssh_url_to_repo", "git@" + host.substr(0, host.find(':')) + ":" + project.path + ".git"},
            {"issues_enabled", project.hasIssues},
            {"merge_requests_enabled", project.hasMergeRequests},
            {"archived", project.isArchived},
            {"last_activity_at", moment(project.updatedAt)}};
}

// Lists tell labels whole when they are asked to, everything else names them.
object FakeGitLab::shape(FakeGitLabProject& project, const FakeGitLabItem& item, bool hasLabelDetails) {
    array labels;
    for (const std::string& name : item.labels) {
        const FakeLabel& found = label(project, name);
        if (hasLabelDetails) {
            labels.push_back(object{{"id", found.id},
                                    {"name", found.name},
                                    {"description", nullptr},
                                    {"text_color", "#FFFFFF"},
                                    {"color", "#" + found.color},
                                    {"archived", false}});
        } else {
            labels.emplace_back(found.name);
        }
    }
    array assignees;
    for (const std::string& login : item.assignees) {
        assignees.push_back(userShape(login));
    }
    std::string kind = item.isMergeRequest ? "merge_requests" : item.type == "task" ? "work_items" : "issues";
    object result{{"id", item.id},
                  {"iid", item.iid},
                  {"project_id", project.id},
                  {"title", item.title},
                  {"description", item.body},
                  {"state", stateOf(item)},
                  {"created_at", moment(item.createdAt)},
                  {"updated_at", moment(item.updatedAt)},
                  {"labels", std::move(labels)},
                  {"milestone", milestoneShape(item.milestone)},
                  {"assignees", std::move(assignees)},
                  {"author", userShape(item.author)},
                  {"user_notes_count", item.comments.size()},
                  {"web_url", fmt::format("{}/{}/-/{}/{}", root(), project.path, kind, item.iid)}};
    if (item.isMergeRequest) {
        result["draft"] = item.title.starts_with("Draft:");
        result["pipeline"] = nullptr;
    } else {
        result["type"] = uppercased(item.type);
        result["issue_type"] = item.type;
        result["due_date"] = textOrNull(item.dueDay);
        result["confidential"] = false;
    }
    return result;
}

object FakeGitLab::shape(const FakeGitLabItem& item, const FakeComment& note) {
    return {{"id", note.id},
            {"type", nullptr},
            {"body", note.body},
            {"author", userShape(note.author)},
            {"created_at", moment(note.createdAt)},
            {"updated_at", moment(note.createdAt)},
            {"system", false},
            {"noteable_type", item.isMergeRequest ? "MergeRequest" : "Issue"},
            {"noteable_iid", item.iid},
            {"internal", false}};
}

object FakeGitLab::shape(const FakeTodo& todo) {
    object result{{"id", todo.id},
                  {"author", userShape("grace")},
                  {"action_name", "mentioned"},
                  {"target_type", todo.targetType},
                  {"state", "pending"},
                  {"created_at", moment(todo.createdAt)},
                  {"updated_at", moment(todo.updatedAt)}};
    if (todo.projectID != 0) {
        result["project"] = object{{"id", todo.projectID}, {"path_with_namespace", projects.at(todo.projectID).path}};
    }
    return result;
}

}  // namespace marlet
