#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "MarletKit/PasswordItems.h"

namespace marlet {

class SecretServiceConversation;

struct SecretServiceOptions {
    // The session bus; the environment's own if absent.
    std::optional<std::string> busAddress = {};
    // How long one operation may take, whatever hangs.
    std::chrono::milliseconds patience = std::chrono::seconds(10);
};

// The session bus that the environment names. Never one that would have to be started first. No value without one.
std::optional<std::string> sessionBusAddress();

// The desktop's Secret Service. Each operation is a conversation of its own over a new connection: operations are rare,
// and nothing that a service or a bus leaves behind when it dies can be in the way of the next one.
//
// Nobody is ever asked: what would need a prompt answers keychainLocked at once. keychainUnavailable means that no
// service was ever reached by this object; one that was there before and is gone answers keychainGone.
class SecretServicePasswordItems final : public PasswordItems {
public:
    explicit SecretServicePasswordItems(SecretServiceOptions options = {});

    int32_t copyMatching(const PasswordQuery& query, std::optional<std::string>& data) override;
    int32_t add(const PasswordQuery& query, const std::string& data, const std::string& label) override;
    int32_t update(const PasswordQuery& query, const std::string& data) override;
    int32_t remove(const PasswordQuery& query) override;

private:
    int32_t converse(const std::function<int32_t(SecretServiceConversation&)>& operation);

    const SecretServiceOptions options;
    std::atomic<bool> wasReached = false;
};

}  // namespace marlet
