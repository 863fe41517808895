#pragma once

#include <memory>
#include <optional>
#include <string>

#include "MarletBase/Clock.h"
#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

class CurlLoop;

// The network: libcurl's multi interface on a thread of its own, without cookies, credentials or a cache of its own.
//
// Redirects are followed, but never from https to http, and never with credentials to another host, port or scheme: a
// request that carries some ends there with the server's new address in the error. A redirect never makes a read of a
// write. Nothing is sent twice: what isn't a GET goes over a connection of its own, since a reused one may die after
// the request was read.
//
// A server that leaves a connection idle for the request's time-out, or takes longer than ten minutes for an answer,
// is given up. Waiting for a turn, when many requests go to one server, isn't idleness.
//
// Safe from any executor; the caller resumes on its own. Throws NetworkError, and BackendError::invalidURL for an
// address that isn't one of http or https.
class CurlTransport final : public HTTPTransport {
public:
    struct Options {
        std::string userAgent = "Marlet";
        // A file with the certificate authorities to trust instead of the system's.
        std::optional<std::string> certificateAuthorities = {};
        // Of the body as decoded.
        size_t maximalBodySize = size_t(256) << 20;
    };

    explicit CurlTransport(std::shared_ptr<Clock> clock);
    CurlTransport(std::shared_ptr<Clock> clock, Options options);
    CurlTransport(const CurlTransport&) = delete;
    CurlTransport& operator=(const CurlTransport&) = delete;
    // Destroy it only when no request is under way any more.
    ~CurlTransport() override;

    // One for the whole process, made when it is first asked for.
    static std::shared_ptr<CurlTransport> shared();

    Async<TransportAnswer> send(URLRequest request) override;

private:
    std::shared_ptr<Clock> clock;
    Options options;
    std::unique_ptr<CurlLoop> loop;
};

}  // namespace marlet
