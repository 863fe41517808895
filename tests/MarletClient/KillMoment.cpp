#include "KillMoment.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace marlet {
namespace {

constexpr int patienceMilliseconds = 30'000;
constexpr size_t mostBytes = 20'000;
constexpr size_t mostEvents = 60;
constexpr std::array<const char*, 5> texts{"byte sent", "request sent", "answer received", "write to the store",
                                           "write to the local tasks"};

}  // namespace

KillMoment::KillMoment(std::mt19937& random, const ChildProcess& victim, const std::filesystem::path& folder)
    : daemon(victim),
      kind(static_cast<Kind>(std::uniform_int_distribution<int>(0, kindCount - 1)(random))),
      wanted(std::uniform_int_distribution<size_t>(1, kind == Kind::bytes ? mostBytes : mostEvents)(random)),
      left(wanted),
      watch(::inotify_init1(IN_CLOEXEC)) {
    EXPECT_GE(watch, 0);
    EXPECT_GE(::inotify_add_watch(watch, folder.c_str(), IN_MODIFY), 0);
}

KillMoment::~KillMoment() {
    ::close(watch);
}

size_t KillMoment::allowedBytes(size_t size) {
    std::lock_guard lock(mutex);
    if (kind != Kind::bytes) {
        return size;
    }
    size_t allowed = std::min(size, left);
    left -= allowed;
    return allowed;
}

void KillMoment::count(Kind happened) {
    std::lock_guard lock(mutex);
    if (kind == happened && left > 0 && --left == 0) {
        kill();
    }
}

bool KillMoment::isWatched(const std::string& file) const {
    return (kind == Kind::storeWrites && file == "Marlet.sqlite-wal") ||
           (kind == Kind::localWrites && file == "LocalTasks.sqlite-wal");
}

void KillMoment::watchFiles() {
    alignas(inotify_event) std::array<char, 4096> buffer;
    const bool countsWrites = kind == Kind::storeWrites || kind == Kind::localWrites;
    while (countsWrites && left > 0) {
        pollfd event{watch, POLLIN, 0};
        if (::poll(&event, 1, patienceMilliseconds) <= 0) {
            ADD_FAILURE() << "No write came: " << text();
            kill();
            return;
        }
        ssize_t size = ::read(watch, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < size;) {
            const auto* change = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            if (change->len > 0 && isWatched(change->name)) {
                count(kind);
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + change->len);
        }
    }
}

std::string KillMoment::text() const {
    return fmt::format("killed at {} {}", texts.at(static_cast<size_t>(kind)), wanted);
}

}  // namespace marlet
