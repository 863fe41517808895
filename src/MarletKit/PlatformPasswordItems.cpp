#include "MarletKit/PlatformPasswordItems.h"

namespace marlet {

PlatformPasswordItems::PlatformPasswordItems(std::filesystem::path tokenFile, SecretServiceOptions options)
    : secretService(std::move(options)), file(std::move(tokenFile)) {}

PasswordItems& PlatformPasswordItems::keychain(const PasswordQuery& query) {
    return query.usesDataProtectionKeychain ? static_cast<PasswordItems&>(secretService) : file;
}

int32_t PlatformPasswordItems::copyMatching(const PasswordQuery& query, std::optional<std::string>& data) {
    return keychain(query).copyMatching(query, data);
}

int32_t PlatformPasswordItems::add(const PasswordQuery& query, const std::string& data, const std::string& label) {
    return keychain(query).add(query, data, label);
}

int32_t PlatformPasswordItems::update(const PasswordQuery& query, const std::string& data) {
    return keychain(query).update(query, data);
}

int32_t PlatformPasswordItems::remove(const PasswordQuery& query) {
    return keychain(query).remove(query);
}

}  // namespace marlet
