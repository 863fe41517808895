#include "MarletIPC/AsyncLineClient.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>

#include "MarletIPC/LineBufferInternal.h"
#include "MarletIPC/LineClient.h"
#include "MarletIPC/SocketPathInternal.h"

namespace marlet {
namespace {

using Socket = boost::asio::local::stream_protocol::socket;
using boost::system::error_code;

constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);

void throwIfCancelled(const error_code& error) {
    if (error == boost::asio::error::operation_aborted) {
        throw boost::system::system_error(error);
    }
}

// Closes a socket unless its question was answered.
class OpenQuestion {
public:
    explicit OpenQuestion(Socket& asked) : socket(asked) {}
    OpenQuestion(const OpenQuestion&) = delete;
    OpenQuestion& operator=(const OpenQuestion&) = delete;
    ~OpenQuestion() {
        if (!isAnswered) {
            error_code ignored;
            socket.close(ignored);
        }
    }

    bool isAnswered = false;

private:
    Socket& socket;
};

}  // namespace

struct AsyncLineClient::Connection {
    explicit Connection(Socket connected) : socket(std::move(connected)) {}

    Socket socket;
    LineBuffer received;
};

Async<std::optional<AsyncLineClient>> AsyncLineClient::connect(std::filesystem::path path) {
    auto executor = co_await boost::asio::this_coro::executor;
    std::optional<int> descriptor = connectedSocket(path);
    if (!descriptor) {
        co_return std::nullopt;
    }
    Socket socket(executor, boost::asio::local::stream_protocol(), *descriptor);
    co_return AsyncLineClient(std::make_shared<Connection>(std::move(socket)));
}

AsyncLineClient::AsyncLineClient(std::shared_ptr<Connection> connected) : connection(std::move(connected)) {}
AsyncLineClient::AsyncLineClient(AsyncLineClient&&) noexcept = default;
AsyncLineClient& AsyncLineClient::operator=(AsyncLineClient&&) noexcept = default;
AsyncLineClient::~AsyncLineClient() = default;

Async<std::optional<std::string>> AsyncLineClient::ask(std::string line) {
    std::shared_ptr<Connection> asked = connection;
    if (!asked->socket.is_open()) {
        co_return std::nullopt;
    }
    OpenQuestion question(asked->socket);
    line += '\n';
    auto [sendError, sent] =
        co_await boost::asio::async_write(asked->socket, boost::asio::buffer(line), withoutThrowing);
    // Who takes no more may still have answered.
    throwIfCancelled(sendError);
    for (;;) {
        std::optional<std::string> answer = asked->received.takeLine();
        if (answer) {
            question.isAnswered = true;
            co_return answer;
        }
        if (asked->received.isTooLong()) {
            throw LineClientError("The answer is too long.");
        }
        std::span<char> room = asked->received.room();
        auto space = boost::asio::buffer(room.data(), room.size());
        auto [error, count] = co_await asked->socket.async_read_some(space, withoutThrowing);
        asked->received.added(count, room);
        throwIfCancelled(error);
        if (error) {
            co_return std::nullopt;
        }
    }
}

}  // namespace marlet
