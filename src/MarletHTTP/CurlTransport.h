#pragma once

#include <memory>
#include <optional>
#include <string>

#include "MarletBase/Clock.h"
#include "MarletHTTP/HTTPTransport.h"

namespace marlet {

// The network: libcurl's multi interface on a thread of its own, without cookies, credentials or a cache of its own.
//
// Redirects are followed, but never from https to http, and never with credentials to another host, port or scheme.
// Nothing is sent twice: what isn't a GET goes over a fresh connection, since a reused one may die after the request
// was read. Safe from any executor; the caller resumes on its own. Throws NetworkError.
class CurlTransport final : public HTTPTransport {
public:
    struct Options {
        std::string userAgent = "Marlet";
        // A file with the certificate authorities to trust instead of the system's.
        std::optional<std::string> certificateAuthorities = {};
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
    class Loop;
    std::unique_ptr<Loop> loop;
};

}  // namespace marlet
