#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>

namespace marlet {

// A listening socket at `path` that is the user's alone; the caller closes it. Throws LineServerError where a live
// server answers, and std::filesystem::filesystem_error when it can't be made.
int makeListener(const std::filesystem::path& path);

// The file of a listening socket.
class SocketFile {
public:
    explicit SocketFile(std::filesystem::path path);

    // Unless another server has put its own there.
    void remove();

private:
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;

        bool operator==(const Identity&) const = default;
    };
    static std::optional<Identity> identity(const std::filesystem::path& path);

    std::filesystem::path place;
    std::optional<Identity> own;
};

}  // namespace marlet
