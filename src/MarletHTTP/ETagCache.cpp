#include "MarletHTTP/ETagCache.h"

namespace marlet {

std::shared_ptr<const ETagCache::Entry> ETagCache::entry(const URL& url) const {
    std::lock_guard guard(lock);
    auto found = entries.find(url);
    return found != entries.end() ? found->second : nullptr;
}

void ETagCache::store(Entry entry, const URL& url) {
    auto stored = std::make_shared<const Entry>(std::move(entry));
    std::lock_guard guard(lock);
    entries[url].swap(stored);
}

}  // namespace marlet
