#include "TestSupport/FakeTransport.h"

#include <boost/asio/post.hpp>

#include "MarletHTTP/NetworkError.h"

namespace marlet {

Async<TransportAnswer> FakeTransport::send(URLRequest request) {
    FakeRequest asked;
    asked.method = requestName(request.method);
    asked.url = request.url.text();
    asked.headers["user-agent"] = "Marlet";
    for (const auto& [name, value] : request.headers) {
        asked.headers[loweredASCII(name)] = value;
    }
    asked.body = request.body.value_or("");
    co_await boost::asio::post(boost::asio::use_awaitable);
    FakeAnswer answer = service.handle(asked);
    if (answer.gate) {
        co_await answer.gate->pass();
    }
    if (answer.delivery != FakeAnswer::Delivery::whole) {
        throw NetworkError(NetworkError::Kind::interrupted, "The connection to the service was cut.");
    }
    co_return TransportAnswer{answer.status, std::move(answer.headers), std::move(answer.body)};
}

}  // namespace marlet
