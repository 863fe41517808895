// Lists and searches over 100,000 tasks, as a client and an agent ask for them.
#include <SQLiteCpp/SQLiteCpp.h>

#include <cstring>

#include "SyntheticStore.h"

namespace marlet {
namespace {

TaskQuery firstPage() {
    TaskQuery query;
    query.limit = 50;
    return query;
}

size_t find(const TaskQuery& query) {
    return runToEnd(largeStore().store().taskSnapshots(query)).size();
}

void listOpen(benchmark::State& state) {
    largeStore();
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(firstPage()));
    }
}
BENCHMARK(listOpen)->Unit(benchmark::kMillisecond);

void listAllOfAccount(benchmark::State& state) {
    TaskQuery query = firstPage();
    query.accountID = largeStore().accountID();
    query.includeCompleted = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(query));
    }
}
BENCHMARK(listAllOfAccount)->Unit(benchmark::kMillisecond);

void listProject(benchmark::State& state) {
    TaskQuery query = firstPage();
    query.accountID = largeStore().accountID();
    query.projectID = "p7";
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(query));
    }
}
BENCHMARK(listProject)->Unit(benchmark::kMillisecond);

void listUpdated(benchmark::State& state) {
    TaskQuery query = firstPage();
    query.list = TaskList::updated;
    query.includeCompleted = true;
    largeStore();
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(query));
    }
}
BENCHMARK(listUpdated)->Unit(benchmark::kMillisecond);

void listProjects(benchmark::State& state) {
    TaskStore& store = largeStore().store();
    for (auto _ : state) {
        benchmark::DoNotOptimize(runToEnd(store.projectSnapshots(std::nullopt, false)).size());
    }
}
BENCHMARK(listProjects)->Unit(benchmark::kMillisecond);

// All folded bytes in one block of memory.
const std::string& foldedBytes() {
    static const std::string bytes = [] {
        std::string all;
        SQLite::Database database(largeStore().file().string(), SQLite::OPEN_READONLY);
        SQLite::Statement blocks(database, "SELECT folded FROM TaskSearch");
        while (blocks.executeStep()) {
            SQLite::Column column = blocks.getColumn(0);
            all.append(static_cast<const char*>(column.getBlob()), static_cast<size_t>(column.getBytes()));
        }
        return all;
    }();
    return bytes;
}

size_t countMatches(const std::string& bytes, const std::string& text) {
    size_t count = 0;
    const char* end = bytes.data() + bytes.size();
    for (const char* at = bytes.data(); at < end; ++at, ++count) {
        at = static_cast<const char*>(::memmem(at, static_cast<size_t>(end - at), text.data(), text.size()));
        if (!at) {
            break;
        }
    }
    return count;
}

void searchFor(benchmark::State& state, const std::string& text) {
    const std::string& bytes = foldedBytes();
    TaskQuery query = firstPage();
    query.text = text;
    query.includeCompleted = true;
    auto own = [&] { return secondsFor([&] { benchmark::DoNotOptimize(find(query)); }); };
    auto byHand = [&] { return secondsFor([&] { benchmark::DoNotOptimize(countMatches(bytes, text)); }); };
    measureAgainst(state, own, byHand, "ratioToMemmem");
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

// A text that no task holds: the whole store is read.
void searchForNothing(benchmark::State& state) {
    searchFor(state, "zucchini blossoms");
}
BENCHMARK(searchForNothing)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

// A sentence that few tasks hold.
void searchForFew(benchmark::State& state) {
    searchFor(state, "frost paint fence with care compost");
}
BENCHMARK(searchForFew)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

// A word that nearly every task holds. memmem goes on behind each match, the store takes the first of a task.
void searchForAWordOfAll(benchmark::State& state) {
    searchFor(state, "garden");
}
BENCHMARK(searchForAWordOfAll)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
}  // namespace marlet
