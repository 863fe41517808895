#include "MarletIPC/LineServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <list>

#include "LineScenario.h"
#include "MarletIPC/LineClient.h"
#include "TestSupport/OrdinaryUser.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

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

TEST_F(LineServerTest, manyLinesInOneWriteAreAllAnswered) {
    RunningServer server(path);
    RawPeer peer(path);
    std::string questions;
    std::string answers;
    for (int number = 0; number < 5'000; ++number) {
        questions += "echo " + std::to_string(number) + "\n";
        answers += std::to_string(number) + "\n";
    }
    peer.send(questions);
    peer.finishSending();
    EXPECT_EQ(peer.readAll(), answers);
}

TEST_F(LineServerTest, whoSendsNoMoreStillGetsEveryAnswer) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("echo a\nwait\nlong 300000\nunfinished");
    peer.finishSending();
    EXPECT_EQ(peer.readLine(), "a");
    server.waitUntilWaiting();
    server.release();
    EXPECT_EQ(peer.readAll(), "wait\n" + std::string(300'000, 'x') + "\n");
}

TEST_F(LineServerTest, aPeerThatDoesNotReadItsAnswerHoldsUpNobodyElse) {
    RunningServer server(path);
    RawPeer deaf(path);
    deaf.send("long 16000000\necho next\n");
    std::optional<LineClient> other = LineClient::connect(path);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(other->ask("long 100000")->size(), 100'000U);
    }
    EXPECT_EQ(deaf.readLine().size(), 16'000'000U);
    EXPECT_EQ(deaf.readLine(), "next");
}

TEST_F(LineServerTest, manySessionsAreServedAtOnce) {
    RunningServer server(path);
    std::vector<std::future<std::optional<std::string>>> answers;
    for (int number = 0; number < 40; ++number) {
        answers.push_back(std::async(std::launch::async, [&] { return LineClient::connect(path)->ask("wait"); }));
    }
    server.waitUntilWaiting(40);
    server.release();
    for (auto& answer : answers) {
        EXPECT_EQ(answer.get(), "wait");
    }
}

TEST_F(LineServerTest, aChildInheritsNoneOfItsSockets) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("echo a\n");
    ASSERT_EQ(peer.readLine(), "a");
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        int descriptor = std::stoi(entry.path().filename().string());
        if (target.starts_with("socket:") && descriptor > STDERR_FILENO) {
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
    }
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

TEST_F(LineServerTest, anAnswerThatFailsEndsItsSessionAlone) {
    RunningServer server(path);
    std::optional<LineClient> other = LineClient::connect(path);
    EXPECT_EQ(LineClient::connect(path)->ask("throw"), std::nullopt);
    EXPECT_EQ(other->ask("echo more"), "more");
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
    ::close(rawListener(path));
    ASSERT_FALSE(LineClient::connect(path));

    RunningServer server(path);

    EXPECT_EQ(LineClient::connect(path)->ask("echo alive"), "alive");
}

TEST_F(LineServerTest, aSocketThatALiveServerAnswersOnIsLeftToIt) {
    RunningServer first(path);
    EXPECT_THROW(RunningServer second(path), LineServerError);
    EXPECT_EQ(LineClient::connect(path)->ask("echo still"), "still");
}

TEST_F(LineServerTest, aListenerThatLetsNobodyInIsALiveOneToo) {
    int listener = rawListener(path, 0);
    std::list<LineClient> waiting;
    while (std::optional<LineClient> next = LineClient::connect(path)) {
        waiting.push_back(std::move(*next));
    }
    EXPECT_THROW(RunningServer second(path), LineServerError);
    ::close(listener);
}

TEST_F(LineServerTest, aFileThatIsNoSocketStays) {
    std::ofstream(path) << "mine";
    EXPECT_THROW(RunningServer server(path), std::system_error);
    EXPECT_TRUE(std::filesystem::is_regular_file(path));

    std::filesystem::path link = folder.path() / "link";
    std::filesystem::create_symlink("nowhere", link);
    EXPECT_THROW(RunningServer server(link), std::system_error);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(LineServerTest, anotherUsersListenerIsToldNothing) {
    if (::geteuid() != 0) {
        return;  // only the superuser can be two
    }
    RunningServer server(path);
    ::chmod(path.c_str(), 0666);
    ::chmod(folder.path().c_str(), 0755);
    OrdinaryUser user;
    try {
        LineClient::connect(path);
        FAIL() << "It is connected.";
    } catch (const LineClientError& error) {
        EXPECT_EQ(error.errorDescription(), "A process of another user answers at " + path.string() + ".");
    }
}

TEST_F(LineServerTest, aFolderThatIsMissingIsToldWithThePath) {
    try {
        RunningServer server(folder.path() / "missing" / "control");
        FAIL() << "It listens.";
    } catch (const std::system_error&) {
        EXPECT_EQ(localizedDescription(std::current_exception()), "The file " +
                                                                      (folder.path() / "missing" / "control").string() +
                                                                      " can't be used: No such file or directory.");
    }
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

TEST_F(LineServerTest, anAnswerOnItsWayIsSentToItsEnd) {
    RunningServer server(path);
    RawPeer peer(path);
    peer.send("long 8000000\n");
    ASSERT_TRUE(peer.receive());

    server.stop();

    EXPECT_EQ(peer.readLine().size(), 8'000'000U);
    EXPECT_EQ(peer.readAll(), "stopping\n");
}

TEST_F(LineServerTest, whoWaitsToBeLetInWhenItStopsIsToldSo) {
    RunningServer server(path);
    std::optional<RawPeer> peer;
    server.stopAfter([&] { peer.emplace(path); });
    EXPECT_EQ(peer->readAll(), "stopping\n");
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
