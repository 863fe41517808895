#pragma once

#include <curl/curl.h>

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "MarletHTTP/CurlTransferInternal.h"

namespace marlet {

// The thread that moves the bytes of all transfers. Everything of libcurl happens on it. Each server is asked for a few
// things at a time, in the order of asking. Its destructor gives up what is still under way.
class CurlLoop {
public:
    CurlLoop();
    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;
    ~CurlLoop();

    // From any thread. The transfer's `onEnd` is called once, on the loop's thread.
    void start(std::shared_ptr<CurlTransfer> transfer);
    // From any thread, after its start. It ends abandoned, unless it has ended already.
    void abort(const std::shared_ptr<CurlTransfer>& transfer);

private:
    using Transfers = std::vector<std::shared_ptr<CurlTransfer>>;

    void work();
    // False when the loop is to end.
    bool takeOrders();
    void add(std::shared_ptr<CurlTransfer> transfer);
    void run(const std::shared_ptr<CurlTransfer>& transfer);
    void runWaiting(const std::string& server);
    void giveUp(const std::shared_ptr<CurlTransfer>& transfer);
    void giveUpAll();
    void finishDone();
    static void end(const std::shared_ptr<CurlTransfer>& transfer);

    struct Server {
        size_t running = 0;
        std::deque<std::shared_ptr<CurlTransfer>> waiting;
    };

    // Of the loop's thread.
    CURLM* multi;
    CURLSH* sessions;
    std::unordered_map<std::string, Server> servers;  // that have something to do
    std::unordered_map<CurlTransfer*, CURL*> handles;
    std::unordered_map<CURL*, std::shared_ptr<CurlTransfer>> running;

    std::mutex lock;
    Transfers arrivals;
    Transfers departures;
    bool isEnding = false;
    std::thread thread;  // last: it uses all of the above
};

}  // namespace marlet
