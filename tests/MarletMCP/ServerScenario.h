#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "MarletMCP/LocalHTTPServer.h"
#include "TestSupport/LoopbackClient.h"

namespace marlet {

// A server that runs on threads of its own while the test is its client.
class ServerScenario {
public:
    explicit ServerScenario(LocalHTTPServer::Handler handler, int threadCount = 2);
    ServerScenario(const ServerScenario&) = delete;
    ServerScenario& operator=(const ServerScenario&) = delete;
    // Stops and drains: a test whose server doesn't end doesn't end either.
    ~ServerScenario();

    LoopbackClient client() const { return LoopbackClient(port); }
    Executor executor() { return context.get_executor(); }

    // Waits for an operation that runs on the scenario's threads.
    template <class T>
    T wait(Async<T> operation) {
        return boost::asio::co_spawn(context, std::move(operation), boost::asio::use_future).get();
    }

    void stopAndDrain();
    // Destroys the server while its threads go on.
    void drop() { server = nullptr; }

    uint16_t port = 0;
    std::unique_ptr<LocalHTTPServer> server;

private:
    boost::asio::io_context context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work;
    std::vector<std::thread> threads;
};

// Answers with "METHOD path: body".
LocalHTTPServer::Handler echo();

std::string get(const std::string& path, const std::string& headers = "");
std::string post(const std::string& path, const std::string& body);

size_t openDescriptorCount();

}  // namespace marlet
