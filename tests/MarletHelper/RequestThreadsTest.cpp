#include "MarletHelper/RequestThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <condition_variable>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include "MarletBase/Coding.h"
#include "MarletIPC/LineClient.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

HelperReply done() {
    return {HelperReply::Done{}};
}

std::string openLine(const std::string& path) {
    return HelperRequest{HelperRequest::OpenInCopilot{path}}.line();
}

std::string pathIn(const HelperRequest& request) {
    return std::get<HelperRequest::OpenInCopilot>(request.value).path;
}

HelperReply echo(const HelperRequest& request) {
    return {HelperReply::Failure{pathIn(request)}};
}

std::string echoed(const std::string& path) {
    return HelperReply{HelperReply::Failure{path}}.line();
}

// Holds requests back until so many have come.
class Meeting {
public:
    void arrive() {
        std::unique_lock lock(mutex);
        ++count;
        changed.notify_all();
        changed.wait(lock, [this] { return isOpen; });
    }
    bool waitFor(int wanted) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [&] { return count >= wanted; });
    }
    void open() {
        std::scoped_lock lock(mutex);
        isOpen = true;
        changed.notify_all();
    }
    int arrived() {
        std::scoped_lock lock(mutex);
        return count;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
    bool isOpen = false;
};

// A server of requests that the test carries out itself.
class RequestThreadsTest : public testing::Test {
protected:
    ~RequestThreadsTest() override {
        wait(server->stop());
        wait(server->drain(std::chrono::seconds(20)));
        work.reset();
        loop.join();
    }

    void serve(RequestThreads::Handle handle, size_t count) {
        threads.emplace(std::move(handle), count);
        server.emplace(context.get_executor(), threads->service());
        loop = std::thread([this] { context.run(); });
        wait(server->listen(path));
    }
    std::optional<std::string> ask(const std::string& line) const { return LineClient::connect(path)->ask(line); }
    std::vector<std::future<std::optional<std::string>>> askFromMany(int count) const {
        std::vector<std::future<std::optional<std::string>>> answers;
        for (int number = 0; number < count; ++number) {
            answers.push_back(
                std::async(std::launch::async, [this, number] { return ask(openLine(std::to_string(number))); }));
        }
        return answers;
    }
    void wait(Async<void> operation) {
        boost::asio::co_spawn(context, std::move(operation), boost::asio::use_future).get();
    }

    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "helper";
    boost::asio::io_context context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work = make_work_guard(context);
    std::optional<RequestThreads> threads;
    std::optional<LineServer> server;
    std::thread loop;
};

TEST_F(RequestThreadsTest, aRequestGetsItsReply) {
    serve(echo, 2);
    EXPECT_EQ(ask(openLine("/tmp/a")), echoed("/tmp/a"));
}

TEST_F(RequestThreadsTest, sessionsAreServedSideBySide) {
    Meeting meeting;
    serve(
        [&](const HelperRequest& request) {
            meeting.arrive();
            return echo(request);
        },
        4);
    auto answers = askFromMany(4);
    EXPECT_TRUE(meeting.waitFor(4));
    meeting.open();
    for (int number = 0; number < 4; ++number) {
        EXPECT_EQ(answers[static_cast<size_t>(number)].get(), echoed(std::to_string(number)));
    }
}

TEST_F(RequestThreadsTest, moreSessionsThanThreadsWaitForTheirTurn) {
    Meeting meeting;
    std::atomic<int> busy{0};
    std::atomic<int> mostBusy{0};
    serve(
        [&](const HelperRequest& request) {
            int now = ++busy;
            mostBusy = std::max<int>(mostBusy, now);
            meeting.arrive();
            --busy;
            return echo(request);
        },
        2);
    auto answers = askFromMany(20);
    EXPECT_TRUE(meeting.waitFor(2));
    EXPECT_EQ(meeting.arrived(), 2);
    meeting.open();
    std::set<std::string> received;
    for (auto& answer : answers) {
        received.insert(answer.get().value());
    }
    EXPECT_EQ(received.size(), 20U);
    EXPECT_LE(mostBusy, 2);
}

TEST_F(RequestThreadsTest, theRequestsOfASessionAreCarriedOutInOrder) {
    std::mutex mutex;
    std::vector<std::string> order;
    serve(
        [&](const HelperRequest& request) {
            std::scoped_lock lock(mutex);
            order.push_back(pathIn(request));
            return done();
        },
        4);
    std::vector<std::string> wanted;
    std::string lines = openLine("0");
    for (int number = 0; number < 100; ++number) {
        wanted.push_back(std::to_string(number));
        lines += number > 0 ? "\n" + openLine(std::to_string(number)) : "";
    }
    LineClient client = LineClient::connect(path).value();
    EXPECT_EQ(client.ask(lines), done().line());
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    auto count = [&] {
        std::scoped_lock lock(mutex);
        return order.size();
    };
    while (count() < wanted.size() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    std::scoped_lock lock(mutex);
    EXPECT_EQ(order, wanted);
}

TEST_F(RequestThreadsTest, aLineThatCannotBeReadEndsItsSessionAlone) {
    serve(echo, 2);
    std::optional<LineClient> other = LineClient::connect(path);
    std::optional<LineClient> client = LineClient::connect(path);
    EXPECT_EQ(
        client->ask(R"({"done":{}})"),
        R"({"transportError":{"message":"The data can't be read: Invalid number of keys found, expected one."}})");
    EXPECT_EQ(client->ask(openLine("/")), std::nullopt);
    EXPECT_EQ(other->ask(openLine("/")), echoed("/"));
}

TEST_F(RequestThreadsTest, whatIsWrongIsToldShortly) {
    serve(echo, 1);
    std::string value;
    while (value.size() < 1'000'000) {
        value += "äß";
    }
    // It is cut within a letter as well as between two.
    for (const std::string start : {"", "x"}) {
        std::string line = R"({"locateTools":{"_0":{"git":")" + start + value + R"(","gitPath":"","claudePath":""}}})";
        std::string answer = ask(line).value();
        EXPECT_TRUE(answer.starts_with(
            R"({"transportError":{"message":"The data can't be read: \"locateTools._0.git\" has the unknown value \")" +
            start + "ä"));
        EXPECT_LT(answer.size(), 5'000U);
        EXPECT_NO_THROW(parseJSON(answer));
    }
}

TEST_F(RequestThreadsTest, aLineThatIsTooLongIsToldSo) {
    serve(echo, 1);
    EXPECT_EQ(ask(std::string(maximumLineLength + 1, ' ')),
              R"({"transportError":{"message":"The request is too long."}})");
}

TEST_F(RequestThreadsTest, theLongestLineIsARequestLikeAnyOther) {
    serve([](const HelperRequest&) { return done(); }, 1);
    std::string line = openLine("");
    line.insert(line.size() - 3, std::string(maximumLineLength - line.size(), 'x'));
    ASSERT_EQ(line.size(), maximumLineLength);
    EXPECT_EQ(ask(line), done().line());
}

TEST_F(RequestThreadsTest, anAnswerThatIsTooLongIsAFailure) {
    serve([](const HelperRequest&) { return HelperReply{HelperReply::Failure{std::string(maximumLineLength, 'x')}}; },
          1);
    EXPECT_EQ(ask(openLine("")), echoed("The answer is too long to be sent."));
}

TEST_F(RequestThreadsTest, whatIsThrownIsAFailure) {
    serve([](const HelperRequest&) -> HelperReply { throw std::bad_alloc(); }, 1);
    EXPECT_EQ(ask(openLine("")), echoed("There isn't enough memory."));
}

TEST_F(RequestThreadsTest, whoComesWhenItStopsIsToldSo) {
    Meeting meeting;
    serve(
        [&](const HelperRequest& request) {
            meeting.arrive();
            return echo(request);
        },
        1);
    auto underWay = askFromMany(1);
    EXPECT_TRUE(meeting.waitFor(1));
    LineClient waiting = LineClient::connect(path).value();
    wait(server->stop());
    EXPECT_EQ(waiting.ask(openLine("")), R"({"transportError":{"message":"The helper is being stopped."}})");
    meeting.open();
    EXPECT_EQ(underWay.front().get(), echoed("0"));
}

TEST(RunAsideTest, worksOnAThreadOfItsOwnAndHandsErrorsOn) {
    boost::asio::io_context context;
    std::thread::id thread;
    auto ended = boost::asio::co_spawn(context, RequestThreads::runAside([&] { thread = std::this_thread::get_id(); }),
                                       boost::asio::use_future);
    auto failed = boost::asio::co_spawn(context, RequestThreads::runAside([] { throw std::runtime_error("x"); }),
                                        boost::asio::use_future);
    context.run();
    ended.get();
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_NE(thread, std::thread::id());
    EXPECT_THROW(failed.get(), std::runtime_error);
}

}  // namespace
}  // namespace marlet
