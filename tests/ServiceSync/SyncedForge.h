#pragma once

#include <string>

#include "SyncedAccount.h"
#include "TestSupport/FakeForge.h"

namespace marlet {

// An account on a fake GitHub or Forgejo.
class SyncedForge : public SyncedAccount {
public:
    SyncedForge(FakeForgeKind kind, const std::string& token, SyncPolicy policy = {});
    ~SyncedForge() override { disconnect(); }

    FakeService& service() override { return forge; }
    void addProject(const std::string& name, int tasks) override;

    FakeForge forge;
};

}  // namespace marlet
