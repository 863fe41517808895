#include "MarletHTTP/CurlLoopInternal.h"

#include <pthread.h>

#include <csignal>
#include <new>
#include <utility>

#include "MarletBase/LocalizedError.h"

namespace marlet {
namespace {

// As browsers do. libcurl could hold them back itself, but its queue has been seen to forget one.
constexpr size_t transfersPerServer = 6;
// For as many accounts as anybody has.
constexpr long idleConnections = 32;
// A wake-up, a socket or a timer of libcurl's ends the wait before this.
constexpr int longestWaitMilliseconds = 60'000;

void initializeLibrary() {
    static const CURLcode outcome = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (outcome != CURLE_OK) {
        programmingError("The network library can't be initialised.");
    }
}

void settleThread() {
    pthread_setname_np(pthread_self(), "marlet-network");
    // Signals are for the threads that wait for them. A peer that is gone must not end the process.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

CurlLoop::CurlLoop() {
    initializeLibrary();
    multi = curl_multi_init();
    sessions = curl_share_init();
    if (!multi || !sessions) {
        throw std::bad_alloc();
    }
    curl_multi_setopt(multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_MULTIPLEX));
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, idleConnections);
    // Fresh connections resume the TLS session of an earlier one. No locks: all is done by one thread.
    curl_share_setopt(sessions, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    thread = std::thread([this] { work(); });
}

CurlLoop::~CurlLoop() {
    {
        std::scoped_lock guard(lock);
        isEnding = true;
    }
    curl_multi_wakeup(multi);
    thread.join();
    curl_multi_cleanup(multi);
    curl_share_cleanup(sessions);
}

void CurlLoop::start(std::shared_ptr<CurlTransfer> transfer) {
    {
        std::scoped_lock guard(lock);
        arrivals.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi);
}

void CurlLoop::abort(const std::shared_ptr<CurlTransfer>& transfer) {
    {
        std::scoped_lock guard(lock);
        departures.push_back(transfer);
    }
    curl_multi_wakeup(multi);
}

void CurlLoop::work() {
    settleThread();
    while (takeOrders()) {
        int count = 0;
        curl_multi_perform(multi, &count);
        finishDone();
        curl_multi_poll(multi, nullptr, 0, longestWaitMilliseconds, nullptr);
    }
    giveUpAll();
}

bool CurlLoop::takeOrders() {
    Transfers arriving;
    Transfers departing;
    bool goesOn = true;
    {
        std::scoped_lock guard(lock);
        arriving = std::exchange(arrivals, {});
        departing = std::exchange(departures, {});
        goesOn = !isEnding;
    }
    for (const auto& transfer : arriving) {
        add(transfer);
    }
    for (const auto& transfer : departing) {
        giveUp(transfer);
    }
    return goesOn;
}

void CurlLoop::add(std::shared_ptr<CurlTransfer> transfer) {
    std::string server = transfer->server();
    servers[server].waiting.push_back(std::move(transfer));
    runWaiting(server);
}

void CurlLoop::runWaiting(const std::string& name) {
    Server& server = servers[name];
    while (!server.waiting.empty() && server.running < transfersPerServer) {
        std::shared_ptr<CurlTransfer> next = std::move(server.waiting.front());
        server.waiting.pop_front();
        run(next);
    }
    if (server.running == 0) {
        servers.erase(name);
    }
}

void CurlLoop::run(const std::shared_ptr<CurlTransfer>& transfer) {
    try {
        CURL* handle = transfer->prepare(sessions);
        if (curl_multi_add_handle(multi, handle) != CURLM_OK) {
            throw std::bad_alloc();
        }
        running.emplace(handle, transfer);
        handles.emplace(transfer.get(), handle);
        ++servers[transfer->server()].running;
    } catch (const std::bad_alloc&) {
        transfer->finish(CURLE_OUT_OF_MEMORY);
        end(transfer);
    }
}

void CurlLoop::giveUp(const std::shared_ptr<CurlTransfer>& transfer) {
    std::string name = transfer->server();
    auto server = servers.find(name);
    if (server == servers.end()) {
        return;  // it has ended meanwhile
    }
    if (auto entry = handles.find(transfer.get()); entry != handles.end()) {
        curl_multi_remove_handle(multi, entry->second);
        running.erase(entry->second);
        handles.erase(entry);
        --server->second.running;
    } else if (std::erase(server->second.waiting, transfer) == 0) {
        return;
    }
    transfer->abandon();
    end(transfer);
    runWaiting(name);
}

void CurlLoop::giveUpAll() {
    for (auto& [name, server] : servers) {
        for (const auto& transfer : std::exchange(server.waiting, {})) {
            transfer->abandon();
            end(transfer);
        }
    }
    while (!running.empty()) {
        giveUp(std::shared_ptr(running.begin()->second));
    }
}

void CurlLoop::finishDone() {
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
        CURL* handle = message->easy_handle;
        CURLcode code = message->data.result;
        curl_multi_remove_handle(multi, handle);
        std::shared_ptr<CurlTransfer> transfer = std::move(running.extract(handle).mapped());
        handles.erase(transfer.get());
        std::string server = transfer->server();
        --servers[server].running;
        transfer->finish(code);
        end(transfer);
        runWaiting(server);
    }
}

void CurlLoop::end(const std::shared_ptr<CurlTransfer>& transfer) {
    std::function<void()> tell = std::exchange(transfer->onEnd, nullptr);
    tell();
}

}  // namespace marlet
