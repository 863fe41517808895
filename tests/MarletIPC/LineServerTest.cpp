#include "MarletIPC/LineServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <future>
#include <thread>

#include "MarletIPC/LineClient.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

constexpr std::chrono::seconds patience(20);

// A server on a thread of its own. "echo X" is answered with X; "wait" holds its answer back until release() is called.
class RunningServer {
public:
    explicit RunningServer(std::filesystem::path path) : gate(context, std::chrono::steady_clock::time_point::max()) {
        LineService service{[this](std::string line) { return answer(std::move(line)); }, "too long", "stopping"};
        server.emplace(context.get_executor(), std::move(service));
        thread = std::thread([this] { context.run(); });
        try {
            wait(server->listen(std::move(path)));
        } catch (...) {
            end();
            throw;
        }
    }
    ~RunningServer() {
        release();
        stop();
        wait(server->drain(patience));
        end();
    }

    void stop() { wait(server->stop()); }
    void drain(std::chrono::duration<double> time) { wait(server->drain(time)); }
    void release() {
        boost::asio::post(context, [this] { gate.cancel(); });
    }
    void waitUntilWaiting() const {
        while (waiting == 0) {
            std::this_thread::yield();
        }
    }

private:
    Async<LineReply> answer(std::string line) {
        if (line == "wait") {
            ++waiting;
            boost::system::error_code ignored;
            co_await gate.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, ignored));
        }
        if (line.starts_with("long ")) {
            co_return LineReply{std::string(std::stoul(line.substr(5)), 'x')};
        }
        co_return LineReply{line.starts_with("echo ") ? line.substr(5) : line, line == "end"};
    }
    void wait(Async<void> operation) {
        boost::asio::co_spawn(context, std::move(operation), boost::asio::use_future).get();
    }
    void end() {
        work.reset();
        thread.join();
    }

    boost::asio::io_context context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work = make_work_guard(context);
    boost::asio::steady_timer gate;
    std::atomic<int> waiting{0};
    std::optional<LineServer> server;
    std::thread thread;
};

// A peer that keeps to no rules.
class RawPeer {
public:
    explicit RawPeer(const std::filesystem::path& path) : descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~RawPeer() { close(); }
    void close() {
        if (descriptor >= 0) {
            ::close(std::exchange(descriptor, -1));
        }
    }
    void send(std::string_view text) {
        EXPECT_EQ(::send(descriptor, text.data(), text.size(), MSG_NOSIGNAL), text.size());
    }
    std::string readAll() {
        std::string result(65536, '\0');
        size_t length = 0;
        ssize_t count = 0;
        while ((count = ::recv(descriptor, result.data() + length, result.size() - length, 0)) > 0) {
            length += static_cast<size_t>(count);
        }
        return result.substr(0, length);
    }
    std::string readLine() {
        std::string line;
        char next = 0;
        while (::recv(descriptor, &next, 1, 0) == 1 && next != '\n') {
            line += next;
        }
        return line;
    }

private:
    int descriptor;
};

struct LineServerTest : testing::Test {
    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "control";
};

TEST_F(LineServerTest, everyLineOfASessionIsAnsweredInOrder) {
    RunningServer server(path);
    std::optional<LineClient> client = LineClient::connect(path);
    ASSERT_TRUE(client);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(client->ask("echo " + std::to_string(number)), std::to_string(number));
    }
}

TEST_F(LineServerTest, linesThatArriveTogetherOrInPiecesAreToldApart) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("echo a\necho ");
    EXPECT_EQ(peer.readLine(), "a");
    for (char piece : std::string("longer\n")) {
        peer.send(std::string_view(&piece, 1));
    }
    EXPECT_EQ(peer.readLine(), "longer");
}

TEST_F(LineServerTest, aSlowAnswerHoldsUpNoOtherSession) {
    RunningServer server(path);
    auto slow = std::async([&] { return LineClient::connect(path)->ask("wait"); });
    server.waitUntilWaiting();
    EXPECT_EQ(LineClient::connect(path)->ask("echo quick"), "quick");
    server.release();
    EXPECT_EQ(slow.get(), "wait");
}

TEST_F(LineServerTest, theLongestLineIsTakenAndGivenBack) {
    RunningServer server(path);
    std::string line(maximumLineLength, 'a');
    EXPECT_EQ(LineClient::connect(path)->ask(line), line);
}

TEST_F(LineServerTest, aLineOneByteTooLongEndsTheSessionButNotTheServer) {
    RunningServer server(path);
    std::optional<LineClient> client = LineClient::connect(path);
    EXPECT_EQ(client->ask(std::string(maximumLineLength + 1, 'a')), "too long");
    EXPECT_EQ(client->ask("echo more"), std::nullopt);
    EXPECT_EQ(LineClient::connect(path)->ask("echo more"), "more");
}

TEST_F(LineServerTest, anAnswerThatIsTooLongIsAnErrorOfTheClient) {
    RunningServer server(path);
    std::optional<LineClient> client = LineClient::connect(path);
    EXPECT_THROW(client->ask("long " + std::to_string(maximumLineLength + 1)), LineClientError);
}

TEST_F(LineServerTest, aPeerThatGoesAwayInTheMiddleHarmsNobodyElse) {
    RunningServer server(path);
    {
        RawPeer peer(path);
        peer.send("echo unfinis");
    }
    {
        RawPeer peer(path);
        peer.send("long 4000000\n");
        EXPECT_EQ(peer.readLine().size(), 4'000'000U);
        peer.send("long 4000000\nlong 4000000\n");
    }
    EXPECT_EQ(LineClient::connect(path)->ask("echo more"), "more");
}

TEST_F(LineServerTest, aReplyCanEndTheSession) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("end\n");
    EXPECT_EQ(peer.readAll(), "end\n");
}

TEST_F(LineServerTest, theSocketFileIsTheUsersAloneWhateverTheUmask) {
    mode_t before = ::umask(0);
    RunningServer server(path);
    ::umask(before);
    struct stat info {};
    ASSERT_EQ(::lstat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
}

TEST_F(LineServerTest, aPathLongerThanAnAddressWorks) {
    std::filesystem::path deep = folder.path();
    while (deep.string().size() < 300) {
        deep /= std::string(40, 'd');
    }
    std::filesystem::create_directories(deep);
    RunningServer server(deep / "control");
    EXPECT_EQ(LineClient::connect(deep / "control")->ask("echo far"), "far");
    server.stop();
    EXPECT_FALSE(std::filesystem::exists(deep / "control"));
}

TEST_F(LineServerTest, aSocketFileOfADeadProcessIsTakenOver) {
    int dead = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(dead, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(dead);
    ASSERT_FALSE(LineClient::connect(path));

    RunningServer server(path);

    EXPECT_EQ(LineClient::connect(path)->ask("echo alive"), "alive");
}

TEST_F(LineServerTest, aSocketThatALiveServerAnswersOnIsLeftToIt) {
    RunningServer first(path);
    EXPECT_THROW(RunningServer second(path), LineServerError);
    EXPECT_EQ(LineClient::connect(path)->ask("echo still"), "still");
}

TEST_F(LineServerTest, nobodyListensWhereNoFileOrFolderIs) {
    EXPECT_FALSE(LineClient::connect(path));
    EXPECT_FALSE(LineClient::connect(folder.path() / "missing" / "control"));
}

TEST_F(LineServerTest, aServerThatStopsAnswersWhatIsUnderWayAndTellsTheOthers) {
    RunningServer server(path);
    RawPeer idle(path);
    idle.send("echo a\n");
    ASSERT_EQ(idle.readLine(), "a");
    RawPeer halfWay(path);
    halfWay.send("echo unfinis");
    auto underWay = std::async([&] { return LineClient::connect(path)->ask("wait"); });
    server.waitUntilWaiting();

    server.stop();

    EXPECT_EQ(idle.readAll(), "stopping\n");
    EXPECT_EQ(halfWay.readAll(), "stopping\n");
    EXPECT_FALSE(std::filesystem::exists(path));
    server.release();
    EXPECT_EQ(underWay.get(), "wait");
}

TEST_F(LineServerTest, theSocketOfASuccessorIsNotRemoved) {
    RunningServer server(path);
    std::filesystem::remove(path);
    std::ofstream(path) << "another's";
    server.stop();
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(LineServerTest, aPeerThatReadsNothingIsCutOffWhenPatienceEnds) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("long 8000000\n");
    EXPECT_EQ(LineClient::connect(path)->ask("echo served"), "served");
    server.stop();
    server.drain(std::chrono::milliseconds(50));
    EXPECT_LT(peer.readAll().size(), 8'000'000U);
}

TEST_F(LineServerTest, theCallerHearsOfTheTimeThatPassesWhileItWaits) {
    RunningServer server(path);
    int calls = 0;
    std::optional<LineClient> client = LineClient::connect(path);
    std::optional<std::string> answer = client->ask("wait", [&] {
        if (++calls == 2) {
            server.release();
        }
    });
    EXPECT_EQ(answer, "wait");
    EXPECT_GE(calls, 2);
}

}  // namespace
}  // namespace marlet
