#include "MarletIPC/LineClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <system_error>
#include <utility>

#include "MarletIPC/SocketPathInternal.h"

namespace marlet {
namespace {

constexpr int waitMilliseconds = 100;

[[noreturn]] void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool isPassing(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

std::optional<LineClient> LineClient::connect(const std::filesystem::path& path) {
    int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throwSystemError("socket");
    }
    LineClient client(descriptor);
    if (!std::filesystem::exists(path.parent_path())) {
        return std::nullopt;
    }
    SocketPath shortPath(path);
    sockaddr_un address = shortPath.address();
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return client;
    }
    // EAGAIN: more clients wait in line than the listener takes.
    if (errno == ENOENT || errno == ECONNREFUSED || isPassing(errno)) {
        return std::nullopt;
    }
    throwSystemError("connect");
}

LineClient::LineClient(LineClient&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)), received(std::move(other.received)) {}

LineClient::~LineClient() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

// Sends what the socket takes now. False when the other side takes no more; it may still have answered.
bool LineClient::send(std::string_view& rest) {
    ssize_t sent = ::send(descriptor, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent < 0) {
        return isPassing(errno);
    }
    rest.remove_prefix(static_cast<size_t>(sent));
    return true;
}

// Takes what has come. False when no more will.
bool LineClient::receive() {
    std::array<char, 65536> chunk;
    ssize_t count = ::recv(descriptor, chunk.data(), chunk.size(), 0);
    if (count < 0) {
        return isPassing(errno);
    }
    received.append(chunk.data(), static_cast<size_t>(count));
    return count > 0;
}

std::optional<std::string> LineClient::ask(std::string_view line, const WhileWaiting& whileWaiting) {
    std::string message(line);
    message += '\n';
    std::string_view rest = message;
    size_t searched = 0;
    for (;;) {
        size_t end = received.find('\n', searched);
        if (std::min(end, received.size()) > maximumLineLength) {
            throw LineClientError("The answer is too long.");
        }
        if (end != std::string::npos) {
            std::string answer = received.substr(0, end);
            received.erase(0, end + 1);
            return answer;
        }
        searched = received.size();
        short wanted = rest.empty() ? POLLIN : POLLIN | POLLOUT;
        pollfd events{descriptor, wanted, 0};
        int ready = ::poll(&events, 1, waitMilliseconds);
        if (ready < 0 && errno != EINTR) {
            throwSystemError("poll");
        }
        if (ready <= 0) {
            if (whileWaiting) {
                whileWaiting();
            }
            continue;
        }
        if ((events.revents & POLLOUT) != 0 && !rest.empty() && !send(rest)) {
            rest = {};
        }
        if ((events.revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !receive()) {
            return std::nullopt;
        }
    }
}

}  // namespace marlet
