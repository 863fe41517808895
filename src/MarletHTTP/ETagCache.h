#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "MarletHTTP/HTTPResponse.h"

namespace marlet {

// The answers that can be asked for again by their entity tag. Safe from any thread. Lives as long as its client;
// an entry is only ever replaced by a newer one.
class ETagCache {
public:
    struct Entry {
        std::string etag;  // as the server wrote it, a weak one with its "W/"
        HTTPResponse response;
    };

    std::optional<Entry> entry(const URL& url) const;
    void store(Entry entry, const URL& url);

private:
    mutable std::mutex lock;
    std::unordered_map<URL, Entry> entries;
};

}  // namespace marlet
