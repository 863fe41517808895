#pragma once

#include <benchmark/benchmark.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "MarletStore/TaskStore.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// Tasks as a busy repository has them: notes of about `noteBytes`, two labels, an assignee, dates, every third closed.
// The same for the same arguments.
std::vector<TaskItem> syntheticTasks(const std::string& projectID, int count, size_t noteBytes, int firstNumber = 1);

// A store on disk with one GitHub account and its projects "p0", "p1" and so on, empty.
class SyntheticStore {
public:
    explicit SyntheticStore(int projects);
    TaskStore& store() { return *tasks; }
    const UUID& accountID() const { return account; }
    std::filesystem::path file() const { return folder.path() / "Marlet.sqlite"; }
    FetchedTasks fullFetch(std::vector<TaskItem> items, const std::string& projectID) const;

private:
    TemporaryFolder folder;
    std::unique_ptr<TaskStore> tasks;
    UUID account;
};

// 100,000 tasks with 1 KB notes in 20 projects; made once.
SyntheticStore& largeStore();

// Runs a suspending operation from an ordinary function, on a loop that stays.
template <class T>
T runToEnd(Async<T> operation) {
    static boost::asio::io_context loop;
    auto outcome = boost::asio::co_spawn(loop, std::move(operation), boost::asio::use_future);
    loop.restart();
    loop.run();
    return outcome.get();
}

template <class Work>
double secondsFor(Work work) {
    auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Measures `own` for the benchmark, and `byHand` beside it in the same rounds; their ratio becomes a counter.
template <class Own, class ByHand>
void measureAgainst(benchmark::State& state, Own own, ByHand byHand, const std::string& counter = "ratio") {
    double ownTotal = 0;
    double handTotal = 0;
    for (auto round : state) {
        handTotal += byHand();
        double seconds = own();
        ownTotal += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters[counter] = ownTotal / handTotal;
    state.counters["baselineSeconds"] = benchmark::Counter(handTotal, benchmark::Counter::kAvgIterations);
}

}  // namespace marlet
