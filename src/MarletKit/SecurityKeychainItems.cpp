#include "MarletKit/SecurityKeychainItems.h"

#include "MarletKit/KeychainError.h"

namespace marlet {
namespace {

constexpr const char* label = "Marlet account token";

void require(bool isFine, int32_t status) {
    if (!isFine) {
        throw KeychainError(status);
    }
}

}  // namespace

SecurityKeychainItems::SecurityKeychainItems(std::string service, std::shared_ptr<PasswordItems> passwords)
    : service(std::move(service)), passwords(std::move(passwords)) {}

PasswordQuery SecurityKeychainItems::query(const std::string& account, bool legacy) const {
    return {service, account, !legacy};
}

std::optional<std::string> SecurityKeychainItems::read(const std::string& account, bool legacy) {
    std::optional<std::string> data;
    int32_t status = passwords->copyMatching(query(account, legacy), data);
    if (status == keychainItemNotFound) {
        return std::nullopt;
    }
    require(status == keychainDone, status);
    return data;
}

void SecurityKeychainItems::write(const std::string& data, const std::string& account, bool legacy) {
    int32_t status = passwords->update(query(account, legacy), data);
    if (status == keychainItemNotFound) {
        status = passwords->add(query(account, legacy), data, label);
    }
    require(status == keychainDone, status);
}

void SecurityKeychainItems::remove(const std::string& account, bool legacy) {
    int32_t status = passwords->remove(query(account, legacy));
    require(status == keychainDone || status == keychainItemNotFound, status);
}

}  // namespace marlet
