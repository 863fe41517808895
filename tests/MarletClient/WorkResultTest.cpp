// marlet work result, and marlet work remove.
#include <gmock/gmock.h>

#include <set>

#include "WorkScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A task that an agent has got.
class HandedOver : public WorkScenario {
public:
    explicit HandedOver(Way way = Way::inOwnProcess) : WorkScenario(way) {
        addAccount();
        work(1);
    }

    JSONValue result(int status = 0) { return client.json(named("result", 1), status); }
    std::string resultError() { return client.error(named("result", 1)); }
    std::string removeError() { return client.error(named("remove", 1)); }
    void writeResult(const std::string& text) const { writeFile(folder() / "RESULT.md", text); }
    // As if nothing had been written for so long.
    void ageResult(std::chrono::seconds age) const {
        std::filesystem::path file = folder() / "RESULT.md";
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - age);
    }
    std::vector<std::string> comments() {
        std::vector<std::string> bodies;
        for (const FakeComment& comment : forge.issue("acme/rocket", 1).comments) {
            bodies.push_back(comment.body);
        }
        return bodies;
    }
    std::filesystem::path folder() const { return worktree("1-fuel-the-tanks"); }
};

class WorkResultTest : public testing::TestWithParam<WorkScenario::Way> {};

INSTANTIATE_TEST_SUITE_P(BothWays, WorkResultTest,
                         testing::Values(WorkScenario::Way::inOwnProcess, WorkScenario::Way::withDaemon),
                         [](const auto& way) {
                             return way.param == WorkScenario::Way::withDaemon ? "withDaemon" : "inOwnProcess";
                         });

TEST_P(WorkResultTest, theResultBecomesAComment) {
    HandedOver scenario(GetParam());
    scenario.writeResult("Both tanks are **full**.\n");

    JSONValue comment = scenario.result();

    EXPECT_THAT(scenario.comments(), ElementsAre("Both tanks are **full**."));
    EXPECT_EQ(textOf(comment, "body"), "Both tanks are **full**.");
}

TEST_P(WorkResultTest, aWorktreeIsRemovedAndItsBranchStays) {
    HandedOver scenario(GetParam());

    JSONValue removed = scenario.client.json(WorkScenario::named("remove", 1));

    EXPECT_EQ(memberOf(removed, "removed"), JSONValue(true));
    EXPECT_EQ(textOf(removed, "title"), "Fuel the tanks");
    EXPECT_EQ(textOf(removed, "folder"), scenario.folder().string());
    EXPECT_FALSE(std::filesystem::exists(scenario.folder().parent_path()));
    EXPECT_EQ(GitFixture::git(scenario.checkout(), {"branch", "--list", "marlet/*"}), "  marlet/1-fuel-the-tanks");
    EXPECT_EQ(scenario.removeError(), "The task \"Fuel the tanks\" has no worktree.");
    EXPECT_EQ(textOf(scenario.work(1), "branch"), "marlet/1-fuel-the-tanks");
}

TEST(WorkResultTest, nothingIsPostedTwice) {
    HandedOver scenario;
    scenario.writeResult("Both tanks are full.\n");
    scenario.result();
    EXPECT_EQ(scenario.resultError(),
              "The RESULT.md in " + scenario.folder().string() + " hasn't changed since it was posted.");
    EXPECT_EQ(scenario.comments().size(), 1U);
}

TEST(WorkResultTest, ofTwoAtOnceOnePosts) {
    HandedOver scenario(WorkScenario::Way::withDaemon);
    scenario.writeResult("Both tanks are full.\n");
    auto gate = std::make_shared<FakeGate>();
    scenario.forge.fail("POST /repos/acme/rocket/issues/1/comments", FakeFailure::held(gate));
    auto first = scenario.client.start(WorkScenario::named("result", 1));
    ASSERT_TRUE(gate->awaitReached());
    auto second = scenario.client.start(WorkScenario::named("result", 1));
    // It has come by now: others come and go.
    scenario.client.json({"status"});
    scenario.client.json({"status"});
    gate->open();
    EXPECT_EQ(std::set<int>({first->wait(), second->wait()}), std::set<int>({0, 1}));
    EXPECT_EQ(scenario.comments().size(), 1U);
}

TEST(WorkResultTest, aResultThatChangedIsAnotherOne) {
    HandedOver scenario;
    scenario.writeResult("One tank is full.\n");
    // Written long before it is posted, and written again before that: only what was posted counts.
    scenario.ageResult(std::chrono::seconds(60));
    scenario.result();
    scenario.writeResult("Both tanks are full.\n");
    scenario.ageResult(std::chrono::seconds(30));

    scenario.result();

    EXPECT_THAT(scenario.comments(), ElementsAre("One tank is full.", "Both tanks are full."));
}

TEST(WorkResultTest, aTaskThatNobodyGotHasNoResult) {
    HandedOver scenario;
    EXPECT_EQ(scenario.client.error(WorkScenario::named("result", 2)),
              "The task \"Paint the fins\" hasn't been handed to an agent yet. Use marlet work.");
}

TEST(WorkResultTest, aMissingOrBlankResultIsTold) {
    HandedOver scenario;
    std::string expected = "There is no RESULT.md in " + scenario.folder().string() + " yet.";
    EXPECT_EQ(scenario.resultError(), expected);
    scenario.writeResult(" \n");
    EXPECT_EQ(scenario.resultError(), expected);
    EXPECT_THAT(scenario.comments(), IsEmpty());
}

TEST(WorkResultTest, aResultThatTheServerRefusesCanBePostedAgain) {
    HandedOver scenario;
    scenario.writeResult("Both tanks are full.\n");
    scenario.forge.fail("POST ", FakeFailure::status(503), 1);
    EXPECT_NE(textOf(memberOf(scenario.result(1), "error"), "message"), "");
    EXPECT_THAT(scenario.comments(), IsEmpty());
    scenario.result();
    EXPECT_EQ(scenario.comments().size(), 1U);
}

TEST(WorkResultTest, aLinkInPlaceOfTheResultIsNotFollowed) {
    HandedOver scenario;
    writeFile(scenario.home() / "secret", "The launch code.\n");
    std::filesystem::create_symlink(scenario.home() / "secret", scenario.folder() / "RESULT.md");
    EXPECT_THAT(scenario.resultError(), HasSubstr((scenario.folder() / "RESULT.md").string()));
    EXPECT_THAT(scenario.removeError(), HasSubstr((scenario.folder() / "RESULT.md").string()));
    EXPECT_THAT(scenario.comments(), IsEmpty());
}

TEST(WorkResultTest, theResultOfATaskThatTheServerHasNotNamedWaits) {
    WorkScenario scenario;
    scenario.addAccount();
    scenario.forge.fail("POST ", FakeFailure::status(503));
    std::string id = textOf(scenario.client.json({"task", "add", "Wave", "--project", "acme/rocket"}), "task_id");
    std::string folder = textOf(scenario.client.json({"work", id}), "folder");
    writeFile(folder + "/RESULT.md", "Waved.\n");
    EXPECT_EQ(scenario.client.error({"work", "result", id}),
              "The task \"Wave\" isn't on its server yet. Use marlet sync, then post its result again.");
    scenario.client.json({"sync"});
    EXPECT_EQ(textOf(scenario.client.json({"work", "result", id}), "body"), "Waved.");
}

TEST(WorkResultTest, aTaskOfThisComputerGetsItsResultAsAComment) {
    WorkScenario scenario;
    scenario.client.addAccount();
    std::string id = textOf(scenario.client.addTask("Water the beans"), "task_id");
    std::string folder = textOf(scenario.client.json({"work", id}), "folder");
    writeFile(folder + "/RESULT.md", "Watered.\n");
    ChildOutcome outcome = scenario.client.run({"work", "result", id});
    EXPECT_EQ(outcome.output, "The result is posted as a comment.\n");
    JSONValue task = scenario.client.json({"task", "show", id, "--comments"});
    EXPECT_THAT(textsOf(task, "comments", "body"), ElementsAre("Watered."));
    EXPECT_EQ(scenario.client.error({"work", "remove", id}),
              "The task \"Water the beans\" has no worktree. Its work folder is yours to delete: " + folder);
    EXPECT_TRUE(std::filesystem::exists(folder));
}

TEST(WorkRemoveTest, aWorktreeWithChangesStaysAndGitSaysWhy) {
    HandedOver scenario;
    writeFile(scenario.folder() / "tanks.txt", "Half full.\n");
    EXPECT_THAT(scenario.removeError(), StartsWith("git worktree remove failed: "));
    EXPECT_EQ(contentOf(scenario.folder() / "tanks.txt"), "Half full.\n");
    std::filesystem::remove(scenario.folder() / "tanks.txt");
    scenario.client.json(WorkScenario::named("remove", 1));
}

TEST(WorkRemoveTest, aResultThatNobodyHasSeenKeepsTheWorktree) {
    HandedOver scenario;
    scenario.writeResult("Both tanks are full.\n");
    EXPECT_EQ(scenario.removeError(), "The RESULT.md in " + scenario.folder().string() +
                                          " hasn't been posted, and would be lost. Post it with marlet work result, or "
                                          "delete it, then remove the worktree.");
    scenario.result();
    ChildOutcome outcome = scenario.client.run(WorkScenario::named("remove", 1));
    EXPECT_EQ(outcome.output, "Removed the worktree " + scenario.folder().string() + ". Its branch stays.\n");
    EXPECT_EQ(scenario.resultError(), "There is no RESULT.md in " + scenario.folder().string() + " yet.");
}

TEST(WorkRemoveTest, aWorktreeThatIsGoneAlreadyIsForgotten) {
    HandedOver scenario;
    std::filesystem::remove_all(scenario.folder());
    scenario.client.json(WorkScenario::named("remove", 1));
    EXPECT_THAT(scenario.removeError(), HasSubstr("has no worktree."));
}

TEST(WorkRemoveTest, aTaskThatNobodyGotHasNoWorktree) {
    HandedOver scenario;
    EXPECT_EQ(scenario.client.error(WorkScenario::named("remove", 2)), "The task \"Paint the fins\" has no worktree.");
}

TEST(WorkRemoveTest, withoutGitTheWorktreeStays) {
    HandedOver scenario;
    scenario.removeProgram("git");
    EXPECT_EQ(scenario.removeError(), "git wasn't found on the PATH. Install it, then try again.");
    EXPECT_TRUE(std::filesystem::exists(scenario.folder()));
}

}  // namespace
}  // namespace marlet
