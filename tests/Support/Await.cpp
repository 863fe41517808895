#include "TestSupport/Await.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

namespace marlet {
namespace {

using Time = std::chrono::steady_clock::time_point;

Time deadline() {
    return std::chrono::steady_clock::now() + std::chrono::seconds(30);
}

// False when the time has come before.
bool isReadable(int descriptor, Time end) {
    auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd event{descriptor, POLLIN, 0};
    int count = ::poll(&event, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    return count > 0 || (count < 0 && errno == EINTR);
}

}  // namespace

bool awaitEndOf(pid_t process) {
    int end = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    if (end < 0) {
        return errno == ESRCH;
    }
    bool hasEnded = isReadable(end, deadline());
    ::close(end);
    return hasEnded;
}

bool awaitFile(const std::filesystem::path& file) {
    int events = ::inotify_init1(IN_CLOEXEC);
    ::inotify_add_watch(events, file.parent_path().c_str(), IN_CREATE | IN_MOVED_TO);
    Time end = deadline();
    std::array<char, 4096> news{};
    bool isInTime = true;
    while (isInTime && !std::filesystem::exists(file)) {
        isInTime = isReadable(events, end) && ::read(events, news.data(), news.size()) > 0;
    }
    ::close(events);
    return isInTime;
}

bool awaitListener(const std::filesystem::path& socket, const std::function<bool()>& connects) {
    Time end = deadline();
    bool isThere = awaitFile(socket);
    while (isThere && !connects()) {
        isThere = std::chrono::steady_clock::now() < end;
        std::this_thread::yield();
    }
    return isThere;
}

}  // namespace marlet
