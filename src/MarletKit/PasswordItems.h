#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace marlet {

// Which generic password is meant, and in which keychain.
struct PasswordQuery {
    std::string service;
    std::string account;
    bool usesDataProtectionKeychain = true;

    bool operator==(const PasswordQuery&) const = default;
};

// The four primitive operations on the generic passwords of a system. Production: PlatformPasswordItems.
//
// They answer with a KeychainStatus. Where that would say too little, they throw a KeychainError of their own. Safe
// from any thread; calls block, but never to wait for a person.
class PasswordItems {
public:
    virtual ~PasswordItems() = default;

    // `data` stays without a value when the item holds no bytes.
    virtual int32_t copyMatching(const PasswordQuery& query, std::optional<std::string>& data) = 0;
    // The label is set here and never changed by an update. An item that came meanwhile may be replaced.
    virtual int32_t add(const PasswordQuery& query, const std::string& data, const std::string& label) = 0;
    virtual int32_t update(const PasswordQuery& query, const std::string& data) = 0;
    virtual int32_t remove(const PasswordQuery& query) = 0;
};

}  // namespace marlet
