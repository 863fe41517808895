// Both ends of a line for tests: a server that runs beside them, and a peer that keeps to no rules.
#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "MarletIPC/InheritedListener.h"
#include "MarletIPC/LineServer.h"

namespace marlet {

// A server on a thread of its own. "echo X" is answered with X, "long N" with N letters, "wait" once release() is
// called, "end" ends the session, "throw" is a failure, and anything else is given back.
class RunningServer {
public:
    explicit RunningServer(std::filesystem::path path);
    explicit RunningServer(InheritedListener inherited);
    ~RunningServer();

    void stop();
    // With nothing in between that the server could do.
    void stopAfter(const std::function<void()>& event);
    void drain(std::chrono::duration<double> time);
    void release();
    // Until so many lines wait to be released.
    void waitUntilWaiting(int count = 1) const;

private:
    RunningServer();
    void listen(Async<void> listening);
    Async<LineReply> answer(std::string line);
    void wait(Async<void> operation);
    void end();

    boost::asio::io_context context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work = make_work_guard(context);
    boost::asio::steady_timer gate;
    std::atomic<int> waiting{0};
    LineServer server;
    std::thread thread;
};

// A peer of a server or a client that keeps to no rules.
class RawPeer {
public:
    // Connects to whoever listens at `path`.
    explicit RawPeer(const std::filesystem::path& path);
    // What `listener` lets in.
    static RawPeer accepted(int listener);
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;
    ~RawPeer() { close(); }

    void close();
    // Says that it sends no more.
    void finishSending();
    void send(std::string_view text);
    // Takes some of what comes, for who reads later. False when no more will come.
    bool receive();
    std::string readAll();
    std::string readLine();

private:
    explicit RawPeer(int connected) : descriptor(connected) {}

    int descriptor;
    std::string received;
};

// A socket that listens at `path`, where so many may wait to be let in; the caller closes it.
int rawListener(const std::filesystem::path& path, int room = 16);

}  // namespace marlet
