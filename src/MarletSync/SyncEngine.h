#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
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

// Keeps the store in step with the services, with as few requests as it can. One pass or exclusive operation at a
// time; the others wait in line, first come first served.
//
// Safe to call from any executor; its state lives on a strand of the one it is given. Destroy it only when no operation
// is under way any more: await drain() after stop().
class SyncEngine {
public:
    using Policy = SyncPolicy;
    enum class Mode { delta, full };
    using BackendProvider = std::function<Async<std::shared_ptr<TaskBackend>>(Account)>;
    using ChangeHandler = std::function<Async<void>(std::vector<RemoteChange>)>;

    // `store` and `clock` outlive the engine. Nothing starts here.
    SyncEngine(Executor executor, TaskStore& store, Clock& clock, Policy policy, BackendProvider backend);
    SyncEngine(const SyncEngine&) = delete;
    SyncEngine& operator=(const SyncEngine&) = delete;
    ~SyncEngine();

    // Called with the changes of each fetch that has any, and waited for.
    Async<void> setChangeHandler(ChangeHandler handler);
    // Longer intervals from the next decision on.
    Async<void> setRelaxed(bool relaxed);

    // The background loop. Starting it twice makes one loop. A pass that runs while it is stopped ends at its own pace.
    Async<void> start();
    Async<void> stop();
    // Waits until a loop that was stopped and every pass have ended.
    Async<void> drain();

    // One automatic pass, unless something runs already.
    Async<void> tick(Date now);

    // One pass over all accounts, one account, or one subscribed project of it. Failures are kept on the rows that
    // they concern; nothing is thrown.
    Async<void> syncNow(std::optional<UUID> accountID, std::optional<std::string> projectID, Mode mode, Date now);
    // Throws StoreError::accountNotFound and what the backend throws.
    Async<void> refreshProjects(UUID accountID, Date now);
    // Sends what waits. Throws nothing.
    Async<void> pushNow(UUID accountID, Date now);

    Async<void> resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID);
    Async<void> clearRejections(UUID accountID);

    // Runs `body` with no pass at the same time; rethrows what it throws.
    Async<void> runExclusively(std::function<Async<void>()> body);

private:
    class State;
    std::shared_ptr<State> state;
};

}  // namespace marlet
