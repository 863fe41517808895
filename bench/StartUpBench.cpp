// An agent connects right after the daemon was started over 100,000 tasks of "On This Mac": the time from the start of
// the process to its first answer, and the memory that it holds then.
// Baseline: opening the same database file and one query, in a process that runs already.
#include <SQLiteCpp/SQLiteCpp.h>
#include <benchmark/benchmark.h>
#include <signal.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::vector<std::string> command(const std::filesystem::path& folder, std::vector<std::string> words) {
    words.insert(words.begin(), {MARLET_PROGRAM, "--data", folder.string(), "--json"});
    return words;
}

struct Endpoint {
    unsigned short port = 0;
    std::string token;
};

Endpoint readiness(ChildProcess& daemon) {
    std::optional<std::string> line = daemon.readLine();
    if (!line) {
        throw std::runtime_error("The daemon didn't start: " + daemon.errors);
    }
    boost::json::value ready = boost::json::parse(*line);
    std::string address = ready.at("endpoint").as_string().c_str();
    size_t colon = address.rfind(':');
    return {static_cast<unsigned short>(std::stoi(address.substr(colon + 1))), ready.at("token").as_string().c_str()};
}

// The bytes of the answer to one `list_tasks`.
size_t listTasks(const Endpoint& endpoint) {
    using boost::asio::ip::tcp;
    boost::asio::io_context context;
    tcp::socket socket(context);
    socket.connect(tcp::endpoint(boost::asio::ip::address_v4::loopback(), endpoint.port));
    std::string body =
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"list_tasks","arguments":{}}})";
    std::string request = "POST /mcp HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nAuthorization: Bearer " +
                          endpoint.token + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    boost::asio::write(socket, boost::asio::buffer(request));
    std::string answer;
    boost::system::error_code end;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer), end);
    if (answer.find("\"isError\":false") == std::string::npos) {
        throw std::runtime_error("The daemon answered: " + answer.substr(0, 300));
    }
    return answer.size();
}

void stop(ChildProcess& daemon) {
    daemon.send(SIGTERM);
    daemon.wait();
}

// The local database is filled behind the daemon's back, then imported as a sync does it.
void fill(const std::filesystem::path& folder, int64_t count) {
    {
        ChildProcess daemon(command(folder, {"serve", "--port", "0"}));
        readiness(daemon);
        stop(daemon);
    }
    {
        SQLite::Database database((folder / "LocalTasks.sqlite").string(), SQLite::OPEN_READWRITE);
        SQLite::Statement insert(database, R"(
            WITH RECURSIVE counter (number) AS (SELECT 1 UNION ALL SELECT number + 1 FROM counter WHERE number < ?1)
            INSERT INTO LocalTaskRecord (key, accountID, projectID, number, title, notes, isCompleted, createdAt,
                                         updatedAt, labels, project)
            SELECT project.key || '|' || number, accountID, projectID, number, 'Task number ' || number,
                   'Some notes on the task, as long as notes are.', number % 2, 1790000000 + number,
                   1790000000 + number, '["garden"]', project.id
            FROM counter, LocalProjectRecord AS project)");
        insert.bind(1, count);
        insert.exec();
        database.exec("UPDATE LocalProjectRecord SET nextNumber = " + std::to_string(count + 1));
    }
    ChildOutcome sync = runChild(command(folder, {"sync", "--full"}));
    if (sync.status != 0) {
        throw std::runtime_error("The import failed: " + sync.errors);
    }
    SQLite::Database store((folder / "Marlet.sqlite").string());
    if (store.execAndGet("SELECT COUNT(*) FROM StoredTask").getInt64() != count) {
        throw std::runtime_error("The import left tasks out.");
    }
}

// Resident memory in MB.
double residentMemory(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word) {
        if (word == "VmRSS:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1024;
        }
    }
    return 0;
}

// Milliseconds of the baseline.
double openAndQuery(const std::filesystem::path& folder) {
    Clock::time_point start = Clock::now();
    SQLite::Database database((folder / "Marlet.sqlite").string(), SQLite::OPEN_READWRITE);
    SQLite::Statement query(database,
                            "SELECT title FROM StoredTask WHERE isCompleted = 0 ORDER BY listDate DESC LIMIT 50");
    while (query.executeStep()) {
        benchmark::DoNotOptimize(query.getColumn(0).getText());
    }
    return millisecondsSince(start);
}

void startToFirstAnswer(benchmark::State& state) {
    TemporaryFolder temporary;
    std::filesystem::path folder = temporary.path() / "data";
    fill(folder, state.range(0));
    double total = 0;
    double baseline = 0;
    double memory = 0;
    for (auto _ : state) {
        baseline += openAndQuery(folder);
        Clock::time_point start = Clock::now();
        ChildProcess daemon(command(folder, {"serve"}));
        Endpoint endpoint = readiness(daemon);
        benchmark::DoNotOptimize(listTasks(endpoint));
        double taken = millisecondsSince(start);
        total += taken;
        memory = std::max(memory, residentMemory(daemon.pid()));
        state.SetIterationTime(taken / 1000);
        stop(daemon);
    }
    auto rounds = static_cast<double>(state.iterations());
    state.counters["start_ms"] = total / rounds;
    state.counters["open_and_query_ms"] = baseline / rounds;
    state.counters["more_ms"] = (total - baseline) / rounds;
    state.counters["memory_MB"] = memory;
}
BENCHMARK(startToFirstAnswer)->Arg(100'000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
}  // namespace marlet
