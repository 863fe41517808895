#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "LoopbackAgent.h"
#include "MarletMCP/HTTPMessages.h"
#include "MarletMCP/MarletMCPServer.h"
#include "MarletStore/MarletSchema.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int taskCount = 100'000;
constexpr int listedCount = 50;
constexpr const char* token = "secret";

std::vector<TaskItem> syntheticTasks() {
    std::vector<TaskItem> tasks;
    for (int number = 1; number <= taskCount; ++number) {
        TaskItem task;
        task.id = std::to_string(number);
        task.projectID = "garden";
        task.title = fmt::format("Water the beans in bed {}", number);
        task.notes = std::string(1024, 'n');
        task.createdAt = dateFromSeconds(1'700'000'000);
        // Not in row order.
        task.updatedAt = dateFromSeconds(1'700'000'000 + (number * 7919LL) % taskCount);
        task.labels = {{"garden", "00ff00"}, {"daily", std::nullopt}};
        task.canHaveChildren = true;
        tasks.push_back(std::move(task));
    }
    return tasks;
}

// The engine as a daemon runs it: one loop on a thread, the store on disk with its tasks.
class Daemon {
public:
    Daemon() : work(context.get_executor()), thread([this] { context.run(); }) {
        services = std::make_unique<MarletServices>(
            MarletServices::Parts{context.get_executor(), MarletSchema::makeContainer(folder.path()),
                                  std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeInMemoryContainer()),
                                  std::make_shared<InMemoryCredentialStore>(), std::make_shared<SystemClock>(),
                                  SyncEngine::Policy(), nullptr});
        fill();
        server = std::make_unique<MarletMCPServer>(context.get_executor(), *services, token, "1");
        port = wait(server->start(0));
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    ~Daemon() {
        server->stop();
        wait(server->drain());
        server.reset();
        wait(services->sync().drain());
        services.reset();
        context.stop();
        thread.join();
    }

    template <class T>
    T wait(Async<T> operation) {
        return boost::asio::co_spawn(context, std::move(operation), boost::asio::use_future).get();
    }

    boost::asio::io_context context{1};
    std::unique_ptr<MarletServices> services;
    std::unique_ptr<MarletMCPServer> server;
    uint16_t port = 0;

private:
    void fill() {
        Account account{UUID::random(), BackendKind::local, "Mac", *URL::parse("marlet://local")};
        Project project;
        project.id = "garden";
        project.accountID = account.id;
        project.name = "Garden";
        Date now = services->clock().now();
        wait(services->store().addAccount(account));
        wait(services->store().replaceProjects({project}, account.id, now));
        wait(services->store().setSubscribed(true, account.id, project.id));
        wait(services->store().applyFetchedTasks({syntheticTasks(), account.id, project.id, true, true, now}));
    }

    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work;
    std::thread thread;
    TemporaryFolder folder;
};

std::string post(const std::string& body) {
    return fmt::format(
        "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer {}\r\nContent-Type: application/json\r\n"
        "Content-Length: {}\r\n\r\n{}",
        token, body.size(), body);
}

std::string bodyOf(const std::string& answer) {
    return answer.substr(answer.find("\r\n\r\n") + 4);
}

double storeQueries(Daemon& daemon, int rounds) {
    TaskQuery query;
    query.limit = listedCount;
    auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round) {
        std::vector<TaskSnapshot> tasks = daemon.wait(daemon.services->store().taskSnapshots(query));
        benchmark::DoNotOptimize(tasks);
    }
    return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

// An agent lists the first 50 of 100,000 tasks on one connection. Baselines: the same bytes served from memory by the
// same HTTP server, and the store's query alone. The three take turns, so that all meet the same weather.
void listTasks(benchmark::State& state) {
    constexpr int roundsPerTurn = 50;
    Daemon daemon;
    LoopbackAgent agent(daemon.port);
    std::string request = post(
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"list_tasks","arguments":{"limit":50}}})");
    std::string answer = agent.ask(request);
    std::string kept = bodyOf(answer);
    LocalHTTPServer memory(daemon.context.get_executor(), [&kept](IncomingRequest) -> Async<OutgoingResponse> {
        return [](std::string body) -> Async<OutgoingResponse> {
            co_return OutgoingResponse{200, {{"Content-Type", "application/json"}}, std::move(body)};
        }(kept);
    });
    LoopbackAgent reader(daemon.wait(memory.start(0)));
    size_t memorySize = reader.ask(request).size();

    double toolTime = 0;
    double memoryTime = 0;
    double storeTime = 0;
    for (auto _ : state) {
        double turn = agent.exchange(request, answer.size(), roundsPerTurn) * 1000;
        memoryTime += reader.exchange(request, memorySize, roundsPerTurn) * 1000;
        storeTime += storeQueries(daemon, roundsPerTurn);
        toolTime += turn;
        state.SetIterationTime(turn / 1000);
    }

    double rounds = static_cast<double>(state.iterations()) * roundsPerTurn;
    state.counters["tool_ms"] = toolTime / rounds;
    state.counters["memory_ms"] = memoryTime / rounds;
    state.counters["store_ms"] = storeTime / rounds;
    state.counters["more_ms"] = (toolTime - memoryTime) / rounds;
    state.counters["times_store"] = toolTime / storeTime;
    state.counters["answer_bytes"] = static_cast<double>(answer.size());
    memory.stop();
    daemon.wait(memory.drain());
}
BENCHMARK(listTasks)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);

// What an agent loads when it connects: the list of all tools.
void listTools(benchmark::State& state) {
    constexpr int roundsPerTurn = 100;
    boost::asio::io_context context{1};
    MarletServices services(MarletServices::Parts{
        context.get_executor(), MarletSchema::makeInMemoryContainer(),
        std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeInMemoryContainer()),
        std::make_shared<InMemoryCredentialStore>(), std::make_shared<SystemClock>(), SyncEngine::Policy(), nullptr});
    MarletMCPServer server(context.get_executor(), services, token, "1");
    auto port = boost::asio::co_spawn(context, server.start(0), boost::asio::use_future);
    std::thread thread([&] { context.run(); });
    LoopbackAgent agent(port.get());
    std::string request = post(R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})");
    size_t answerSize = agent.ask(request).size();

    double time = 0;
    for (auto _ : state) {
        double turn = agent.exchange(request, answerSize, roundsPerTurn) * 1000;
        time += turn;
        state.SetIterationTime(turn / 1000);
    }

    state.counters["list_ms"] = time / (static_cast<double>(state.iterations()) * roundsPerTurn);
    state.counters["answer_bytes"] = static_cast<double>(answerSize);
    server.stop();
    boost::asio::co_spawn(context, server.drain(), boost::asio::use_future).get();
    thread.join();
}
BENCHMARK(listTools)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);

}  // namespace
}  // namespace marlet
