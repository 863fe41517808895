#include "MarletCore/CredentialStore.h"

namespace marlet {

InMemoryCredentialStore::InMemoryCredentialStore(std::map<UUID, std::string> initialTokens)
    : tokens(std::move(initialTokens)) {}

std::optional<std::string> InMemoryCredentialStore::token(const UUID& accountID) {
    std::scoped_lock guard(lock);
    auto found = tokens.find(accountID);
    return found != tokens.end() ? std::optional(found->second) : std::nullopt;
}

void InMemoryCredentialStore::setToken(std::optional<std::string> token, const UUID& accountID) {
    std::scoped_lock guard(lock);
    if (token) {
        tokens.insert_or_assign(accountID, *std::move(token));
    } else {
        tokens.erase(accountID);
    }
}

}  // namespace marlet
