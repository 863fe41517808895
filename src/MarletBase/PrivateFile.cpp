#include "MarletBase/PrivateFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace marlet {
namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
// A pipe would hold up whoever opens it.
constexpr int readingFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;

void require(bool isDone, const std::filesystem::path& path) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
}

Descriptor opened(const std::filesystem::path& path, int flags) {
    return Descriptor(::open(path.c_str(), flags, ownerOnly));
}

bool write(int descriptor, std::string_view bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

// A new name is safe only once its folder is.
void syncFolder(const std::filesystem::path& path) {
    Descriptor folder = opened(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder.get() >= 0 && ::fsync(folder.get()) == 0, path);
}

struct stat regularStatus(const Descriptor& file, const std::filesystem::path& path) {
    struct stat status {};
    require(file.get() >= 0 && ::fstat(file.get(), &status) == 0, path);
    if (!S_ISREG(status.st_mode)) {
        throw std::system_error(EINVAL, std::generic_category(), path.string());
    }
    return status;
}

std::string content(const Descriptor& file, const struct stat& status, const std::filesystem::path& path) {
    std::string content(static_cast<size_t>(status.st_size), '\0');
    size_t length = 0;
    while (length < content.size()) {
        ssize_t count = ::read(file.get(), content.data() + length, content.size() - length);
        require(count >= 0 || errno == EINTR, path);
        if (count == 0) {
            break;
        }
        length += count > 0 ? static_cast<size_t>(count) : 0;
    }
    content.resize(length);
    return content;
}

}  // namespace

std::optional<std::string> readPrivateFile(const std::filesystem::path& path) {
    Descriptor file = opened(path, readingFlags | O_NOFOLLOW);
    if (file.get() < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat status = regularStatus(file, path);
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        require(::fchmod(file.get(), ownerOnly) == 0, path);
    }
    return content(file, status, path);
}

std::optional<std::string> readRegularFile(const std::filesystem::path& path) {
    Descriptor file = opened(path, readingFlags);
    if (file.get() < 0 && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat status = regularStatus(file, path);
    return content(file, status, path);
}

void writeNewPrivateFile(const std::filesystem::path& path, std::string_view bytes) {
    // A crash may have left one.
    require(::unlink(path.c_str()) == 0 || errno == ENOENT, path);
    Descriptor file = opened(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC);
    require(file.get() >= 0, path);
    try {
        require(::fchmod(file.get(), ownerOnly) == 0, path);
        require(write(file.get(), bytes), path);
        require(::fsync(file.get()) == 0, path);
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
}

void replacePrivateFile(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::path replacement = path;
    replacement += ".new";
    writeNewPrivateFile(replacement, bytes);
    try {
        require(::rename(replacement.c_str(), path.c_str()) == 0, path);
    } catch (...) {
        ::unlink(replacement.c_str());
        throw;
    }
    syncFolder(path.parent_path());
}

FolderLock::FolderLock(const std::filesystem::path& folder) : held(opened(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    require(held.get() >= 0, folder);
    while (::flock(held.get(), LOCK_EX) != 0) {
        require(errno == EINTR, folder);
    }
}

}  // namespace marlet
