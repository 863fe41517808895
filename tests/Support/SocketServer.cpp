#include "TestSupport/SocketServer.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace marlet {
namespace {

constexpr std::string_view headEnd = "\r\n\r\n";

int check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

// A client that hangs up must not end the test.
void blockBrokenPipes() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

ReceivedRequest parsedHead(std::string_view head) {
    ReceivedRequest request;
    size_t start = 0;
    while (start < head.size()) {
        size_t end = std::min(head.find("\r\n", start), head.size());
        std::string_view line = head.substr(start, end - start);
        size_t colon = line.find(':');
        if (start == 0) {
            request.line = line;
        } else if (colon != std::string_view::npos) {
            std::string_view value = line.substr(colon + 1);
            value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
            request.headers.emplace_back(line.substr(0, colon), value);
        }
        start = end + 2;
    }
    return request;
}

}  // namespace

std::optional<std::string> ReceivedRequest::header(std::string_view name) const {
    auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& entry) {
        return entry.first.size() == name.size() && strncasecmp(entry.first.data(), name.data(), name.size()) == 0;
    });
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

std::string ReceivedRequest::target() const {
    size_t start = line.find(' ') + 1;
    return line.substr(start, line.find(' ', start) - start);
}

class SocketServer::Connection final : public ServerConnection {
public:
    Connection(SocketServer& owner, int accepted, size_t position)
        : server(owner), descriptor(accepted), index(position), thread([this] { run(); }) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override {
        ::shutdown(descriptor, SHUT_RDWR);
        thread.join();
        ::close(descriptor);
    }

    std::optional<ReceivedRequest> readRequest() override {
        size_t headSize = std::string::npos;
        while ((headSize = unread.find(headEnd)) == std::string::npos) {
            if (!readMore()) {
                return std::nullopt;
            }
        }
        ReceivedRequest request = parsedHead(std::string_view(unread).substr(0, headSize));
        unread.erase(0, headSize + headEnd.size());
        size_t length = std::stoul(request.header("Content-Length").value_or("0"));
        while (unread.size() < length) {
            if (!readMore()) {
                return std::nullopt;
            }
        }
        request.body = unread.substr(0, length);
        unread.erase(0, length);
        server.note(request);
        return request;
    }

    bool write(std::string_view bytes) override {
        while (!bytes.empty()) {
            ssize_t count = tls ? SSL_write(tls.get(), bytes.data(), static_cast<int>(bytes.size()))
                                : ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<size_t>(count));
        }
        return true;
    }

    void reset() override {
        linger abruptly = {.l_onoff = 1, .l_linger = 0};
        check(::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly), "linger");
        // Closing alone resets, and the number must stay taken until the thread is joined.
        int placeholder = check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
        ::dup3(placeholder, descriptor, O_CLOEXEC);
        ::close(placeholder);
    }

    void waitForClient() override {
        while (readMore()) {
            unread.clear();
        }
    }

    size_t number() const override { return index; }

private:
    void run() {
        blockBrokenPipes();
        if (server.tls) {
            tls.reset(SSL_new(server.tls.get()), SSL_free);
            SSL_set_fd(tls.get(), descriptor);
            if (SSL_accept(tls.get()) != 1) {
                return;
            }
        }
        server.script(*this);
        ::shutdown(descriptor, SHUT_RDWR);
    }

    bool readMore() {
        std::array<char, 65536> chunk;
        ssize_t count =
            tls ? SSL_read(tls.get(), chunk.data(), chunk.size()) : ::recv(descriptor, chunk.data(), chunk.size(), 0);
        if (count > 0) {
            unread.append(chunk.data(), static_cast<size_t>(count));
        }
        return count > 0;
    }

    SocketServer& server;
    int descriptor;
    size_t index;
    std::shared_ptr<SSL> tls;
    std::string unread;
    std::thread thread;  // last: it uses all of the above
};

SocketServer::SocketServer(Script connectionScript, std::optional<ServerIdentity> identity)
    : script(std::move(connectionScript)), tls(identity ? identity->context() : nullptr) {
    listener = check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    check(::listen(listener, SOMAXCONN), "listen");
    socklen_t size = sizeof address;
    check(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    boundPort = ntohs(address.sin_port);
    acceptor = std::thread([this] { acceptConnections(); });
}

SocketServer::~SocketServer() {
    {
        std::scoped_lock guard(lock);
        isEnding = true;
    }
    ::shutdown(listener, SHUT_RDWR);
    acceptor.join();
    ::close(listener);
    connections.clear();
}

void SocketServer::acceptConnections() {
    while (true) {
        int accepted = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        std::scoped_lock guard(lock);
        if (accepted < 0 || isEnding) {
            if (accepted >= 0) {
                ::close(accepted);
            }
            return;
        }
        int on = 1;
        ::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        connections.push_back(std::make_unique<Connection>(*this, accepted, connections.size()));
    }
}

void SocketServer::note(const ReceivedRequest& request) {
    std::scoped_lock guard(lock);
    received.push_back(request);
}

SocketServer::Script SocketServer::answering(Handler handler) {
    return [handler = std::move(handler)](ServerConnection& connection) {
        while (std::optional<ReceivedRequest> request = connection.readRequest()) {
            if (!connection.write(handler(*request))) {
                return;
            }
        }
    };
}

std::string SocketServer::answer(std::string_view status, std::string_view body, std::string_view head) {
    return fmt::format("HTTP/1.1 {}\r\n{}Content-Length: {}\r\n\r\n{}", status, head, body.size(), body);
}

std::string SocketServer::url(std::string_view target) const {
    return fmt::format("{}:{}{}", tls ? "https://localhost" : "http://127.0.0.1", boundPort, target);
}

size_t SocketServer::connectionCount() const {
    std::scoped_lock guard(lock);
    return connections.size();
}

std::vector<ReceivedRequest> SocketServer::requests() const {
    std::scoped_lock guard(lock);
    return received;
}

}  // namespace marlet
