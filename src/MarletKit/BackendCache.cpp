#include "MarletKit/BackendCacheInternal.h"

namespace marlet {

BackendCache::BackendCache(BackendFactory factory) : factory(std::move(factory)) {}

std::shared_ptr<TaskBackend> BackendCache::backend(const Account& account, const std::string& token) {
    // The factory runs with the lock held: two callers never make two backends for one account.
    std::lock_guard held(lock);
    auto found = entries.find(account.id);
    if (found != entries.end() && found->second.account == account && found->second.token == token) {
        return found->second.backend;
    }
    std::shared_ptr<TaskBackend> made = factory(account, token);
    entries.insert_or_assign(account.id, Entry{account, token, made});
    return made;
}

}  // namespace marlet
