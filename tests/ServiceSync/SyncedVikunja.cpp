#include "SyncedVikunja.h"

#include "TestSupport/FakeTransport.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {
namespace {

const std::string address = "https://tasks.example";
const std::string token = "tk_secret";

}  // namespace

SyncedVikunja::SyncedVikunja(SyncPolicy chosen)
    : SyncedAccount(BackendKind::vikunja, address, chosen), vikunja([this] { return clock->now(); }, token) {
    vikunja.serveAt(address);
    auto transport = std::make_shared<FakeTransport>(vikunja);
    connect(std::make_shared<VikunjaTaskBackend>(account, token, transport, itemLimit, clock));
}

void SyncedVikunja::addProject(const std::string& name, int tasks) {
    int64_t id = projects[name] = vikunja.addProject(name);
    for (int count = 0; count < tasks; ++count) {
        vikunja.addTask(id, {.title = "Task " + std::to_string(count + 1), .description = std::string(200, 'x')});
    }
}

}  // namespace marlet
