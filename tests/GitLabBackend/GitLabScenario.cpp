#include "GitLabScenario.h"

namespace marlet {

const std::string projectAddress = "https://gitlab.example/api/v4/projects/31";
const std::string graphQLAddress = "https://gitlab.example/api/graphql";

std::string fixture(const std::string& name) {
    return textOfFile(std::string(MARLET_GITLAB_FIXTURES) + "/" + name);
}

GitLabScenario::GitLabScenario(int64_t itemLimit, const std::string& address)
    : account{*UUID::parse("0D5AF0C1-3E0B-4B5E-9B1C-6A1B1C7B0001"), BackendKind::gitlab, "GitLab",
              *URL::parse(address)},
      backend(account, "glpat-k3y", server, itemLimit, clock) {}

void GitLabScenario::answerLists(const std::string& issues, const std::string& mergeRequests) {
    answer("GET /api/v4/projects/31/issues", 200, issues);
    answer("GET /api/v4/projects/31/merge_requests", 200, mergeRequests);
}

void GitLabScenario::answerGraphQL(const std::string& body) {
    answer("POST /api/graphql", 200, body);
}

void GitLabScenario::answerItem(const std::string& pathOfItem, const std::string& read, const std::string& written) {
    answer("GET /api/v4/projects/31/" + pathOfItem, 200, read);
    answer("PUT /api/v4/projects/31/" + pathOfItem, 200, written);
}

std::vector<TaskItem> GitLabScenario::fetchTasks(std::optional<Date> updatedSince) {
    return runToEnd(backend.fetchTasks("31", updatedSince));
}

TaskItem GitLabScenario::update(const TaskItem& task) {
    return runToEnd(backend.updateTask(task));
}

std::string hierarchyBody(const std::string& numbers) {
    return R"({"query":"query($ids: [ID!], $iids: [String!]) { projects(ids: $ids) { nodes { workItems(iids: $iids) )"
           R"({ nodes { id iid widgets { ... on WorkItemWidgetHierarchy { parent { id iid title } } } } } } } }",)"
           R"("variables":{"ids":["gid://gitlab/Project/31"],"iids":[)" +
           numbers + "]}}";
}

std::string workItem(const std::string& number, const std::string& parent) {
    std::string hierarchy = parent.empty() ? R"({"parent":null})"
                                           : R"({"parent":{"id":"gid://gitlab/WorkItem/10)" + parent + R"(","iid":")" +
                                                 parent + R"(","title":"Parent )" + parent + R"("}})";
    return R"({"id":"gid://gitlab/WorkItem/10)" + number + R"(","iid":")" + number + R"(","widgets":[{},)" + hierarchy +
           ",{}]}";
}

std::string workItems(const std::string& nodes) {
    return R"({"data":{"projects":{"nodes":[{"workItems":{"nodes":[)" + nodes + "]}}]}}}";
}

std::string issueJSON(int64_t iid, const std::string& more) {
    return R"({"id":)" + std::to_string(9000 + iid) + R"(,"iid":)" + std::to_string(iid) +
           R"(,"title":"Dredge","state":"opened","labels":[])" + more + "}";
}

std::string taskJSON(int64_t iid) {
    return issueJSON(iid, R"(,"issue_type":"task")");
}

TaskItem taskWithTitle(const std::string& id, const std::string& title) {
    TaskItem task;
    task.id = id;
    task.projectID = "31";
    task.kind = id.starts_with('!') ? TaskKind::pullRequest : TaskKind::issue;
    task.title = title;
    return task;
}

}  // namespace marlet
