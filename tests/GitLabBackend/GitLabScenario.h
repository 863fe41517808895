#pragma once

#include <string>
#include <vector>

#include "GitLabBackend/GitLabTaskBackend.h"
#include "TestSupport/BackendScenario.h"

namespace marlet {

// The text of a file in fixtures/: an answer in the shape of the real service.
std::string fixture(const std::string& name);

// A backend whose server is the test's, with project 31.
struct GitLabScenario : BackendScenario {
    explicit GitLabScenario(int64_t itemLimit = 1000, const std::string& address = "https://gitlab.example/");

    // The two lists of project 31.
    void answerLists(const std::string& issues, const std::string& mergeRequests = "[]");
    // What GraphQL says next.
    void answerGraphQL(const std::string& body);
    // An item as it is read before an edit and as the edit answers it.
    void answerItem(const std::string& pathOfItem, const std::string& read, const std::string& written);

    std::vector<TaskItem> fetchTasks(std::optional<Date> updatedSince = std::nullopt);
    TaskItem update(const TaskItem& task);

    Account account;
    GitLabTaskBackend backend;
};

// "https://gitlab.example/api/v4/projects/31", and where GraphQL is.
extern const std::string projectAddress;
extern const std::string graphQLAddress;

// The body of a hierarchy query for these numbers in project 31, such as `"13","12"`.
std::string hierarchyBody(const std::string& numbers);
// A node of its answer: with the number of its parent, if any.
std::string workItem(const std::string& number, const std::string& parent = "");
std::string workItems(const std::string& nodes);

// The least that the service sends of an item, and `more` members behind.
std::string issueJSON(int64_t iid, const std::string& more = "");
std::string taskJSON(int64_t iid);

TaskItem taskWithTitle(const std::string& id, const std::string& title = "Dredge");

}  // namespace marlet
