#include "ServerScenario.h"

#include <boost/asio/use_future.hpp>
#include <filesystem>
#include <iterator>

namespace marlet {
namespace {

Async<OutgoingResponse> echoed(IncomingRequest request) {
    co_return OutgoingResponse::text(request.method + " " + request.path + ": " + request.body, 200);
}

}  // namespace

ServerScenario::ServerScenario(LocalHTTPServer::Handler handler, int threadCount)
    : server(nullptr), work(context.get_executor()) {
    server = std::make_unique<LocalHTTPServer>(executor(), std::move(handler));
    for (int index = 0; index < threadCount; ++index) {
        threads.emplace_back([this] { context.run(); });
    }
    port = wait(server->start(0));
}

ServerScenario::~ServerScenario() {
    stopAndDrain();
    server = nullptr;
    work.reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void ServerScenario::stopAndDrain() {
    if (server) {
        server->stop();
        wait(server->drain());
    }
}

LocalHTTPServer::Handler echo() {
    return [](IncomingRequest request) { return echoed(std::move(request)); };
}

std::string get(const std::string& path, const std::string& headers) {
    return "GET " + path + " HTTP/1.1\r\n" + headers + "\r\n";
}

std::string post(const std::string& path, const std::string& body) {
    return "POST " + path + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

size_t openDescriptorCount() {
    using Files = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Files("/proc/self/fd"), Files()));
}

}  // namespace marlet
