#include "MarletIPC/InheritedListener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "LineScenario.h"
#include "MarletIPC/LineClient.h"
#include "TestSupport/TemporaryFolder.h"
#include "TestSupport/TestLoop.h"

namespace marlet {
namespace {

struct InheritedListenerTest : testing::Test {
    ~InheritedListenerTest() override {
        ::close(listener);
        for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
            ::unsetenv(variable);
        }
    }

    // As the process that hands the socket over does, which keeps it.
    static void announce(const std::string& process, const std::string& count) {
        ::setenv("LISTEN_PID", process.c_str(), 1);
        ::setenv("LISTEN_FDS", count.c_str(), 1);
        ::setenv("LISTEN_FDNAMES", "helper", 1);
    }
    static std::string ownProcess() { return std::to_string(::getpid()); }
    std::optional<InheritedListener> take() const { return InheritedListener::take(::dup(listener)); }

    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "activated";
    int listener = rawListener(path);
};

TEST_F(InheritedListenerTest, isServedLikeASocketOfItsOwn) {
    announce(ownProcess(), "1");
    RunningServer server(take().value());
    EXPECT_EQ(LineClient::connect(path)->ask("echo activated"), "activated");
}

TEST_F(InheritedListenerTest, servesWhoConnectedBeforeItWasThere) {
    RawPeer early(path);
    early.send("echo early\n");
    announce(ownProcess(), "1");
    RunningServer server(take().value());
    EXPECT_EQ(early.readLine(), "early");
}

TEST_F(InheritedListenerTest, outlivesItsServerWithItsFileAndThoseWhoWait) {
    announce(ownProcess(), "1");
    std::optional<RunningServer> server(std::in_place, take().value());
    EXPECT_EQ(LineClient::connect(path)->ask("echo first"), "first");
    server.reset();
    EXPECT_TRUE(std::filesystem::exists(path));

    RawPeer waiting(path);
    waiting.send("echo second\n");
    announce(ownProcess(), "1");
    server.emplace(take().value());

    EXPECT_EQ(waiting.readLine(), "second");
}

TEST_F(InheritedListenerTest, keepsThoseWhoCameWhileItsServerStoppedForTheNextOne) {
    TestLoop loop;
    LineService service{[](std::string line) -> Async<LineReply> { co_return LineReply{line}; }, "too long",
                        "stopping"};
    LineServer server(loop.executor(), service);
    announce(ownProcess(), "1");
    loop.runToEnd(server.listen(take().value()));
    RawPeer waiting(path);
    waiting.send("hello\n");

    loop.runToEnd(server.stop());
    loop.runToEnd(server.drain(std::chrono::seconds(20)));

    announce(ownProcess(), "1");
    RunningServer next(take().value());
    EXPECT_EQ(waiting.readLine(), "hello");
}

TEST_F(InheritedListenerTest, isNothingThatAChildInherits) {
    announce(ownProcess(), "1");
    std::optional<InheritedListener> inherited = take();
    EXPECT_EQ(std::getenv("LISTEN_PID"), nullptr);
    EXPECT_EQ(std::getenv("LISTEN_FDS"), nullptr);
    EXPECT_EQ(std::getenv("LISTEN_FDNAMES"), nullptr);
    int descriptor = inherited->release();
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    ::close(descriptor);
}

TEST_F(InheritedListenerTest, isNoneWithoutTheVariables) {
    EXPECT_FALSE(InheritedListener::take());
}

TEST_F(InheritedListenerTest, thatIsForAnotherProcessIsLeftAloneButNotHandedOn) {
    announce("1", "1");
    EXPECT_FALSE(InheritedListener::take());
    EXPECT_EQ(std::getenv("LISTEN_PID"), nullptr);
    EXPECT_EQ(std::getenv("LISTEN_FDS"), nullptr);
}

TEST_F(InheritedListenerTest, isNoneForVariablesThatAreNoNumbers) {
    for (const char* count : {"", "0", "-1", "one", "1x", " 1"}) {
        announce(ownProcess(), count);
        EXPECT_FALSE(InheritedListener::take()) << count;
    }
    announce(ownProcess() + " ", "1");
    EXPECT_FALSE(InheritedListener::take());
}

TEST_F(InheritedListenerTest, isRefusedWhenThereAreSeveral) {
    announce(ownProcess(), "2");
    EXPECT_THROW(InheritedListener::take(listener), LineServerError);
}

TEST_F(InheritedListenerTest, isRefusedWhenItIsAnythingElse) {
    int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    int unbound = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int datagrams = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int internet = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::listen(internet, 1);
    int closed = ::dup(file);
    ::close(closed);
    for (int other : {file, unbound, datagrams, internet, closed}) {
        announce(ownProcess(), "1");
        EXPECT_THROW(InheritedListener::take(other), LineServerError);
    }
    for (int other : {file, unbound, datagrams, internet}) {
        ::close(other);
    }
}

}  // namespace
}  // namespace marlet
