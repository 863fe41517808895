#pragma once

#include "TestSupport/BackendContract.h"
#include "TestSupport/FakeForge.h"

namespace marlet {

// GitHub and Forgejo, with the repository "o/r".
class ForgeUnderTest final : public ServiceUnderTest {
public:
    ForgeUnderTest(FakeForgeKind kind, std::shared_ptr<VirtualClock> clock);

    FakeService& service() override { return forge; }
    std::shared_ptr<TaskBackend> makeBackend(int64_t itemLimit) override;
    std::string projectID() const override { return "o/r"; }
    size_t pageSize() const override { return kind == FakeForgeKind::github ? 100 : 50; }

    std::string add(const ServerTask& task) override;
    void edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) override;
    void remove(const std::string& taskID) override;
    ServerTask read(const std::string& taskID) override;
    size_t taskCount() override { return forge.issues("o/r").size(); }
    void addLabel(const std::string& name, const std::string& color) override { forge.addLabel("o/r", name, color); }
    void addComment(const std::string& taskID, const std::string& body) override;
    std::vector<std::string> comments(const std::string& taskID) override;
    void revokeToken() override { forge.setToken("another"); }
    Date keptOnEdit(Date dueDate) const override;

    FakeForge forge;

private:
    FakeForgeKind kind;
    std::shared_ptr<VirtualClock> clock;
};

}  // namespace marlet
