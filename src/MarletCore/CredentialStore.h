#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "MarletBase/UUID.h"

namespace marlet {

// Where tokens live. Safe from any thread; a call may block on the platform's secret service.
class CredentialStore {
public:
    virtual ~CredentialStore() = default;

    virtual std::optional<std::string> token(const UUID& accountID) = 0;
    // No value removes the entry.
    virtual void setToken(std::optional<std::string> token, const UUID& accountID) = 0;
};

class InMemoryCredentialStore final : public CredentialStore {
public:
    explicit InMemoryCredentialStore(std::map<UUID, std::string> initialTokens = {});

    std::optional<std::string> token(const UUID& accountID) override;
    void setToken(std::optional<std::string> token, const UUID& accountID) override;

private:
    std::mutex lock;
    std::map<UUID, std::string> tokens;
};

}  // namespace marlet
