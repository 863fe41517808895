#pragma once

#include <string>

#include "SyncedAccount.h"
#include "TestSupport/FakeGitLab.h"

namespace marlet {

// An account on a fake GitLab.
class SyncedGitLab : public SyncedAccount {
public:
    explicit SyncedGitLab(SyncPolicy policy = {});
    ~SyncedGitLab() override { disconnect(); }

    FakeService& service() override { return gitLab; }
    // Every fifth task is a merge request.
    void addProject(const std::string& name, int tasks) override;

    FakeGitLab gitLab;
};

}  // namespace marlet
