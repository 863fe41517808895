// How the program ends, and what it is started with by a service manager.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <future>

#include "HelperScenario.h"
#include "TestSupport/Await.h"

namespace marlet {
namespace {

// A socket made before the program, as a service manager does.
class ActivatedHelperTest : public HelperScenario {
protected:
    ActivatedHelperTest() : listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socket.string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener, 16), 0);
    }
    ~ActivatedHelperTest() override { ::close(listener); }

    std::unique_ptr<ChildProcess> activate() const {
        return launch(
            {"/bin/sh", "-c", "export LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=s; exec \"$@\"", "sh", helperProgram},
            {}, {.inherited = listener});
    }

    int listener;
};

class HelperEndTest : public HelperScenario {
protected:
    HelperEndTest() { EXPECT_EQ(::pipe2(input.data(), O_CLOEXEC), 0); }
    ~HelperEndTest() override {
        ::close(input[0]);
        endInput();
    }

    std::unique_ptr<ChildProcess> startWithInput() const {
        return start({}, {.input = input[0]}, {"--until-input-ends"});
    }
    void endInput() {
        if (input[1] >= 0) {
            ::close(std::exchange(input[1], -1));
        }
    }

    std::array<int, 2> input{-1, -1};
};

TEST_F(HelperEndTest, everySignalThatAsksForItEndsItWell) {
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
        auto helper = start();
        LineClient idle = connect();
        helper->send(signal);
        EXPECT_EQ(helper->wait(), 0) << signal;
        EXPECT_EQ(helper->errors, "");
        EXPECT_FALSE(std::filesystem::exists(socket));
    }
}

TEST_F(HelperEndTest, itEndsWithItsInput) {
    auto helper = startWithInput();
    EXPECT_EQ(::write(input[1], "ignored\n", 8), 8);
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
    endInput();
    EXPECT_EQ(helper->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(HelperEndTest, aSignalEndsItAlsoWhileItWaitsForItsInput) {
    auto helper = startWithInput();
    helper->send(SIGTERM);
    EXPECT_EQ(helper->wait(), 0);
}

TEST_F(HelperEndTest, aFileAsItsInputEnds) {
    std::ofstream(folder.path() / "input") << std::string(100'000, 'x');
    int file = ::open((folder.path() / "input").c_str(), O_RDONLY | O_CLOEXEC);
    auto helper = launch({helperProgram, "--socket", socket.string(), "--until-input-ends"}, {}, {.input = file});
    ::close(file);
    EXPECT_EQ(helper->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(HelperEndTest, anInputThatIsMissingHasEnded) {
    ChildOutcome outcome = runToEnd(
        {"/bin/sh", "-c", "exec \"$@\" <&-", "sh", helperProgram, "--socket", socket.string(), "--until-input-ends"});
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(HelperEndTest, withoutStandardFilesItServesAllTheSame) {
    auto helper =
        launch({"/bin/sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh", helperProgram, "--socket", socket.string()});
    ASSERT_TRUE(listens(socket));
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
}

TEST_F(HelperEndTest, aCommandUnderWayIsStoppedAndItsRequestAnswered) {
    NamedPipe started(folder.path() / "started");
    ToolSettings slow{
        GitChoice::custom, "/nowhere/git",
        script("slow", "tail -f /dev/null &\necho $$ $! > '" + (folder.path() / "started").string() + "'\nwait")
            .string()};
    auto helper = start();
    auto reply = std::async(std::launch::async, [&] { return ask(HelperRequest{HelperRequest::LocateTools{slow}}); });
    std::string processes = started.readLine();

    helper->send(SIGTERM);

    EXPECT_TRUE(std::holds_alternative<HelperReply::Tools>(reply.get().value));
    EXPECT_EQ(helper->wait(), 0);
    EXPECT_TRUE(awaitEndOf(std::stoi(processes)));
    EXPECT_TRUE(awaitEndOf(std::stoi(processes.substr(processes.find(' ') + 1))));
}

// Git's own way to any program stands for a server that never answers.
TEST_F(HelperEndTest, aCloneUnderWayIsStoppedAndLeavesNothing) {
    NamedPipe started(folder.path() / "started");
    std::filesystem::path server =
        script("server", "tail -f /dev/null &\necho $$ $! > '" + (folder.path() / "started").string() + "'\nwait");
    std::ofstream(home / ".gitconfig") << "[protocol \"ext\"]\n\tallow = always\n[url \"ext::" << server.string()
                                       << " \"]\n\tinsteadOf = https://forge.example/\n";
    auto helper = start();
    CheckoutRequest request{"~/Code",
                            {"garden"},
                            "https://forge.example/ada/garden.git",
                            RepositoryCoordinates("forge.example", std::nullopt, "ada", "garden"),
                            std::nullopt,
                            {GitChoice::custom, "/usr/bin/git", ""}};
    auto reply =
        std::async(std::launch::async, [&] { return ask(HelperRequest{HelperRequest::PrepareCheckout{request}}); });
    std::string processes = started.readLine();
    ASSERT_FALSE(processes.empty());

    helper->send(SIGTERM);

    EXPECT_EQ(reply.get().line(), R"({"failure":{"_0":"git clone failed: it took too long and was stopped"}})");
    EXPECT_EQ(helper->wait(), 0);
    EXPECT_TRUE(awaitEndOf(std::stoi(processes)));
    EXPECT_TRUE(awaitEndOf(std::stoi(processes.substr(processes.find(' ') + 1))));
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_FALSE(std::filesystem::exists(home / "Code" / "garden"));
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(HelperEndTest, whatWaitsForAThreadIsAnsweredToo) {
    constexpr int busy = 8;
    NamedPipe started(folder.path() / "started");
    ToolSettings slow{
        GitChoice::custom, "/nowhere/git",
        script("slow", "echo x > '" + (folder.path() / "started").string() + "'\nexec tail -f /dev/null").string()};
    auto helper = start();
    std::vector<std::future<std::optional<std::string>>> replies;
    for (int number = 0; number < busy + 2; ++number) {
        replies.push_back(std::async(std::launch::async,
                                     [&] { return ask(HelperRequest{HelperRequest::LocateTools{slow}}.line()); }));
    }
    for (int number = 0; number < busy; ++number) {
        EXPECT_EQ(started.readLine(), "x");
    }

    helper->send(SIGTERM);

    for (auto& reply : replies) {
        EXPECT_TRUE(reply.get().has_value());
    }
    EXPECT_EQ(helper->wait(), 0);
}

TEST_F(HelperEndTest, aClientThatDoesNotReadItsAnswerDoesNotKeepItAlive) {
    auto helper = start();
    ToolSettings settings{GitChoice::custom, std::string(1'000'000, 'x'), "/nowhere/claude"};
    int deaf = sendOnly(HelperRequest{HelperRequest::LocateTools{settings}}.line());
    // By then that request has been carried out.
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
    helper->send(SIGTERM);
    EXPECT_EQ(helper->wait(), 0);
    ::close(deaf);
}

TEST_F(ActivatedHelperTest, itServesThoseWhoWereThereBefore) {
    auto helper = activate();
    EXPECT_EQ(whatClaudePrints("echo alive"), "alive");
}

TEST_F(ActivatedHelperTest, itsCommandsKnowNothingOfTheSocket) {
    auto helper = activate();
    EXPECT_EQ(whatClaudePrints("echo \"$LISTEN_PID|$LISTEN_FDS|$LISTEN_FDNAMES\""), "||");
    EXPECT_EQ(whatClaudePrints("ls -m /proc/$$/fd"), scriptDescriptors);
}

TEST_F(ActivatedHelperTest, theSocketStaysForTheNextOne) {
    auto first = activate();
    EXPECT_EQ(whatClaudePrints("echo first"), "first");
    first->send(SIGTERM);
    EXPECT_EQ(first->wait(), 0);
    EXPECT_TRUE(std::filesystem::exists(socket));

    auto second = activate();
    EXPECT_EQ(whatClaudePrints("echo second"), "second");
}

TEST_F(ActivatedHelperTest, aSocketThatIsForAnotherProcessIsNotServed) {
    std::filesystem::path own = folder.path() / "own.sock";
    auto helper =
        launch({helperProgram, "--socket", own.string()}, {"LISTEN_PID=1", "LISTEN_FDS=1"}, {.inherited = listener});
    EXPECT_TRUE(listens(own));
}

TEST_F(ActivatedHelperTest, whatIsNoSocketIsTold) {
    int file = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(file, listener);
    ::close(file);
    auto helper = activate();
    EXPECT_EQ(helper->wait(), 1);
    EXPECT_EQ(helper->errors, "MarletHelper couldn't listen: What was handed over isn't a listening Unix socket.\n");
}

}  // namespace
}  // namespace marlet
