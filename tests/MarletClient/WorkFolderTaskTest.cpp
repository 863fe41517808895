// marlet work on tasks without a repository, and the choice of an agent.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "MarletBase/Text.h"
#include "WorkScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// An "On This Mac" account with one task.
class PlainScenario : public WorkScenario {
public:
    PlainScenario() {
        client.addAccount();
        taskID = textOf(client.addTask("Water the beans", {"--notes", "At dawn."}), "task_id");
    }

    JSONValue work(const ClientScenario::Arguments& arguments = {}, int status = 0) {
        return client.json(line(arguments), status);
    }
    std::string shown(const ClientScenario::Arguments& arguments = {}) { return client.run(line(arguments)).output; }
    std::string error(const ClientScenario::Arguments& arguments) { return client.error(line(arguments)); }
    std::filesystem::path folder() const { return root() / "On This Mac/Tasks/1-water-the-beans"; }

    std::string taskID;

private:
    ClientScenario::Arguments line(const ClientScenario::Arguments& arguments) const {
        ClientScenario::Arguments words{"work", taskID};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
};

mode_t modeOf(const std::filesystem::path& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

TEST(WorkFolderTaskTest, aTaskWithoutARepositoryGetsAPlainFolder) {
    PlainScenario scenario;

    JSONValue result = scenario.work();

    EXPECT_EQ(textOf(result, "folder"), scenario.folder().string());
    EXPECT_TRUE(result["branch"] && result["branch"]->isNull());
    EXPECT_EQ(textOf(result, "brief"), (scenario.folder() / "TASK.md").string());
    std::string link = textOf(result, "link");
    EXPECT_THAT(link, StartsWith("claude://cowork/new?"));
    EXPECT_EQ(linkItem(link, "folder"), scenario.folder().string());
    EXPECT_EQ(linkItem(link, "q"),
              "Work on the task described in TASK.md (from Marlet). Write the result to RESULT.md in this folder.");
    EXPECT_THAT(scenario.record("xdg-open"), ElementsAre(link));
    EXPECT_THAT(contentOf(scenario.folder() / "TASK.md"), HasSubstr("At dawn."));
    for (const std::filesystem::path& made :
         {scenario.folder(), scenario.folder().parent_path(), scenario.root() / "On This Mac", scenario.root()}) {
        EXPECT_EQ(modeOf(made), 0700U) << made;
    }
}

TEST(WorkFolderTaskTest, aPlainFolderNeedsNoGitAndNoHelper) {
    PlainScenario scenario;
    scenario.removeProgram("git");
    EXPECT_EQ(textOf(scenario.work(), "folder"), scenario.folder().string());
    EXPECT_THAT(scenario.record("claude"), IsEmpty());
}

TEST(WorkFolderTaskTest, peopleSeeNoBranchWhereThereIsNone) {
    PlainScenario scenario;
    std::string folder = scenario.folder().string();
    EXPECT_EQ(scenario.shown(), "folder  " + folder + "\nbrief   " + folder +
                                    "/TASK.md\nClaude Cowork opens with the "
                                    "task.\n");
}

TEST(WorkFolderTaskTest, theFolderStaysWhenTheTaskIsRenamed) {
    PlainScenario scenario;
    scenario.work();
    scenario.client.json({"task", "edit", scenario.taskID, "--title", "Water the peas"});
    EXPECT_EQ(textOf(scenario.work(), "folder"), scenario.folder().string());
    EXPECT_THAT(contentOf(scenario.folder() / "TASK.md"), StartsWith("# Water the peas\n"));
}

TEST(WorkFolderTaskTest, aFolderThatHasGoneIsMadeAnewForTheTaskAsItIs) {
    PlainScenario scenario;
    scenario.work();
    std::filesystem::remove_all(scenario.folder());
    scenario.client.json({"task", "edit", scenario.taskID, "--title", "Water the peas"});
    EXPECT_THAT(textOf(scenario.work(), "folder"), EndsWith("/1-water-the-peas"));
}

TEST(WorkFolderTaskTest, anotherRootHasAFolderOfItsOwn) {
    PlainScenario scenario;
    scenario.work();
    std::filesystem::path elsewhere = scenario.git.folder() / "elsewhere";
    std::string folder = textOf(scenario.work({"--root", elsewhere.string()}), "folder");
    EXPECT_EQ(folder, (elsewhere / "On This Mac/Tasks/1-water-the-beans").string());
    EXPECT_EQ(textOf(scenario.work(), "folder"), folder);
}

TEST(WorkFolderTaskTest, aLinkThatLeavesTheRootIsRefused) {
    PlainScenario scenario;
    std::filesystem::create_directories(scenario.root());
    std::filesystem::create_directory_symlink(scenario.git.folder(), scenario.root() / "On This Mac");
    EXPECT_THAT(scenario.error({}), EndsWith(" is outside the root folder."));
}

TEST(WorkFolderTaskTest, aFileInPlaceOfTheFolderIsReported) {
    PlainScenario scenario;
    std::filesystem::create_directories(scenario.root());
    writeFile(scenario.root() / "On This Mac", "?");
    EXPECT_THAT(scenario.error({}), StartsWith("The work folder " + scenario.root().string()));
}

TEST(WorkFolderTaskTest, theReasonWhyAFolderCannotBeMadeIsTold) {
    PlainScenario scenario;
    std::filesystem::path root = scenario.home() / "work";
    std::filesystem::create_symlink(scenario.home() / "nowhere", root);
    EXPECT_EQ(scenario.error({"--root", root.string()}),
              "The work folder " + root.string() + " can't be made: File exists.");
}

TEST(WorkFolderTaskTest, theAgentOfTheAccountIsTakenWhereItFits) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.addAccount();
    scenario.client.json({"account", "agent", "Work", "cowork"});
    EXPECT_THAT(textOf(scenario.work(1), "link"), StartsWith("claude://cowork/new?"));
    // It has no place for an endpoint.
    EXPECT_THAT(scenario.record("claude"), IsEmpty());
    EXPECT_THAT(contentOf(scenario.worktree("1-fuel-the-tanks") / "TASK.md"), Not(HasSubstr("MCP tools")));
    EXPECT_THAT(textOf(scenario.work(1, {"--to", "code"}), "link"), StartsWith("claude://code/new?"));
}

TEST(WorkFolderTaskTest, anAgentThatCannotTakeTheTaskIsRefusedWithTheReason) {
    PlainScenario plain;
    EXPECT_EQ(plain.error({"--to", "code"}),
              "Claude Code can't take this task. It works in a repository, and this task has none. Use --to cowork.");
    EXPECT_EQ(plain.error({"--to", "copilot"}),
              "GitHub Copilot can't take this task. It takes those of repositories on public GitHub alone. Use --to "
              "cowork.");
    EXPECT_FALSE(std::filesystem::exists(plain.root()));
    WorkScenario scenario;
    scenario.addAccount();
    EXPECT_EQ(scenario.workError(1, {"--to", "copilot"}),
              "GitHub Copilot can't take this task. It takes those of repositories on public GitHub alone. Use --to "
              "code.");
    EXPECT_FALSE(std::filesystem::exists(scenario.root()));
}

TEST(WorkFolderTaskTest, copilotOpensWithTheRepositoryAndThePullRequest) {
    WorkScenario scenario(WorkScenario::Way::withDaemon);
    scenario.changeRepository([](FakeRepository& repository) {
        repository.pageURL = "https://github.com/acme/rocket";
        repository.cloneURL = "https://github.com/acme/rocket.git";
    });
    GitFixture::git(scenario.git.folder(),
                    {"config", "--global", "--add",
                     "url.file://" + scenario.git.bare("acme/rocket").parent_path().string() + "/.insteadOf",
                     "https://github.com/acme/"});
    scenario.addAccount();

    std::string link = textOf(scenario.work(4, {"--to", "copilot"}), "link");

    EXPECT_THAT(link, StartsWith("ghapp://session/new?"));
    EXPECT_EQ(linkItem(link, "repo"), "acme/rocket");
    EXPECT_EQ(linkItem(link, "pr"), "4");
    EXPECT_EQ(linkItem(link, "mode"), "interactive");
    EXPECT_EQ(linkItem(textOf(scenario.work(1, {"--to", "copilot"}), "link"), "pr"), "(none)");
    EXPECT_THAT(contentOf(scenario.home() / ".copilot/mcp-config.json"),
                HasSubstr(textOf(scenario.client.json({"mcp", "show"}), "endpoint")));
    EXPECT_THAT(scenario.record("claude"), IsEmpty());
    EXPECT_THAT(scenario.shownWork(1, {"--to", "copilot"}), EndsWith("GitHub Copilot opens with the task.\n"));
}

// A scenario with a board, which has no repository.
class BoardScenario : public WorkScenario {
public:
    BoardScenario() {
        forge.addOrganization("acme");
        std::string board = forge.addBoard({.login = "acme", .title = "Roadmap"});
        forge.addBoardItem(board, {.title = "Reach orbit"});
        addAccount();
        client.json({"project", "subscribe", "Roadmap"});
        client.json({"sync", "--full"});
    }
};

TEST(WorkFolderTaskTest, anItemOfABoardGetsAPlainFolder) {
    BoardScenario scenario;
    JSONValue tasks = scenario.client.json({"task", "list", "--project", "Roadmap"});
    std::string id = textsOf(tasks, "tasks", "task_id").at(0);

    JSONValue result = scenario.client.json({"work", id});

    EXPECT_THAT(textOf(result, "folder"), StartsWith((scenario.root() / "Work/Roadmap").string() + "/"));
    EXPECT_THAT(textOf(result, "link"), StartsWith("claude://cowork/new?"));
    EXPECT_TRUE(memberOf(result, "branch").isNull());
}

TEST(WorkFolderTaskTest, aTaskThatTheServerHasNotNamedGoesByItsOwnID) {
    BoardScenario scenario;
    scenario.forge.fail("POST ", FakeFailure::status(503));
    std::string id = textOf(scenario.client.json({"task", "add", "Land again", "--project", "Roadmap"}), "task_id");

    std::string folder = textOf(scenario.client.json({"work", id}), "folder");

    std::string begin = lowercasedASCII(id.substr(0, 8));
    EXPECT_EQ(folder, (scenario.root() / "Work/Roadmap" / ("new-" + begin + "-land-again")).string());
    scenario.client.json({"sync"});
    EXPECT_EQ(textOf(scenario.client.json({"work", id}), "folder"), folder);
}

}  // namespace
}  // namespace marlet
