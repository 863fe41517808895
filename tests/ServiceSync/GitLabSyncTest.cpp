// Stories of an account of GitLab, from the store through the engine and the backend to the service and back.
#include "SyncedGitLab.h"

namespace marlet {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

// One project with an issue, a task below it, and a merge request, in step.
struct Story : SyncedGitLab {
    Story() {
        issue = gitLab.addItem(project, {.title = "Dredge", .labels = {"urgent"}});
        task = gitLab.addItem(project, {.title = "Hire a barge", .type = "task", .parent = std::stoll(issue)});
        request = gitLab.addItem(project, {.title = "Replace the seal", .isMergeRequest = true});
        subscribe();
        sync();
        clock->advance(60);
        gitLab.takeLines();
    }
    ~Story() override { EXPECT_THAT(gitLab.violations(), IsEmpty()) << gitLab.printedLog(); }

    TaskItem stored(const std::string& taskID) { return SyncedAccount::task(project, taskID).item; }
    void change(const std::string& taskID, const std::function<void(TaskItem& item)>& how) {
        edit(project, taskID, how);
    }

    std::string project = gitLab.addProject("o/r");
    std::string issue;
    std::string task;
    std::string request;
};

TEST(GitLabSyncTest, aFirstSyncBringsIssuesTasksAndMergeRequests) {
    Story story;
    EXPECT_THAT(story.tasks(story.project), SizeIs(3));
    EXPECT_EQ(story.stored(story.task).parent, (TaskParent{story.issue, "Dredge"}));
    EXPECT_EQ(story.stored("!1").title, "Replace the seal");
    EXPECT_EQ(story.stored("1").title, "Dredge");
}

TEST(GitLabSyncTest, changesOfBothSidesMeetInOnePass) {
    Story story;
    story.change(story.request, [](TaskItem& item) { item.isCompleted = true; });
    story.gitLab.editItem(story.project, story.issue, [](FakeGitLabItem& item) { item.title = "Another's"; });

    story.sync(SyncedAccount::Mode::delta);

    EXPECT_TRUE(story.gitLab.item(story.project, story.request).isClosed);
    EXPECT_FALSE(story.gitLab.item(story.project, story.issue).isClosed);
    EXPECT_EQ(story.stored(story.issue).title, "Another's");
}

TEST(GitLabSyncTest, labelsKeepTheirColorsWhenATaskIsPushed) {
    Story story;
    std::optional<std::string> color = story.stored(story.issue).labels.at(0).colorHex;
    ASSERT_TRUE(color);
    story.change(story.issue, [](TaskItem& item) { item.title = "Dredge again"; });

    story.push();

    EXPECT_EQ(story.gitLab.item(story.project, story.issue).title, "Dredge again");
    EXPECT_EQ(story.stored(story.issue).labels.at(0).colorHex, color);
}

TEST(GitLabSyncTest, aParentThatIsRefusedLeavesTheRestAndSaysWhy) {
    Story story;
    story.change(story.task, [](TaskItem& item) {
        item.title = "Hire two";
        item.parent = TaskParent{"99", ""};
    });

    story.push();

    EXPECT_EQ(story.gitLab.item(story.project, story.task).title, "Hire two");
    EXPECT_EQ(story.SyncedAccount::task(story.project, story.task).pushError, "Issue #99 isn't in this project.");
}

TEST(GitLabSyncTest, noFailureLosesATask) {
    Story story;
    std::vector<TaskSnapshot> before = story.tasks(story.project);
    const std::string lists = "GET /projects/" + story.project;
    for (const std::string& list :
         {std::string(), lists + "/issues", lists + "/merge_requests", std::string("POST /graphql")}) {
        for (const FakeFailure& failure :
             {FakeFailure::status(401), FakeFailure::status(404), FakeFailure::status(500), FakeFailure::html(),
              FakeFailure::empty(), FakeFailure::cut(), FakeFailure::truncated(), FakeFailure::status(403)}) {
            story.gitLab.fail(list, failure, -1);
            story.sync();
            story.sync(SyncedAccount::Mode::delta);
            story.gitLab.recover();
        }
    }
    EXPECT_THAT(story.tasks(story.project), SizeIs(before.size()));
    story.sync();
    EXPECT_EQ(story.tasks(story.project), before);
    EXPECT_EQ(story.accountError(), "");
}

TEST(GitLabSyncTest, aTodoBringsAChangeWithinMinutesHoweverQuietItWas) {
    Story story;
    story.runFor(20000);
    story.gitLab.editItem(story.project, story.issue, [](FakeGitLabItem& item) { item.title = "Wake up"; });
    story.runFor(240);
    EXPECT_EQ(story.stored(story.issue).title, "Wake up");
}

TEST(GitLabSyncTest, anEditWhoseAnswerIsLostIsSentAgainAndHarmsNothing) {
    Story story;
    story.change(story.issue, [](TaskItem& item) { item.title = "Twice"; });
    story.gitLab.fail("PUT", FakeFailure::lostAnswer());
    story.push();
    EXPECT_EQ(story.gitLab.item(story.project, story.issue).title, "Twice");

    story.push();

    EXPECT_THAT(story.gitLab.takeLines(), SizeIs(4)) << "each time read and written";
    EXPECT_EQ(story.stored(story.issue).title, "Twice");
    EXPECT_THAT(story.run(story.store.pendingPushes(story.account.id)), IsEmpty());
}

}  // namespace
}  // namespace marlet
