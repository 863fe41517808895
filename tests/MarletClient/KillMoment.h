#pragma once

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <random>
#include <string>

#include "TestSupport/ChildProcess.h"

namespace marlet {

// Kills a daemon in the middle of its work, at a moment that a seed chooses: after so many bytes or requests that its
// clients sent, so many answers that they got, or so many writes to one of its databases. The clients tell what they
// do, from any thread.
class KillMoment {
public:
    // `folder` is the daemon's data folder; writes to it count from here.
    KillMoment(std::mt19937& random, const ChildProcess& victim, const std::filesystem::path& folder);
    KillMoment(const KillMoment&) = delete;
    KillMoment& operator=(const KillMoment&) = delete;
    ~KillMoment();

    // How many of the next `size` bytes may go out. The kill comes after them if these aren't all.
    size_t allowedBytes(size_t size);
    void cutRequest() { kill(); }
    void startedRequest() { count(Kind::requests); }
    void receivedAnswer() { count(Kind::answers); }

    // Counts writes, if they decide, until the moment has come. Gives up when none comes for half a minute.
    void watchFiles();
    void kill() const { daemon.send(SIGKILL); }

    std::string text() const;

private:
    enum class Kind { bytes, requests, answers, storeWrites, localWrites };
    static constexpr int kindCount = 5;

    void count(Kind happened);
    bool isWatched(const std::string& file) const;

    const ChildProcess& daemon;
    Kind kind;
    size_t wanted = 0;
    std::mutex mutex;
    size_t left = 0;
    int watch = -1;
};

}  // namespace marlet
