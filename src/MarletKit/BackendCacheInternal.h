#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "MarletCore/Account.h"
#include "MarletKit/BackendFactory.h"

namespace marlet {

// One backend per account, kept for as long as its account and token stay as they are, and with it the answers that it
// remembers. Safe from any thread. An account that was removed leaves its entry, which is never asked for again.
class BackendCache {
public:
    explicit BackendCache(BackendFactory factory);
    BackendCache(const BackendCache&) = delete;
    BackendCache& operator=(const BackendCache&) = delete;

    std::shared_ptr<TaskBackend> backend(const Account& account, const std::string& token);

private:
    struct Entry {
        Account account;
        std::string token;
        std::shared_ptr<TaskBackend> backend;
    };

    const BackendFactory factory;
    std::mutex lock;
    std::unordered_map<UUID, Entry> entries;
};

}  // namespace marlet
