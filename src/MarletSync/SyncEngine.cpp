#include "MarletSync/SyncEngine.h"

#include <boost/asio/detached.hpp>
#include <limits>

#include "MarletCore/BackendError.h"
#include "MarletSync/AccountPassInternal.h"
#include "MarletSync/SyncGateInternal.h"
#include "MarletSync/SyncMemoryInternal.h"

namespace marlet {

// All that the engine is. Whatever runs holds it by a shared_ptr and runs on its strand, where no operation is ever
// cancelled half way: only the loop's sleep is.
class SyncEngine::State {
public:
    State(Executor executor, TaskStore& taskStore, Clock& systemClock, Policy policy, BackendProvider provider)
        : strand(boost::asio::make_strand(executor)),
          store(taskStore),
          clock(systemClock),
          backendProvider(std::move(provider)),
          memory(taskStore, policy) {}

    Async<void> start(std::shared_ptr<State> self);
    Async<void> stop();
    Async<void> drain();
    Async<void> tick(Date now);
    Async<void> syncNow(std::optional<UUID> accountID, std::optional<std::string> projectID, Mode mode, Date now);
    Async<void> refreshProjects(UUID accountID, Date now);
    Async<void> pushNow(UUID accountID, Date now);
    Async<void> runExclusively(std::function<Async<void>()> body);
    Async<void> setChangeHandler(ChangeHandler handler);
    Async<void> setRelaxed(bool relaxed);

    Async<void> resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID);
    Async<void> clearRejections(UUID accountID);
    Async<std::optional<SyncProgress>> progress(std::shared_ptr<State> self);

    // Runs a member's coroutine on the strand, with the state kept alive.
    static Async<void> enter(std::shared_ptr<State> self, Async<void> operation);
    static Async<void> enterUncounted(std::shared_ptr<State> self, Async<void> operation);

private:
    // What drain() waits for lives as long as one of these.
    class Activity {
    public:
        explicit Activity(std::shared_ptr<State> active) : state(std::move(active)) { ++state->activities; }
        Activity(const Activity&) = delete;
        Activity& operator=(const Activity&) = delete;
        ~Activity() {
            if (--state->activities == 0) {
                state->draining.wakeAll();
            }
        }

    private:
        const std::shared_ptr<State> state;
    };

    struct Loop {
        bool isStopped = false;
        boost::asio::cancellation_signal sleepEnd;
    };

    static Async<void> held(std::shared_ptr<State> self, Async<void> operation);
    static Async<void> counted(std::shared_ptr<State> self, Async<void> operation);
    // `activity` keeps the state alive.
    Async<void> runLoop(std::shared_ptr<Loop> own, std::unique_ptr<Activity> activity);
    Async<void> sleepBetweenPasses(std::shared_ptr<Loop> own);

    Async<void> runPass(std::optional<UUID> accountID, Pass pass);
    Async<void> syncAccount(AccountSyncState account, Pass& pass);
    Async<void> replaceProjects(UUID accountID, Date now);
    Async<void> sendPending(UUID accountID);
    Async<std::optional<AccountSyncState>> accountState(UUID accountID);
    Async<std::shared_ptr<TaskBackend>> backend(Account account);
    Async<void> recordFailure(std::exception_ptr error, UUID accountID, Date now);

    const Strand strand;
    TaskStore& store;
    Clock& clock;
    BackendProvider backendProvider;
    ChangeHandler changeHandler;
    SyncMemory memory;
    SyncGate gate;
    std::shared_ptr<Loop> loop;
    int activities = 0;
    WaitingLine draining;
};

// The loop.

Async<void> SyncEngine::State::start(std::shared_ptr<State> self) {
    if (loop) {
        co_return;
    }
    loop = std::make_shared<Loop>();
    auto activity = std::make_unique<Activity>(std::move(self));
    boost::asio::co_spawn(strand, runLoop(loop, std::move(activity)), boost::asio::detached);
}

Async<void> SyncEngine::State::stop() {
    if (loop) {
        loop->isStopped = true;
        loop->sleepEnd.emit(boost::asio::cancellation_type::terminal);
        loop.reset();
    }
    co_return;
}

Async<void> SyncEngine::State::drain() {
    while (activities > 0) {
        co_await draining.wait();
    }
}

Async<void> SyncEngine::State::runLoop(std::shared_ptr<Loop> own, std::unique_ptr<Activity> activity) {
    while (!own->isStopped) {
        Date now = clock.now();
        co_await tick(now);
        if (!own->isStopped) {
            co_await sleepBetweenPasses(own);
        }
    }
    static_cast<void>(activity);
}

Async<void> SyncEngine::State::sleepBetweenPasses(std::shared_ptr<Loop> own) {
    // A coroutine of its own takes the cancellation: one that was cancelled couldn't wait for anything any more.
    auto ending = boost::asio::bind_cancellation_slot(own->sleepEnd.slot(), boost::asio::use_awaitable);
    try {
        co_await boost::asio::co_spawn(strand, clock.sleep(memory.policy.tickInterval), ending);
    } catch (...) {
        // Stopped; the loop looks.
    }
}

// What runs one at a time.

Async<void> SyncEngine::State::tick(Date now) {
    if (gate.isTaken()) {
        co_return;
    }
    SyncGate::Stay stay(gate);
    co_await runPass(std::nullopt, {.now = now, .budget = memory.policy.maxFetchesPerTick});
}

Async<void> SyncEngine::State::runExclusively(std::function<Async<void>()> body) {
    co_await gate.untilFree();
    SyncGate::Stay stay(gate);
    co_await body();
}

Async<void> SyncEngine::State::syncNow(std::optional<UUID> accountID, std::optional<std::string> projectID, Mode mode,
                                       Date now) {
    co_await gate.untilFree();
    SyncGate::Stay stay(gate);
    Pass pass{mode, std::move(projectID), now, std::numeric_limits<int64_t>::max()};
    co_await runPass(accountID, std::move(pass));
}

Async<void> SyncEngine::State::refreshProjects(UUID accountID, Date now) {
    co_await gate.untilFree();
    SyncGate::Stay stay(gate);
    std::exception_ptr failure;
    try {
        co_await replaceProjects(accountID, now);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        co_await recordFailure(failure, accountID, now);
        std::rethrow_exception(failure);
    }
}

Async<void> SyncEngine::State::pushNow(UUID accountID, Date now) {
    co_await gate.untilFree();
    SyncGate::Stay stay(gate);
    if (memory.isBlocked(accountID, now)) {
        co_return;
    }
    std::exception_ptr failure;
    try {
        co_await sendPending(accountID);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        co_await recordFailure(failure, accountID, now);
    }
}

Async<void> SyncEngine::State::runPass(std::optional<UUID> accountID, Pass pass) {
    std::vector<AccountSyncState> accounts;
    try {
        accounts = co_await store.accounts();
    } catch (...) {
        co_return;  // no account is known that could say so
    }
    for (const AccountSyncState& account : accounts) {
        const UUID& id = account.account.id;
        bool isLeftOut = accountID && *accountID != id;
        bool isResting = !pass.mode && memory.isBlocked(id, pass.now);
        if (!isLeftOut && !isResting) {
            co_await syncAccount(account, pass);
        }
    }
}

// Throws nothing.
Async<void> SyncEngine::State::syncAccount(AccountSyncState account, Pass& pass) {
    const UUID id = account.account.id;
    std::exception_ptr failure;
    try {
        std::shared_ptr<TaskBackend> service = co_await backend(account.account);
        AccountPass part(store, memory, changeHandler, pass, account, std::move(service));
        co_await part.run();
        memory.blockedUntil.erase(id);
        // Only what was there to clear: a quiet system doesn't save on each tick.
        if (account.syncError) {
            co_await store.setSyncError(std::nullopt, id);
        }
    } catch (...) {
        failure = std::current_exception();
    }
    memory.progress.reset();
    if (failure) {
        co_await recordFailure(failure, id, pass.now);
    }
}

Async<void> SyncEngine::State::replaceProjects(UUID accountID, Date now) {
    std::optional<AccountSyncState> account = co_await accountState(accountID);
    if (!account) {
        throw StoreError::accountNotFound();
    }
    std::shared_ptr<TaskBackend> service = co_await backend(account->account);
    std::vector<Project> projects = co_await service->fetchProjects();
    co_await store.replaceProjects(std::move(projects), accountID, now);
    co_await store.setSyncError(std::nullopt, accountID);
}

Async<void> SyncEngine::State::sendPending(UUID accountID) {
    std::optional<AccountSyncState> account = co_await accountState(accountID);
    if (!account) {
        co_return;
    }
    std::shared_ptr<TaskBackend> service = co_await backend(account->account);
    co_await pushPending(store, std::move(service), accountID);
}

Async<std::optional<AccountSyncState>> SyncEngine::State::accountState(UUID accountID) {
    std::vector<AccountSyncState> accounts = co_await store.accounts();
    for (AccountSyncState& account : accounts) {
        if (account.account.id == accountID) {
            co_return std::move(account);
        }
    }
    co_return std::nullopt;
}

Async<std::shared_ptr<TaskBackend>> SyncEngine::State::backend(Account account) {
    co_return co_await backendProvider(std::move(account));
}

// Throws nothing.
Async<void> SyncEngine::State::recordFailure(std::exception_ptr error, UUID accountID, Date now) {
    try {
        std::rethrow_exception(error);
    } catch (const BackendError& known) {
        if (auto* limit = known.as<BackendError::RateLimited>()) {
            memory.blockedUntil[accountID] = limit->until.value_or(now + memory.policy.rateLimitBackoff);
        }
    } catch (...) {
    }
    try {
        co_await store.setSyncError(localizedDescription(error), accountID);
    } catch (...) {
        // The account has gone, or the store can't write: then there is no place to say it.
    }
}

Async<std::optional<SyncProgress>> SyncEngine::State::progress(std::shared_ptr<State> self) {
    auto look = [](std::shared_ptr<State> looked) -> Async<std::optional<SyncProgress>> {
        co_return looked->memory.progress;
    };
    return runOn(strand, look(std::move(self)));
}

Async<void> SyncEngine::State::setChangeHandler(ChangeHandler handler) {
    changeHandler = std::move(handler);
    co_return;
}

Async<void> SyncEngine::State::setRelaxed(bool relaxed) {
    memory.isRelaxed = relaxed;
    co_return;
}

Async<void> SyncEngine::State::resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID) {
    co_await memory.resetBackoff(std::move(projectID), accountID);
}

Async<void> SyncEngine::State::clearRejections(UUID accountID) {
    co_await memory.clearRejections(accountID);
}

// The entries.

Async<void> SyncEngine::State::held(std::shared_ptr<State> self, Async<void> operation) {
    co_await std::move(operation);
    static_cast<void>(self);
}

Async<void> SyncEngine::State::counted(std::shared_ptr<State> self, Async<void> operation) {
    Activity activity(std::move(self));
    co_await std::move(operation);
}

Async<void> SyncEngine::State::enter(std::shared_ptr<State> self, Async<void> operation) {
    return runOn(self->strand, counted(self, std::move(operation)));
}

Async<void> SyncEngine::State::enterUncounted(std::shared_ptr<State> self, Async<void> operation) {
    return runOn(self->strand, held(self, std::move(operation)));
}

SyncEngine::SyncEngine(Executor executor, TaskStore& store, Clock& clock, Policy policy, BackendProvider backend)
    : state(std::make_shared<State>(std::move(executor), store, clock, policy, std::move(backend))) {}

SyncEngine::~SyncEngine() = default;

Async<void> SyncEngine::setChangeHandler(ChangeHandler handler) {
    return State::enter(state, state->setChangeHandler(std::move(handler)));
}

Async<void> SyncEngine::setRelaxed(bool relaxed) {
    return State::enter(state, state->setRelaxed(relaxed));
}

Async<void> SyncEngine::start() {
    return State::enter(state, state->start(state));
}

Async<void> SyncEngine::stop() {
    return State::enter(state, state->stop());
}

Async<void> SyncEngine::drain() {
    return State::enterUncounted(state, state->drain());
}

Async<void> SyncEngine::tick(Date now) {
    return State::enter(state, state->tick(now));
}

Async<void> SyncEngine::syncNow(std::optional<UUID> accountID, std::optional<std::string> projectID, Mode mode,
                                Date now) {
    return State::enter(state, state->syncNow(accountID, std::move(projectID), mode, now));
}

Async<void> SyncEngine::refreshProjects(UUID accountID, Date now) {
    return State::enter(state, state->refreshProjects(accountID, now));
}

Async<std::optional<SyncProgress>> SyncEngine::progress() {
    return state->progress(state);
}

Async<void> SyncEngine::pushNow(UUID accountID, Date now) {
    return State::enter(state, state->pushNow(accountID, now));
}

Async<void> SyncEngine::resetBackoff(std::optional<std::string> projectID, std::optional<UUID> accountID) {
    return State::enter(state, state->resetBackoff(std::move(projectID), accountID));
}

Async<void> SyncEngine::clearRejections(UUID accountID) {
    return State::enter(state, state->clearRejections(accountID));
}

Async<void> SyncEngine::runExclusively(std::function<Async<void>()> body) {
    return State::enter(state, state->runExclusively(std::move(body)));
}

}  // namespace marlet
