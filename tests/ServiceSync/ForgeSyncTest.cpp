// Stories of an account on a forge, from the store through the engine and the backend to the service and back.
#include "SyncedForge.h"

namespace marlet {
namespace {

using testing::Each;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;

struct Story : SyncedForge {
    explicit Story(FakeForgeKind kind) : SyncedForge(kind, "ghp_secret") {}
    ~Story() override { EXPECT_THAT(forge.violations(), IsEmpty()) << forge.printedLog(); }

    // One repository with three issues, in step.
    void begin() {
        addProject("o/r", 3);
        subscribe();
        sync();
        clock->advance(60);
        forge.takeLines();
    }
};

class ForgeSyncTest : public testing::TestWithParam<FakeForgeKind> {};

INSTANTIATE_TEST_SUITE_P(Services, ForgeSyncTest, testing::Values(FakeForgeKind::github, FakeForgeKind::forgejo),
                         [](const auto& tested) {
                             return tested.param == FakeForgeKind::github ? "GitHub" : "Forgejo";
                         });

TEST_P(ForgeSyncTest, aFirstSyncBringsEverythingAndASecondOneNothing) {
    Story story(GetParam());
    size_t pages = GetParam() == FakeForgeKind::github ? 3 : 5;
    for (const char* name : {"o/first", "o/second", "o/third"}) {
        story.addProject(name, 250);
    }
    story.subscribe();
    story.forge.takeLines();

    story.sync();
    std::vector<std::string> first = story.forge.takeLines();
    story.sync();
    std::vector<std::string> second = story.forge.takeLines();

    for (const char* name : {"o/first", "o/second", "o/third"}) {
        EXPECT_EQ(story.tasks(name).size(), 250u);
    }
    EXPECT_EQ(first.size(), 3 * pages);
    EXPECT_THAT(first, Each(EndsWith(" -> 200")));
    EXPECT_EQ(second.size(), 3 * pages);
    EXPECT_THAT(second, Each(EndsWith(" -> 304")));
}

TEST_P(ForgeSyncTest, anEditGoesOutBeforeTheFetchOfItsPass) {
    Story story(GetParam());
    story.begin();
    story.edit("o/r", 2, [](TaskItem& item) { item.isCompleted = true; });
    story.forge.editIssue("o/r", 3, [](FakeIssue& issue) { issue.title = "Another's"; });

    story.sync(SyncedForge::Mode::delta);

    EXPECT_TRUE(story.forge.issue("o/r", 2).isClosed);
    EXPECT_TRUE(story.task("o/r", 2).item.isCompleted);
    EXPECT_EQ(story.task("o/r", 3).item.title, "Another's");
    std::vector<std::string> lines = story.forge.takeLines();
    EXPECT_THAT(lines.front(), testing::StartsWith("PATCH /repos/o/r/issues/2"));
}

TEST_P(ForgeSyncTest, aTaskMadeHereExistsOnceEverywhere) {
    Story story(GetParam());
    story.begin();
    story.run(story.store.createTask({.title = "Mine"}, story.account.id, "o/r", story.clock->now()));

    story.push();
    story.sync();

    EXPECT_EQ(story.forge.issues("o/r").size(), 4u);
    EXPECT_EQ(story.forge.issue("o/r", 4).title, "Mine");
    EXPECT_EQ(story.tasks("o/r").size(), 4u);
    EXPECT_EQ(story.task("o/r", 4).item.title, "Mine");
}

TEST_P(ForgeSyncTest, anIssueThatIsGoneLeavesWithTheNextFullFetch) {
    Story story(GetParam());
    story.begin();
    story.forge.removeIssue("o/r", 2);

    story.sync();

    EXPECT_EQ(story.tasks("o/r").size(), 2u);
}

TEST_P(ForgeSyncTest, noFailureLosesATask) {
    Story story(GetParam());
    story.begin();
    std::vector<TaskSnapshot> before = story.tasks("o/r");
    for (const FakeFailure& failure :
         {FakeFailure::status(401), FakeFailure::status(404), FakeFailure::status(500), FakeFailure::html(),
          FakeFailure::empty(), FakeFailure::cut(), FakeFailure::truncated(), FakeFailure::status(403)}) {
        story.forge.fail("", failure, -1);
        story.sync();
        story.sync(SyncedForge::Mode::delta);
        story.forge.recover();
    }

    EXPECT_EQ(story.tasks("o/r").size(), before.size());
    story.sync();
    EXPECT_EQ(story.tasks("o/r"), before);
    EXPECT_EQ(story.accountError(), "");
}

TEST_P(ForgeSyncTest, anEditOutlivesALimitAndArrivesBehindIt) {
    Story story(GetParam());
    story.begin();
    story.edit("o/r", 1, [](TaskItem& item) { item.title = "Patient"; });
    story.forge.limit({.count = 1, .resetsAfter = 600});
    story.push();
    EXPECT_THAT(story.accountError(), Not(IsEmpty()));
    story.forge.takeLines();

    story.runFor(540);
    EXPECT_THAT(story.forge.takeLines(), IsEmpty());
    story.runFor(120);

    EXPECT_EQ(story.forge.issue("o/r", 1).title, "Patient");
    EXPECT_EQ(story.accountError(), "");
}

TEST_P(ForgeSyncTest, aHintBringsAChangeWithinMinutesHoweverQuietItWas) {
    Story story(GetParam());
    story.begin();
    story.runFor(20000);
    story.forge.editIssue("o/r", 1, [](FakeIssue& issue) { issue.title = "Wake up"; });

    story.runFor(240);

    EXPECT_EQ(story.task("o/r", 1).item.title, "Wake up");
}

TEST_P(ForgeSyncTest, anEditWhoseAnswerIsLostIsSentAgainAndHarmsNothing) {
    Story story(GetParam());
    story.begin();
    story.edit("o/r", 1, [](TaskItem& item) { item.title = "Twice"; });
    story.forge.fail("PATCH", FakeFailure::lostAnswer());
    story.push();
    EXPECT_EQ(story.forge.issue("o/r", 1).title, "Twice");

    story.push();

    EXPECT_EQ(story.forge.takeLines().size(), 2u);
    EXPECT_EQ(story.task("o/r", 1).item.title, "Twice");
    EXPECT_TRUE(story.run(story.store.pendingPushes(story.account.id)).empty());
}

TEST(ForgejoSyncTest, anOrganizationsLabelStaysWhereOthersChange) {
    Story story(FakeForgeKind::forgejo);
    story.addProject("o/r", 1);
    story.forge.addLabel("o/r", "everywhere");
    story.forge.addLabel("o/r", "bug");
    story.forge.with([](FakeForgeState& state) { state.repository("o/r").labels.at(0).isOrganizations = true; });
    story.forge.editIssue("o/r", 1, [](FakeIssue& issue) { issue.labels = {"everywhere"}; });
    story.subscribe();
    story.sync();
    story.edit("o/r", 1, [](TaskItem& item) { item.labels.push_back({"bug", std::nullopt}); });

    story.push();

    EXPECT_THAT(story.forge.issue("o/r", 1).labels, testing::UnorderedElementsAre("bug", "everywhere"));
    EXPECT_EQ(story.task("o/r", 1).pushError, std::nullopt);
}

TEST(GitHubSyncTest, aParentMovesBetweenRepositories) {
    Story story(FakeForgeKind::github);
    story.begin();
    story.addProject("acme/tools", 1);
    story.edit("o/r", 1, [](TaskItem& item) { item.parent = TaskParent{"acme/tools#1", ""}; });
    story.push();
    EXPECT_EQ(story.forge.issue("o/r", 1).parent, (FakeIssuePlace{"acme/tools", 1}));

    story.sync();
    EXPECT_EQ(story.task("o/r", 1).item.parent.value().id, "acme/tools#1");
    story.edit("o/r", 1, [](TaskItem& item) { item.parent.reset(); });
    story.push();

    EXPECT_FALSE(story.forge.issue("o/r", 1).parent);
}

TEST(GitHubSyncTest, aDraftOfABoardIsEditedMovedAndCompleted) {
    Story story(FakeForgeKind::github);
    story.forge.addOrganization("acme");
    std::string board = story.forge.addBoard(
        {.login = "acme", .number = 12, .title = "Season", .statusOptions = {{"todo", "Todo"}, {"done", "Done"}}});
    int64_t draft = story.forge.addBoardItem(board, {.title = "Sow", .statusID = "todo"});
    story.forge.addBoardItem(board, {.contentType = "Issue", .title = "No draft"});
    story.subscribe();
    story.sync();
    ASSERT_EQ(story.tasks(board).size(), 1u);
    EXPECT_EQ(story.task(board, draft).item.status, "Todo");
    story.edit(board, draft, [](TaskItem& item) {
        item.title = "Reap";
        item.status = "Done";
    });

    story.push();
    story.sync();

    EXPECT_EQ(story.forge.boardItem(board, draft).title, "Reap");
    EXPECT_EQ(story.forge.boardItem(board, draft).statusID, "done");
    EXPECT_TRUE(story.task(board, draft).item.isCompleted);
}

}  // namespace
}  // namespace marlet
