#pragma once

#include <map>
#include <string>

#include "SyncedAccount.h"
#include "TestSupport/FakeJira.h"

namespace marlet {

// An account on a fake Jira.
class SyncedJira : public SyncedAccount {
public:
    explicit SyncedJira(FakeJiraKind kind, SyncPolicy policy = {});
    ~SyncedJira() override { disconnect(); }

    FakeService& service() override { return jira; }
    void addProject(const std::string& name, int tasks) override;
    const std::string& projectID(const std::string& name) const { return projects.at(name); }

    FakeJira jira;

private:
    std::map<std::string, std::string> projects;
};

}  // namespace marlet
