#pragma once

#include <boost/describe.hpp>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/URL.h"

namespace marlet {

// The method names of a request line are the codes in upper case: requestName gives them.
enum class HTTPMethod { get, post, put, patch, delete_ };
std::string_view requestName(HTTPMethod method);

// Names of headers are told apart without regard to case.
struct HTTPHeaderOrder {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const;
};
using HTTPHeaders = std::map<std::string, std::string, HTTPHeaderOrder>;

struct URLRequest {
    HTTPMethod method = HTTPMethod::get;
    URL url;
    HTTPHeaders headers;
    std::optional<std::string> body;
    // How long the server may leave the connection idle, while connecting and between two pieces of its answer.
    std::chrono::duration<double> timeout{60};
};

struct TransportAnswer {
    int status = 0;
    // As they came, of the final answer only; a name may occur more than once.
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

// The only road to the network. Production: CurlTransport. Tests: ScriptedTransport.
class HTTPTransport {
public:
    virtual ~HTTPTransport() = default;

    // Any HTTP status is an answer. Throws what the network reports when none came, and
    // BackendError::invalidResponse for an answer that isn't HTTP. Cancelling the caller aborts the transfer.
    virtual Async<TransportAnswer> send(URLRequest request) = 0;
};

}  // namespace marlet
