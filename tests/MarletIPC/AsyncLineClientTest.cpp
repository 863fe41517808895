#include "MarletIPC/AsyncLineClient.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <fstream>

#include "LineScenario.h"
#include "MarletIPC/LineClient.h"
#include "TestSupport/TemporaryFolder.h"
#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

using Answer = std::optional<std::string>;

struct AsyncLineClientTest : testing::Test {
    AsyncLineClient connected() { return std::move(loop.runToEnd(AsyncLineClient::connect(path)).value()); }

    TestLoop loop;
    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "control";
};

// What was asked goes to a peer that the test plays itself.
struct PlayedServerTest : AsyncLineClientTest {
    ~PlayedServerTest() override { ::close(listener); }

    int listener = rawListener(path);
    AsyncLineClient client = connected();
    RawPeer peer = RawPeer::accepted(listener);
};

TEST_F(AsyncLineClientTest, everyLineIsAnsweredInOrder) {
    RunningServer server(path);
    AsyncLineClient client = connected();
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(loop.runToEnd(client.ask("echo " + std::to_string(number))), std::to_string(number));
    }
}

TEST_F(AsyncLineClientTest, nobodyListensWhereNoFileOrFolderOrServerIs) {
    EXPECT_FALSE(loop.runToEnd(AsyncLineClient::connect(path)));
    EXPECT_FALSE(loop.runToEnd(AsyncLineClient::connect(folder.path() / "missing" / "control")));
    ::close(rawListener(path));
    EXPECT_FALSE(loop.runToEnd(AsyncLineClient::connect(path)));
}

TEST_F(AsyncLineClientTest, aPathThatCannotBeUsedIsAnError) {
    std::ofstream(folder.path() / "file") << "no folder";
    EXPECT_THROW(loop.runToEnd(AsyncLineClient::connect(folder.path() / "file" / "control")), std::system_error);
}

TEST_F(AsyncLineClientTest, severalConnectionsWaitSideBySide) {
    RunningServer server(path);
    AsyncLineClient slow = connected();
    AsyncLineClient slower = connected();
    auto first = loop.start(slow.ask("wait"));
    auto second = loop.start(slower.ask("wait"));
    AsyncLineClient quick = connected();

    EXPECT_EQ(loop.runToEnd(quick.ask("echo quick")), "quick");
    loop.runReady();
    server.waitUntilWaiting(2);
    EXPECT_FALSE(first->isFinished || second->isFinished);
    server.release();
    loop.runUntil([&] { return first->isFinished && second->isFinished; });

    EXPECT_EQ(*first->value, "wait");
    EXPECT_EQ(*second->value, "wait");
}

TEST_F(AsyncLineClientTest, theLongestLineGoesBothWays) {
    RunningServer server(path);
    AsyncLineClient client = connected();
    std::string line(maximumLineLength, 'a');
    EXPECT_TRUE(loop.runToEnd(client.ask(line)) == line);
}

TEST_F(AsyncLineClientTest, theServerSaysThatALineIsTooLong) {
    RunningServer server(path);
    AsyncLineClient client = connected();
    EXPECT_EQ(loop.runToEnd(client.ask(std::string(maximumLineLength + 1, 'a'))), "too long");
    EXPECT_EQ(loop.runToEnd(client.ask("echo more")), std::nullopt);
}

TEST_F(AsyncLineClientTest, anAnswerThatIsTooLongIsAnErrorAndTheEndOfTheConnection) {
    RunningServer server(path);
    AsyncLineClient client = connected();
    EXPECT_THROW(loop.runToEnd(client.ask("long " + std::to_string(maximumLineLength + 1))), LineClientError);
    EXPECT_EQ(loop.runToEnd(client.ask("echo more")), std::nullopt);
}

TEST_F(PlayedServerTest, anAnswerThatComesByteByByteIsOne) {
    auto answer = loop.start(client.ask("a question"));
    loop.runReady();
    EXPECT_EQ(peer.readLine(), "a question");
    for (char piece : std::string("piecemeal\n")) {
        EXPECT_FALSE(answer->isFinished);
        peer.send(std::string_view(&piece, 1));
        loop.runReady();
    }
    loop.runUntil([&] { return answer->isFinished; });
    EXPECT_EQ(*answer->value, "piecemeal");
}

TEST_F(PlayedServerTest, whoGoesAwayWithoutAnAnswerGivesNone) {
    auto answer = loop.start(client.ask("a question"));
    loop.runReady();
    peer.readLine();
    peer.close();
    loop.runUntil([&] { return answer->isFinished; });
    EXPECT_EQ(*answer->value, std::nullopt);
}

TEST_F(PlayedServerTest, whoGoesAwayHalfWayThroughTheAnswerGivesNone) {
    auto answer = loop.start(client.ask("a question"));
    loop.runReady();
    peer.readLine();
    peer.send("half an ans");
    peer.close();
    loop.runUntil([&] { return answer->isFinished; });
    EXPECT_EQ(*answer->value, std::nullopt);
}

TEST_F(PlayedServerTest, anAnswerThatCameBeforeTheQuestionWasReadCounts) {
    peer.send("good-bye\n");
    peer.close();
    EXPECT_EQ(loop.runToEnd(client.ask("a question")), "good-bye");
}

TEST_F(PlayedServerTest, cancellationClosesTheConnection) {
    boost::asio::cancellation_signal cancel;
    std::exception_ptr failure;
    bool isFinished = false;
    boost::asio::co_spawn(loop.executor(), client.ask("a question"),
                          boost::asio::bind_cancellation_slot(cancel.slot(), [&](std::exception_ptr error, Answer) {
                              failure = error;
                              isFinished = true;
                          }));
    loop.runReady();
    EXPECT_EQ(peer.readLine(), "a question");
    EXPECT_FALSE(isFinished);

    cancel.emit(boost::asio::cancellation_type::terminal);
    loop.runUntil([&] { return isFinished; });

    EXPECT_THROW(std::rethrow_exception(failure), boost::system::system_error);
    EXPECT_EQ(peer.readAll(), "");
    EXPECT_EQ(loop.runToEnd(client.ask("another")), std::nullopt);
}

TEST_F(PlayedServerTest, cancellationWhileThePeerReadsNothingClosesTheConnectionToo) {
    boost::asio::cancellation_signal cancel;
    bool isFinished = false;
    boost::asio::co_spawn(
        loop.executor(), client.ask(std::string(maximumLineLength, 'a')),
        boost::asio::bind_cancellation_slot(cancel.slot(), [&](std::exception_ptr, Answer) { isFinished = true; }));
    loop.runReady();
    EXPECT_FALSE(isFinished);

    cancel.emit(boost::asio::cancellation_type::terminal);
    loop.runUntil([&] { return isFinished; });

    EXPECT_LT(peer.readAll().size(), maximumLineLength);
}

TEST_F(PlayedServerTest, aConnectionIsClosedWithItsClient) {
    { AsyncLineClient gone = std::move(client); }
    EXPECT_EQ(peer.readAll(), "");
}

}  // namespace
}  // namespace marlet
