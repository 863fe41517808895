#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "MarletBase/Async.h"

namespace marlet {

// One connection to a LineServer, for use on an event loop: on the executor that it was connected on.
class AsyncLineClient {
public:
    // No value when nobody listens at `path`, or nobody can be let in just now. Throws LineClientError when it is
    // another user who listens, since secrets are said here, and std::system_error for a path that can't be used at
    // all.
    static Async<std::optional<AsyncLineClient>> connect(std::filesystem::path path);

    AsyncLineClient(AsyncLineClient&&) noexcept;
    AsyncLineClient& operator=(AsyncLineClient&&) noexcept;
    ~AsyncLineClient();

    // Sends `line`, which holds no line end, and gives the line that comes back. No value when the other side went away
    // without one. Throws LineClientError when the answer is longer than a line may be. One question at a time.
    //
    // Whatever ends it but an answer closes the connection, cancellation too: answers belong to questions by their
    // order alone. A closed connection gives no value.
    Async<std::optional<std::string>> ask(std::string line);

private:
    struct Connection;
    explicit AsyncLineClient(std::shared_ptr<Connection> connected);

    std::shared_ptr<Connection> connection;
};

}  // namespace marlet
