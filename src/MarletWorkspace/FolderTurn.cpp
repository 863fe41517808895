#include "MarletWorkspace/FolderTurnInternal.h"

#include <map>

namespace marlet {
namespace {

// Of the folders that someone has or waits for now.
struct Folders {
    std::mutex lock;
    std::map<std::string, std::weak_ptr<std::mutex>> mutexes;
};

// Never destroyed: a thread may still wait for its turn when the process ends.
Folders& folders() {
    static auto& all = *new Folders;
    return all;
}

std::shared_ptr<std::mutex> mutexOf(const std::string& folder) {
    Folders& all = folders();
    std::scoped_lock guard(all.lock);
    std::erase_if(all.mutexes, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<std::mutex>& entry = all.mutexes[folder];
    std::shared_ptr<std::mutex> mutex = entry.lock();
    if (!mutex) {
        mutex = std::make_shared<std::mutex>();
        entry = mutex;
    }
    return mutex;
}

}  // namespace

FolderTurn::FolderTurn(const std::string& folder) : mutex(mutexOf(folder)), turn(*mutex) {}

size_t FolderTurn::requestsFor(const std::string& folder) {
    Folders& all = folders();
    std::scoped_lock guard(all.lock);
    auto found = all.mutexes.find(folder);
    return found == all.mutexes.end() ? 0 : static_cast<size_t>(found->second.use_count());
}

}  // namespace marlet
