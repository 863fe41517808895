#include "MarletIPC/LineServer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

#include "MarletIPC/LineClient.h"
#include "MarletIPC/SocketPathInternal.h"

namespace marlet {
namespace {

using Protocol = boost::asio::local::stream_protocol;
using boost::system::error_code;

constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);
constexpr std::chrono::milliseconds pauseAfterFailedAccept(50);
// A peer that sends too long a line is still read for so long, so that it gets to our answer.
constexpr size_t discardedLength = 4 * maximumLineLength;

[[noreturn]] void throwSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Held while a socket file is looked at and made, so that two listeners can't take over the same dead one.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder)
        : descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (descriptor < 0) {
            throwSystemError("open");
        }
        ::flock(descriptor, LOCK_EX);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock() { ::close(descriptor); }

private:
    int descriptor;
};

// A listening socket at `path`, made with the mode it shall have: no moment at which others could connect.
int makeListener(const std::filesystem::path& path) {
    FolderLock lock(path.parent_path());
    if (LineClient::connect(path)) {
        throw LineServerError(fmt::format("Another process already answers at {}.", path.string()));
    }
    ::unlink(path.c_str());
    int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throwSystemError("socket");
    }
    SocketPath shortPath(path);
    sockaddr_un address = shortPath.address();
    // The file gets the descriptor's mode.
    bool isListening = ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 &&
                       ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                       ::listen(descriptor, SOMAXCONN) == 0;
    if (!isListening) {
        int error = errno;
        ::close(descriptor);
        throw std::system_error(error, std::generic_category(), "bind");
    }
    return descriptor;
}

struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileIdentity&) const = default;
};

std::optional<FileIdentity> identity(const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return FileIdentity{info.st_dev, info.st_ino};
}

struct LineRead {
    enum class Outcome { line, tooLong, ended };

    Outcome outcome = Outcome::ended;
    std::string line;
};

struct Session {
    explicit Session(Protocol::socket connected) : socket(std::move(connected)) {}

    Protocol::socket socket;
    std::string received;
    bool isReading = false;
};

}  // namespace

class LineServer::State : public std::enable_shared_from_this<State> {
public:
    State(Executor executor, LineService offered)
        : strand(executor), service(std::move(offered)), acceptor(strand), changed(strand) {}

    Async<void> listen(std::filesystem::path path);
    Async<void> stop();
    Async<void> drain(std::chrono::duration<double> patience);

    Strand strand;

private:
    Async<void> accept();
    Async<void> serve(std::shared_ptr<Session> session);
    Async<void> converse(std::shared_ptr<Session> session);
    Async<LineRead> readLine(std::shared_ptr<Session> session);
    Async<bool> write(std::shared_ptr<Session> session, std::string line);
    Async<void> refuseTooLong(std::shared_ptr<Session> session);
    void open(Protocol::socket socket);
    void acceptWaiting();
    void removeSocketFile();

    LineService service;
    Protocol::acceptor acceptor;
    std::filesystem::path socketFile;
    std::optional<FileIdentity> socketIdentity;
    std::set<std::shared_ptr<Session>> sessions;
    bool isAccepting = false;
    bool isStopping = false;
    boost::asio::steady_timer changed;  // cancelled whenever a session or the accepting has ended
};

Async<void> LineServer::State::listen(std::filesystem::path path) {
    acceptor.assign(Protocol(), makeListener(path));
    socketFile = std::move(path);
    socketIdentity = identity(socketFile);
    isAccepting = true;
    boost::asio::co_spawn(strand, accept(), boost::asio::detached);
    co_return;
}

Async<void> LineServer::State::accept() {
    auto self = shared_from_this();
    while (!isStopping) {
        auto [error, socket] = co_await acceptor.async_accept(strand, withoutThrowing);
        if (!error) {
            open(std::move(socket));
        } else if (!isStopping) {
            // Out of descriptors or memory: those who wait are served when others have ended.
            boost::asio::steady_timer pause(strand, pauseAfterFailedAccept);
            co_await pause.async_wait(withoutThrowing);
        }
    }
    isAccepting = false;
    changed.cancel();
}

void LineServer::State::open(Protocol::socket socket) {
    auto session = std::make_shared<Session>(std::move(socket));
    sessions.insert(session);
    boost::asio::co_spawn(strand, serve(session), boost::asio::detached);
}

Async<void> LineServer::State::serve(std::shared_ptr<Session> session) {
    auto self = shared_from_this();
    co_await converse(session);
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
    constexpr size_t step = 65536;
    std::string& received = session->received;
    size_t searched = 0;
    for (;;) {
        size_t end = received.find('\n', searched);
        if (std::min(end, received.size()) > maximumLineLength) {
            co_return LineRead{LineRead::Outcome::tooLong, {}};
        }
        if (end != std::string::npos) {
            LineRead read{LineRead::Outcome::line, received.substr(0, end)};
            received.erase(0, end + 1);
            co_return read;
        }
        searched = received.size();
        if (isStopping) {
            co_return LineRead{};
        }
        received.resize(searched + step);
        session->isReading = true;
        auto space = boost::asio::buffer(received.data() + searched, step);
        auto [error, count] = co_await session->socket.async_read_some(space, withoutThrowing);
        session->isReading = false;
        received.resize(searched + count);
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

// Those who connected but weren't let in yet hear that the server stops, instead of a broken connection.
void LineServer::State::acceptWaiting() {
    error_code error;
    acceptor.non_blocking(true, error);
    while (!error) {
        Protocol::socket socket(strand);
        acceptor.accept(socket, error);
        if (!error) {
            open(std::move(socket));
        }
    }
}

void LineServer::State::removeSocketFile() {
    // Another server may have put its own there, had ours been removed.
    if (socketIdentity && identity(socketFile) == socketIdentity) {
        ::unlink(socketFile.c_str());
    }
    socketIdentity.reset();
}

Async<void> LineServer::State::stop() {
    if (isStopping) {
        co_return;
    }
    isStopping = true;
    removeSocketFile();
    if (acceptor.is_open()) {
        acceptWaiting();
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

Async<void> LineServer::stop() {
    co_await runOn(state->strand, state->stop());
}

Async<void> LineServer::drain(std::chrono::duration<double> patience) {
    co_await runOn(state->strand, state->drain(patience));
}

}  // namespace marlet
