#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "MarletIPC/LineClient.h"
#include "MarletIPC/SocketPathInternal.h"

namespace marlet {

SocketPath::SocketPath(const std::filesystem::path& path) : shortPath(path.string()) {
    // One byte is for the end of the text.
    constexpr size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (shortPath.size() <= longest) {
        return;
    }
    folder = ::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        throw std::system_error(errno, std::generic_category(), path.parent_path().string());
    }
    shortPath = fmt::format("/proc/self/fd/{}/{}", folder, path.filename().string());
    if (shortPath.size() > longest) {
        ::close(folder);
        throw std::system_error(ENAMETOOLONG, std::generic_category(), path.string());
    }
}

SocketPath::~SocketPath() {
    if (folder >= 0) {
        ::close(folder);
    }
}

sockaddr_un SocketPath::address() const {
    sockaddr_un result{};
    result.sun_family = AF_UNIX;
    std::copy(shortPath.begin(), shortPath.end(), result.sun_path);
    return result;
}

namespace {

// The user who made the other side: for a connection to a listener, who made it listen.
std::optional<uid_t> peerUser(int descriptor) {
#ifdef __linux__
    ucred peer{};
    socklen_t size = sizeof peer;
    bool isKnown = ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return isKnown ? std::optional(peer.uid) : std::nullopt;
#else
    uid_t user = 0;
    gid_t group = 0;
    return ::getpeereid(descriptor, &user, &group) == 0 ? std::optional(user) : std::nullopt;
#endif
}

struct Attempt {
    int descriptor = -1;
    int error = 0;
};

Attempt tryToConnect(const std::filesystem::path& path) {
    if (!std::filesystem::exists(path.parent_path())) {
        return {-1, ENOENT};
    }
    SocketPath shortPath(path);
    sockaddr_un address = shortPath.address();
    int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return {descriptor, 0};
    }
    int error = errno;
    ::close(descriptor);
    return {-1, error};
}

// More clients wait in line than the listener takes.
bool isCrowded(int error) {
    return error == EAGAIN || error == EINTR;
}

bool isAbsent(int error) {
    return error == ENOENT || error == ECONNREFUSED;
}

}  // namespace

std::optional<int> connectedSocket(const std::filesystem::path& path) {
    Attempt attempt = tryToConnect(path);
    if (attempt.descriptor >= 0) {
        if (peerUser(attempt.descriptor) != ::geteuid()) {
            ::close(attempt.descriptor);
            throw LineClientError(fmt::format("A process of another user answers at {}.", path.string()));
        }
        return attempt.descriptor;
    }
    if (isAbsent(attempt.error) || isCrowded(attempt.error)) {
        return std::nullopt;
    }
    throw std::system_error(attempt.error, std::generic_category(), "connect");
}

bool somebodyListens(const std::filesystem::path& path) {
    Attempt attempt = tryToConnect(path);
    if (attempt.descriptor >= 0) {
        ::close(attempt.descriptor);
    } else if (!isAbsent(attempt.error) && !isCrowded(attempt.error)) {
        throw std::system_error(attempt.error, std::generic_category(), "connect");
    }
    return !isAbsent(attempt.error);
}

}  // namespace marlet
