#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "MarletCore/BackendError.h"
#include "TestSupport/ScriptedTransport.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

using Lines = std::vector<std::string>;

// The text of a file in fixtures/: an answer in the shape of the real services.
std::string fixture(const std::string& name);

// A backend whose server is the test's.
struct ForgeScenario {
    explicit ForgeScenario(BackendKind kind, const std::string& token = "ghp_k3y", int64_t itemLimit = 1000);

    // GitHub without any board: neither the viewer's nor an organisation's can be read.
    void hideBoards();
    void answer(const std::string& route, int status, std::string body,
                std::vector<std::pair<std::string, std::string>> headers = {});

    // The body of the last request.
    std::string lastBody() const { return server->lastRequest().body.value_or("(none)"); }
    std::string lastHeader(const std::string& name) const;

    Account account;
    std::shared_ptr<ScriptedTransport> server = std::make_shared<ScriptedTransport>();
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
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

// What the operation throws. It fails the test when it throws nothing, or another kind of error.
template <class T>
std::optional<BackendError> errorOf(Async<T> operation) {
    try {
        runToEnd(std::move(operation));
    } catch (const BackendError& error) {
        return error;
    } catch (const std::exception& error) {
        ADD_FAILURE() << "Threw something else: " << error.what();
        return std::nullopt;
    }
    ADD_FAILURE() << "Threw nothing.";
    return std::nullopt;
}

// A one-issue answer: what every service sends at the least, and `more` members behind.
std::string issueJSON(int64_t number, const std::string& more = "");

TaskItem taskWithTitle(const std::string& id, const std::string& projectID, const std::string& title = "Prune");

}  // namespace marlet
