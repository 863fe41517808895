#include "TestSupport/LoopbackClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace marlet {
namespace {

constexpr timeval patience = {.tv_sec = 30, .tv_usec = 0};
constexpr std::string_view headEnd = "\r\n\r\n";
constexpr std::string_view lengthName = "Content-Length: ";

void check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

}  // namespace

LoopbackClient::LoopbackClient(uint16_t port) : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    check(descriptor, "socket");
    check(::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience), "receive timeout");
    check(::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience), "send timeout");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
}

LoopbackClient::LoopbackClient(LoopbackClient&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)), received(std::move(other.received)) {}

LoopbackClient::~LoopbackClient() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

bool LoopbackClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && (errno == EPIPE || errno == ECONNRESET)) {
            return false;
        }
        check(static_cast<int>(count), "send");
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

void LoopbackClient::finishSending() {
    check(::shutdown(descriptor, SHUT_WR), "shutdown");
}

void LoopbackClient::reset() {
    linger abruptly = {.l_onoff = 1, .l_linger = 0};
    check(::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly), "linger");
    ::close(std::exchange(descriptor, -1));
}

std::string LoopbackClient::receiveResponse() {
    size_t headSize = std::string::npos;
    while ((headSize = received.find(headEnd)) == std::string::npos) {
        if (!receiveMore()) {
            return {};
        }
    }
    size_t length = received.find(lengthName);
    size_t total = headSize + headEnd.size();
    if (length < headSize) {
        total += std::stoul(received.substr(length + lengthName.size()));
    }
    while (received.size() < total) {
        if (!receiveMore()) {
            return {};
        }
    }
    std::string response = received.substr(0, total);
    received.erase(0, total);
    return response;
}

std::string LoopbackClient::receiveAll() {
    while (receiveMore()) {
    }
    return std::exchange(received, {});
}

bool LoopbackClient::receiveMore() {
    std::array<char, 65536> buffer;
    ssize_t count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
    if (count < 0 && errno == ECONNRESET) {
        return false;
    }
    check(static_cast<int>(count), "receive");
    received.append(buffer.data(), static_cast<size_t>(count));
    return count > 0;
}

std::string bodyOf(const std::string& response) {
    return response.substr(response.find(headEnd) + headEnd.size());
}

}  // namespace marlet
