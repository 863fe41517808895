#include "TestSupport/FakeForgeShapes.h"

#include <fmt/format.h>

#include <algorithm>

namespace marlet {
namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

constexpr double forgejoZone = 3600;

value textOrNull(const std::optional<std::string>& text) {
    return text ? value(*text) : value(nullptr);
}

object bothForms(const std::string& text) {
    return {{"raw", text}, {"html", text}};
}

int64_t closedCount(const std::vector<FakeIssue*>& issues) {
    return std::count_if(issues.begin(), issues.end(), [](const FakeIssue* issue) { return issue->isClosed; });
}

}  // namespace

std::string FakeForgeShapes::date(Date date) const {
    if (state.isGitHub) {
        return iso8601(date);
    }
    std::string text = iso8601(date + forgejoZone);
    text.pop_back();
    return text + "+01:00";
}

value FakeForgeShapes::date(const std::optional<Date>& given) const {
    return given ? value(date(*given)) : value(nullptr);
}

object FakeForgeShapes::user(const std::string& login) const {
    const FakeUser& user = state.user(login);
    if (state.isGitHub) {
        return {{"login", login},
                {"id", user.id},
                {"node_id", fmt::format("U_{}", user.id)},
                {"avatar_url", fmt::format("{}/avatars/u/{}?v=4", web, user.id)},
                {"gravatar_id", ""},
                {"url", api + "/users/" + login},
                {"html_url", web + "/" + login},
                {"type", "User"},
                {"site_admin", false}};
    }
    return {{"id", user.id},
            {"login", login},
            {"login_name", ""},
            {"source_id", 0},
            {"full_name", user.name},
            {"email", login + "@noreply.example.org"},
            {"avatar_url", fmt::format("{}/avatars/{}", web, user.id)},
            {"html_url", web + "/" + login},
            {"is_admin", false},
            {"last_login", "0001-01-01T00:00:00Z"},
            {"visibility", "public"},
            {"username", login}};
}

object FakeForgeShapes::organization(const std::string& login) const {
    return {{"login", login},
            {"id", state.user(login).id},
            {"url", api + "/orgs/" + login},
            {"repos_url", api + "/orgs/" + login + "/repos"},
            {"avatar_url", fmt::format("{}/avatars/u/{}?v=4", web, state.user(login).id)},
            {"description", nullptr}};
}

object FakeForgeShapes::repository(const FakeRepository& repository) const {
    std::string host = web.substr(web.find("//") + 2);
    std::string page = web + "/" + repository.fullName;
    std::string ssh = "git@" + host.substr(0, host.find(':')) + ":" + repository.fullName + ".git";
    object result{{"id", repository.id},
                  {"name", repository.name()},
                  {"full_name", repository.fullName},
                  {"owner", user(repository.owner())},
                  {"private", false},
                  {"html_url", repository.pageURL.value_or(page)},
                  {"fork", false},
                  {"url", api + "/repos/" + repository.fullName},
                  {"updated_at", date(repository.updatedAt)},
                  {"clone_url", repository.cloneURL.value_or(page + ".git")},
                  {"ssh_url", repository.sshURL.value_or(ssh)},
                  {"has_issues", repository.hasIssues},
                  {"archived", repository.isArchived},
                  {"open_issues_count", repository.issues.size()},
                  {"default_branch", "main"}};
    // GitHub has no empty description.
    bool isNull = state.isGitHub && repository.description.empty();
    result["description"] = isNull ? value(nullptr) : value(repository.description);
    return result;
}

object FakeForgeShapes::label(const FakeRepository& repository, const FakeLabel& label) const {
    std::string place = api + "/repos/" + repository.fullName + "/labels/";
    if (state.isGitHub) {
        return {{"id", label.id},
                {"node_id", fmt::format("LA_{}", label.id)},
                {"url", place + label.name},
                {"name", label.name},
                {"color", label.color},
                {"default", false},
                {"description", nullptr}};
    }
    return {{"id", label.id},
            {"name", label.name},
            {"exclusive", false},
            {"is_archived", false},
            {"color", label.color},
            {"description", ""},
            {"url", place + std::to_string(label.id)}};
}

object FakeForgeShapes::milestone(const FakeMilestone& milestone) const {
    object result{{"id", milestone.id},
                  {"title", milestone.title},
                  {"description", nullptr},
                  {"state", milestone.isClosed ? "closed" : "open"},
                  {"due_on", date(milestone.dueOn)},
                  {"closed_at", nullptr}};
    if (state.isGitHub) {
        result["number"] = milestone.number;
    }
    return result;
}

array FakeForgeShapes::labels(const FakeRepository& repository, const FakeIssue& issue) const {
    array result;
    for (const std::string& name : issue.labels) {
        if (const FakeLabel* found = state.findLabel(repository, name)) {
            result.push_back(label(repository, *found));
        }
    }
    return result;
}

array FakeForgeShapes::assignees(const FakeIssue& issue) const {
    array result;
    for (const std::string& login : issue.assignees) {
        result.push_back(user(login));
    }
    return result;
}

object FakeForgeShapes::issue(const FakeRepository& repository, const FakeIssue& issue) const {
    return state.isGitHub ? gitHubIssue(repository, issue) : forgejoIssue(repository, issue);
}

object FakeForgeShapes::gitHubIssue(const FakeRepository& repository, const FakeIssue& issue) const {
    std::string home = api + "/repos/" + repository.fullName;
    std::string place = fmt::format("{}/issues/{}", home, issue.number);
    std::string page =
        fmt::format("{}/{}/{}/{}", web, repository.fullName, issue.isPullRequest ? "pull" : "issues", issue.number);
    std::vector<FakeIssue*> children = state.children({repository.fullName, issue.number});
    object result{{"url", place},
                  {"repository_url", home},
                  {"labels_url", place + "/labels{/name}"},
                  {"comments_url", place + "/comments"},
                  {"html_url", page},
                  {"id", issue.id},
                  {"node_id", fmt::format("I_{}", issue.id)},
                  {"number", issue.number},
                  {"title", issue.title},
                  {"user", user(issue.author)},
                  {"labels", labels(repository, issue)},
                  {"state", issue.isClosed ? "closed" : "open"},
                  {"locked", false},
                  {"assignees", assignees(issue)},
                  {"assignee", issue.assignees.empty() ? value(nullptr) : value(user(issue.assignees.front()))},
                  {"milestone", issue.milestone ? value(milestone(*issue.milestone)) : value(nullptr)},
                  {"comments", issue.comments.size()},
                  {"created_at", date(issue.createdAt)},
                  {"updated_at", date(issue.updatedAt)},
                  {"closed_at", date(issue.closedAt)},
                  {"author_association", "OWNER"},
                  {"body", issue.body.empty() ? value(nullptr) : value(issue.body)},
                  {"state_reason", issue.isClosed ? value("completed") : value(nullptr)}};
    if (issue.isPullRequest) {
        result["pull_request"] =
            object{{"url", fmt::format("{}/pulls/{}", home, issue.number)}, {"html_url", page}, {"merged_at", nullptr}};
        return result;
    }
    result["type"] = issue.typeName ? value(object{{"id", 77}, {"name", *issue.typeName}}) : value(nullptr);
    result["sub_issues_summary"] = object{{"total", children.size()}, {"completed", closedCount(children)}};
    if (issue.parent) {
        result["parent_issue_url"] =
            fmt::format("{}/repos/{}/issues/{}", api, issue.parent->repository, issue.parent->number);
    }
    return result;
}

object FakeForgeShapes::forgejoIssue(const FakeRepository& repository, const FakeIssue& issue) const {
    std::string page =
        fmt::format("{}/{}/{}/{}", web, repository.fullName, issue.isPullRequest ? "pulls" : "issues", issue.number);
    array people = assignees(issue);
    object marker{{"draft", false}, {"html_url", page}, {"merged", false}, {"merged_at", nullptr}};
    return {{"id", issue.id},
            {"url", fmt::format("{}/repos/{}/issues/{}", api, repository.fullName, issue.number)},
            {"html_url", page},
            {"number", issue.number},
            {"user", user(issue.author)},
            {"original_author", ""},
            {"original_author_id", 0},
            {"title", issue.title},
            {"body", issue.body},
            {"ref", ""},
            {"assets", array()},
            {"labels", labels(repository, issue)},
            {"milestone", issue.milestone ? value(milestone(*issue.milestone)) : value(nullptr)},
            {"assignee", people.empty() ? value(nullptr) : people.front()},
            {"assignees", people.empty() ? value(nullptr) : value(people)},
            {"state", issue.isClosed ? "closed" : "open"},
            {"is_locked", false},
            {"comments", issue.comments.size()},
            {"created_at", date(issue.createdAt)},
            {"updated_at", date(issue.updatedAt)},
            {"closed_at", date(issue.closedAt)},
            {"due_date", date(issue.dueDate)},
            {"pull_request", issue.isPullRequest ? value(marker) : value(nullptr)},
            {"repository", object{{"id", repository.id},
                                  {"name", repository.name()},
                                  {"owner", repository.owner()},
                                  {"full_name", repository.fullName}}},
            {"pin_order", 0}};
}

object FakeForgeShapes::comment(const FakeRepository& repository, const FakeIssue& issue,
                                const FakeComment& comment) const {
    return {{"id", comment.id},
            {"html_url",
             fmt::format("{}/{}/issues/{}#issuecomment-{}", web, repository.fullName, issue.number, comment.id)},
            {"issue_url", fmt::format("{}/repos/{}/issues/{}", api, repository.fullName, issue.number)},
            {"user", user(comment.author)},
            {"body", comment.body},
            {"created_at", date(comment.createdAt)},
            {"updated_at", date(comment.createdAt)}};
}

object FakeForgeShapes::notification(const FakeNotification& notification) const {
    std::string place = fmt::format("{}/repos/{}/issues/{}", api, notification.repository, notification.number);
    bool hasPlace = notification.number != 0;
    object subject{{"title", notification.title},
                   {"url", hasPlace ? value(place) : value(nullptr)},
                   {"latest_comment_url", nullptr},
                   {"type", notification.subjectType}};
    object result{{"repository", repository(state.repository(notification.repository))},
                  {"subject", subject},
                  {"unread", true},
                  {"updated_at", date(notification.updatedAt)},
                  {"url", fmt::format("{}/notifications/threads/{}", api, notification.id)}};
    if (state.isGitHub) {
        result["id"] = std::to_string(notification.id);
        result["reason"] = "subscribed";
        result["last_read_at"] = nullptr;
    } else {
        result["id"] = notification.id;
        result["pinned"] = false;
    }
    return result;
}

object FakeForgeShapes::board(const FakeBoard& board) const {
    std::string place = fmt::format("{}/projects/{}", web, board.number);
    return {{"id", board.number + 500'000},
            {"node_id", fmt::format("PVT_{}", board.number)},
            {"owner", user(board.login)},
            {"title", board.title},
            {"description", nullptr},
            {"short_description", textOrNull(board.shortDescription)},
            {"public", false},
            {"state", board.isClosed ? "closed" : "open"},
            {"closed_at", board.isClosed ? value("2026-01-05T10:00:00Z") : value(nullptr)},
            {"number", board.number},
            {"is_template", board.isTemplate}};
}

array FakeForgeShapes::boardFields(const FakeBoard& board) const {
    array fields{object{{"id", 1}, {"name", "Title"}, {"data_type", "title"}},
                 object{{"id", 2}, {"name", "Assignees"}, {"data_type", "assignees"}}};
    if (board.statusFieldID == 0) {
        return fields;
    }
    array options;
    for (const FakeStatusOption& option : board.statusOptions) {
        options.push_back(object{
            {"id", option.id}, {"name", bothForms(option.name)}, {"color", "GRAY"}, {"description", bothForms("")}});
    }
    fields.push_back(object{{"id", board.statusFieldID},
                            {"name", "Status"},
                            {"data_type", "single_select"},
                            {"options", std::move(options)}});
    return fields;
}

object FakeForgeShapes::boardItem(const FakeBoard& board, const FakeBoardItem& item, int64_t fieldID) const {
    array fields{object{{"id", 1}, {"name", "Title"}, {"data_type", "title"}, {"value", bothForms(item.title)}}};
    if (fieldID != 0 && fieldID == board.statusFieldID) {
        value status = nullptr;
        for (const FakeStatusOption& option : board.statusOptions) {
            if (option.id == item.statusID) {
                status = object{{"id", option.id}, {"name", bothForms(option.name)}, {"color", "GRAY"}};
            }
        }
        fields = {object{{"id", fieldID}, {"name", "Status"}, {"data_type", "single_select"}, {"value", status}}};
    }
    object content{{"id", item.id + 1'000'000},
                   {"node_id", item.nodeID()},
                   {"title", item.title},
                   {"body", item.body.empty() ? value(nullptr) : value(item.body)},
                   {"created_at", date(item.createdAt)},
                   {"updated_at", date(item.contentUpdatedAt)},
                   {"user", user(state.viewer)}};
    return {{"id", item.id},
            {"node_id", fmt::format("PVTI_{}", item.id)},
            {"content_type", item.contentType},
            {"content", content},
            {"creator", user(state.viewer)},
            {"created_at", date(item.createdAt)},
            {"updated_at", date(item.updatedAt)},
            {"archived_at", item.isArchived ? value(date(item.updatedAt)) : value(nullptr)},
            {"fields", fields}};
}

}  // namespace marlet
