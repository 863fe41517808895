#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

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

std::optional<int> connectedSocket(const std::filesystem::path& path) {
    if (!std::filesystem::exists(path.parent_path())) {
        return std::nullopt;
    }
    SocketPath shortPath(path);
    sockaddr_un address = shortPath.address();
    int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    int error = errno;
    ::close(descriptor);
    // EAGAIN: more clients wait in line than the listener takes.
    if (error == ENOENT || error == ECONNREFUSED || error == EAGAIN || error == EINTR) {
        return std::nullopt;
    }
    throw std::system_error(error, std::generic_category(), "connect");
}

}  // namespace marlet
