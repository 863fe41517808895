#include "SyncedGitLab.h"

#include "GitLabBackend/GitLabTaskBackend.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

const std::string address = "https://gitlab.example";
const std::string token = "glpat-secret";

}  // namespace

SyncedGitLab::SyncedGitLab(SyncPolicy chosen)
    : SyncedAccount(BackendKind::gitlab, address, chosen), gitLab([this] { return clock->now(); }, token) {
    gitLab.serveAt(address);
    auto transport = std::make_shared<FakeTransport>(gitLab);
    connect(std::make_shared<GitLabTaskBackend>(account, token, transport, itemLimit, clock));
}

void SyncedGitLab::addProject(const std::string& name, int tasks) {
    std::string project = gitLab.addProject(name);
    for (int number = 1; number <= tasks; ++number) {
        FakeGitLabItem item{.title = "Task " + std::to_string(number), .body = std::string(200, 'x')};
        item.isMergeRequest = number % 5 == 0;
        gitLab.addItem(project, std::move(item));
    }
}

}  // namespace marlet
