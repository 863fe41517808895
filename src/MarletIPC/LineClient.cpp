#include "MarletIPC/LineClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "MarletIPC/LineBufferInternal.h"
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
    if (std::optional<int> descriptor = connectedSocket(path)) {
        return LineClient(*descriptor);
    }
    return std::nullopt;
}

LineClient::LineClient(int connected) : descriptor(connected), received(std::make_unique<LineBuffer>()) {}

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
    std::span<char> room = received->room();
    ssize_t count = ::recv(descriptor, room.data(), room.size(), 0);
    received->added(static_cast<size_t>(std::max<ssize_t>(count, 0)), room);
    return count > 0 || (count < 0 && isPassing(errno));
}

std::optional<std::string> LineClient::ask(std::string_view line, const WhileWaiting& whileWaiting) {
    std::string message(line);
    message += '\n';
    std::string_view rest = message;
    for (;;) {
        if (std::optional<std::string> answer = received->takeLine()) {
            return answer;
        }
        if (received->isTooLong()) {
            throw LineClientError("The answer is too long.");
        }
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
