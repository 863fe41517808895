// How the benchmarks measure themselves against a baseline.
#pragma once

#include <benchmark/benchmark.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <chrono>
#include <string>

#include "MarletBase/Async.h"

namespace marlet {

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
