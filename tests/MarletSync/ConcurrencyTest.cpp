// The engine called from all sides on a loop of several threads; ThreadSanitizer watches.
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <future>
#include <random>
#include <thread>

#include "MarletStore/MarletSchema.h"
#include "MarletSync/SyncEngine.h"
#include "TestSupport/ScriptedBackend.h"

namespace marlet {
namespace {

constexpr Date noon = dateFromSeconds(1'800'000'000);
constexpr int threadCount = 4;
constexpr int callerCount = 8;
constexpr int callsEach = 40;

SyncPolicy hurried() {
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(0.001);
    policy.deltaInterval = policy.maxDeltaInterval = policy.hintInterval = 0;
    return policy;
}

// What must never happen twice at a time. Not atomic: the gate is all that keeps it whole.
struct Inside {
    int visitors = 0;
    int visits = 0;
    bool wasCrowded = false;
};

Async<void> visit(Inside* inside) {
    ++inside->visits;
    inside->wasCrowded = ++inside->visitors != 1 || inside->wasCrowded;
    Executor executor = co_await boost::asio::this_coro::executor;
    co_await boost::asio::post(executor, boost::asio::use_awaitable);
    --inside->visitors;
}

Async<int> visitAndCount(Inside* inside) {
    co_await visit(inside);
    co_return inside->visits;
}

class Crowd {
public:
    using Backend = ScriptedBackendWith<ScriptedCounting, ScriptedHinting>;

    Crowd()
        : store(MarletSchema::makeInMemoryContainer(), [] { return noon; }),
          backend(std::make_shared<Backend>(account)),
          engine(loop.get_executor(), store, clock, hurried(), [this](const Account&) { return provide(backend); }) {
        backend->onCall = [this](const std::string&) { return visit(&inside); };
        backend->onFetchTasks = [](const std::string& projectID, std::optional<Date>) {
            return std::vector{TaskItem{.id = "1", .projectID = projectID, .title = "Beans", .updatedAt = noon}};
        };
    }

    static Async<std::shared_ptr<TaskBackend>> provide(std::shared_ptr<TaskBackend> given) { co_return given; }

    static Async<void> prepare(Crowd* crowd) {
        co_await crowd->store.addAccount(crowd->account);
        std::vector<Project> projects = {{.id = "p", .accountID = crowd->account.id, .name = "Garden"}};
        co_await crowd->store.replaceProjects(std::move(projects), crowd->account.id, noon);
        co_await crowd->store.setSubscribed(true, crowd->account.id, "p");
        co_await crowd->engine.syncNow(std::nullopt, std::nullopt, SyncEngine::Mode::full, noon);
    }

    static Async<void> callAll(Crowd* crowd, uint64_t seed) {
        std::mt19937_64 random(seed);
        for (int call = 0; call < callsEach; ++call) {
            co_await callOne(crowd, random() % 11);
        }
    }

    static Async<void> finish(Crowd* crowd) {
        co_await crowd->engine.stop();
        co_await crowd->engine.drain();
    }

    // Runs the loop on several threads until everything has ended.
    void run() {
        boost::asio::co_spawn(loop, prepare(this), boost::asio::use_future);
        loop.run();
        loop.restart();
        std::vector<std::future<void>> callers;
        for (uint64_t caller = 0; caller < callerCount; ++caller) {
            callers.push_back(boost::asio::co_spawn(loop, callAll(this, caller), boost::asio::use_future));
        }
        auto work = boost::asio::make_work_guard(loop);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([this] { loop.run(); });
        }
        for (std::future<void>& caller : callers) {
            caller.get();
        }
        boost::asio::co_spawn(loop, finish(this), boost::asio::use_future).get();
        work.reset();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    boost::asio::io_context loop;
    SystemClock clock;
    TaskStore store;
    Account account{UUID::random(), BackendKind::github, "Home", URL::parse("https://home.example").value()};
    Inside inside;
    std::shared_ptr<Backend> backend;
    SyncEngine engine;

private:
    static Async<void> callOne(Crowd* crowd, uint64_t which) {
        SyncEngine& engine = crowd->engine;
        const UUID& id = crowd->account.id;
        switch (which) {
            case 0:
                return engine.syncNow(id, "p", SyncEngine::Mode::delta, noon);
            case 1:
                return engine.pushNow(id, noon);
            case 2:
                return engine.tick(noon);
            case 3:
                return engine.start();
            case 4:
                return engine.stop();
            case 5:
                return engine.setRelaxed(true);
            case 6:
                return engine.runExclusively([crowd] { return visit(&crowd->inside); });
            case 7:
                return exclusiveCount(crowd);
            case 8:
                return crowd->store.editTask(taskKey(id, "p", "1"), noon, [](TaskItem& item) { item.title += "!"; });
            case 9:
                return engine.resetBackoff("p", id);
            default:
                return engine.clearRejections(id);
        }
    }

    static Async<void> exclusiveCount(Crowd* crowd) {
        int visits = co_await crowd->engine.runExclusively([crowd] { return visitAndCount(&crowd->inside); });
        EXPECT_GT(visits, 0);
    }
};

TEST(ConcurrencyTest, callsFromSeveralThreadsNeverMeetInsideTheGate) {
    Crowd crowd;
    crowd.run();
    EXPECT_FALSE(crowd.inside.wasCrowded);
    EXPECT_GT(crowd.inside.visits, callerCount);
}

TEST(ConcurrencyTest, loopsThatAreStoppedAndStartedAtOnceAllEnd) {
    Crowd crowd;
    std::vector<std::thread> threads;
    auto work = boost::asio::make_work_guard(crowd.loop);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&crowd] { crowd.loop.run(); });
    }
    for (int round = 0; round < 200; ++round) {
        boost::asio::co_spawn(crowd.loop, crowd.engine.start(), boost::asio::use_future).get();
        boost::asio::co_spawn(crowd.loop, crowd.engine.stop(), boost::asio::use_future).get();
    }
    std::future<void> drained = boost::asio::co_spawn(crowd.loop, crowd.engine.drain(), boost::asio::use_future);
    EXPECT_EQ(drained.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    work.reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace marlet
