#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>

#include "MarletBase/Async.h"
#include "MarletWorkspace/HelperMessages.h"

namespace marlet {

// Whether a socket is there that the user made. Requests carry tokens, and not everybody's runtime folder is their own.
bool isSocketOf(uid_t user, const std::filesystem::path& path);

// The way to the helper, which runs git and the agents' programs: the session's own where one answers, or else a child
// of this process.
//
// The child is started when it is first needed, and again when it has gone. It ends with this process, however that
// ends, and a Ctrl-C on the terminal doesn't reach it. To be used on the executor it was given, a loop of one thread.
// Before it goes: await drain().
class HelperConnection {
public:
    // `childSocket`: where a child shall listen.
    HelperConnection(Executor executor, std::filesystem::path childSocket);
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;
    ~HelperConnection();

    // Requests may be under way side by side. One takes as long as its commands run, for a clone up to a quarter of an
    // hour. Throws CommandError: with the helper's own text for what it couldn't do, or for a helper that can't be
    // started, that ends before it answers, or that answers with what can't be understood. May be cancelled.
    Async<HelperReply> ask(HelperRequest request);

    enum class Way { service, child };
    // Who answered the last request.
    Way way() const;

    // Ends what is under way, the commands of a child included: every ask, now and later, throws that Marlet stops.
    void stop();
    // Stops, and waits until the child has gone.
    Async<void> drain();

private:
    class State;
    std::unique_ptr<State> state;
};

}  // namespace marlet
