#pragma once

#include <sys/un.h>

#include <filesystem>
#include <optional>
#include <string>

namespace marlet {

// A socket's path as connect and bind want it, however long it is. A path that is too long for an address is named
// through a descriptor of its folder, which stays open as long as this lives.
class SocketPath {
public:
    // Throws std::system_error when the folder can't be opened.
    explicit SocketPath(const std::filesystem::path& path);
    SocketPath(const SocketPath&) = delete;
    SocketPath& operator=(const SocketPath&) = delete;
    ~SocketPath();

    // Fits into a sockaddr_un.
    const std::string& text() const { return shortPath; }
    sockaddr_un address() const;

private:
    int folder = -1;
    std::string shortPath;
};

// A socket connected to whoever listens at `path`; the caller closes it. It doesn't block. No value when nobody
// listens, or nobody can be let in just now. Throws LineClientError when it is another user who listens, and
// std::system_error for a path that can't be used at all.
std::optional<int> connectedSocket(const std::filesystem::path& path);

// Whoever it is, and whether or not there is still room to wait in line.
bool somebodyListens(const std::filesystem::path& path);

}  // namespace marlet
