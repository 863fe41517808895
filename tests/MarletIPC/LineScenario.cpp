#include "LineScenario.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_future.hpp>
#include <utility>

namespace marlet {
namespace {

constexpr std::chrono::seconds patience(20);

sockaddr_un addressOf(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int newSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

}  // namespace

RunningServer::RunningServer()
    : gate(context, std::chrono::steady_clock::time_point::max()),
      server(context.get_executor(),
             {[this](std::string line) { return answer(std::move(line)); }, "too long", "stopping"}),
      thread([this] { context.run(); }) {}

RunningServer::RunningServer(std::filesystem::path path) : RunningServer() {
    listen(server.listen(std::move(path)));
}

RunningServer::RunningServer(InheritedListener inherited) : RunningServer() {
    listen(server.listen(std::move(inherited)));
}

RunningServer::~RunningServer() {
    if (!thread.joinable()) {
        return;
    }
    release();
    stop();
    wait(server.drain(patience));
    end();
}

void RunningServer::listen(Async<void> listening) {
    try {
        wait(std::move(listening));
    } catch (...) {
        end();
        throw;
    }
}

void RunningServer::stop() {
    wait(server.stop());
}

void RunningServer::stopAfter(const std::function<void()>& event) {
    wait([](LineServer& stopped, std::function<void()> happens) -> Async<void> {
        happens();
        co_await stopped.stop();
    }(server, event));
}

void RunningServer::drain(std::chrono::duration<double> time) {
    wait(server.drain(time));
}

void RunningServer::release() {
    boost::asio::post(context, [this] { gate.cancel(); });
}

void RunningServer::waitUntilWaiting(int count) const {
    while (waiting < count) {
        std::this_thread::yield();
    }
}

Async<LineReply> RunningServer::answer(std::string line) {
    if (line == "wait") {
        ++waiting;
        boost::system::error_code ignored;
        co_await gate.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, ignored));
    }
    if (line == "throw") {
        throw std::runtime_error("no answer");
    }
    if (line.starts_with("long ")) {
        co_return LineReply{std::string(std::stoul(line.substr(5)), 'x')};
    }
    co_return LineReply{line.starts_with("echo ") ? line.substr(5) : line, line == "end"};
}

void RunningServer::wait(Async<void> operation) {
    boost::asio::co_spawn(context, std::move(operation), boost::asio::use_future).get();
}

void RunningServer::end() {
    work.reset();
    thread.join();
}

RawPeer::RawPeer(const std::filesystem::path& path) : descriptor(newSocket()) {
    sockaddr_un address = addressOf(path);
    EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
}

RawPeer RawPeer::accepted(int listener) {
    return RawPeer(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
}

void RawPeer::close() {
    if (descriptor >= 0) {
        ::close(std::exchange(descriptor, -1));
    }
}

void RawPeer::finishSending() {
    ::shutdown(descriptor, SHUT_WR);
}

void RawPeer::send(std::string_view text) {
    EXPECT_EQ(::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), text.size());
}

bool RawPeer::receive() {
    std::array<char, 65536> chunk;
    ssize_t count = ::recv(descriptor, chunk.data(), chunk.size(), 0);
    received.append(chunk.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

std::string RawPeer::readAll() {
    while (receive()) {
    }
    return std::exchange(received, {});
}

std::string RawPeer::readLine() {
    size_t searched = 0;
    size_t end = 0;
    while ((end = received.find('\n', searched)) == std::string::npos) {
        searched = received.size();
        if (!receive()) {
            return std::exchange(received, {});
        }
    }
    std::string line = received.substr(0, end);
    received.erase(0, end + 1);
    return line;
}

int rawListener(const std::filesystem::path& path, int room) {
    int listener = newSocket();
    sockaddr_un address = addressOf(path);
    EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener, room), 0);
    return listener;
}

}  // namespace marlet
