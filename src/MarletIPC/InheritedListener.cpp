#include "MarletIPC/InheritedListener.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "MarletIPC/LineServer.h"

namespace marlet {
namespace {

// No value for a variable that is missing or isn't a number.
std::optional<int> numberIn(const char* variable) {
    const char* value = std::getenv(variable);
    std::string_view text = value ? value : "";
    int number = 0;
    auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool isNumber = failure == std::errc() && end == text.data() + text.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

int socketOption(int descriptor, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    return ::getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool isUnixListener(int descriptor) {
    return socketOption(descriptor, SO_DOMAIN) == AF_UNIX && socketOption(descriptor, SO_TYPE) == SOCK_STREAM &&
           socketOption(descriptor, SO_ACCEPTCONN) == 1;
}

}  // namespace

std::optional<InheritedListener> InheritedListener::take(int first) {
    std::optional<int> process = numberIn("LISTEN_PID");
    int count = numberIn("LISTEN_FDS").value_or(0);
    for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
        ::unsetenv(variable);
    }
    if (process != ::getpid() || count <= 0) {
        return std::nullopt;
    }
    if (count > 1) {
        throw LineServerError("More than one socket was handed over.");
    }
    if (!isUnixListener(first)) {
        throw LineServerError("What was handed over isn't a listening Unix socket.");
    }
    ::fcntl(first, F_SETFD, FD_CLOEXEC);
    return InheritedListener(first);
}

InheritedListener::InheritedListener(InheritedListener&& other) noexcept : descriptor(other.release()) {}

InheritedListener::~InheritedListener() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

int InheritedListener::release() {
    return std::exchange(descriptor, -1);
}

}  // namespace marlet
