#pragma once

#include <gmock/gmock.h>

#include <string>

#include "TestSupport/BackendScenario.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {

// The text of a file in fixtures/: an answer in the shape of the real service.
std::string fixture(const std::string& name);

inline const std::string api = "https://tasks.example/api/v1/";

// A backend whose server is the test's.
struct Vikunja : BackendScenario {
    explicit Vikunja(const std::string& address = "https://tasks.example", int64_t itemLimit = 1000);

    Account account;
    VikunjaTaskBackend backend;
};

// One task of project 7, as short as the service could send it, and `more` members behind.
std::string taskJSON(int64_t id, const std::string& more = "");
// So many tasks, all changed at this date.
std::string tasksJSON(int count, const std::string& updated);

TaskItem taskWithTitle(const std::string& id, const std::string& title = "Prune");

}  // namespace marlet
