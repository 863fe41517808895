#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeService.h"
#include "TestSupport/FakeVikunjaState.h"

namespace marlet {

// Vikunja in memory: projects, tasks with labels, relations and comments, notifications. See FakeService for the log,
// failures and violations.
class FakeVikunja final : public FakeService {
public:
    FakeVikunja(TimeSource now, std::string token);

    // What the test does is done by another user. Throws std::out_of_range for a project or task that isn't there.
    int64_t addProject(const std::string& title, bool isArchived = false);
    void addLabel(const std::string& title, const std::string& color);
    int64_t addTask(int64_t project, FakeVikunjaTask task);
    void editTask(int64_t id, const std::function<void(FakeVikunjaTask& task)>& change);
    // These two make notifications.
    void addComment(int64_t task, const std::string& body);
    void removeTask(int64_t id);
    // A notification of this name about a task; of other things where the name says so.
    void notify(const std::string& name, int64_t task);

    // Copies of what stands.
    FakeVikunjaTask task(int64_t id);
    std::vector<FakeVikunjaTask> tasks(int64_t project);  // by id
    std::vector<FakeLabel> labels();

    void setToken(std::string accepted);

protected:
    std::optional<std::string> target(const std::string& url) const override;
    std::optional<FakeAnswer> refuse(const FakeRequest& request) override;
    FakeAnswer refusal(int status, const std::string& message) const override;

private:
    FakeAnswer listOf(const FakeCall& call, size_t total, const std::function<boost::json::value(size_t)>& element);
    // The route of one task, which is the first star of the pattern.
    void addTaskRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                      std::vector<FakeBodyKey> body,
                      std::function<FakeAnswer(const FakeCall& call, FakeVikunjaTask& task)> answer);
    void addListRoutes();
    void addTaskRoutes();
    void addLabelRoutes();
    void addRelationRoutes();

    FakeAnswer listTasks(const FakeCall& call);
    FakeAnswer createTask(const FakeCall& call);
    FakeAnswer replaceTask(const FakeCall& call, FakeVikunjaTask& task);
    FakeAnswer setLabels(const FakeCall& call, FakeVikunjaTask& task);
    FakeAnswer addRelation(const FakeCall& call, FakeVikunjaTask& task);
    FakeAnswer removeRelation(const FakeCall& call, FakeVikunjaTask& task);

    FakeVikunjaState state;
    std::string token;
};

}  // namespace marlet
