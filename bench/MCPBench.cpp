#include <benchmark/benchmark.h>
#include <sched.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write.hpp>
#include <memory>
#include <string>
#include <thread>

#include "LoopbackAgent.h"
#include "MarletMCP/LocalHTTPServer.h"
#include "MarletMCP/MCPHTTPEndpoint.h"

namespace marlet {
namespace {

using boost::asio::ip::tcp;

const std::string pingBody = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
const std::string pingRequest =
    "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1:8123\r\nAuthorization: Bearer secret\r\n"
    "Accept: application/json, text/event-stream\r\nContent-Type: application/json\r\n"
    "MCP-Protocol-Version: 2025-11-25\r\nContent-Length: " +
    std::to_string(pingBody.size()) + "\r\n\r\n" + pingBody;

// A loop on a thread of its own.
class LoopThread {
public:
    LoopThread() : work(context.get_executor()), thread([this] { context.run(); }) {}
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;
    ~LoopThread() { end(); }

    // What was to be done is left undone.
    void end() {
        context.stop();
        if (thread.joinable()) {
            thread.join();
        }
    }

    boost::asio::io_context context{1};

private:
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work;
    std::thread thread;
};

// Sends back what comes in, as directly as Asio can: one connection, one buffer, no coroutines.
class BareEcho {
public:
    explicit BareEcho(boost::asio::io_context& context)
        : acceptor(context, {boost::asio::ip::address_v4::loopback(), 0}), socket(context) {
        acceptor.async_accept(socket, [this](boost::system::error_code failure) {
            if (!failure) {
                socket.set_option(tcp::no_delay(true));
                read();
            }
        });
    }

    uint16_t port() const { return acceptor.local_endpoint().port(); }

private:
    void read() {
        socket.async_read_some(boost::asio::buffer(buffer), [this](boost::system::error_code failure, size_t count) {
            if (!failure) {
                write(count);
            }
        });
    }

    void write(size_t count) {
        boost::asio::async_write(socket, boost::asio::buffer(buffer, count),
                                 [this](boost::system::error_code failure, size_t) {
                                     if (!failure) {
                                         read();
                                     }
                                 });
    }

    tcp::acceptor acceptor;
    tcp::socket socket;
    std::array<char, 65536> buffer;
};

// Client and server on one core. On two, each exchange would wake a sleeping core or not as the kernel places the
// threads, and that costs more than all that is measured here.
void stayOnOneCore() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<size_t>(::sched_getcpu()), &cores);
    ::sched_setaffinity(0, sizeof cores, &cores);
}

// An agent that asks again and again on one connection. Baseline: a bare echo of the same bytes. The two take turns,
// so that both meet the same weather.
void ping(benchmark::State& state) {
    constexpr int roundsPerTurn = 500;
    stayOnOneCore();
    LoopThread serverLoop;
    MCPHTTPEndpoint served(serverLoop.context.get_executor(), MCPServer("marlet", "1", "", {}), "secret");
    LocalHTTPServer server(served.serialStrand(),
                           [&served](IncomingRequest request) { return served.handle(std::move(request)); });
    uint16_t port = boost::asio::co_spawn(serverLoop.context, server.start(0), boost::asio::use_future).get();
    LoopThread echoLoop;
    BareEcho echo(echoLoop.context);
    LoopbackAgent client(port);
    LoopbackAgent echoClient(echo.port());
    IncomingRequest asked("POST", "/mcp", {{"host", "localhost"}, {"authorization", "Bearer secret"}}, pingBody);
    OutgoingResponse answer =
        boost::asio::co_spawn(serverLoop.context, served.handle(asked), boost::asio::use_future).get();
    size_t answerSize = answer.head(true).size() + answer.body.size();

    double pingSeconds = 0;
    double echoSeconds = 0;
    for (auto _ : state) {
        double turn = client.exchange(pingRequest, answerSize, roundsPerTurn);
        echoSeconds += echoClient.exchange(pingRequest, pingRequest.size(), roundsPerTurn);
        pingSeconds += turn;
        state.SetIterationTime(turn);
    }

    double requests = static_cast<double>(state.iterations()) * roundsPerTurn;
    state.counters["pings/s"] = requests / pingSeconds;
    state.counters["echoes/s"] = requests / echoSeconds;
    state.counters["ratio"] = echoSeconds / pingSeconds;
    server.stop();
    boost::asio::co_spawn(serverLoop.context, server.drain(), boost::asio::use_future).get();
    echoLoop.end();
}
BENCHMARK(ping)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace
}  // namespace marlet
