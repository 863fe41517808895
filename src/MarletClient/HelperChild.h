#pragma once

#include <sys/types.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "MarletBase/Async.h"
#include "MarletBase/Descriptor.h"

namespace marlet {

// MarletHelper as a child of this process, in a session of its own. It ends when its standard input does, and thus with
// this process, however that ends.
class HelperChild {
public:
    // The program beside the running one, or else on the PATH.
    static std::optional<std::filesystem::path> program();

    // Returns as soon as the process is there. Nothing while another one for this socket hasn't ended: the child of a
    // process that was killed may still be about to stop what it ran, and its half-done work isn't to be taken for
    // done. Throws std::system_error when it can't be made.
    static std::unique_ptr<HelperChild> tryStart(const Executor& executor, const std::filesystem::path& program,
                                                 const std::filesystem::path& socket);
    HelperChild(const HelperChild&) = delete;
    HelperChild& operator=(const HelperChild&) = delete;
    ~HelperChild();

    bool hasEnded() const;
    // What it said when it ended, in one line.
    std::string lastWords() const;

    // Asks it to end: what it runs is stopped.
    void endInput();
    // Waits until it has gone. It is killed when that takes longer than `patience`. What one that was killed leaves
    // running is stopped, as it would have done itself.
    Async<void> ended(std::chrono::seconds patience);

private:
    HelperChild(const Executor& executor, const std::filesystem::path& program, const std::filesystem::path& socket,
                int turn);

    Async<void> stopRest();

    pid_t process = -1;
    Descriptor input{-1};
    Descriptor complaints{-1};
    boost::asio::posix::stream_descriptor handle;  // of the process: readable once it has ended
};

}  // namespace marlet
