#pragma once

#include <string>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "TestSupport/BackendScenario.h"

namespace marlet {

// The text of a file in fixtures/: an answer in the shape of the real services.
std::string fixture(const std::string& name);

// A backend whose server is the test's.
struct ForgeScenario : BackendScenario {
    explicit ForgeScenario(BackendKind kind, const std::string& token = "ghp_k3y", int64_t itemLimit = 1000);

    // GitHub without any board: neither the viewer's nor an organisation's can be read.
    void hideBoards();

    Account account;
    ForgeTaskBackend backend;
};

struct GitHub : ForgeScenario {
    explicit GitHub(const std::string& token = "ghp_k3y", int64_t itemLimit = 1000)
        : ForgeScenario(BackendKind::github, token, itemLimit) {}
};

struct Forgejo : ForgeScenario {
    explicit Forgejo(const std::string& token = "k3y", int64_t itemLimit = 1000)
        : ForgeScenario(BackendKind::forgejo, token, itemLimit) {}
};

// A one-issue answer: what every service sends at the least, and `more` members behind.
std::string issueJSON(int64_t number, const std::string& more = "");

TaskItem taskWithTitle(const std::string& id, const std::string& projectID, const std::string& title = "Prune");

}  // namespace marlet
