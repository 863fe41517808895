#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "JiraBackend/JiraTaskBackend.h"
#include "TestSupport/BackendScenario.h"

namespace marlet {

// The text of a file in fixtures/: an answer in the shape of the real service.
std::string fixture(const std::string& name);

enum class JiraKind { cloud, server };

// A backend whose server is the test's. The server has told its deployment and its fields when the test begins, so
// that the log holds only what the test does.
struct JiraScenario : BackendScenario {
    explicit JiraScenario(JiraKind kind, int64_t itemLimit = 1000);

    // "GET /search/jql" with the REST root in it.
    std::string route(const std::string& below) const;
    // Below the REST root, too.
    void answer(const std::string& route, std::string body, int status = 200,
                std::vector<std::pair<std::string, std::string>> headers = {});
    // What was asked since the last time, below the REST root and with the query decoded.
    Lines requests();
    // The bodies of all writes that hold one.
    Lines bodies() const;

    std::string webRoot;
    Account account;
    JiraTaskBackend backend;
};

struct Cloud : JiraScenario {
    explicit Cloud(int64_t itemLimit = 1000) : JiraScenario(JiraKind::cloud, itemLimit) {}
};

struct Server : JiraScenario {
    explicit Server(int64_t itemLimit = 1000) : JiraScenario(JiraKind::server, itemLimit) {}
};

Account jiraAccount(const std::string& address);

// All that a search asks an issue for, in these two scenarios.
extern const std::string cloudFields;
extern const std::string serverFields;

// {"id":"1","key":"ORCH-1","fields":{…}}
std::string issueJSON(const std::string& key, const std::string& fields = "");
TaskItem task(const std::string& key, const std::string& title = "Prune");

}  // namespace marlet
