#pragma once

#include <memory>

#include "MarletKit/KeychainItems.h"
#include "MarletKit/PasswordItems.h"

namespace marlet {

// Items as the generic passwords of one service.
class SecurityKeychainItems final : public KeychainItems {
public:
    // All items are filed under the name `service`.
    SecurityKeychainItems(std::string service, std::shared_ptr<PasswordItems> passwords);

    std::optional<std::string> read(const std::string& account, bool legacy) override;
    void write(const std::string& data, const std::string& account, bool legacy) override;
    void remove(const std::string& account, bool legacy) override;

private:
    PasswordQuery query(const std::string& account, bool legacy) const;

    std::string service;
    std::shared_ptr<PasswordItems> passwords;
};

}  // namespace marlet
