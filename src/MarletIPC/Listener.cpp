#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "MarletBase/PrivateFile.h"
#include "MarletIPC/LineServer.h"
#include "MarletIPC/ListenerInternal.h"
#include "MarletIPC/SocketPathInternal.h"

namespace marlet {
namespace {

// Anything else that has the name is somebody's file, and stays.
void removeSocket(const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode)) {
        ::unlink(path.c_str());
    }
}

int listenAt(const std::filesystem::path& path) {
    // Held while the file is looked at and made, so that two listeners can't take over the same dead one.
    FolderLock lock(path.parent_path());
    if (somebodyListens(path)) {
        throw LineServerError(fmt::format("Another process already answers at {}.", path.string()));
    }
    removeSocket(path);
    SocketPath shortPath(path);
    sockaddr_un address = shortPath.address();
    int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The file gets the descriptor's mode: there is no moment at which others could connect.
    bool isListening = descriptor >= 0 && ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 &&
                       ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                       ::listen(descriptor, SOMAXCONN) == 0;
    if (!isListening) {
        std::error_code reason(errno, std::generic_category());
        ::close(descriptor);
        throw std::system_error(reason);
    }
    return descriptor;
}

}  // namespace

int makeListener(const std::filesystem::path& path) {
    try {
        return listenAt(path);
    } catch (const std::system_error& error) {
        throw std::filesystem::filesystem_error("listen", path, error.code());
    }
}

std::optional<SocketFile::Identity> SocketFile::identity(const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return Identity{info.st_dev, info.st_ino};
}

SocketFile::SocketFile(std::filesystem::path path) : place(std::move(path)), own(identity(place)) {}

void SocketFile::remove() {
    if (own && identity(place) == own) {
        ::unlink(place.c_str());
    }
    own.reset();
}

}  // namespace marlet
