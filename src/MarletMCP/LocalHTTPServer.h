#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "MarletBase/Async.h"
#include "MarletBase/LocalizedError.h"
#include "MarletMCP/HTTPMessages.h"

namespace marlet {

class LocalHTTPServerError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// A small HTTP/1.1 server for programs on this computer: one handler, no routes, no TLS.
//
// Listens on 127.0.0.1 alone. The requests of one connection are answered one at a time and in order, those of
// different connections side by side. Listener and connections live on one strand; every member may be called from any
// thread. The executors must outlive the server and whatever it still runs.
class LocalHTTPServer {
public:
    // Runs as a task of its own, several at once. It should not throw; if it does, the
    // client gets status 500.
    using Handler = std::function<Async<OutgoingResponse>(IncomingRequest request)>;

    // Handlers run beside the server, on the same executor.
    LocalHTTPServer(Executor executor, Handler handler);
    // The server and its handlers share the strand, for handlers that live there anyway: a request that is answered
    // without waiting isn't handed over and back.
    LocalHTTPServer(Strand strand, Handler handler);
    LocalHTTPServer(const LocalHTTPServer&) = delete;
    LocalHTTPServer& operator=(const LocalHTTPServer&) = delete;
    // Stops.
    ~LocalHTTPServer();

    // The port that is listened on from now; 0 asks for any free one. Throws LocalHTTPServerError.
    Async<uint16_t> start(uint16_t port);

    // Ends the listener and all connections. A handler that is running isn't interrupted; its answer goes nowhere.
    void stop();

    // Waits until nothing runs any more, handlers included. To be awaited after `stop`.
    Async<void> drain();

private:
    class State;
    std::shared_ptr<State> state;
};

}  // namespace marlet
