#include "MarletIPC/LineServer.h"

#include <sys/socket.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <optional>
#include <set>

#include "MarletIPC/InheritedListener.h"
#include "MarletIPC/LineBufferInternal.h"
#include "MarletIPC/ListenerInternal.h"

namespace marlet {
namespace {

using Protocol = boost::asio::local::stream_protocol;
using boost::system::error_code;

constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);
constexpr std::chrono::milliseconds pauseAfterFailedAccept(50);
// A peer that sends too long a line is still read for so long, so that it gets to our answer.
constexpr size_t discardedLength = 4 * maximumLineLength;

struct LineRead {
    enum class Outcome { line, tooLong, ended };

    Outcome outcome = Outcome::ended;
    std::string line;
};

struct Session {
    explicit Session(Protocol::socket connected) : socket(std::move(connected)) {}

    Protocol::socket socket;
    LineBuffer received;
    bool isReading = false;
};

}  // namespace

class LineServer::State : public std::enable_shared_from_this<State> {
public:
    State(Executor executor, LineService offered)
        : strand(executor), service(std::move(offered)), acceptor(strand), changed(strand) {}

    Async<void> listen(std::filesystem::path path);
    Async<void> listen(InheritedListener inherited);
    Async<void> stop();
    Async<void> drain(std::chrono::duration<double> patience);

    Strand strand;

private:
    void listenOn(int descriptor);
    Async<void> accept();
    error_code acceptOne();
    Async<void> serve(std::shared_ptr<Session> session);
    Async<void> converse(std::shared_ptr<Session> session);
    Async<LineRead> readLine(std::shared_ptr<Session> session);
    Async<bool> write(std::shared_ptr<Session> session, std::string line);
    Async<void> refuseTooLong(std::shared_ptr<Session> session);
    void open(Protocol::socket socket);

    LineService service;
    Protocol::acceptor acceptor;
    std::optional<SocketFile> socketFile;  // none for an inherited socket
    std::set<std::shared_ptr<Session>> sessions;
    bool isAccepting = false;
    bool isStopping = false;
    boost::asio::steady_timer changed;  // cancelled whenever a session or the accepting has ended
};

Async<void> LineServer::State::listen(std::filesystem::path path) {
    listenOn(makeListener(path));
    socketFile.emplace(std::move(path));
    co_return;
}

Async<void> LineServer::State::listen(InheritedListener inherited) {
    listenOn(inherited.release());
    co_return;
}

void LineServer::State::listenOn(int descriptor) {
    acceptor.assign(Protocol(), descriptor);
    acceptor.non_blocking(true);
    isAccepting = true;
    boost::asio::co_spawn(strand, accept(), boost::asio::detached);
}

Async<void> LineServer::State::accept() {
    auto self = shared_from_this();
    while (!isStopping) {
        auto [error] = co_await acceptor.async_wait(Protocol::acceptor::wait_read, withoutThrowing);
        if (!error) {
            error = acceptOne();
        }
        bool isPassing = error == boost::asio::error::would_block || error == boost::asio::error::interrupted ||
                         error == boost::asio::error::connection_aborted;
        if (error && !isPassing && !isStopping) {
            // Out of descriptors or memory: those who wait are served when others have ended.
            boost::asio::steady_timer pause(strand, pauseAfterFailedAccept);
            co_await pause.async_wait(withoutThrowing);
        }
    }
    isAccepting = false;
    changed.cancel();
}

// Asio's own accept would leave a moment at which a child could inherit the socket.
error_code LineServer::State::acceptOne() {
    int descriptor = ::accept4(acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0) {
        return {errno, boost::system::system_category()};
    }
    open(Protocol::socket(strand, Protocol(), descriptor));
    return {};
}

void LineServer::State::open(Protocol::socket socket) {
    auto session = std::make_shared<Session>(std::move(socket));
    sessions.insert(session);
    boost::asio::co_spawn(strand, serve(session), boost::asio::detached);
}

Async<void> LineServer::State::serve(std::shared_ptr<Session> session) {
    auto self = shared_from_this();
    try {
        co_await converse(session);
    } catch (const std::exception&) {
        // There was no memory for a line. What goes on is with the others.
    }
    error_code ignored;
    session->socket.shutdown(Protocol::socket::shutdown_both, ignored);
    session->socket.close(ignored);
    sessions.erase(session);
    changed.cancel();
}

Async<void> LineServer::State::converse(std::shared_ptr<Session> session) {
    for (;;) {
        LineRead read = co_await readLine(session);
        if (isStopping) {
            if (!service.stopping.empty()) {
                co_await write(session, service.stopping);
            }
            co_return;
        }
        if (read.outcome == LineRead::Outcome::tooLong) {
            co_await refuseTooLong(session);
            co_return;
        }
        if (read.outcome == LineRead::Outcome::ended) {
            co_return;
        }
        LineReply reply = co_await service.answer(std::move(read.line));
        bool isSent = co_await write(session, std::move(reply.line));
        if (!isSent || reply.endsSession) {
            co_return;
        }
    }
}

// Ends without a line when the peer has gone or the server stops.
Async<LineRead> LineServer::State::readLine(std::shared_ptr<Session> session) {
    LineBuffer& received = session->received;
    for (;;) {
        if (std::optional<std::string> line = received.takeLine()) {
            co_return LineRead{LineRead::Outcome::line, std::move(*line)};
        }
        if (received.isTooLong()) {
            co_return LineRead{LineRead::Outcome::tooLong, {}};
        }
        if (isStopping) {
            co_return LineRead{};
        }
        std::span<char> room = received.room();
        auto space = boost::asio::buffer(room.data(), room.size());
        session->isReading = true;
        auto [error, count] = co_await session->socket.async_read_some(space, withoutThrowing);
        session->isReading = false;
        received.added(count, room);
        if (error) {
            co_return LineRead{};
        }
    }
}

Async<bool> LineServer::State::write(std::shared_ptr<Session> session, std::string line) {
    line += '\n';
    auto [error, count] =
        co_await boost::asio::async_write(session->socket, boost::asio::buffer(line), withoutThrowing);
    co_return !error;
}

Async<void> LineServer::State::refuseTooLong(std::shared_ptr<Session> session) {
    bool isSent = co_await write(session, service.lineTooLong);
    error_code ignored;
    session->socket.shutdown(Protocol::socket::shutdown_send, ignored);
    std::string chunk(65536, '\0');
    size_t discarded = 0;
    session->isReading = true;
    while (isSent && !isStopping && discarded < discardedLength) {
        auto [error, count] = co_await session->socket.async_read_some(boost::asio::buffer(chunk), withoutThrowing);
        discarded += count;
        if (error) {
            break;
        }
    }
    session->isReading = false;
}

Async<void> LineServer::State::stop() {
    if (isStopping) {
        co_return;
    }
    isStopping = true;
    if (socketFile) {
        socketFile->remove();
        // Those who connected but weren't let in yet hear that the server stops, instead of a broken connection.
        while (!acceptOne()) {
        }
    }
    if (acceptor.is_open()) {
        error_code ignored;
        acceptor.close(ignored);
    }
    for (const auto& session : sessions) {
        if (session->isReading) {
            error_code ignored;
            session->socket.cancel(ignored);
        }
    }
    co_return;
}

Async<void> LineServer::State::drain(std::chrono::duration<double> patience) {
    auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(patience);
    while (isAccepting || !sessions.empty()) {
        bool isLate = std::chrono::steady_clock::now() >= deadline;
        if (isLate) {
            for (const auto& session : sessions) {
                error_code ignored;
                session->socket.close(ignored);
            }
        }
        changed.expires_at(isLate ? std::chrono::steady_clock::time_point::max() : deadline);
        co_await changed.async_wait(withoutThrowing);
    }
}

LineServer::LineServer(Executor executor, LineService service)
    : state(std::make_shared<State>(std::move(executor), std::move(service))) {}

LineServer::~LineServer() = default;

Async<void> LineServer::listen(std::filesystem::path path) {
    co_await runOn(state->strand, state->listen(std::move(path)));
}

Async<void> LineServer::listen(InheritedListener inherited) {
    co_await runOn(state->strand, state->listen(std::move(inherited)));
}

Async<void> LineServer::stop() {
    co_await runOn(state->strand, state->stop());
}

Async<void> LineServer::drain(std::chrono::duration<double> patience) {
    co_await runOn(state->strand, state->drain(patience));
}

}  // namespace marlet
