#pragma once

#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <functional>
#include <string>

#include "MarletIPC/LineServer.h"
#include "MarletWorkspace/HelperMessages.h"

namespace marlet {

// Carries out requests on threads of their own, since a request blocks for as long as its commands run. A request that
// finds them all busy waits for its turn.
class RequestThreads {
public:
    using Handle = std::function<HelperReply(const HelperRequest& request)>;

    // `handle` is called on several threads at once.
    RequestThreads(Handle handle, size_t count);
    RequestThreads(const RequestThreads&) = delete;
    RequestThreads& operator=(const RequestThreads&) = delete;
    // Every answer must have come.
    ~RequestThreads();

    // What a LineServer offers with it. A line that can't be read is told so, and ends its session.
    LineService service();

    // Runs `work` beside the requests, on a thread that isn't one of theirs.
    static Async<void> runAside(std::function<void()> work);

private:
    Async<LineReply> answer(std::string line);

    Handle handle;
    boost::asio::thread_pool threads;
};

}  // namespace marlet
