#include "MarletHelper/RequestThreads.h"

#include "MarletBase/JSONText.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

// A wrong value stands in the message, and a value may be as long as a line.
constexpr size_t longestMessage = 2000;

struct TransportError {
    std::string message;
};
BOOST_DESCRIBE_STRUCT(TransportError, (), (message))

struct TransportErrorLine {
    TransportError transportError;
};
BOOST_DESCRIBE_STRUCT(TransportErrorLine, (), (transportError))

std::string transportError(const std::string& message) {
    std::string line;
    appendJSON(line, TransportErrorLine{{repairedUTF8(message.substr(0, longestMessage))}});
    return line;
}

std::string lineFor(const HelperReply& reply) {
    std::string line = reply.line();
    if (line.size() > maximumLineLength) {
        return HelperReply{HelperReply::Failure{"The answer is too long to be sent."}}.line();
    }
    return line;
}

LineReply answerTo(const RequestThreads::Handle& handle, const std::string& line) {
    HelperRequest request;
    try {
        request = HelperRequest::parse(line);
    } catch (...) {
        return {transportError(localizedDescription(std::current_exception())), true};
    }
    try {
        return {lineFor(handle(request))};
    } catch (...) {
        return {HelperReply{HelperReply::Failure{localizedDescription(std::current_exception())}}.line()};
    }
}

Async<LineReply> answerHere(const RequestThreads::Handle& handle, std::string line) {
    co_return answerTo(handle, line);
}

Async<void> runHere(std::function<void()> work) {
    work();
    co_return;
}

}  // namespace

RequestThreads::RequestThreads(Handle handleRequest, size_t count) : handle(std::move(handleRequest)), threads(count) {}

RequestThreads::~RequestThreads() {
    threads.join();
}

LineService RequestThreads::service() {
    return {[this](std::string line) { return answer(std::move(line)); }, transportError("The request is too long."),
            transportError("The helper is being stopped.")};
}

Async<LineReply> RequestThreads::answer(std::string line) {
    co_return co_await boost::asio::co_spawn(threads, answerHere(handle, std::move(line)), boost::asio::use_awaitable);
}

Async<void> RequestThreads::runAside(std::function<void()> work) {
    boost::asio::thread_pool aside(1);
    co_await boost::asio::co_spawn(aside, runHere(std::move(work)), boost::asio::use_awaitable);
}

}  // namespace marlet
