#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "ClientScenario.h"

namespace marlet {
namespace {

// Holds a port of the loopback address.
class Listener {
public:
    explicit Listener(int port) : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        int yes = 1;
        ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(descriptor, 1), 0);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { ::close(descriptor); }

private:
    int descriptor;
};

int portOf(const JSONValue& ready) {
    std::string endpoint = textOf(ready, "endpoint");
    return std::stoi(endpoint.substr(std::string("http://127.0.0.1:").size()));
}

unsigned modeOf(const std::filesystem::path& file) {
    struct stat info {};
    EXPECT_EQ(::lstat(file.c_str(), &info), 0) << file;
    return info.st_mode & 07777;
}

TEST(DaemonTest, theFirstRunMakesAnAccountWithOneProject) {
    ClientScenario client;
    JSONValue ready = client.startDaemon();
    EXPECT_EQ(memberOf(ready, "pid"), JSONValue(client.daemon().pid()));
    EXPECT_EQ(textOf(ready, "token").size(), 43U);
    JSONValue status = client.json({"status"});
    EXPECT_EQ(textsOf(status, "accounts", "name"), std::vector<std::string>{"On This Mac"});
    EXPECT_EQ(textsOf(status, "projects", "name"), std::vector<std::string>{"Tasks"});
    EXPECT_EQ(client.stopDaemon(), 0);
    EXPECT_EQ(client.json({"mcp", "show"}),
              JSONValue::object({{"endpoint", textOf(ready, "endpoint")}, {"token", textOf(ready, "token")}}));
}

TEST(DaemonTest, anAccountThatTheUserRemovedDoesNotComeBack) {
    ClientScenario client;
    client.startDaemon();
    client.json({"account", "remove", "On This Mac"});
    client.stopDaemon();
    client.startDaemon();
    EXPECT_TRUE(textsOf(client.json({"account", "list"}), "accounts", "name").empty());
    client.stopDaemon();
}

TEST(DaemonTest, anAccountThatIsThereIsEnough) {
    ClientScenario client;
    client.json({"account", "add", "local", "--name", "Home"});
    client.startDaemon();
    EXPECT_EQ(textsOf(client.json({"account", "list"}), "accounts", "name"), std::vector<std::string>{"Home"});
    client.stopDaemon();
}

TEST(DaemonTest, itSaysOneLineAndEndsWellByEitherSignal) {
    for (int signal : {SIGTERM, SIGINT}) {
        ClientScenario client;
        std::unique_ptr<ChildProcess> daemon = client.start({"serve", "--relaxed"});
        std::optional<std::string> ready = daemon->readLine();
        ASSERT_TRUE(ready);
        EXPECT_TRUE(ready->starts_with("Marlet is ready and serves agents at http://127.0.0.1:")) << *ready;
        daemon->send(signal);
        EXPECT_EQ(daemon->wait(), 0);
        EXPECT_EQ(daemon->output, *ready + "\n");
        EXPECT_EQ(daemon->errors, "");
        EXPECT_FALSE(std::filesystem::exists(client.data / "control"));
        EXPECT_EQ(memberOf(client.json({"status"}), "daemon"), JSONValue(false));
    }
}

TEST(DaemonTest, portAndTokenAreKept) {
    ClientScenario client;
    JSONValue first = client.startDaemon();
    client.stopDaemon();
    JSONValue second = client.startDaemon();
    client.stopDaemon();
    EXPECT_EQ(textOf(second, "endpoint"), textOf(first, "endpoint"));
    EXPECT_EQ(textOf(second, "token"), textOf(first, "token"));
}

TEST(DaemonTest, aKeptPortThatIsTakenIsToldAndANewOneCanBePicked) {
    ClientScenario client;
    JSONValue first = client.startDaemon();
    client.stopDaemon();
    Listener other(portOf(first));

    std::string message = client.error({"serve"});
    EXPECT_NE(message.find(std::to_string(portOf(first))), std::string::npos) << message;
    EXPECT_NE(message.find("pick a new port with --port 0"), std::string::npos) << message;

    JSONValue picked = client.startDaemon({"--port", "0"});
    client.stopDaemon();
    EXPECT_NE(portOf(picked), portOf(first));
    EXPECT_EQ(textOf(picked, "token"), textOf(first, "token"));
    EXPECT_EQ(portOf(client.startDaemon()), portOf(picked));
    client.stopDaemon();
}

TEST(DaemonTest, aSecondDaemonOnOneFolderIsRefused) {
    ClientScenario client;
    client.startDaemon();
    EXPECT_EQ(client.error({"serve"}), "Marlet already serves this data folder (process " +
                                           std::to_string(client.daemon().pid()) +
                                           "). Stop that one first, or choose another folder with --data.");
    EXPECT_EQ(client.stopDaemon(), 0);
}

TEST(DaemonTest, whatAKilledDaemonLeftIsTakenOverWithoutAWord) {
    ClientScenario client;
    client.startDaemon();
    client.addTask("Water the beans");
    client.daemon().send(SIGKILL);
    EXPECT_EQ(client.daemon().wait(), -SIGKILL);
    ASSERT_TRUE(std::filesystem::exists(client.data / "control"));

    ChildOutcome listed = client.run({"task", "list"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.errors, "");
    client.startDaemon();
    EXPECT_EQ(textsOf(client.json({"task", "list"}), "tasks", "title"), std::vector<std::string>{"Water the beans"});
    EXPECT_EQ(client.stopDaemon(), 0);
}

TEST(DaemonTest, everyFileIsTheUsersAloneWhateverTheUmask) {
    mode_t before = ::umask(0);
    ClientScenario client;
    client.startDaemon();
    client.addTask("Water the beans");
    EXPECT_EQ(modeOf(client.data), 0700U);
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(client.data)) {
        EXPECT_EQ(modeOf(entry.path()), 0600U) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 5U);
    client.stopDaemon();
    client.addTask("Water the oaks");
    for (const auto& entry : std::filesystem::directory_iterator(client.data)) {
        EXPECT_EQ(modeOf(entry.path()), 0600U) << entry.path();
    }
    ::umask(before);
}

TEST(DaemonTest, aFolderWithAPathLongerThanASocketAddressWorks) {
    TemporaryFolder folder;
    std::filesystem::path deep = folder.path();
    while (deep.string().size() < 250) {
        deep /= std::string(40, 'd');
    }
    ClientScenario client(deep);
    client.startDaemon();
    client.addTask("Water the beans");
    EXPECT_EQ(memberOf(client.json({"status"}), "daemon"), JSONValue(true));
    EXPECT_EQ(client.stopDaemon(), 0);
    EXPECT_EQ(textsOf(client.json({"task", "list"}), "tasks", "number"), std::vector<std::string>{"1"});
}

TEST(DaemonTest, theTokenIsToldByMCPCommandsAlone) {
    ClientScenario client;
    std::string token = textOf(client.startDaemon(), "token");
    for (const auto& command : {std::vector<std::string>{"status"}, {"--json", "status"}, {"account", "list"}}) {
        EXPECT_EQ(client.run(command).output.find(token), std::string::npos);
    }
    EXPECT_NE(client.run({"mcp", "show"}).output.find(token), std::string::npos);
    client.stopDaemon();
}

TEST(DaemonTest, commandsWithoutADaemonWaitForEachOther) {
    ClientScenario client;
    client.addAccount();
    std::vector<std::unique_ptr<ChildProcess>> commands;
    for (int number = 0; number < 8; ++number) {
        commands.push_back(client.start({"task", "add", "Water", "--project", "Tasks"}));
    }
    for (const auto& command : commands) {
        EXPECT_EQ(command->wait(), 0) << command->errors;
    }
    std::vector<std::string> numbers = textsOf(client.json({"task", "list"}), "tasks", "number");
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, (std::vector<std::string>{"1", "2", "3", "4", "5", "6", "7", "8"}));
}

TEST(DaemonTest, whatIsPrintedWithoutAStandardOutputGoesIntoNoOtherFile) {
    ClientScenario client;
    std::vector<std::string> words{"/bin/sh", "-c", "exec \"$0\" \"$@\" >&-"};
    ClientScenario::Arguments serve = client.commandLine({"serve"});
    words.insert(words.end(), serve.begin(), serve.end());
    ChildProcess daemon(words, "", client.environment);
    bool isServed = false;
    for (int tries = 0; !isServed && tries < 200; ++tries) {
        isServed = !memberOf(client.json({"status"}), "endpoint").isNull();
    }
    ASSERT_TRUE(isServed);

    daemon.send(SIGTERM);

    EXPECT_EQ(daemon.wait(), 0) << daemon.errors;
    std::ifstream lock(client.data / "lock");
    std::string content((std::istreambuf_iterator<char>(lock)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, std::to_string(daemon.pid()) + "\n");
}

TEST(DaemonTest, commandsAroundItsStartAndStopAreAllCarriedOutOnce) {
    ClientScenario client;
    client.addAccount();
    constexpr int rounds = 3;
    constexpr int commandsEach = 4;
    std::vector<std::unique_ptr<ChildProcess>> commands;
    auto startCommands = [&] {
        for (int number = 0; number < commandsEach; ++number) {
            commands.push_back(client.start({"task", "add", "Water", "--project", "Tasks"}));
        }
    };
    for (int round = 0; round < rounds; ++round) {
        std::unique_ptr<ChildProcess> daemon = client.start({"serve"});
        startCommands();
        ASSERT_TRUE(daemon->readLine());
        startCommands();
        daemon->send(SIGTERM);
        startCommands();
        EXPECT_EQ(daemon->wait(), 0) << daemon->errors;
        for (const auto& command : commands) {
            EXPECT_EQ(command->wait(), 0) << command->errors;
        }
    }
    std::vector<std::string> titles = textsOf(client.json({"task", "list", "--limit", "1000"}), "tasks", "title");
    EXPECT_EQ(titles.size(), commands.size());
}

}  // namespace
}  // namespace marlet
