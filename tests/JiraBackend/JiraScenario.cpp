#include "JiraScenario.h"

#include "MarletBase/URL.h"

namespace marlet {
namespace {

const std::string namedFields =
    "summary,description,status,created,updated,duedate,priority,labels,assignee,fixVersions,project,issuetype,parent";

std::string rootOf(JiraKind kind) {
    return kind == JiraKind::cloud ? "https://larch.example" : "https://mill.example/jira";
}

}  // namespace

const std::string cloudFields = namedFields + ",customfield_10216,customfield_10231,customfield_10240";
const std::string serverFields = namedFields + ",customfield_10301,customfield_10306";

std::string fixture(const std::string& name) {
    return textOfFile(std::string(MARLET_JIRA_FIXTURES) + "/" + name);
}

Account jiraAccount(const std::string& address) {
    std::optional<UUID> id = UUID::parse("0D5AF0C1-3E0B-4B5E-9B1C-6A1B1C7B0004");
    return {*id, BackendKind::jira, "Jira", *URL::parse(address)};
}

JiraScenario::JiraScenario(JiraKind kind, int64_t itemLimit)
    : webRoot(rootOf(kind)),
      account(jiraAccount(webRoot)),
      backend(account, "wren@larch.example:s3cret", server, itemLimit, clock) {
    bool isCloud = kind == JiraKind::cloud;
    answer("GET /serverInfo", fixture(isCloud ? "cloud-server-info.json" : "server-server-info.json"));
    answer("GET /field", fixture(isCloud ? "cloud-fields.json" : "server-fields.json"));
    server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        bool isSearch = request.url.components().path.find("/search") != std::string::npos;
        return isSearch ? std::optional(ScriptedTransport::Answer{.body = R"({"issues":[]})"}) : std::nullopt;
    };
    runToEnd(backend.fetchTasks("1", std::nullopt));
    server->onRequest = nullptr;
    requests();
}

std::string JiraScenario::route(const std::string& below) const {
    size_t space = below.find(' ');
    return below.substr(0, space + 1) + webRoot + "/rest/api/2" + below.substr(space + 1);
}

void JiraScenario::answer(const std::string& below, std::string body, int status,
                          std::vector<std::pair<std::string, std::string>> headers) {
    BackendScenario::answer(route(below), status, std::move(body), std::move(headers));
}

Lines JiraScenario::requests() {
    Lines lines;
    for (const std::string& line : server->takeLog()) {
        std::string text = percentDecoded(line);
        size_t root = text.find(webRoot + "/rest/api/2");
        lines.push_back(root == std::string::npos ? text : text.erase(root, webRoot.size() + 11));
    }
    return lines;
}

Lines JiraScenario::bodies() const {
    Lines bodies;
    for (const URLRequest& request : server->requests()) {
        if (request.body) {
            bodies.push_back(*request.body);
        }
    }
    return bodies;
}

std::string issueJSON(const std::string& key, const std::string& fields) {
    return R"({"id":"1","key":")" + key + R"(","fields":{)" + fields + "}}";
}

TaskItem task(const std::string& key, const std::string& title) {
    TaskItem item;
    item.id = key;
    item.projectID = "10301";
    item.kind = TaskKind::issue;
    item.title = title;
    return item;
}

}  // namespace marlet
