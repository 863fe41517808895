#include "GitHubBoardScenario.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace marlet {

void GitHubBoardScenario::answerFields(const std::string& json) {
    server->answer("GET /orgs/acme/projectsV2/12/fields", json);
}

void GitHubBoardScenario::answerItems(const std::string& json) {
    server->answer("GET /orgs/acme/projectsV2/12/items", json);
}

void GitHubBoardScenario::answerItem(int64_t id, const std::string& json) {
    server->answer(fmt::format("GET /orgs/acme/projectsV2/12/items/{}", id), json);
}

void GitHubBoardScenario::answerAccount(const Lines& organizations) {
    server->answer("GET /user/repos", "[]");
    Lines logins;
    for (const std::string& login : organizations) {
        logins.push_back(fmt::format(R"({{"login": "{}"}})", login));
        server->answer("GET /orgs/" + login + "/repos", "[]");
    }
    server->answer("GET /user/orgs", jsonList(logins));
}

void GitHubBoardScenario::answerPages(const std::string& path, const std::string& firstPage,
                                      const std::string& secondPage) {
    std::string next = "https://api.github.com" + path + "?per_page=100&after=abc";
    server->answer("GET " + next, secondPage);
    answer("GET " + path, 200, firstPage, {{"Link", "<" + next + ">; rel=\"next\""}});
}

std::vector<TaskItem> GitHubBoardScenario::tasks(std::optional<Date> updatedSince) {
    return runToEnd(backend.fetchTasks(acmeBoard, updatedSince));
}

TaskItem GitHubBoardScenario::create(const TaskDraft& draft, const std::string& projectID) {
    return runToEnd(backend.createTask(draft, projectID));
}

TaskItem GitHubBoardScenario::update(const TaskItem& task) {
    return runToEnd(backend.updateTask(task));
}

ForgeTaskBackend GitHubBoardScenario::backendBehind(std::shared_ptr<HTTPTransport> transport) const {
    return {account, "secret", std::move(transport), 1000, clock};
}

ForgeTaskBackend GitHubBoardScenario::backendAt(const std::string& baseURL) const {
    Account other = account;
    other.baseURL = URL::parse(baseURL).value();
    return {other, "secret", server, 1000, clock};
}

Lines GitHubBoardScenario::takeLog() {
    Lines lines = server->takeLog();
    for (std::string& line : lines) {
        size_t host = line.find("://") + 3;
        line.erase(line.find(' ') + 1, line.find('/', host) - line.find(' ') - 1);
    }
    return lines;
}

std::string GitHubBoardScenario::body(size_t index) const {
    return server->requests().at(index).body.value_or("");
}

std::string statusFields(const Lines& options, int64_t id) {
    Lines records;
    for (const std::string& option : options) {
        records.push_back(fmt::format(R"({{"id": "o-{0}", "name": {{"raw": "{0}", "html": "{0}"}}}})", option));
    }
    return fmt::format(R"([{{"id": {}, "name": "Status", "options": {}}}])", id, jsonList(records));
}

std::string draftItem(int64_t id, const std::string& title, const std::string& notes, const std::string& members) {
    return fmt::format(
        R"({{"id": {0}, "content_type": "DraftIssue",
            "content": {{"node_id": "DI_{0}", "title": "{1}", "body": "{2}"}}{3}{4}}})",
        id, title, notes, members.empty() ? "" : ", ", members);
}

std::string statusMember(const std::string& option, int64_t fieldID) {
    return fmt::format(
        R"("fields": [{{"id": {0}, "name": "Status", "value": {{"id": "o-{1}", "name": {{"raw": "{1}"}}}}}}])", fieldID,
        option);
}

std::string jsonList(const Lines& elements) {
    return fmt::format("[{}]", fmt::join(elements, ", "));
}

ScriptedTransport::Answer failing(int status, std::string body) {
    return {.status = status, .headers = {}, .body = std::move(body)};
}

Date date(const char* text) {
    return parseISO8601(text).value();
}

}  // namespace marlet
