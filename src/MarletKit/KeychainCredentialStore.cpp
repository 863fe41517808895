#include "MarletKit/KeychainCredentialStore.h"

#include "MarletBase/Text.h"
#include "MarletKit/KeychainError.h"
#include "MarletKit/PlatformPasswordItems.h"
#include "MarletKit/SecurityKeychainItems.h"

namespace marlet {

KeychainCredentialStore::KeychainCredentialStore(std::string service, std::filesystem::path tokenFile)
    : KeychainCredentialStore(std::make_shared<SecurityKeychainItems>(
          std::move(service), std::make_shared<PlatformPasswordItems>(std::move(tokenFile)))) {}

KeychainCredentialStore::KeychainCredentialStore(std::shared_ptr<KeychainItems> items) : items(std::move(items)) {}

std::optional<std::string> KeychainCredentialStore::token(const UUID& accountID) {
    std::scoped_lock held(lock);
    auto known = tokens.find(accountID);
    if (known == tokens.end()) {
        std::optional<std::string> bytes = load(accountID.text());
        std::optional<std::string> text = bytes ? std::optional(repairedUTF8(*bytes)) : std::nullopt;
        known = tokens.emplace(accountID, std::move(text)).first;
    }
    return known->second;
}

void KeychainCredentialStore::setToken(std::optional<std::string> token, const UUID& accountID) {
    std::scoped_lock held(lock);
    tokens.erase(accountID);
    store(token, accountID.text());
    tokens.emplace(accountID, std::move(token));
}

std::optional<std::string> KeychainCredentialStore::load(const std::string& account) {
    if (usesDataProtection != false) {
        try {
            return loadFromEither(account);
        } catch (const KeychainError& error) {
            if (error.status != keychainUnavailable) {
                throw;
            }
            usesDataProtection = false;
        }
    }
    return items->read(account, true);
}

std::optional<std::string> KeychainCredentialStore::loadFromEither(const std::string& account) {
    std::optional<std::string> bytes = items->read(account, false);
    usesDataProtection = true;
    if (!bytes) {
        bytes = items->read(account, true);
        if (bytes) {
            migrate(*bytes, account);
        }
    }
    return bytes;
}

void KeychainCredentialStore::migrate(const std::string& bytes, const std::string& account) {
    try {
        items->write(bytes, account, false);
        items->remove(account, true);
    } catch (const std::exception&) {
        // The token stays where it was, and it is known all the same.
    }
}

void KeychainCredentialStore::store(const std::optional<std::string>& bytes, const std::string& account) {
    if (usesDataProtection != false) {
        try {
            put(bytes, account, false);
            usesDataProtection = true;
        } catch (const KeychainError& error) {
            if (error.status != keychainUnavailable) {
                throw;
            }
            usesDataProtection = false;
        }
    }
    if (usesDataProtection == false) {
        put(bytes, account, true);
        return;
    }
    try {
        items->remove(account, true);
    } catch (const std::exception&) {
        // That copy isn't asked for while the other keychain has the token.
    }
}

void KeychainCredentialStore::put(const std::optional<std::string>& bytes, const std::string& account, bool legacy) {
    if (bytes) {
        items->write(*bytes, account, legacy);
    } else {
        items->remove(account, legacy);
    }
}

}  // namespace marlet
