#include "MarletClient/HelperConnection.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdlib>
#include <list>
#include <system_error>

#include "MarletClient/Commands.h"
#include "MarletClient/HelperChild.h"
#include "MarletIPC/AsyncLineClient.h"

namespace marlet {
namespace {

constexpr auto withoutThrowing = boost::asio::as_tuple(boost::asio::use_awaitable);
constexpr std::chrono::seconds startPatience(10);
constexpr std::chrono::milliseconds shortestPause(1);
constexpr std::chrono::milliseconds longestPause(50);
// More than the helper gives the commands that it stops.
constexpr std::chrono::seconds endPatience(20);

// Where the session's own helper would listen; no value where there is no session.
std::optional<std::filesystem::path> serviceSocket() {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (!folder || *folder != '/') {
        return std::nullopt;
    }
    return std::filesystem::path(folder) / fmt::format("{}.sock", helperServiceName);
}

// A helper that can't take the request says so in another shape than a reply's.
std::optional<std::string> transportError(const std::string& line) {
    try {
        JSONValue message = JSONValue::decode(line);
        const JSONValue* error = message["transportError"];
        const JSONValue* text = error ? (*error)["message"] : nullptr;
        return text && text->stringValue() ? std::optional(*text->stringValue()) : std::nullopt;
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

HelperReply replyIn(const std::string& line) {
    HelperReply reply;
    try {
        reply = HelperReply::parse(line);
    } catch (const HelperMessageError&) {
        if (std::optional<std::string> error = transportError(line)) {
            throw CommandError(fmt::format("The helper couldn't take the request: {}", *error));
        }
        throw CommandError(
            "The helper's answer can't be understood. It may be of another version: end MarletHelper, then try again.");
    }
    if (const auto* failure = std::get_if<HelperReply::Failure>(&reply.value)) {
        throw CommandError(failure->message);
    }
    return reply;
}

// Times to look again, further and further apart.
class Patience {
public:
    Patience(const Executor& executor, std::chrono::seconds limit)
        : timer(executor), deadline(std::chrono::steady_clock::now() + limit) {}

    bool hasEnded() const { return std::chrono::steady_clock::now() >= deadline; }

    Async<void> pause() {
        timer.expires_after(length);
        length = std::min(length * 2, longestPause);
        co_await timer.async_wait(withoutThrowing);
    }

private:
    boost::asio::steady_timer timer;
    std::chrono::steady_clock::time_point deadline;
    std::chrono::milliseconds length = shortestPause;
};

// See HelperChild::tryStart.
std::unique_ptr<HelperChild> startedChild(const Executor& executor, const std::filesystem::path& program,
                                          const std::filesystem::path& socket) {
    try {
        return HelperChild::tryStart(executor, program, socket);
    } catch (const std::system_error& error) {
        throw CommandError(
            fmt::format("The helper {} can't be started: {}.", program.string(), error.code().message()));
    }
}

}  // namespace

bool isSocketOf(uid_t user, const std::filesystem::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode) && info.st_uid == user;
}

class HelperConnection::State {
public:
    State(const Executor& loop, std::filesystem::path socket)
        : executor(loop), childSocket(std::move(socket)), changed(loop, std::chrono::steady_clock::time_point::max()) {}

    Async<HelperReply> ask(HelperRequest request);
    void stop();
    Async<void> drain();

    Way way = Way::child;

private:
    void throwIfStopping() const;
    Async<AsyncLineClient> connect();
    Async<std::optional<AsyncLineClient>> connectToService();
    Async<AsyncLineClient> connectToChild();
    Async<AsyncLineClient> startChild();
    Async<AsyncLineClient> firstConnection();
    Async<std::optional<std::string>> answer(AsyncLineClient client, std::string line);

    Executor executor;
    std::filesystem::path childSocket;
    std::unique_ptr<HelperChild> child;
    bool isStarting = false;
    boost::asio::steady_timer changed;  // cancelled whenever a start or a question has come to its end
    bool isStopping = false;
    std::list<boost::asio::cancellation_signal> underWay;
};

void HelperConnection::State::throwIfStopping() const {
    if (isStopping) {
        throw CommandError("Marlet was stopped before the work was done. Try again once it runs.");
    }
}

Async<AsyncLineClient> HelperConnection::State::connect() {
    std::optional<AsyncLineClient> service = co_await connectToService();
    if (service) {
        way = Way::service;
        co_return std::move(*service);
    }
    AsyncLineClient client = co_await connectToChild();
    way = Way::child;
    co_return client;
}

Async<std::optional<AsyncLineClient>> HelperConnection::State::connectToService() {
    std::optional<std::filesystem::path> socket = serviceSocket();
    if (!socket || !isSocketOf(::geteuid(), *socket)) {
        co_return std::nullopt;
    }
    try {
        co_return co_await AsyncLineClient::connect(*socket);
    } catch (const std::exception&) {
        // Whatever stands there, the child is somewhere else.
        co_return std::nullopt;
    }
}

Async<AsyncLineClient> HelperConnection::State::connectToChild() {
    while (isStarting) {
        co_await changed.async_wait(withoutThrowing);
    }
    if (child && !child->hasEnded()) {
        std::optional<AsyncLineClient> client = co_await AsyncLineClient::connect(childSocket);
        if (client) {
            co_return std::move(*client);
        }
    }
    co_return co_await startChild();
}

Async<AsyncLineClient> HelperConnection::State::startChild() {
    throwIfStopping();
    std::optional<std::filesystem::path> program = HelperChild::program();
    if (!program) {
        throw CommandError(
            "MarletHelper wasn't found. It belongs beside marlet, or on the PATH: install Marlet again.");
    }
    struct Start {
        explicit Start(State& owner) : state(owner) { state.isStarting = true; }
        Start(const Start&) = delete;
        Start& operator=(const Start&) = delete;
        ~Start() {
            state.isStarting = false;
            state.changed.cancel();
        }
        State& state;
    } start(*this);
    if (child) {
        child->endInput();
        co_await child->ended(endPatience);
        child.reset();
    }
    Patience patience(executor, endPatience);
    while (!(child = startedChild(executor, *program, childSocket))) {
        if (patience.hasEnded()) {
            throw CommandError("The helper of a Marlet that has ended is still at work. Try again in a moment.");
        }
        co_await patience.pause();
        throwIfStopping();
    }
    co_return co_await firstConnection();
}

// The child says nothing when it is ready: it is as soon as it can be connected to.
Async<AsyncLineClient> HelperConnection::State::firstConnection() {
    for (Patience patience(executor, startPatience); !patience.hasEnded(); co_await patience.pause()) {
        throwIfStopping();
        std::optional<AsyncLineClient> client = co_await AsyncLineClient::connect(childSocket);
        if (client) {
            co_return std::move(*client);
        }
        if (child->hasEnded()) {
            std::string words = child->lastWords();
            throw CommandError(
                fmt::format("The helper ended as soon as it was started.{}{}", words.empty() ? "" : " ", words));
        }
    }
    child->endInput();
    throwIfStopping();
    throw CommandError(
        fmt::format("The helper was started, but didn't answer within {} seconds.", startPatience.count()));
}

Async<std::optional<std::string>> HelperConnection::State::answer(AsyncLineClient client, std::string line) {
    auto signal = underWay.emplace(underWay.end());
    boost::asio::cancellation_state caller = co_await boost::asio::this_coro::cancellation_state;
    if (caller.slot().is_connected()) {
        caller.slot().assign([signal](boost::asio::cancellation_type type) { signal->emit(type); });
    }
    std::optional<std::string> answered;
    std::exception_ptr failure;
    try {
        answered = co_await boost::asio::co_spawn(
            executor, client.ask(std::move(line)),
            boost::asio::bind_cancellation_slot(signal->slot(), boost::asio::use_awaitable));
    } catch (...) {
        failure = std::current_exception();
    }
    caller.slot().clear();
    underWay.erase(signal);
    changed.cancel();
    if (failure && !isStopping) {
        std::rethrow_exception(failure);
    }
    co_return answered;
}

Async<HelperReply> HelperConnection::State::ask(HelperRequest request) {
    throwIfStopping();
    AsyncLineClient client = co_await connect();
    std::optional<std::string> line = co_await answer(std::move(client), request.line());
    throwIfStopping();
    if (!line) {
        throw CommandError("The helper ended before it answered. Try again.");
    }
    co_return replyIn(*line);
}

void HelperConnection::State::stop() {
    isStopping = true;
    if (child) {
        child->endInput();
    }
    for (boost::asio::cancellation_signal& signal : underWay) {
        signal.emit(boost::asio::cancellation_type::terminal);
    }
}

Async<void> HelperConnection::State::drain() {
    stop();
    while (isStarting || !underWay.empty()) {
        co_await changed.async_wait(withoutThrowing);
    }
    if (child) {
        child->endInput();
        co_await child->ended(endPatience);
        child.reset();
    }
}

HelperConnection::HelperConnection(Executor executor, std::filesystem::path childSocket)
    : state(std::make_unique<State>(std::move(executor), std::move(childSocket))) {}

HelperConnection::~HelperConnection() = default;

Async<HelperReply> HelperConnection::ask(HelperRequest request) {
    return state->ask(std::move(request));
}

HelperConnection::Way HelperConnection::way() const {
    return state->way;
}

void HelperConnection::stop() {
    state->stop();
}

Async<void> HelperConnection::drain() {
    return state->drain();
}

}  // namespace marlet
