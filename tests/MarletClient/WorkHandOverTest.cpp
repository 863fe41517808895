// How marlet work opens the agent's link, and what it is asked.
#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>

#include "MarletClient/WorkSubject.h"
#include "WorkScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The task of a plain folder, the quickest to hand over.
class HandOverScenario : public WorkScenario {
public:
    HandOverScenario() {
        client.addAccount();
        taskID = textOf(client.addTask("Water the beans"), "task_id");
    }
    ChildOutcome handOver(const ClientScenario::Arguments& arguments = {}) {
        ClientScenario::Arguments words{"work", taskID};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return client.run(words);
    }
    std::string link() { return textOf(client.json({"work", taskID, "--no-open"}), "link"); }

    std::string taskID;
};

TEST(WorkHandOverTest, noOpenPrintsTheLink) {
    HandOverScenario scenario;
    ChildOutcome outcome = scenario.handOver({"--no-open"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, EndsWith("Open this link for Claude Cowork:\n" + scenario.link() + "\n"));
    EXPECT_THAT(scenario.record("xdg-open"), IsEmpty());
}

TEST(WorkHandOverTest, withoutAnOpenerTheLinkIsPrinted) {
    HandOverScenario scenario;
    scenario.removeProgram("xdg-open");
    ChildOutcome outcome = scenario.handOver();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, EndsWith("xdg-open wasn't found on the PATH. Open this link for Claude Cowork:\n" +
                                         scenario.link() + "\n"));
}

TEST(WorkHandOverTest, anOpenerThatFailsIsToldAndTheLinkPrinted) {
    HandOverScenario scenario;
    scenario.addProgram("xdg-open", "exit 3");
    ChildOutcome outcome = scenario.handOver();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, EndsWith("xdg-open couldn't open it (exit status 3). Open this link for Claude "
                                         "Cowork:\n" +
                                         scenario.link() + "\n"));
}

TEST(WorkHandOverTest, anOpenerThatCannotBeStartedIsToldAndTheLinkPrinted) {
    HandOverScenario scenario;
    scenario.removeProgram("xdg-open");
    std::ofstream(scenario.tools() / "xdg-open") << "#!/nowhere/sh\n";
    std::filesystem::permissions(scenario.tools() / "xdg-open", std::filesystem::perms::owner_all);
    ChildOutcome outcome = scenario.handOver();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("xdg-open couldn't be started: No such file or directory. Open this link"));
}

TEST(WorkHandOverTest, withJSONNothingButTheValueIsPrintedAndTheLinkStillOpened) {
    HandOverScenario scenario;
    JSONValue result = scenario.client.json({"work", scenario.taskID});
    EXPECT_THAT(scenario.record("xdg-open"), ElementsAre(textOf(result, "link")));
    scenario.client.json({"work", scenario.taskID, "--no-open"});
    EXPECT_EQ(scenario.record("xdg-open").size(), 1U);
}

// Field 6 of its status; the name before it is in brackets.
int sessionOf(int process) {
    std::string status = contentOf(fmt::format("/proc/{}/stat", process));
    std::istringstream fields(status.substr(status.rfind(')') + 1));
    std::string state;
    int parent = 0;
    int group = 0;
    int session = 0;
    fields >> state >> parent >> group >> session;
    return session;
}

TEST(WorkHandOverTest, anOpenerThatStaysHoldsUpNobodyAndHasNothingOfOurs) {
    HandOverScenario scenario;
    std::filesystem::path gate = scenario.git.folder() / "gate";
    std::filesystem::path number = scenario.git.folder() / "number";
    ::mkfifo(gate.c_str(), 0600);
    scenario.addProgram("xdg-open", "echo $$ > '" + number.string() + "'; read line < '" + gate.string() + "'");

    int ours = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
    ChildProcess command(scenario.client.commandLine({"work", scenario.taskID}), {.inherited = ours},
                         scenario.client.environment);
    ::close(ours);

    EXPECT_EQ(command.wait(), 0);
    EXPECT_THAT(command.output, EndsWith("Claude Cowork opens with the task.\n"));
    int process = std::stoi(contentOf(number));
    EXPECT_EQ(sessionOf(process), process);
    std::string status = contentOf(fmt::format("/proc/{}/status", process));
    uint64_t ignored = std::stoull(status.substr(status.find("SigIgn:") + 7), nullptr, 16);
    EXPECT_EQ(ignored & (uint64_t{1} << (SIGPIPE - 1)), 0U);
    for (const auto& descriptor : std::filesystem::directory_iterator(fmt::format("/proc/{}/fd", process))) {
        std::string target = std::filesystem::read_symlink(descriptor).string();
        EXPECT_TRUE(target == "/dev/null" || target.starts_with(scenario.tools().string())) << target;
    }
    std::ofstream(gate) << "go\n";
}

TEST(WorkHandOverTest, commandLinesThatCannotBeFollowedAreRefused) {
    HandOverScenario scenario;
    using Arguments = ClientScenario::Arguments;
    const std::vector<std::pair<Arguments, std::string>> refusals{
        {{"work"}, "TASK is required"},
        {{"work", "result"}, "TASK is required"},
        {{"work", "remove"}, "TASK is required"},
        {{"work", "1", "2"}, "There is no use here for \"2\""},
        {{"work", "result", "1", "2"}, "There is no use here for \"2\""},
        {{"work", "--ssh", "result", "1"}, "There is no use here for \"--ssh\""},
        {{"work", "remove", "1", "--root", "/x"}, "There is no use here for \"--root\""},
        {{"work", "1", "--to", "nobody"}, "Unknown agent \"nobody\". Use code, cowork or copilot."},
        {{"work", "1", "--root", ""}, "--root must name a folder."},
    };
    for (const auto& [line, message] : refusals) {
        EXPECT_THAT(scenario.client.error(line, 2), StartsWith(message)) << fmt::format("{}", line.back());
    }
    EXPECT_THAT(scenario.client.error({"work", "FFFFFFFF"}), StartsWith("No task \"FFFFFFFF\"."));
}

TEST(WorkSubjectTest, aTokenIsShownToTheAccountsOwnServerAlone) {
    auto account = [](BackendKind kind, const char* address) {
        return Account{UUID(), kind, "Work", URL::parse(address).value()};
    };
    Account gitHub = account(BackendKind::github, "https://api.github.com");
    EXPECT_TRUE(mayShowToken("https://github.com/acme/rocket.git", gitHub));
    EXPECT_TRUE(mayShowToken("https://GitHub.com:443/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("https://api.github.com/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("http://github.com/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("https://github.com:8443/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("https://github.com:80/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("https://github.com.example/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("https://github.com@forge.example/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("git@github.com:acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("ssh://git@github.com/acme/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("/srv/rocket.git", gitHub));
    EXPECT_FALSE(mayShowToken("", gitHub));
    Account forgejo = account(BackendKind::forgejo, "https://forge.example:3000/git/");
    EXPECT_TRUE(mayShowToken("https://forge.example:3000/git/acme/rocket.git", forgejo));
    EXPECT_FALSE(mayShowToken("https://forge.example/git/acme/rocket.git", forgejo));
    EXPECT_TRUE(
        mayShowToken("https://gitlab.example/acme/rocket.git", account(BackendKind::gitlab, "http://gitlab.example")));
    EXPECT_FALSE(mayShowToken("https://localhost/acme/rocket.git", account(BackendKind::local, "https://localhost")));
}

}  // namespace
}  // namespace marlet
