#pragma once

#include "TestSupport/BackendContract.h"
#include "TestSupport/FakeGitLab.h"

namespace marlet {

// GitLab, with the project "o/r".
class GitLabUnderTest final : public ServiceUnderTest {
public:
    explicit GitLabUnderTest(std::shared_ptr<VirtualClock> clock);

    FakeService& service() override { return gitLab; }
    std::shared_ptr<TaskBackend> makeBackend(int64_t itemLimit) override;
    std::string projectID() const override { return project; }
    size_t pageSize() const override { return 100; }
    size_t firstRequests() const override { return 2; }

    std::string add(const ServerTask& task) override;
    void edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) override;
    void remove(const std::string& taskID) override { gitLab.removeItem(project, taskID); }
    ServerTask read(const std::string& taskID) override;
    size_t taskCount() override { return gitLab.items(project).size(); }
    void addLabel(const std::string& name, const std::string& color) override { gitLab.addLabel(project, name, color); }
    void addComment(const std::string& taskID, const std::string& body) override;
    std::vector<std::string> comments(const std::string& taskID) override;
    void revokeToken() override { gitLab.setToken("another"); }
    void letHaveParent(const std::string& taskID) override;
    Date keptOnCreation(Date dueDate) const override;
    Date keptOnEdit(Date dueDate) const override { return keptOnCreation(dueDate); }

    FakeGitLab gitLab;

private:
    std::shared_ptr<VirtualClock> clock;
    std::string project;
};

}  // namespace marlet
