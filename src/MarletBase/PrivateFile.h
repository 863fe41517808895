// Small files that hold secrets: for their owner alone, whatever the umask, and replaced as a whole.
//
// Everything here throws std::system_error with the reason.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/Descriptor.h"

namespace marlet {

// No value if there is no such file. A file that others may read is theirs no longer afterwards. Anything but a regular
// file is refused, also a link to one: the next replacement would put a file in its place.
std::optional<std::string> readPrivateFile(const std::filesystem::path& file);

// A file as it is, also through a link and whoever may read it. No value if there is none; anything but a regular file
// is refused.
std::optional<std::string> readRegularFile(const std::filesystem::path& file);

// Safely on disk once this returns. It comes into being for its owner alone: there is no moment in which others may
// open it. What has the name already, but for a folder, goes first. Where it fails, as on a full disk, nothing is left.
void writeNewPrivateFile(const std::filesystem::path& file, std::string_view bytes);

// After a crash there is the old content or the new one. It passes through a file beside this one, "NAME.new", so two
// must not replace one file at a time: hold a FolderLock.
void replacePrivateFile(const std::filesystem::path& file, std::string_view bytes);

// Held by one owner at a time, be it a thread or another process, and given up when its process ends, however it ends.
// Waits for its turn. Nothing is written into the folder.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    Descriptor held;
};

}  // namespace marlet
