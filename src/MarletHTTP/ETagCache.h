#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "MarletHTTP/HTTPResponse.h"

namespace marlet {

// The answers that can be asked for again by their entity tag, by the whole URL. Safe from any thread. Lives as long as
// its client; an entry is only ever replaced by a newer one.
class ETagCache {
public:
    struct Entry {
        std::string etag;  // as the server wrote it, a weak one with its "W/"
        HTTPResponse response;
    };

    // Null if there is none. It stays as it is while the caller holds it.
    std::shared_ptr<const Entry> entry(const URL& url) const;
    void store(Entry entry, const URL& url);

private:
    mutable std::mutex lock;
    std::unordered_map<URL, std::shared_ptr<const Entry>> entries;
};

}  // namespace marlet
