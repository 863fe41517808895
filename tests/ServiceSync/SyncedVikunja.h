#pragma once

#include <map>
#include <string>

#include "SyncedAccount.h"
#include "TestSupport/FakeVikunja.h"

namespace marlet {

// An account on a fake Vikunja.
class SyncedVikunja : public SyncedAccount {
public:
    explicit SyncedVikunja(SyncPolicy policy = {});
    ~SyncedVikunja() override { disconnect(); }

    FakeService& service() override { return vikunja; }
    void addProject(const std::string& name, int tasks) override;
    std::string projectID(const std::string& name) const { return std::to_string(projects.at(name)); }

    FakeVikunja vikunja;
    std::map<std::string, int64_t> projects;  // ids by name
};

}  // namespace marlet
