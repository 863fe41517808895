#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace marlet {

// One request at a time changes a folder; others of this process wait until it is done, in no certain order.
//
// Two clones into one folder would spoil each other, and so would two worktrees of one name. A clone under way already
// looks like a checkout. Git keeps what it fetched last in a single file of the repository: of two requests at once,
// one could begin at the commit of the other. And it fails now and then where it finds a worktree that is half removed.
//
// Nobody takes a second turn while holding one: a path may turn out to be the repository's own folder.
class FolderTurn {
public:
    explicit FolderTurn(const std::string& folder);
    FolderTurn(const FolderTurn&) = delete;
    FolderTurn& operator=(const FolderTurn&) = delete;

    // Those that have their turn or wait for it.
    static size_t requestsFor(const std::string& folder);

private:
    std::shared_ptr<std::mutex> mutex;
    std::unique_lock<std::mutex> turn;
};

}  // namespace marlet
