#include "MarletHTTP/CurlTransport.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/async_result.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/post.hpp>
#include <mutex>

#include "MarletCore/BackendError.h"
#include "MarletHTTP/CurlLoopInternal.h"
#include "MarletHTTP/CurlTransferInternal.h"
#include "MarletHTTP/NetworkError.h"
#include "MarletHTTP/RedirectInternal.h"

namespace marlet {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr int mostRedirects = 10;
// Idleness is counted in so many pieces of the time-out: it is noticed at the latest one piece after the time.
constexpr int piecesOfTimeout = 6;
// From the request to the end of the answer, redirects and the wait for a turn included.
constexpr Seconds longestExchange = std::chrono::minutes(10);

// How long the server's silence is borne. One for all redirects of a request.
struct Patience {
    std::shared_ptr<Clock> clock;
    Seconds timeout;
    Seconds spent{0};
};

void requireSendable(const URLRequest& request) {
    URLComponents components = request.url.text().empty() ? URLComponents() : request.url.components();
    bool isWeb = components.scheme == "https" || components.scheme == "http";
    if (!isWeb || components.host.value_or("").empty()) {
        throw BackendError::invalidURL();
    }
    for (const auto& [name, value] : request.headers) {
        constexpr std::string_view breaks("\r\n\0", 3);
        if (name.find_first_of(breaks) != std::string::npos || value.find_first_of(breaks) != std::string::npos) {
            throw NetworkError(NetworkError::Kind::other,
                               fmt::format("The request to {} can't be sent: the access token or another setting of "
                                           "the account holds a line break. Enter it again.",
                                           serverOf(request.url)));
        }
    }
}

// Returns when the transfer has ended, also when it was abandoned because the caller is cancelled.
Async<void> run(CurlLoop& loop, std::shared_ptr<CurlTransfer> transfer) {
    auto initiate = [&loop, transfer](auto handler) {
        auto executor = boost::asio::get_associated_executor(handler);
        auto slot = boost::asio::get_associated_cancellation_slot(handler);
        auto guard = boost::asio::make_work_guard(executor);
        if (slot.is_connected()) {
            slot.assign([&loop, transfer](boost::asio::cancellation_type) { loop.abort(transfer); });
        }
        auto waiting = std::make_shared<decltype(handler)>(std::move(handler));
        // The caller may destroy its event loop as soon as it resumes, so it doesn't before this thread has left it.
        auto leaving = std::make_shared<std::mutex>();
        transfer->onEnd = [executor, slot, leaving, guard = std::move(guard), waiting]() mutable {
            std::scoped_lock staying(*leaving);
            auto target = std::move(executor);
            auto work = std::move(guard);
            boost::asio::post(target, [slot, leaving, waiting = std::move(waiting)]() mutable {
                leaving->lock();
                leaving->unlock();
                slot.clear();
                std::move (*waiting)();
            });
        };
        loop.start(transfer);
    };
    co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void()>(std::move(initiate),
                                                                                       boost::asio::use_awaitable);
}

// Returns when the patience is at its end.
Async<void> watch(std::shared_ptr<Patience> patience, std::shared_ptr<CurlTransfer> transfer) {
    Seconds piece = patience->timeout / piecesOfTimeout;
    int idlePieces = 0;
    while (idlePieces < piecesOfTimeout && patience->spent < longestExchange) {
        co_await patience->clock->sleep(piece);
        patience->spent += piece;
        bool isIdle = transfer->hasBegun() && !transfer->takeProgress();
        idlePieces = isIdle ? idlePieces + 1 : 0;
    }
}

Async<void> exchange(CurlLoop& loop, std::shared_ptr<CurlTransfer> transfer, std::shared_ptr<Patience> patience,
                     std::string server) {
    using boost::asio::experimental::awaitable_operators::operator||;
    Async<void> running = run(loop, transfer);
    Async<void> watching = watch(std::move(patience), transfer);
    auto first = co_await (std::move(running) || std::move(watching));
    if (!transfer->wasAbandoned()) {
        co_return;
    }
    if (first.index() == 1) {
        CurlFailure failure;
        failure.code = CURLE_OPERATION_TIMEDOUT;
        std::rethrow_exception(networkError(failure, server));
    }
    throw boost::system::system_error(boost::asio::error::operation_aborted);
}

}  // namespace

CurlTransport::CurlTransport(std::shared_ptr<Clock> transportClock) : CurlTransport(std::move(transportClock), {}) {}

CurlTransport::CurlTransport(std::shared_ptr<Clock> transportClock, Options transportOptions)
    : clock(std::move(transportClock)), options(std::move(transportOptions)), loop(std::make_unique<CurlLoop>()) {}

CurlTransport::~CurlTransport() = default;

std::shared_ptr<CurlTransport> CurlTransport::shared() {
    static const auto transport = [] {
        return std::make_shared<CurlTransport>(std::make_shared<SystemClock>(),
                                               Options{.userAgent = "Marlet/" MARLET_VERSION});
    }();
    return transport;
}

Async<TransportAnswer> CurlTransport::send(URLRequest request) {
    requireSendable(request);
    auto patience = std::make_shared<Patience>(Patience{clock, request.timeout});
    for (int hop = 0; hop <= mostRedirects; ++hop) {
        auto transfer = std::make_shared<CurlTransfer>(request, options);
        co_await exchange(*loop, transfer, patience, serverOf(request.url));
        TransportAnswer answer = transfer->takeAnswer();
        if (!isRedirect(answer.status) || !transfer->target()) {
            co_return answer;
        }
        request = redirected(std::move(request), answer.status, *transfer->target());
    }
    throw NetworkError(NetworkError::Kind::redirect,
                       fmt::format("The server {} sends requests on without end. Check the account's address.",
                                   serverOf(request.url)));
}

}  // namespace marlet
