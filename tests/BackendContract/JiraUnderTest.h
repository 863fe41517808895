#pragma once

#include "TestSupport/BackendContract.h"
#include "TestSupport/FakeJira.h"

namespace marlet {

// Jira in one of its deployments, with one project.
class JiraUnderTest final : public ServiceUnderTest {
public:
    JiraUnderTest(FakeJiraKind kind, std::shared_ptr<VirtualClock> clock);

    FakeService& service() override { return jira; }
    std::shared_ptr<TaskBackend> makeBackend(int64_t itemLimit) override;
    std::string projectID() const override { return project; }
    size_t pageSize() const override { return 100; }
    // The deployment and the fields come first.
    size_t firstRequests() const override { return 3; }
    // Ten minutes, and what is left of the last one.
    double margin() const override { return 660; }
    std::string kept(const std::string& markup) const override;
    std::string strangeLabel() const override { return "größe:大"; }
    std::string titleIn(const boost::json::value& raw) const override;

    std::string add(const ServerTask& task) override;
    void edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) override;
    void remove(const std::string& taskID) override { jira.removeIssue(taskID); }
    ServerTask read(const std::string& taskID) override;
    size_t taskCount() override { return jira.issues(project).size(); }
    // Labels are words that nobody has to make.
    void addLabel(const std::string&, const std::string&) override {}
    void addComment(const std::string& taskID, const std::string& body) override;
    std::vector<std::string> comments(const std::string& taskID) override;
    void revokeToken() override { jira.setToken("another"); }
    void letHaveChildren(const std::string& taskID) override;
    Date keptOnCreation(Date dueDate) const override;
    Date keptOnEdit(Date dueDate) const override { return keptOnCreation(dueDate); }

    FakeJira jira;

private:
    FakeJiraKind kind;
    std::shared_ptr<VirtualClock> clock;
    std::string project;
};

}  // namespace marlet
