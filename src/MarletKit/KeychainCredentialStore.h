#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "MarletCore/CredentialStore.h"
#include "MarletKit/KeychainItems.h"

namespace marlet {

// One token per account in the computer's keychain; each is read once and remembered.
//
// Which keychain works here shows at the first call: the data-protection keychain, or, where there is none that may be
// used, the file-based one. A token that is found only in the file-based one moves over as soon as that is possible.
// Safe from any thread: the lock is held while the keychain works, so `items` must not call back. Throws KeychainError,
// and remembers nothing then.
class KeychainCredentialStore final : public CredentialStore {
public:
    // The secrets of this computer under the name `service`; `tokenFile` is its file-based keychain.
    KeychainCredentialStore(std::string service, std::filesystem::path tokenFile);
    explicit KeychainCredentialStore(std::shared_ptr<KeychainItems> items);

    std::optional<std::string> token(const UUID& accountID) override;
    void setToken(std::optional<std::string> token, const UUID& accountID) override;

private:
    // With the lock held.
    std::optional<std::string> load(const std::string& account);
    std::optional<std::string> loadFromEither(const std::string& account);
    void migrate(const std::string& bytes, const std::string& account);
    void store(const std::optional<std::string>& bytes, const std::string& account);
    void put(const std::optional<std::string>& bytes, const std::string& account, bool legacy);

    const std::shared_ptr<KeychainItems> items;
    std::mutex lock;
    // A key without a value: the keychain was asked and holds nothing.
    std::unordered_map<UUID, std::optional<std::string>> tokens;
    // No value until the first call has told.
    std::optional<bool> usesDataProtection;
};

}  // namespace marlet
