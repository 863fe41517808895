// marlet work on tasks of a repository.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>

#include "TestSupport/Await.h"
#include "WorkScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

size_t count(const std::vector<std::string>& lines, const std::string& part) {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

class WorkTest : public testing::TestWithParam<WorkScenario::Way> {};

INSTANTIATE_TEST_SUITE_P(BothWays, WorkTest,
                         testing::Values(WorkScenario::Way::inOwnProcess, WorkScenario::Way::withDaemon),
                         [](const auto& way) {
                             return way.param == WorkScenario::Way::withDaemon ? "withDaemon" : "inOwnProcess";
                         });

TEST_P(WorkTest, aTaskGoesFromTheStoreToAWorktreeInOneCommand) {
    WorkScenario scenario(GetParam());
    scenario.forge.addComment("acme/rocket", 1, "Mind the seals.");
    scenario.addAccount();

    JSONValue result = scenario.work(1);

    std::filesystem::path folder = scenario.worktree("1-fuel-the-tanks");
    EXPECT_EQ(textOf(result, "folder"), folder.string());
    EXPECT_EQ(textOf(result, "branch"), "marlet/1-fuel-the-tanks");
    EXPECT_EQ(textOf(result, "brief"), (folder / "TASK.md").string());
    EXPECT_EQ(result.objectValue()->size(), 4U);
    std::string link = textOf(result, "link");
    EXPECT_THAT(link, StartsWith("claude://code/new?"));
    EXPECT_EQ(linkItem(link, "folder"), folder.string());
    EXPECT_THAT(linkItem(link, "q"), StartsWith("Work on issue #1 “Fuel the tanks” in acme/rocket ("));
    EXPECT_THAT(scenario.record("xdg-open"), ElementsAre(link));
    std::string brief = contentOf(folder / "TASK.md");
    EXPECT_THAT(brief, StartsWith("# Fuel the tanks\n"));
    EXPECT_THAT(brief, HasSubstr("With care."));
    EXPECT_THAT(brief, HasSubstr("Mind the seals."));
    EXPECT_EQ(GitFixture::git(folder, {"status", "--porcelain"}), "");
    EXPECT_EQ(GitFixture::git(folder, {"branch", "--show-current"}), "marlet/1-fuel-the-tanks");
    EXPECT_EQ(contentOf(folder / "README.md"), "The first words of acme/rocket.\n");
}

TEST_P(WorkTest, theSecondTimeUsesWhatIsThere) {
    WorkScenario scenario(GetParam());
    scenario.addAccount();
    scenario.addProgram("git", "exec /usr/bin/git \"$@\"");
    JSONValue first = scenario.work(1);
    writeFile(scenario.worktree("1-fuel-the-tanks") / "tanks.txt", "Half full.\n");
    scenario.client.json({"task", "edit", "1", "--project", "acme/rocket", "--title", "Fuel both tanks"});

    JSONValue second = scenario.work(1);

    EXPECT_EQ(textOf(second, "folder"), textOf(first, "folder"));
    EXPECT_EQ(contentOf(scenario.worktree("1-fuel-the-tanks") / "tanks.txt"), "Half full.\n");
    EXPECT_THAT(contentOf(textOf(second, "brief")), StartsWith("# Fuel both tanks\n"));
    EXPECT_EQ(count(scenario.record("git"), "clone"), 1U);
}

TEST_P(WorkTest, aSecondTaskOfTheRepositoryNeedsNoSecondClone) {
    WorkScenario scenario(GetParam());
    scenario.addAccount();
    scenario.addProgram("git", "exec /usr/bin/git \"$@\"");
    scenario.work(1);

    EXPECT_EQ(textOf(scenario.work(2), "folder"), scenario.worktree("2-paint-the-fins").string());
    EXPECT_EQ(count(scenario.record("git"), "clone"), 1U);
}

TEST_P(WorkTest, peopleReadWhereTheWorkIsAndWhoOpens) {
    WorkScenario scenario(GetParam());
    scenario.addAccount();
    std::string folder = scenario.worktree("1-fuel-the-tanks").string();
    std::string shown = scenario.shownWork(1);
    EXPECT_THAT(
        shown, StartsWith("folder  " + folder + "\nbranch  marlet/1-fuel-the-tanks\nbrief   " + folder + "/TASK.md\n"));
    EXPECT_THAT(shown, EndsWith("Claude Code opens with the task.\n"));
    EXPECT_THAT(shown, Not(HasSubstr("claude://")));
}

TEST(WorkTest, theEndpointIsRegisteredForTheFolder) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    std::string endpoint = textOf(scenario.client.json({"mcp", "show"}), "endpoint");
    std::string secret = textOf(scenario.client.json({"mcp", "show"}), "token");
    std::string folders = (scenario.git.folder() / "folders").string();
    scenario.addProgram("claude", "pwd >> " + folders);

    JSONValue result = scenario.work(1);

    EXPECT_THAT(scenario.record("claude"), ElementsAre("mcp remove --scope local marlet",
                                                       "mcp add --scope local --transport http marlet " + endpoint +
                                                           " --header Authorization: Bearer " + secret));
    std::string folder = textOf(result, "folder");
    EXPECT_EQ(contentOf(folders), folder + "\n" + folder + "\n");
    EXPECT_THAT(linkItem(textOf(result, "link"), "q"), HasSubstr("Its Marlet task_id is "));
    EXPECT_THAT(contentOf(textOf(result, "brief")), HasSubstr("If Marlet's MCP tools are available"));
    EXPECT_THAT(scenario.shownWork(1), StartsWith("folder  "));
    EXPECT_THAT(scenario.shownWork(1), Not(HasSubstr("Marlet isn't running")));
}

TEST(WorkTest, withoutAnEndpointTheWorkBeginsWithoutTheTools) {
    WorkScenario scenario;
    scenario.addAccount();
    std::string shown = scenario.shownWork(1, {"--no-open"});
    EXPECT_THAT(shown, HasSubstr("The agent works without Marlet's tools. There is no endpoint for agents yet: start "
                                 "marlet serve once, then marlet work again.\n"));
    EXPECT_THAT(scenario.record("claude"), IsEmpty());
    EXPECT_THAT(shown, Not(HasSubstr("task_id")));
    EXPECT_THAT(contentOf(scenario.worktree("1-fuel-the-tanks") / "TASK.md"), Not(HasSubstr("MCP tools")));
}

TEST(WorkTest, anEndpointThatNobodyServesJustNowIsRegisteredAndSaid) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.stopDaemon();
    EXPECT_THAT(scenario.shownWork(1), HasSubstr("Marlet isn't running. Start marlet serve, so that the agent reaches "
                                                 "your tasks.\n"));
    EXPECT_EQ(scenario.record("claude").size(), 2U);
}

TEST(WorkTest, aMissingClaudeCostsTheToolsAndNothingElse) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.removeProgram("claude");
    std::string shown = scenario.shownWork(1);
    EXPECT_THAT(shown, HasSubstr("The agent works without Marlet's tools. The claude command wasn't found. Install "
                                 "Claude Code or choose the command.\n"));
    EXPECT_THAT(shown, EndsWith("Claude Code opens with the task.\n"));
}

TEST(WorkTest, aRegistrationThatFailsIsToldInClaudesWords) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.addProgram("claude", "echo 'No space for another server.' >&2; exit 1");
    EXPECT_THAT(scenario.shownWork(1), HasSubstr("claude mcp add failed: No space for another server."));
}

TEST(WorkTest, withoutGitNothingBegins) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.removeProgram("git");
    EXPECT_EQ(scenario.workError(1), "git wasn't found on the PATH. Install it, then try again.");
    EXPECT_FALSE(std::filesystem::exists(scenario.root()));
}

TEST(WorkTest, aServerThatIsAwayCostsTheBriefItsComments) {
    WorkScenario scenario;
    scenario.forge.addComment("acme/rocket", 1, "Mind the seals.");
    scenario.addAccount();
    scenario.work(1);
    scenario.server.reset();
    scenario.git.takeServerAway();

    std::string shown = scenario.shownWork(2);

    EXPECT_THAT(shown, HasSubstr("The task's comments couldn't be read. "));
    EXPECT_TRUE(std::filesystem::exists(scenario.worktree("2-paint-the-fins") / "TASK.md"));
    EXPECT_THAT(scenario.shownWork(1), HasSubstr("comments couldn't be read"));
    EXPECT_THAT(contentOf(scenario.worktree("1-fuel-the-tanks") / "TASK.md"), Not(HasSubstr("## Comments")));
    scenario.git.bringServerBack();
}

TEST(WorkTest, aServerThatTakesItsTimeCostsTheBriefItsComments) {
    WorkScenario scenario;
    scenario.addAccount();
    auto gate = std::make_shared<FakeGate>();
    scenario.forge.fail("GET /repos/acme/rocket/issues/1/comments", FakeFailure::held(gate));
    auto start = std::chrono::steady_clock::now();

    std::string shown = scenario.shownWork(1);

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_THAT(shown, HasSubstr("The task's comments couldn't be read. The server didn't answer in time.\n"));
    gate->open();
}

TEST(WorkTest, aCloneThatFailsIsToldAndTheNextTimeBeginsAnew) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.git.takeServerAway();
    EXPECT_THAT(scenario.workError(1), StartsWith("git clone failed: "));
    EXPECT_THAT(scenario.record("xdg-open"), IsEmpty());
    scenario.git.bringServerBack();
    EXPECT_EQ(textOf(scenario.work(1), "folder"), scenario.worktree("1-fuel-the-tanks").string());
}

TEST(WorkTest, aCheckoutThatHasGoneIsClonedAnew) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1);
    std::filesystem::remove_all(scenario.root());
    EXPECT_EQ(textOf(scenario.work(1), "folder"), scenario.worktree("1-fuel-the-tanks").string());
    EXPECT_TRUE(std::filesystem::exists(scenario.checkout() / "README.md"));
}

TEST(WorkTest, aCheckoutThatIsAnotherRepositoryNowIsReported) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1);
    GitFixture::git(scenario.checkout(), {"remote", "set-url", "origin", GitFixture::https("acme/launchpad")});
    EXPECT_EQ(scenario.workError(1), scenario.checkout().string() +
                                         " is a checkout of another repository (https://forge.example/acme/"
                                         "launchpad.git).");
}

TEST(WorkTest, anotherRootHasACloneOfItsOwn) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1);
    std::filesystem::path elsewhere = scenario.git.folder() / "elsewhere";

    std::string shown = scenario.shownWork(1, {"--root", elsewhere.string()});

    std::string folder = (elsewhere / "forge.example/acme/rocket.worktrees/1-fuel-the-tanks").string();
    EXPECT_THAT(shown, StartsWith("folder  " + folder + "\n"));
    EXPECT_THAT(shown, HasSubstr("The worktree of before stays where it is: " +
                                 scenario.worktree("1-fuel-the-tanks").string() + "\n"));
    // It is the repository's checkout from now on.
    EXPECT_EQ(textOf(scenario.work(1), "folder"), folder);
    EXPECT_THAT(textOf(scenario.work(2), "folder"), StartsWith(elsewhere.string()));
}

TEST(WorkTest, aWorktreeThatIsGoneIsNotSaidToStay) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1);
    std::filesystem::remove_all(scenario.worktree("1-fuel-the-tanks"));

    std::string shown = scenario.shownWork(1, {"--root", (scenario.git.folder() / "elsewhere").string()});

    EXPECT_THAT(shown, Not(HasSubstr("The worktree of before")));
}

TEST(WorkTest, aRootIsRelativeToTheCallersFolder) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(scenario.git.folder());
    std::string folder = textOf(scenario.work(1, {"--root", "[here]"}), "folder");
    std::filesystem::current_path(before);
    EXPECT_THAT(folder, StartsWith((scenario.git.folder() / "[here]/forge.example").string()));
    EXPECT_THAT(textOf(scenario.work(2, {"--root", "~/there"}), "folder"),
                StartsWith((scenario.home() / "there/forge.example").string()));
}

TEST(WorkTest, sshIsChosenByItsOption) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.work(1, {"--ssh"});
    EXPECT_EQ(GitFixture::git(scenario.checkout(), {"config", "--get", "remote.origin.url"}),
              "git@forge.example:acme/rocket.git");
}

TEST(WorkTest, aPullRequestIsWorkedOnFromItsChanges) {
    WorkScenario scenario;
    scenario.addAccount();
    JSONValue result = scenario.work(4);
    EXPECT_EQ(textOf(result, "branch"), "marlet/pr-4-paint-them-red");
    EXPECT_EQ(contentOf(scenario.worktree("pr-4-paint-them-red") / "fins.txt"), "Painted.\n");
    EXPECT_THAT(linkItem(textOf(result, "link"), "q"), StartsWith("Work on pull request #4 "));
}

TEST(WorkTest, aCompletedTaskCanBeWorkedOn) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.client.json({"task", "done", "1", "--project", "acme/rocket"});
    EXPECT_THAT(contentOf(textOf(scenario.work(1), "brief")), HasSubstr("- Status: done\n"));
}

TEST(WorkTest, aTaskThatTheServerHasNotNamedKeepsItsWorktreeOnceItHas) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.forge.fail("POST ", FakeFailure::status(503));
    JSONValue task = scenario.client.json({"task", "add", "Wave goodbye", "--project", "acme/rocket"});
    std::string id = textOf(task, "task_id");
    std::string name = "new-" + id.substr(0, 8) + "-wave-goodbye";
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char letter) { return std::tolower(letter); });

    JSONValue before = scenario.client.json({"work", id});
    EXPECT_EQ(textOf(before, "branch"), "marlet/" + name);
    EXPECT_THAT(linkItem(textOf(before, "link"), "q"), StartsWith("Work on the new issue “Wave goodbye”"));
    scenario.client.json({"sync"});

    JSONValue after = scenario.client.json({"work", id});
    EXPECT_EQ(textOf(after, "folder"), textOf(before, "folder"));
    EXPECT_THAT(linkItem(textOf(after, "link"), "q"), StartsWith("Work on issue #5 “Wave goodbye”"));
}

TEST(WorkTest, aTaskFileOfTheRepositorysOwnIsNeverOverwritten) {
    WorkScenario scenario;
    scenario.git.commit("acme/rocket", "refs/heads/main", {{"TASK.md", "What the crew does.\n"}});
    scenario.addAccount();

    JSONValue result = scenario.work(1);

    EXPECT_TRUE(memberOf(result, "brief").isNull());
    EXPECT_EQ(contentOf(scenario.worktree("1-fuel-the-tanks") / "TASK.md"), "What the crew does.\n");
    EXPECT_THAT(scenario.shownWork(1), HasSubstr("The work begins without a TASK.md. "));
    EXPECT_THAT(scenario.workError(1, {"--to", "cowork"}), HasSubstr("TASK.md"));
    EXPECT_EQ(contentOf(scenario.worktree("1-fuel-the-tanks") / "TASK.md"), "What the crew does.\n");
}

TEST(WorkTest, whatWasMadeBeforeAFailureIsUsedTheNextTime) {
    WorkScenario scenario;
    scenario.git.commit("acme/rocket", "refs/heads/main", {{"TASK.md", "What the crew does.\n"}});
    scenario.addAccount();
    scenario.workError(1, {"--to", "cowork"});
    scenario.client.json({"task", "edit", "1", "--project", "acme/rocket", "--title", "Fuel both tanks"});
    EXPECT_EQ(textOf(scenario.work(1), "folder"), scenario.worktree("1-fuel-the-tanks").string());
}

TEST(WorkTest, aHelperOfTheSessionIsUsedWhereThereIsOne) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    std::filesystem::path runtime = scenario.client.folder.path();
    ChildProcess service({std::filesystem::path(MARLET_PROGRAM).replace_filename("MarletHelper").string(), "--socket",
                          (runtime / "io.tolvane.Marlet.Helper.sock").string()},
                         "", scenario.client.environment);
    ASSERT_TRUE(awaitFile(runtime / "io.tolvane.Marlet.Helper.sock"));

    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");

    EXPECT_THAT(scenario.helpers(), ElementsAre(service.pid()));
    service.send(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    EXPECT_EQ(textOf(scenario.work(2), "branch"), "marlet/2-paint-the-fins");
}

TEST(WorkTest, aDataFolderWithALongNameStillWorks) {
    WorkScenario scenario;
    scenario.client.data = scenario.git.folder() / std::string(120, 'd') / "data";
    scenario.addAccount();
    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");
}

TEST(WorkTest, twoTasksAtOnceShareOneClone) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.addProgram("git", "exec /usr/bin/git \"$@\"");
    auto first = scenario.client.start(WorkScenario::named("", 1));
    auto second = scenario.client.start(WorkScenario::named("", 2));
    EXPECT_EQ(first->wait(), 0) << first->errors;
    EXPECT_EQ(second->wait(), 0) << second->errors;
    EXPECT_EQ(count(scenario.record("git"), "clone"), 1U);
    EXPECT_TRUE(std::filesystem::exists(scenario.worktree("1-fuel-the-tanks") / "TASK.md"));
    EXPECT_TRUE(std::filesystem::exists(scenario.worktree("2-paint-the-fins") / "TASK.md"));
}

}  // namespace
}  // namespace marlet
