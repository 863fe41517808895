#pragma once

#include <optional>
#include <string>

namespace marlet {

// The items of one service in the two keychains of a computer. Production: SecurityKeychainItems.
//
// `account` is the account's id in upper case. `legacy` chooses the keychain: false the data-protection keychain, true
// the file-based one. Throws KeychainError; an item that isn't there is none. Calls block.
class KeychainItems {
public:
    virtual ~KeychainItems() = default;

    virtual std::optional<std::string> read(const std::string& account, bool legacy) = 0;
    virtual void write(const std::string& data, const std::string& account, bool legacy) = 0;
    virtual void remove(const std::string& account, bool legacy) = 0;
};

}  // namespace marlet
