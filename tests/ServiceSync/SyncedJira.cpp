#include "SyncedJira.h"

#include "JiraBackend/JiraTaskBackend.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

const std::string address = "https://jira.example";
const std::string token = "ada@jira.example:secret";

}  // namespace

SyncedJira::SyncedJira(FakeJiraKind kind, SyncPolicy chosen)
    : SyncedAccount(BackendKind::jira, address, chosen),
      jira(
          kind, [this] { return clock->now(); }, token) {
    jira.serveAt(address);
    auto transport = std::make_shared<FakeTransport>(jira);
    connect(std::make_shared<JiraTaskBackend>(account, token, transport, itemLimit, clock));
}

void SyncedJira::addProject(const std::string& name, int tasks) {
    std::string key = "P" + std::to_string(projects.size() + 1);
    const std::string& id = projects[name] = jira.addProject(key, name);
    for (int number = 1; number <= tasks; ++number) {
        jira.addIssue(id, {.summary = "Task " + std::to_string(number), .description = std::string(200, 'x')});
    }
}

}  // namespace marlet
