#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "MarletBase/Async.h"
#include "MarletBase/LocalizedError.h"
#include "MarletIPC/LineProtocol.h"

namespace marlet {

class InheritedListener;

class LineServerError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

struct LineReply {
    std::string line;  // without a line end
    bool endsSession = false;
};

// What a server says.
struct LineService {
    // Answers one line. Sessions are served side by side, the lines of one session in order. One whose answer throws
    // ends without it.
    std::function<Async<LineReply>(std::string line)> answer;
    // Sent for a line that is too long; the session ends with it.
    std::string lineTooLong;
    // Sent in place of an answer once the server stops: the line hasn't been looked at. Nothing when empty.
    std::string stopping;
};

// Listens on a Unix socket. The processes that this one starts inherit none of its sockets.
//
// Its state lives on a strand of the executor. Destroy it only after stop() and drain() have ended.
class LineServer {
public:
    LineServer(Executor executor, LineService service);
    LineServer(const LineServer&) = delete;
    LineServer& operator=(const LineServer&) = delete;
    ~LineServer();

    // On a socket of its own that is the user's alone (mode 0600). Takes over a socket file that a dead process left;
    // any other file stays. Throws LineServerError when a live one answers there, and std::system_error when the socket
    // can't be made.
    Async<void> listen(std::filesystem::path path);
    // On a socket that outlives this process: its file stays, and so do those who wait to be let in.
    Async<void> listen(InheritedListener inherited);

    // Takes no more lines and removes its socket file. Lines under way are still answered.
    Async<void> stop();

    // After stop: waits until every session has ended. Sessions that take longer than `patience` are cut off, once
    // their answers are ready.
    Async<void> drain(std::chrono::duration<double> patience);

private:
    class State;
    std::shared_ptr<State> state;
};

}  // namespace marlet
