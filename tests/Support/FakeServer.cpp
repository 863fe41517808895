#include "TestSupport/FakeServer.h"

#include <fmt/format.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <charconv>
#include <thread>

#include "MarletBase/Async.h"

namespace marlet {
namespace {

using Socket = boost::asio::ip::tcp::socket;
using boost::asio::use_awaitable;

constexpr std::string_view headEnd = "\r\n\r\n";
constexpr std::string_view continuation = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr size_t maximalHeadSize = 65536;

std::string_view takeUntil(std::string_view& text, std::string_view separator) {
    size_t end = text.find(separator);
    std::string_view piece = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    return piece;
}

std::string_view withoutBlanks(std::string_view text) {
    size_t start = text.find_first_not_of(" \t");
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

FakeRequest parseHead(std::string_view head) {
    FakeRequest request;
    std::string_view line = takeUntil(head, "\r\n");
    request.method = takeUntil(line, " ");
    std::string path(takeUntil(line, " "));
    while (!head.empty()) {
        std::string_view value = takeUntil(head, "\r\n");
        std::string_view name = takeUntil(value, ":");
        request.headers[loweredASCII(name)] = withoutBlanks(value);
    }
    request.url = "http://" + request.header("host") + path;
    return request;
}

size_t bodySize(const FakeRequest& request) {
    std::string text = request.header("content-length");
    size_t size = 0;
    std::from_chars(text.data(), text.data() + text.size(), size);
    return size;
}

std::string onTheWire(const FakeAnswer& answer) {
    std::string text = fmt::format("HTTP/1.1 {} {}\r\n", answer.status, answer.status < 400 ? "OK" : "Refused");
    for (const auto& [name, value] : answer.headers) {
        text += name + ": " + value + "\r\n";
    }
    bool hasBody = answer.status != 304 && answer.status != 204;
    if (hasBody) {
        text += fmt::format("Content-Length: {}\r\n", answer.body.size());
    }
    text += "\r\n";
    if (hasBody) {
        text += answer.body;
    }
    if (answer.delivery == FakeAnswer::Delivery::truncated) {
        text.resize(text.size() - answer.body.size() / 2 - 1);
    }
    return text;
}

// The next request of the connection. Throws when there is none.
Async<FakeRequest> readRequest(Socket& socket, std::string& received) {
    auto buffer = boost::asio::dynamic_buffer(received);
    size_t headSize = co_await boost::asio::async_read_until(socket, buffer, headEnd, use_awaitable);
    if (headSize > maximalHeadSize) {
        throw std::runtime_error("The head is too large.");
    }
    FakeRequest request = parseHead(std::string_view(received).substr(0, headSize - headEnd.size()));
    received.erase(0, headSize);
    if (loweredASCII(request.header("expect")) == "100-continue") {
        co_await boost::asio::async_write(socket, boost::asio::buffer(continuation), use_awaitable);
    }
    size_t size = bodySize(request);
    if (received.size() < size) {
        size_t missing = size - received.size();
        co_await boost::asio::async_read(socket, buffer, boost::asio::transfer_exactly(missing), use_awaitable);
    }
    request.body = received.substr(0, size);
    received.erase(0, size);
    co_return request;
}

Async<void> serveConnection(Socket socket, FakeService& service) {
    std::string received;
    try {
        for (bool isOpen = true; isOpen;) {
            FakeRequest request = co_await readRequest(socket, received);
            FakeAnswer answer = service.handle(request);
            if (answer.gate) {
                co_await answer.gate->pass();
            }
            if (answer.delivery == FakeAnswer::Delivery::cut) {
                break;
            }
            std::string bytes = onTheWire(answer);
            co_await boost::asio::async_write(socket, boost::asio::buffer(bytes), use_awaitable);
            isOpen =
                answer.delivery == FakeAnswer::Delivery::whole && loweredASCII(request.header("connection")) != "close";
        }
    } catch (const std::exception&) {
        // The client has gone; so does the connection.
        co_return;
    }
}

Async<void> acceptConnections(boost::asio::ip::tcp::acceptor& acceptor, FakeService& service) {
    for (;;) {
        Socket socket = co_await acceptor.async_accept(use_awaitable);
        Executor executor = acceptor.get_executor();
        boost::asio::co_spawn(executor, serveConnection(std::move(socket), service), boost::asio::detached);
    }
}

}  // namespace

class FakeServer::State {
public:
    explicit State(FakeService& service)
        : acceptor(context, {boost::asio::ip::address_v4::loopback(), 0}), port(acceptor.local_endpoint().port()) {
        boost::asio::co_spawn(context, acceptConnections(acceptor, service), boost::asio::detached);
    }
    State(const State&) = delete;
    ~State() {
        context.stop();
        if (thread.joinable()) {
            thread.join();
        }
    }

    boost::asio::io_context context;
    boost::asio::ip::tcp::acceptor acceptor;
    uint16_t port;
    std::thread thread;
};

FakeServer::FakeServer(FakeService& service) : state(std::make_unique<State>(service)) {
    service.serveAt(url());
    state->thread = std::thread([&context = state->context] { context.run(); });
}

FakeServer::~FakeServer() = default;

uint16_t FakeServer::port() const {
    return state->port;
}

std::string FakeServer::url() const {
    return fmt::format("http://127.0.0.1:{}", state->port);
}

}  // namespace marlet
