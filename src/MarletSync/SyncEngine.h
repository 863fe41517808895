#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "MarletBase/Async.h"
#include "MarletBase/Clock.h"
#include "MarletCore/TaskBackend.h"
#include "MarletStore/TaskStore.h"

namespace marlet {

// Intervals are seconds.
struct SyncPolicy {
    std::chrono::duration<double> tickInterval{30};
    double deltaInterval = 180;
    double maxDeltaInterval = 1800;
    double fullInterval = 7200;
    double projectRefreshInterval = 86400;
    int64_t maxFetchesPerTick = 9;
    double rateLimitBackoff = 900;
    double relaxedFactor = 4;
    double probeOverlap = 600;
    double hintInterval = 180;
    double rejectionRetryInterval = 86400;
    double safetyFullInterval = 86400;

    bool operator==(const SyncPolicy&) const = default;
};

// The project that a pass fetches, and its place among those of its account.
struct SyncProgress {
    UUID accountID;
    std::string projectID;
    int64_t number = 0;  // from 1
    int64_t count = 0;

    bool operator==(const SyncProgress&) const = default;
};

// Keeps the store in step with the services, with as few requests as it can. One pass or exclusive operation at a
// time; the others wait in line, first come first served.
//
// Safe to call from any executor; its state lives on a strand of the one it is given, and so do the calls of backends,
// change handler and exclusive bodies. An operation that has begun runs to its end, also when its caller is cancelled.
// Before the executor, the store or the clock goes: stop(), then await drain().
class SyncEngine {
public:
    using Policy = SyncPolicy;
    enum class Mode { delta, full };
    // Fails like a request does: with BackendError::unauthorized for an account without a token, for one.
    using BackendProvider = std::function<Async<std::shared_ptr<TaskBackend>>(Account)>;
    using ChangeHandler = std::function<Async<void>(std::vector<RemoteChange>)>;

    // `store` and `clock` outlive the engine. Nothing starts here.
    SyncEngine(Executor executor, TaskStore& store, Clock& clock, Policy policy, BackendProvider backend);
    SyncEngine(const SyncEngine&) = delete;
    SyncEngine& operator=(const SyncEngine&) = delete;
    ~SyncEngine();

    // Called with the changes of each fetch that has any, and waited for. What it throws is lost.
    Async<void> setChangeHandler(ChangeHandler handler);
    // Longer intervals from the next decision on.
    Async<void> setRelaxed(bool relaxed);

    // The background loop: a pass at once, then one `tickInterval` after the end of the last. Starting it twice makes
    // one loop. A pass that runs while it is stopped ends at its own pace.
    Async<void> start();
    Async<void> stop();
    // Waits until a loop that was stopped, every pass and every exclusive operation have ended.
    Async<void> drain();

    // One automatic pass, unless something runs already.
    Async<void> tick(Date now);

    // One pass over all accounts, one account, or one subscribed project of it. Failures are kept on the rows that
    // they concern; nothing is thrown.
    Async<void> syncNow(std::optional<UUID> accountID, std::optional<std::string> projectID, Mode mode, Date now);
    // Throws StoreError::accountNotFound and what the backend throws, which the account says as well.
    Async<void> refreshProjects(UUID accountID, Date now);
    // What the pass that runs is at; no value between passes, and while one does anything else than fetch.
    Async<std::optional<SyncProgress>> progress();
    // Sends what waits, unless the account is blocked by a rate limit. Throws nothing.
    Async<void> pushNow(UUID accountID, Date now);

    // Forgets how quiet a project and its account were, or without both how quiet everything was. Throws nothing.
    Async<void> resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID);
    // Lets the next pass ask for probes and hints again. Throws nothing.
    Async<void> clearRejections(UUID accountID);

    // Runs `body` with no pass at the same time; gives what it gives and rethrows what it throws. A body that waits for
    // a pass or another exclusive operation waits for ever.
    Async<void> runExclusively(std::function<Async<void>()> body);
    template <class Body>
        requires(!std::is_void_v<typename std::invoke_result_t<Body&>::value_type>)
    std::invoke_result_t<Body&> runExclusively(Body body);

private:
    class State;
    std::shared_ptr<State> state;
};

namespace detail {

template <class Result, class Body>
Async<void> keepResult(std::shared_ptr<Body> body, std::shared_ptr<std::optional<Result>> kept) {
    kept->emplace(co_await (*body)());
}

}  // namespace detail

template <class Body>
    requires(!std::is_void_v<typename std::invoke_result_t<Body&>::value_type>)
std::invoke_result_t<Body&> SyncEngine::runExclusively(Body body) {
    using Result = typename std::invoke_result_t<Body&>::value_type;
    auto kept = std::make_shared<std::optional<Result>>();
    auto shared = std::make_shared<Body>(std::move(body));
    std::function<Async<void>()> keeping = [shared, kept] { return detail::keepResult<Result>(shared, kept); };
    co_await runExclusively(std::move(keeping));
    co_return std::move(**kept);
}

}  // namespace marlet
