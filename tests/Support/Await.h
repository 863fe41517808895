// Waiting for what other processes do, by the system's own events. Each gives up after half a minute.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>

namespace marlet {

// The process is gone, or dead and not yet collected by its parent.
bool awaitEndOf(pid_t process);

// The file is there, in a folder that is.
bool awaitFile(const std::filesystem::path& file);

// The socket's file is there and lets callers in, which is a moment later: no event tells that moment.
bool awaitListener(const std::filesystem::path& socket, const std::function<bool()>& connects);

}  // namespace marlet
