#include "ForgeScenario.h"

namespace marlet {
namespace {

Account accountOf(BackendKind kind) {
    std::string address = kind == BackendKind::github ? "https://github.com" : "https://forge.example/";
    std::optional<UUID> id = UUID::parse("0D5AF0C1-3E0B-4B5E-9B1C-6A1B1C7B0001");
    return {*id, kind, "Forge", *URL::parse(address)};
}

}  // namespace

std::string fixture(const std::string& name) {
    return textOfFile(std::string(MARLET_FORGE_FIXTURES) + "/" + name);
}

ForgeScenario::ForgeScenario(BackendKind kind, const std::string& token, int64_t itemLimit)
    : account(accountOf(kind)), backend(account, token, server, itemLimit, clock) {}

void ForgeScenario::hideBoards() {
    server->onRequest = [](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        std::string path = request.url.components().path;
        if (path == "/user" || path.ends_with("/projectsV2")) {
            return ScriptedTransport::Answer{.status = 404};
        }
        return std::nullopt;
    };
}

std::string issueJSON(int64_t number, const std::string& more) {
    return R"({"id":)" + std::to_string(9000 + number) + R"(,"number":)" + std::to_string(number) +
           R"(,"title":"Prune","state":"open","labels":[])" + more + "}";
}

TaskItem taskWithTitle(const std::string& id, const std::string& projectID, const std::string& title) {
    TaskItem task;
    task.id = id;
    task.projectID = projectID;
    task.kind = TaskKind::issue;
    task.title = title;
    return task;
}

}  // namespace marlet
