#pragma once

#include "TestSupport/BackendContract.h"
#include "TestSupport/FakeVikunja.h"

namespace marlet {

// Vikunja, with one project.
class VikunjaUnderTest final : public ServiceUnderTest {
public:
    explicit VikunjaUnderTest(std::shared_ptr<VirtualClock> clock);

    FakeService& service() override { return vikunja; }
    std::shared_ptr<TaskBackend> makeBackend(int64_t itemLimit) override;
    std::string projectID() const override { return std::to_string(project); }
    size_t pageSize() const override { return 50; }

    std::string add(const ServerTask& task) override;
    void edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) override;
    void remove(const std::string& taskID) override { vikunja.removeTask(std::stoll(taskID)); }
    ServerTask read(const std::string& taskID) override;
    size_t taskCount() override { return vikunja.tasks(project).size(); }
    void addLabel(const std::string& name, const std::string& color) override { vikunja.addLabel(name, color); }
    void addComment(const std::string& taskID, const std::string& body) override;
    std::vector<std::string> comments(const std::string& taskID) override;
    void revokeToken() override { vikunja.setToken("another"); }

private:
    FakeVikunja vikunja;
    int64_t project;
    std::shared_ptr<VirtualClock> clock;
};

}  // namespace marlet
