#include "MarletMCP/LocalHTTPServer.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <array>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <set>
#include <utility>

#include "MarletMCP/HTTPRequestParser.h"
#include "MarletMCP/OnceContinuation.h"
#include "MarletMCP/PeerCheck.h"

namespace marlet {
namespace {

using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr size_t receiveLimit = 65536;
// How long a connection may take to hang up after its last answer. Closing at once would discard that answer if the
// peer is still sending.
constexpr std::chrono::seconds lingerLimit(2);
// How long the listener rests when the system can't give it another connection.
constexpr std::chrono::milliseconds acceptPause(50);

struct Listener {
    explicit Listener(const Strand& strand) : acceptor(strand), pause(strand) {}

    tcp::acceptor acceptor;
    boost::asio::steady_timer pause;
};

struct Connection {
    Connection(tcp::socket accepted, const Strand& strand) : socket(std::move(accepted)), deadline(strand) {}

    tcp::socket socket;
    boost::asio::steady_timer deadline;
    HTTPRequestReader reader;
};

RemoteHost hostOf(const tcp::endpoint& endpoint) {
    boost::asio::ip::address address = endpoint.address();
    return address.is_v4() ? RemoteHost(address.to_v4()) : RemoteHost(address.to_v6());
}

// Programs that this process starts must not hold the port or a connection.
void keepFromChildren(int descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

std::string listenFailure(uint16_t port, const error_code& error) {
    if (error == boost::asio::error::address_in_use) {
        return fmt::format(
            "Port {} is already in use. Stop the program that uses it, or choose another port (0 for any free one).",
            port);
    }
    return fmt::format("Port {} can't be listened on: {}.", port, error.message());
}

OutgoingResponse badRequest(HTTPRequestParser::ParseError::Kind kind) {
    bool isTooLarge = kind == HTTPRequestParser::ParseError::Kind::tooLarge;
    return OutgoingResponse::text("Bad request", isTooLarge ? 413 : 400);
}

bool asksToClose(const IncomingRequest& request) {
    const std::string* connection = request.header("connection");
    return connection && lowered(*connection) == "close";
}

// Whether the peer has said already that it sends nothing more, with nothing left to be read before that.
bool hasFinished(Connection& connection) {
    if (connection.reader.hasUnread()) {
        return false;  // perhaps another request, to be answered first
    }
    char next = 0;
    error_code failure;
    connection.socket.receive(boost::asio::buffer(&next, 1), tcp::socket::message_peek, failure);
    return failure && failure != boost::asio::error::would_block;
}

using ResponseParts = std::array<boost::asio::const_buffer, 2>;

// What is left of the parts when so many bytes of them are gone.
ResponseParts rest(ResponseParts parts, size_t sent) {
    size_t ofFirst = std::min(sent, parts[0].size());
    parts[0] += ofFirst;
    parts[1] += sent - ofFirst;
    return parts;
}

void close(Connection& connection) {
    error_code ignored;
    connection.socket.close(ignored);
    connection.deadline.cancel();
}

}  // namespace

// Everything but the handler's own work happens on the strand. Coroutines share the state, so that it outlives a
// server that is dropped while they end.
class LocalHTTPServer::State {
public:
    using Shared = std::shared_ptr<State>;

    // No executor of handlers: they run on the strand.
    State(Strand ownStrand, std::optional<Executor> executorOfHandlers, Handler requestHandler)
        : strand(std::move(ownStrand)),
          handlerExecutor(std::move(executorOfHandlers)),
          handler(std::move(requestHandler)),
          idle(strand) {}

    static Async<uint16_t> start(Shared self, uint16_t port);
    static void stop(const Shared& self);
    static Async<void> drain(Shared self);

private:
    static void listen(const Shared& self, uint16_t port, OnceContinuation<uint16_t>& outcome);
    static Async<void> acceptConnections(Shared self, std::shared_ptr<Listener> source);
    static void admit(const Shared& self, tcp::socket socket);
    static Async<void> serve(Shared self, std::shared_ptr<Connection> connection);
    static Async<bool> receive(Shared self, std::shared_ptr<Connection> connection);
    static Async<OutgoingResponse> answer(Shared self, IncomingRequest request);
    static Async<bool> send(std::shared_ptr<Connection> connection, OutgoingResponse response, bool keepAlive);
    static Async<void> hangUp(Shared self, std::shared_ptr<Connection> connection);
    static Async<void> waitUntilIdle(Shared self);

    template <class Finish>
    static void spawn(const Shared& self, Async<void> body, Finish finish);
    void stopOnStrand();

    Strand strand;
    std::optional<Executor> handlerExecutor;
    Handler handler;
    std::shared_ptr<Listener> listener;
    std::set<std::shared_ptr<Connection>> connections;
    size_t running = 0;  // accept loops and connections that haven't ended
    boost::asio::steady_timer idle;
    // Where every connection reads to, one at a time, so that a silent one costs no buffer.
    std::array<char, receiveLimit> scratch;
};

// `finish` is called on the strand, also when `body` throws: there is nobody to tell but the peer, who is cut off.
template <class Finish>
void LocalHTTPServer::State::spawn(const Shared& self, Async<void> body, Finish finish) {
    ++self->running;
    boost::asio::co_spawn(self->strand, std::move(body), [self, finish](std::exception_ptr) {
        finish();
        if (--self->running == 0) {
            self->idle.cancel();
        }
    });
}

Async<uint16_t> LocalHTTPServer::State::start(Shared self, uint16_t port) {
    auto outcome = std::make_shared<OnceContinuation<uint16_t>>();
    boost::asio::dispatch(self->strand, [self, port, outcome] { listen(self, port, *outcome); });
    uint16_t bound = co_await outcome->wait();
    co_return bound;
}

void LocalHTTPServer::State::listen(const Shared& self, uint16_t port, OnceContinuation<uint16_t>& outcome) {
    if (self->listener) {
        outcome.resume(std::make_exception_ptr(LocalHTTPServerError("The server is running already.")));
        return;
    }
    auto source = std::make_shared<Listener>(self->strand);
    uint16_t bound = 0;
    try {
        tcp::endpoint endpoint(boost::asio::ip::address_v4::loopback(), port);
        source->acceptor.open(endpoint.protocol());
        keepFromChildren(source->acceptor.native_handle());
        source->acceptor.set_option(tcp::acceptor::reuse_address(true));
        source->acceptor.bind(endpoint);
        source->acceptor.listen();
        bound = source->acceptor.local_endpoint().port();
    } catch (const boost::system::system_error& error) {
        outcome.resume(std::make_exception_ptr(LocalHTTPServerError(listenFailure(port, error.code()))));
        return;
    }
    self->listener = source;
    spawn(self, acceptConnections(self, source), [] {});
    outcome.resume(bound);
}

Async<void> LocalHTTPServer::State::acceptConnections(Shared self, std::shared_ptr<Listener> source) {
    while (source->acceptor.is_open()) {
        error_code failure;
        tcp::socket socket =
            co_await source->acceptor.async_accept(boost::asio::redirect_error(boost::asio::use_awaitable, failure));
        if (!source->acceptor.is_open()) {
            co_return;  // also with a connection that came in at the last moment
        }
        if (!failure) {
            admit(self, std::move(socket));
        } else {
            // Out of descriptors, say. The peer waits in the backlog meanwhile.
            source->pause.expires_after(acceptPause);
            co_await source->pause.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, failure));
        }
    }
}

void LocalHTTPServer::State::admit(const Shared& self, tcp::socket socket) {
    error_code failure;
    tcp::endpoint remote = socket.remote_endpoint(failure);
    if (failure || !isLocalPeer(hostOf(remote))) {
        return;
    }
    keepFromChildren(socket.native_handle());
    socket.set_option(tcp::no_delay(true), failure);
    socket.non_blocking(true, failure);
    auto connection = std::make_shared<Connection>(std::move(socket), self->strand);
    self->connections.insert(connection);
    spawn(self, serve(self, connection), [self, connection] {
        close(*connection);
        self->connections.erase(connection);
    });
}

Async<void> LocalHTTPServer::State::serve(Shared self, std::shared_ptr<Connection> connection) {
    bool keepAlive = true;
    while (keepAlive) {
        std::optional<IncomingRequest> request;
        std::optional<OutgoingResponse> response;
        try {
            request = connection->reader.next();
        } catch (const HTTPRequestParser::ParseError& error) {
            keepAlive = false;
            response = badRequest(error.kind);
        }
        if (request) {
            keepAlive = !asksToClose(*request) && !hasFinished(*connection);
            response = co_await answer(self, std::move(*request));
        }
        bool goesOn =
            response ? co_await send(connection, std::move(*response), keepAlive) : co_await receive(self, connection);
        if (!goesOn) {
            co_return;
        }
    }
    co_await hangUp(self, connection);
}

// False once the peer has finished or is gone. Bytes go straight to the reader.
Async<bool> LocalHTTPServer::State::receive(Shared self, std::shared_ptr<Connection> connection) {
    tcp::socket& socket = connection->socket;
    error_code failure = boost::asio::error::would_block;
    while (failure == boost::asio::error::would_block && socket.is_open()) {
        error_code waitFailure;
        co_await socket.async_wait(tcp::socket::wait_read,
                                   boost::asio::redirect_error(boost::asio::use_awaitable, waitFailure));
        if (waitFailure) {
            co_return false;
        }
        size_t count = socket.read_some(boost::asio::buffer(self->scratch), failure);
        connection->reader.append(std::string_view(self->scratch.data(), count));
    }
    co_return !failure;
}

Async<OutgoingResponse> LocalHTTPServer::State::answer(Shared self, IncomingRequest request) {
    try {
        Async<OutgoingResponse> body = self->handler(std::move(request));
        if (!self->handlerExecutor) {
            OutgoingResponse response = co_await std::move(body);
            co_return response;
        }
        OutgoingResponse response =
            co_await boost::asio::co_spawn(*self->handlerExecutor, std::move(body), boost::asio::use_awaitable);
        co_return response;
    } catch (const std::exception&) {
        co_return OutgoingResponse::text("Internal server error", 500);
    }
}

// False if the connection can't be used any more.
Async<bool> LocalHTTPServer::State::send(std::shared_ptr<Connection> connection, OutgoingResponse response,
                                         bool keepAlive) {
    if (!connection->socket.is_open()) {
        co_return false;
    }
    std::string head = response.head(keepAlive);
    ResponseParts parts = {boost::asio::buffer(head), boost::asio::buffer(response.body)};
    error_code failure;
    // Most answers fit into the system's buffer: sending one at once spares a turn of the loop.
    size_t sent = connection->socket.write_some(parts, failure);
    if (failure && failure != boost::asio::error::would_block) {
        co_return false;
    }
    if (sent == head.size() + response.body.size()) {
        co_return true;
    }
    co_await boost::asio::async_write(connection->socket, rest(parts, sent),
                                      boost::asio::redirect_error(boost::asio::use_awaitable, failure));
    co_return !failure;
}

// Says that nothing more will be sent, and waits a moment for the peer to have read it.
Async<void> LocalHTTPServer::State::hangUp(Shared self, std::shared_ptr<Connection> connection) {
    error_code failure;
    connection->socket.shutdown(tcp::socket::shutdown_send, failure);
    std::weak_ptr<Connection> late = connection;
    connection->deadline.expires_after(lingerLimit);
    connection->deadline.async_wait([late](error_code cancelled) {
        std::shared_ptr<Connection> open = late.lock();
        if (!cancelled && open) {
            close(*open);
        }
    });
    bool goesOn = !failure;
    while (goesOn) {
        connection->reader = {};
        goesOn = co_await receive(self, connection);
    }
}

void LocalHTTPServer::State::stop(const Shared& self) {
    boost::asio::dispatch(self->strand, [self] { self->stopOnStrand(); });
}

void LocalHTTPServer::State::stopOnStrand() {
    if (listener) {
        error_code ignored;
        listener->acceptor.close(ignored);
        listener->pause.cancel();
        listener = nullptr;
    }
    for (const std::shared_ptr<Connection>& connection : std::exchange(connections, {})) {
        close(*connection);
    }
}

Async<void> LocalHTTPServer::State::drain(Shared self) {
    return runOn(self->strand, waitUntilIdle(self));
}

Async<void> LocalHTTPServer::State::waitUntilIdle(Shared self) {
    while (self->running > 0) {
        error_code cancelled;
        self->idle.expires_at(std::chrono::steady_clock::time_point::max());
        co_await self->idle.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
    }
}

LocalHTTPServer::LocalHTTPServer(Executor executor, Handler handler)
    : state(std::make_shared<State>(Strand(executor), executor, std::move(handler))) {}

LocalHTTPServer::LocalHTTPServer(Strand strand, Handler handler)
    : state(std::make_shared<State>(std::move(strand), std::nullopt, std::move(handler))) {}

LocalHTTPServer::~LocalHTTPServer() {
    stop();
}

Async<uint16_t> LocalHTTPServer::start(uint16_t port) {
    return State::start(state, port);
}

void LocalHTTPServer::stop() {
    State::stop(state);
}

Async<void> LocalHTTPServer::drain() {
    return State::drain(state);
}

}  // namespace marlet
