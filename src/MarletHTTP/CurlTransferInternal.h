#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "MarletHTTP/CurlFailureInternal.h"
#include "MarletHTTP/CurlTransport.h"

namespace marlet {

// One request on its way, without following redirects.
//
// It belongs to the loop's thread from its start until its end is told, and to the caller before and after. The marks
// of progress may be read at any time.
class CurlTransfer {
public:
    CurlTransfer(URLRequest request, CurlTransport::Options options);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;
    ~CurlTransfer();

    // For the loop.
    std::string server() const;
    CURL* prepare(CURLSH* sharedSessions);
    void finish(CURLcode code);
    void abandon();
    std::function<void()> onEnd;

    // For the caller, once it has ended. An abandoned one has no answer.
    bool wasAbandoned() const { return isAbandoned; }
    // Throws NetworkError or BackendError::invalidResponse when no answer came.
    TransportAnswer takeAnswer();
    // Where the server points to, as an absolute URL; no value if it doesn't, or to nowhere that can be read.
    const std::optional<std::string>& target() const { return redirectTarget; }

    // Whether it is on the wire, instead of waiting for its turn.
    bool hasBegun() const { return begun.load(std::memory_order_relaxed); }
    // Whether something has moved since this was last asked.
    bool takeProgress() { return moved.exchange(false, std::memory_order_relaxed); }

private:
    class Callbacks;

    void setUpConnection(CURLSH* sharedSessions);
    void setUpRequest();
    void setUpCallbacks();
    bool append(const char* bytes, size_t count);
    void takeHeaders();
    void release();

    URLRequest request;
    CurlTransport::Options options;
    CURL* handle = nullptr;
    curl_slist* headerList = nullptr;
    size_t headSize = 0;
    curl_off_t transferred = 0;
    TransportAnswer answer;
    std::optional<std::string> redirectTarget;
    CurlFailure failure;
    bool isAbandoned = false;
    std::atomic<bool> begun = false;
    std::atomic<bool> moved = false;
};

}  // namespace marlet
