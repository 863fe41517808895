#pragma once

#include <boost/asio/thread_pool.hpp>
#include <memory>
#include <optional>
#include <string>

#include "MarletBase/Async.h"
#include "MarletCore/CredentialStore.h"

namespace marlet {

// The credential store for callers that mustn't block: one call at a time, in order, on a thread of its own.
// Destroy it only when no call is under way any more.
class CredentialQueue {
public:
    explicit CredentialQueue(std::shared_ptr<CredentialStore> credentials);
    CredentialQueue(const CredentialQueue&) = delete;
    CredentialQueue& operator=(const CredentialQueue&) = delete;
    ~CredentialQueue();

    Async<std::optional<std::string>> token(UUID accountID);
    Async<void> setToken(std::optional<std::string> token, UUID accountID);

private:
    std::shared_ptr<CredentialStore> credentials;
    boost::asio::thread_pool thread;
    Strand strand;
};

}  // namespace marlet
