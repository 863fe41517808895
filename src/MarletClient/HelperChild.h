#pragma once

#include <sys/types.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "MarletBase/Async.h"

namespace marlet {

// MarletHelper as a child of this process, in a session of its own. It ends when its standard input does, and thus with
// this process, however that ends.
class HelperChild {
public:
    // The program beside the running one, or else on the PATH.
    static std::optional<std::filesystem::path> program();

    // Returns as soon as the process is there. Throws std::system_error when it can't be made.
    HelperChild(const Executor& executor, const std::filesystem::path& program, const std::filesystem::path& socket);
    HelperChild(const HelperChild&) = delete;
    HelperChild& operator=(const HelperChild&) = delete;
    ~HelperChild();

    bool hasEnded();
    // What it said when it ended, in one line.
    std::string lastWords() const;

    // Asks it to end: what it runs is stopped.
    void endInput();
    // Waits until it has gone. It is killed when that takes longer than `patience`.
    Async<void> ended(std::chrono::seconds patience);

private:
    pid_t process = -1;
    bool isReaped = false;
    int input = -1;
    int complaints = -1;
    boost::asio::posix::stream_descriptor handle;  // of the process: readable once it has ended
};

}  // namespace marlet
