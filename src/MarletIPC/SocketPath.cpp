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

}  // namespace marlet
