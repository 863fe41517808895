#include "SyncedForge.h"

#include "ForgeBackend/ForgeTaskBackend.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

const std::string address = "https://forge.example";

}  // namespace

SyncedForge::SyncedForge(FakeForgeKind kind, const std::string& token, SyncPolicy chosen)
    : SyncedAccount(kind == FakeForgeKind::github ? BackendKind::github : BackendKind::forgejo, address, chosen),
      forge(
          kind, [this] { return clock->now(); }, token) {
    forge.serveAt(address);
    auto transport = std::make_shared<FakeTransport>(forge);
    connect(std::make_shared<ForgeTaskBackend>(account, token, transport, itemLimit, clock));
}

void SyncedForge::addProject(const std::string& name, int tasks) {
    forge.addRepository(name);
    for (int count = 0; count < tasks; ++count) {
        forge.addIssue(name, {.title = "Task " + std::to_string(count + 1), .body = std::string(200, 'x')});
    }
}

}  // namespace marlet
