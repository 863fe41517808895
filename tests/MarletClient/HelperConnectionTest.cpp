#include "MarletClient/HelperConnection.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <fstream>
#include <iterator>

#include "MarletClient/Commands.h"
#include "MarletClient/HelperChild.h"
#include "MarletIPC/LineServer.h"
#include "TestSupport/Await.h"
#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/TemporaryFolder.h"
#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

using testing::HasSubstr;

const HelperRequest opening{HelperRequest::OpenInCopilot{"/nowhere/at/all"}};

const std::string helpersWords = "/nowhere/at/all isn't the top folder of a git checkout.";

// A helper of the session that says one thing, or nothing at all, and a connection that finds it there.
class ScriptedService {
public:
    explicit ScriptedService(std::optional<std::string> words) : answer(std::move(words)) {
        loop.runToEnd(server.listen(folder.path() / "io.tolvane.Marlet.Helper.sock"));
    }
    ~ScriptedService() {
        release.cancel();
        loop.runToEnd(connection.drain());
        loop.runToEnd(server.stop());
        loop.runToEnd(server.drain(std::chrono::seconds(1)));
    }

    HelperReply ask() { return loop.runToEnd(connection.ask(opening)); }
    std::string failure() {
        try {
            ask();
        } catch (const CommandError& error) {
            return error.errorDescription();
        }
        return "(none)";
    }

    std::optional<std::string> answer;
    std::vector<std::string> asked;
    TemporaryFolder folder;
    EnvironmentVariable runtime{"XDG_RUNTIME_DIR", folder.path().string()};
    TestLoop loop;
    HelperConnection connection{loop.executor(), folder.path() / "child"};

private:
    Async<LineReply> respond(std::string line) {
        asked.push_back(std::move(line));
        if (!answer) {
            boost::system::error_code released;
            co_await release.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, released));
        }
        co_return LineReply{answer.value_or(""), !answer};
    }

    boost::asio::steady_timer release{loop.executor(), boost::asio::steady_timer::time_point::max()};
    LineServer server{loop.executor(), {[this](std::string line) { return respond(std::move(line)); }, "", ""}};
};

TEST(HelperConnectionTest, theSessionsHelperIsAskedWhereThereIsOne) {
    ScriptedService service(R"({"done":{}})");

    EXPECT_EQ(service.ask(), HelperReply{HelperReply::Done{}});

    ASSERT_EQ(service.asked.size(), 1U);
    EXPECT_EQ(HelperRequest::parse(service.asked[0]), opening);
    EXPECT_EQ(service.connection.way(), HelperConnection::Way::service);
    EXPECT_FALSE(std::filesystem::exists(service.folder.path() / "child"));
}

TEST(HelperConnectionTest, aFailureIsToldInTheHelpersWords) {
    EXPECT_EQ(ScriptedService(R"({"failure":{"_0":"No git found."}})").failure(), "No git found.");
}

TEST(HelperConnectionTest, aRequestThatTheHelperCantTakeIsTold) {
    EXPECT_EQ(ScriptedService(R"({"transportError":{"message":"The line is too long."}})").failure(),
              "The helper couldn't take the request: The line is too long.");
}

TEST(HelperConnectionTest, anAnswerOfAnotherVersionIsTold) {
    for (const char* line : {"{}", R"({"later":{}})", "none of it", "[]", R"({"transportError":"?"})"}) {
        EXPECT_THAT(ScriptedService(line).failure(), HasSubstr("can't be understood")) << line;
    }
}

TEST(HelperConnectionTest, requestsAreUnderWaySideBySide) {
    ScriptedService service(std::nullopt);
    auto first = service.loop.start(service.connection.ask(opening));
    auto second = service.loop.start(service.connection.ask(opening));
    service.loop.runUntil([&] { return service.asked.size() == 2; });
    EXPECT_FALSE(first->isFinished || second->isFinished);
    service.connection.stop();
    service.loop.runUntil([&] { return first->isFinished && second->isFinished; });
}

TEST(HelperConnectionTest, aStopEndsWhatIsUnderWayAndWhatComesLater) {
    ScriptedService service(std::nullopt);
    auto outcome = service.loop.start(service.connection.ask(opening));
    service.loop.runUntil([&] { return !service.asked.empty(); });

    service.connection.stop();

    service.loop.runUntil([&] { return outcome->isFinished; });
    EXPECT_THAT(localizedDescription(outcome->error), HasSubstr("Marlet was stopped"));
    EXPECT_THAT(service.failure(), HasSubstr("Marlet was stopped"));
}

Async<void> askUntilTheEnd(HelperConnection& connection, bool& hasEnded) {
    try {
        co_await connection.ask(opening);
    } catch (const CommandError&) {
    }
    hasEnded = true;
}

Async<void> drainAndLook(HelperConnection& connection, const bool& hasEnded, bool& hadEnded) {
    co_await connection.drain();
    hadEnded = hasEnded;
}

TEST(HelperConnectionTest, aDrainAwaitsTheAnswersThatAreUnderWay) {
    ScriptedService service(std::nullopt);
    bool hasEnded = false;
    bool hadEnded = false;
    service.loop.start(askUntilTheEnd(service.connection, hasEnded));
    service.loop.runUntil([&] { return !service.asked.empty(); });

    service.loop.runToEnd(drainAndLook(service.connection, hasEnded, hadEnded));

    EXPECT_TRUE(hadEnded);
}

TEST(HelperConnectionTest, aCallerThatGivesUpEndsNothingButItsOwnRequest) {
    ScriptedService service(std::nullopt);
    boost::asio::cancellation_signal impatience;
    bool hasGivenUp = false;
    boost::asio::co_spawn(service.loop.executor(), service.connection.ask(opening),
                          boost::asio::bind_cancellation_slot(impatience.slot(),
                                                              [&](const std::exception_ptr& error, const HelperReply&) {
                                                                  hasGivenUp = error != nullptr;
                                                              }));
    auto other = service.loop.start(service.connection.ask(opening));
    service.loop.runUntil([&] { return service.asked.size() == 2; });

    impatience.emit(boost::asio::cancellation_type::terminal);

    service.loop.runUntil([&] { return hasGivenUp; });
    EXPECT_FALSE(other->isFinished);
}

TEST(HelperConnectionTest, onlyASocketOfTheUsersOwnIsTakenForAService) {
    ScriptedService service("");
    std::filesystem::path socket = service.folder.path() / "io.tolvane.Marlet.Helper.sock";
    EXPECT_TRUE(isSocketOf(::geteuid(), socket));
    EXPECT_FALSE(isSocketOf(::geteuid() + 1, socket));
    std::filesystem::create_symlink(socket, service.folder.path() / "link");
    EXPECT_FALSE(isSocketOf(::geteuid(), service.folder.path() / "link"));
    EXPECT_FALSE(isSocketOf(::geteuid(), service.folder.path()));
    EXPECT_FALSE(isSocketOf(::geteuid(), service.folder.path() / "missing"));
}

std::vector<int> ownChildren() {
    std::ifstream stream(fmt::format("/proc/self/task/{}/children", ::getpid()));
    return {std::istream_iterator<int>(stream), {}};
}

// Connections to the real helper, which this process finds on its PATH.
class HelperChildTest : public testing::Test {
protected:
    // One that notes that it was started first.
    void SetUp() override {
        std::filesystem::path real = std::filesystem::path(MARLET_PROGRAM).replace_filename("MarletHelper");
        std::filesystem::path program = folder.path() / "MarletHelper";
        std::ofstream(program) << fmt::format("#!/bin/sh\necho >> '{}'\nexec '{}' \"$@\"\n", starts.string(),
                                              real.string());
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }
    void TearDown() override {
        loop.runToEnd(connection.drain());
        EXPECT_EQ(ownChildren(), std::vector<int>());
        EXPECT_FALSE(std::filesystem::exists(socket));
    }
    std::string failure() {
        try {
            loop.runToEnd(connection.ask(opening));
        } catch (const CommandError& error) {
            return error.errorDescription();
        }
        return "(none)";
    }

    std::uintmax_t startCount() const {
        std::error_code none;
        std::uintmax_t size = std::filesystem::file_size(starts, none);
        return none ? 0 : size;
    }

    // What a child has while it lives; the caller closes it. Negative while one has it.
    int takeTurn() const {
        int file = ::open((socket.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (::flock(file, LOCK_EX | LOCK_NB) == 0) {
            return file;
        }
        ::close(file);
        return -1;
    }

    TemporaryFolder folder;
    std::filesystem::path starts = folder.path() / "starts";
    EnvironmentVariable path{"PATH", folder.path().string()};
    EnvironmentVariable runtime{"XDG_RUNTIME_DIR", std::nullopt};
    // Longer than an address may be.
    std::filesystem::path socket = folder.path() / std::string(120, 'd') / "helper";
    TestLoop loop;
    HelperConnection connection{loop.executor(), (std::filesystem::create_directory(socket.parent_path()), socket)};
};

TEST_F(HelperChildTest, requestsAtTheSameTimeShareOneChild) {
    auto first = loop.start(connection.ask(opening));
    auto second = loop.start(connection.ask(opening));
    loop.runUntil([&] { return first->isFinished && second->isFinished; });
    for (const auto& outcome : {first, second}) {
        EXPECT_EQ(localizedDescription(outcome->error), helpersWords);
    }
    EXPECT_EQ(ownChildren().size(), 1U);
    EXPECT_EQ(connection.way(), HelperConnection::Way::child);
    failure();
    EXPECT_EQ(startCount(), 1U);
}

TEST_F(HelperChildTest, aChildThatHasGoneIsStartedAgain) {
    failure();
    ::kill(ownChildren().at(0), SIGKILL);
    // It may take the first question with it.
    std::string words;
    for (int tries = 0; tries < 100 && words != helpersWords; ++tries) {
        words = failure();
    }
    EXPECT_EQ(words, helpersWords);
    EXPECT_EQ(ownChildren().size(), 1U);
    EXPECT_EQ(startCount(), 2U);
}

TEST_F(HelperChildTest, aStopDuringTheStartEndsTheChildToo) {
    auto asked = loop.start(connection.ask(opening));
    loop.runReady();
    loop.runToEnd(connection.drain());
    loop.runUntil([&] { return asked->isFinished; });
    EXPECT_THAT(localizedDescription(asked->error), HasSubstr("Marlet was stopped"));
}

TEST_F(HelperChildTest, aServiceThatCantBeReachedIsPassedOver) {
    EnvironmentVariable session("XDG_RUNTIME_DIR", folder.path().string());
    std::filesystem::path service = folder.path() / "io.tolvane.Marlet.Helper.sock";
    sockaddr_un address{AF_UNIX, {}};
    service.string().copy(address.sun_path, sizeof address.sun_path - 1);
    // Of another kind than a helper's; then nobody's any more.
    int listener = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(failure(), helpersWords);
    ::close(listener);
    EXPECT_EQ(failure(), helpersWords);
    // And a way to a helper that isn't the session's.
    std::filesystem::remove(service);
    std::filesystem::create_symlink(socket, service);
    EXPECT_EQ(failure(), helpersWords);
    EXPECT_EQ(connection.way(), HelperConnection::Way::child);
}

TEST_F(HelperChildTest, aChildBeginsOnlyOnceTheOneBeforeHasEnded) {
    int before = takeTurn();
    auto outcome = loop.start(connection.ask(opening));
    boost::asio::steady_timer timer(loop.executor(), std::chrono::milliseconds(200));
    bool isOver = false;
    timer.async_wait([&](auto) { isOver = true; });
    loop.runUntil([&] { return isOver; });
    EXPECT_FALSE(outcome->isFinished);
    EXPECT_EQ(ownChildren(), std::vector<int>());

    ::close(before);

    loop.runUntil([&] { return outcome->isFinished; });
    EXPECT_EQ(localizedDescription(outcome->error), helpersWords);
}

TEST_F(HelperChildTest, aChildHasItsTurnForAsLongAsItLives) {
    EXPECT_EQ(failure(), helpersWords);
    EXPECT_EQ(takeTurn(), -1);

    loop.runToEnd(connection.drain());

    int turn = takeTurn();
    EXPECT_GE(turn, 0);
    ::close(turn);
}

TEST_F(HelperChildTest, aStopWhileItWaitsForItsTurnIsTold) {
    int before = takeTurn();
    auto first = loop.start(connection.ask(opening));
    auto second = loop.start(connection.ask(opening));
    loop.runReady();

    loop.runToEnd(connection.drain());

    loop.runUntil([&] { return first->isFinished && second->isFinished; });
    EXPECT_THAT(localizedDescription(first->error), HasSubstr("Marlet was stopped"));
    EXPECT_THAT(localizedDescription(second->error), HasSubstr("Marlet was stopped"));
    ::close(before);
}

TEST_F(HelperChildTest, aChildThatCantListenIsToldInItsOwnWords) {
    std::ofstream(socket) << "mine";
    EXPECT_EQ(failure(), "The helper ended as soon as it was started. MarletHelper couldn't listen: The file " +
                             socket.string() + " can't be used: Address already in use.");
    EXPECT_TRUE(std::filesystem::remove(socket));
}

TEST_F(HelperChildTest, aChildThatIsStuckIsKilledWhenPatienceEnds) {
    auto child = HelperChild::tryStart(loop.executor(), HelperChild::program().value(), socket);
    ASSERT_TRUE(child);
    ASSERT_TRUE(awaitFile(socket));
    ::kill(ownChildren().at(0), SIGSTOP);
    child->endInput();

    loop.runToEnd(child->ended(std::chrono::seconds(0)));

    EXPECT_TRUE(child->hasEnded());
    EXPECT_TRUE(std::filesystem::remove(socket));
}

TEST_F(HelperChildTest, whatIsNeverAskedStartsNothing) {
    EXPECT_EQ(startCount(), 0U);
}

}  // namespace
}  // namespace marlet
