#include "MarletClient/DataFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace marlet {
namespace {

constexpr mode_t privateFolder = S_IRWXU;
constexpr mode_t privateFile = S_IRUSR | S_IWUSR;

[[noreturn]] void throwUnusable(const char* problem, const std::filesystem::path& path) {
    std::string reason = std::generic_category().message(errno);
    std::string hint = errno == ENOSPC || errno == EDQUOT
                           ? "Make room and try again."
                           : "Check its permissions, or choose another data folder with --data.";
    throw DataFolderError(fmt::format("{} {}: {}. {}", problem, path.string(), reason, hint));
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
    return true;
}

}  // namespace

std::filesystem::path homeFolder() {
    if (const char* variable = std::getenv("HOME"); variable && *variable != '\0') {
        return variable;
    }
    const passwd* user = ::getpwuid(::getuid());
    return user ? user->pw_dir : "/";
}

std::filesystem::path DataFolder::defaultPath() {
    const char* variable = std::getenv("XDG_DATA_HOME");
    // A relative one is to be ignored, by the rules of that variable.
    if (variable && *variable == '/') {
        return std::filesystem::path(variable) / "marlet";
    }
    return homeFolder() / ".local/share/marlet";
}

DataFolder DataFolder::open(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    if (!absolute.has_filename()) {
        absolute = absolute.parent_path();
    }
    if (std::filesystem::is_directory(absolute, error)) {
        return DataFolder(std::move(absolute));
    }
    std::filesystem::create_directories(absolute.parent_path(), error);
    if (::mkdir(absolute.c_str(), privateFolder) != 0 && !std::filesystem::is_directory(absolute, error)) {
        throwUnusable("The data folder can't be made at", absolute);
    }
    return DataFolder(std::move(absolute));
}

void writePrivateFile(const std::filesystem::path& file, std::string_view bytes) {
    std::filesystem::path replacement = file;
    replacement += fmt::format(".{}.new", ::getpid());
    Descriptor descriptor(
        ::open(replacement.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, privateFile));
    bool isDone = descriptor.get() >= 0 && ::fchmod(descriptor.get(), privateFile) == 0 &&
                  writeAll(descriptor.get(), bytes) && ::fsync(descriptor.get()) == 0 &&
                  ::rename(replacement.c_str(), file.c_str()) == 0;
    if (!isDone) {
        int error = errno;
        ::unlink(replacement.c_str());
        errno = error;
        throwUnusable("There is no way to write", file);
    }
    // The new name is safe only once the folder is.
    Descriptor folder(::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ::fsync(folder.get());
}

std::optional<std::string> readFile(const std::filesystem::path& file) {
    Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (descriptor.get() < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throwUnusable("There is no way to read", file);
    }
    std::string content;
    std::array<char, 4096> chunk;
    ssize_t count = 0;
    while ((count = ::read(descriptor.get(), chunk.data(), chunk.size())) > 0) {
        content.append(chunk.data(), static_cast<size_t>(count));
    }
    if (count < 0) {
        throwUnusable("There is no way to read", file);
    }
    return content;
}

std::optional<DataFolderLock> DataFolderLock::tryTake(const DataFolder& folder) {
    Descriptor descriptor(::open(folder.lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, privateFile));
    if (descriptor.get() < 0) {
        throwUnusable("There is no way to use the data folder", folder.path());
    }
    if (::flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK || errno == EINTR) {
            return std::nullopt;
        }
        throwUnusable("There is no way to lock the data folder", folder.path());
    }
    ::fchmod(descriptor.get(), privateFile);
    // Only for the words of others: the lock itself doesn't depend on what the file says.
    std::string process = fmt::format("{}\n", ::getpid());
    if (::ftruncate(descriptor.get(), 0) == 0) {
        writeAll(descriptor.get(), process);
    }
    return DataFolderLock(std::move(descriptor));
}

std::optional<int> DataFolderLock::holder(const DataFolder& folder) {
    std::string content = readFile(folder.lockFile()).value_or("");
    int process = 0;
    auto [end, error] = std::from_chars(content.data(), content.data() + content.size(), process);
    return error == std::errc() ? std::optional(process) : std::nullopt;
}

}  // namespace marlet
