#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TestSupport/TestAuthority.h"

namespace marlet {

struct ReceivedRequest {
    std::string line;  // "GET /a?b HTTP/1.1"
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    // Any case of the name will do; no value if there is none.
    std::optional<std::string> header(std::string_view name) const;
    std::string target() const;
};

// A server's end of one connection, for the thread of its script.
class ServerConnection {
public:
    virtual ~ServerConnection() = default;

    // No value at the end of the connection.
    virtual std::optional<ReceivedRequest> readRequest() = 0;
    // False when the client is gone.
    virtual bool write(std::string_view bytes) = 0;
    // The client's next read fails, instead of finding an end.
    virtual void reset() = 0;
    // Reads and drops until the client goes.
    virtual void waitForClient() = 0;
    // Counted from 0, in the order of accepting.
    virtual size_t number() const = 0;
};

// A server on a free port of the loopback address that does to each connection what the test's script says, on a
// thread per connection. The connection is closed when its script returns.
class SocketServer {
public:
    using Script = std::function<void(ServerConnection&)>;
    using Handler = std::function<std::string(const ReceivedRequest&)>;

    explicit SocketServer(Script script, std::optional<ServerIdentity> identity = std::nullopt);
    SocketServer(const SocketServer&) = delete;
    SocketServer& operator=(const SocketServer&) = delete;
    // Cuts all connections and waits for the scripts.
    ~SocketServer();

    // Gives each request the handler's answer, and keeps the connection for the next.
    static Script answering(Handler handler);
    // With a length; `head` may hold more lines, each with its end.
    static std::string answer(std::string_view status, std::string_view body, std::string_view head = {});

    uint16_t port() const { return boundPort; }
    std::string url(std::string_view target = "/") const;
    size_t connectionCount() const;
    // In the order in which they were read, from all connections.
    std::vector<ReceivedRequest> requests() const;

private:
    class Connection;

    void acceptConnections();
    void note(const ReceivedRequest& request);

    Script script;
    std::shared_ptr<TLSContext> tls;
    int listener = -1;
    uint16_t boundPort = 0;
    mutable std::mutex lock;
    std::vector<std::unique_ptr<Connection>> connections;
    std::vector<ReceivedRequest> received;
    bool isEnding = false;
    std::thread acceptor;
};

}  // namespace marlet
