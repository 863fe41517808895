#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "MarletBase/LocalizedError.h"
#include "MarletHTTP/CurlTransferInternal.h"
#include "MarletHTTP/RedirectInternal.h"

namespace marlet {
namespace {

constexpr long receiveBuffer = 128L << 10;
constexpr size_t longestHead = size_t(300) << 10;
// A promised length isn't believed beyond this until the bytes are there.
constexpr size_t largestReserve = size_t(64) << 20;

template <class Value>
void set(CURL* handle, CURLoption option, Value value) {
    CURLcode code = curl_easy_setopt(handle, option, value);
    if (code == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    if (code != CURLE_OK) {
        programmingError("The network library lacks an option.");
    }
}

long information(CURL* handle, CURLINFO what) {
    long value = 0;
    curl_easy_getinfo(handle, what, &value);
    return value;
}

// libcurl leaves the line end on a header without a value.
std::string_view trimmed(std::string_view value) {
    constexpr std::string_view blanks = " \t\r\n";
    size_t start = std::min(value.find_first_not_of(blanks), value.size());
    return value.substr(start, value.find_last_not_of(blanks) + 1 - start);
}

}  // namespace

// What libcurl calls on the loop's thread.
class CurlTransfer::Callbacks {
public:
    static size_t body(const char* bytes, size_t, size_t count, void* transfer) {
        return of(transfer).append(bytes, count) ? count : 0;
    }

    static size_t head(const char*, size_t, size_t count, void* transfer) {
        CurlTransfer& self = of(transfer);
        self.moved.store(true, std::memory_order_relaxed);
        self.headSize += count;
        if (self.headSize > longestHead) {
            self.failure.sizeLimit = longestHead;
            return 0;
        }
        return count;
    }

    static int progress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
        CurlTransfer& self = of(transfer);
        if (self.transferred != received + sent) {
            self.transferred = received + sent;
            self.moved.store(true, std::memory_order_relaxed);
        }
        return 0;
    }

private:
    static CurlTransfer& of(void* transfer) { return *static_cast<CurlTransfer*>(transfer); }
};

CurlTransfer::CurlTransfer(URLRequest requestToSend, CurlTransport::Options transportOptions)
    : request(std::move(requestToSend)), options(std::move(transportOptions)) {}

CurlTransfer::~CurlTransfer() {
    release();
}

std::string CurlTransfer::server() const {
    return (request.url.components().scheme == "https" ? "https://" : "http://") + serverOf(request.url);
}

CURL* CurlTransfer::prepare(CURLSH* sharedSessions) {
    handle = curl_easy_init();
    if (!handle) {
        throw std::bad_alloc();
    }
    setUpConnection(sharedSessions);
    setUpRequest();
    setUpCallbacks();
    moved.store(true, std::memory_order_relaxed);
    begun.store(true, std::memory_order_relaxed);
    return handle;
}

void CurlTransfer::setUpConnection(CURLSH* sharedSessions) {
    set(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    set(handle, CURLOPT_FOLLOWLOCATION, 0L);
    set(handle, CURLOPT_HTTP09_ALLOWED, 0L);
    set(handle, CURLOPT_NOSIGNAL, 1L);
    // Without this, giving up a name look-up would hold up every other transfer until the resolver has answered.
    set(handle, CURLOPT_QUICK_EXIT, 1L);
    set(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    set(handle, CURLOPT_BUFFERSIZE, receiveBuffer);
    set(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(handle, CURLOPT_SHARE, sharedSessions);
    if (options.certificateAuthorities) {
        set(handle, CURLOPT_CAINFO, options.certificateAuthorities->c_str());
        set(handle, CURLOPT_CAPATH, static_cast<char*>(nullptr));
    }
    // The caller's clock measures the time-out. This one makes several addresses of a host share it.
    auto timeout = std::chrono::duration_cast<std::chrono::milliseconds>(request.timeout);
    set(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(timeout.count(), 1)));

    if (request.method == HTTPMethod::get) {
        set(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    } else {
        // libcurl repeats what went out on a reused connection that died, and what an HTTP/2 server refused. A write
        // has a connection of its own, of a protocol without refusals, so that it can't be carried out twice.
        set(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(handle, CURLOPT_FRESH_CONNECT, 1L);
        set(handle, CURLOPT_FORBID_REUSE, 1L);
    }
}

void CurlTransfer::setUpRequest() {
    set(handle, CURLOPT_URL, request.url.text().c_str());
    set(handle, CURLOPT_PATH_AS_IS, 1L);
    set(handle, CURLOPT_USERAGENT, options.userAgent.c_str());
    set(handle, CURLOPT_ACCEPT_ENCODING, "");  // all that can be decoded
    set(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options.maximalBodySize));
    if (request.body || (request.method != HTTPMethod::get && request.method != HTTPMethod::delete_)) {
        set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body ? request.body->size() : 0));
        set(handle, CURLOPT_POSTFIELDS, request.body ? request.body->c_str() : "");
    }
    set(handle, CURLOPT_CUSTOMREQUEST, std::string(requestName(request.method)).c_str());

    auto add = [this](const std::string& line) {
        curl_slist* longer = curl_slist_append(headerList, line.c_str());
        if (!longer) {
            throw std::bad_alloc();
        }
        headerList = longer;
    };
    for (const auto& [name, value] : request.headers) {
        add(value.empty() ? name + ";" : fmt::format("{}: {}", name, value));
    }
    // A header without a value is one that libcurl leaves out.
    add("Expect:");
    if (!request.headers.contains("Content-Type")) {
        add("Content-Type:");
    }
    set(handle, CURLOPT_HTTPHEADER, headerList);
}

void CurlTransfer::setUpCallbacks() {
    set(handle, CURLOPT_PRIVATE, this);
    set(handle, CURLOPT_WRITEFUNCTION, &Callbacks::body);
    set(handle, CURLOPT_WRITEDATA, this);
    set(handle, CURLOPT_HEADERFUNCTION, &Callbacks::head);
    set(handle, CURLOPT_HEADERDATA, this);
    set(handle, CURLOPT_NOPROGRESS, 0L);
    set(handle, CURLOPT_XFERINFOFUNCTION, &Callbacks::progress);
    set(handle, CURLOPT_XFERINFODATA, this);
}

bool CurlTransfer::append(const char* bytes, size_t count) {
    moved.store(true, std::memory_order_relaxed);
    if (count > options.maximalBodySize - answer.body.size()) {
        failure.sizeLimit = options.maximalBodySize;
        return false;
    }
    try {
        if (answer.body.empty()) {
            curl_off_t promised = 0;
            curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &promised);
            answer.body.reserve(std::clamp<size_t>(promised > 0 ? static_cast<size_t>(promised) : 0, count,
                                                   std::max(largestReserve, count)));
        }
        answer.body.append(bytes, count);
    } catch (const std::bad_alloc&) {
        failure.code = CURLE_OUT_OF_MEMORY;
        return false;
    }
    return true;
}

void CurlTransfer::finish(CURLcode code) {
    if (failure.code == CURLE_OK) {
        failure.code = code;
    }
    if (code == CURLE_FILESIZE_EXCEEDED) {
        failure.sizeLimit = options.maximalBodySize;
    }
    if (!handle) {
        return;
    }
    failure.certificateProblem = information(handle, CURLINFO_SSL_VERIFYRESULT);
    failure.systemError = information(handle, CURLINFO_OS_ERRNO);
    if (code == CURLE_OK) {
        answer.status = static_cast<int>(information(handle, CURLINFO_RESPONSE_CODE));
        takeHeaders();
        const char* target = nullptr;
        curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &target);
        redirectTarget = target ? std::optional<std::string>(target) : std::nullopt;
    }
    release();
}

void CurlTransfer::takeHeaders() {
    // Of the last answer alone: none of an interim one, of a proxy, or behind the body.
    curl_header* header = nullptr;
    while ((header = curl_easy_nextheader(handle, CURLH_HEADER, -1, header)) != nullptr) {
        answer.headers.emplace_back(header->name, trimmed(header->value));
    }
}

void CurlTransfer::abandon() {
    isAbandoned = true;
    release();
}

void CurlTransfer::release() {
    curl_easy_cleanup(handle);
    curl_slist_free_all(headerList);
    handle = nullptr;
    headerList = nullptr;
}

TransportAnswer CurlTransfer::takeAnswer() {
    if (failure.code != CURLE_OK) {
        std::rethrow_exception(networkError(failure, serverOf(request.url)));
    }
    return std::move(answer);
}

}  // namespace marlet
