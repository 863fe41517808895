#pragma once

#include <mutex>
#include <optional>

namespace marlet {

// A fact about a server that is found out once and never changes. Safe from any thread. Two that miss it at the same
// time both find it out, with the same result.
template <class Fact>
class JiraFactCache {
public:
    std::optional<Fact> fact() const {
        std::lock_guard<std::mutex> guard(lock);
        return stored;
    }

    void store(Fact found) {
        std::lock_guard<std::mutex> guard(lock);
        stored = std::move(found);
    }

private:
    mutable std::mutex lock;
    std::optional<Fact> stored;
};

}  // namespace marlet
