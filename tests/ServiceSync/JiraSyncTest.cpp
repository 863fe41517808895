// Stories of an account of Jira, from the store through the engine and the backend to the service and back.
#include "SyncedJira.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct Story : SyncedJira {
    // Two projects with three issues each, in step.
    explicit Story(FakeJiraKind kind) : SyncedJira(kind) {
        addProject("Garden", 3);
        addProject("House", 3);
        subscribe();
        sync();
        clock->advance(3600);
        jira.takeLines();
    }
    ~Story() override { EXPECT_THAT(jira.violations(), IsEmpty()) << jira.printedLog(); }

    std::string garden() const { return projectID("Garden"); }
    size_t taskCount() { return tasks(garden()).size() + tasks(projectID("House")).size(); }
    std::string title(const std::string& key) { return task(garden(), key).item.title; }
};

class JiraSyncTest : public testing::TestWithParam<FakeJiraKind> {};

INSTANTIATE_TEST_SUITE_P(Deployments, JiraSyncTest, testing::Values(FakeJiraKind::cloud, FakeJiraKind::server),
                         [](const auto& info) { return info.param == FakeJiraKind::cloud ? "Cloud" : "Server"; });

TEST_P(JiraSyncTest, aTokenThatDiesDeletesNothingWhateverIsAsked) {
    Story story(GetParam());
    story.jira.setToken("dead");

    story.sync();
    story.runFor(3 * 86400.0);  // hints, deltas, counts, full fetches and the list of projects

    EXPECT_EQ(story.taskCount(), 6U);
    EXPECT_THAT(story.run(story.store.projectSnapshots(story.account.id, false)), SizeIs(2));
    EXPECT_EQ(story.accountError(), "The server rejected the access token.");

    story.jira.setToken("ada@jira.example:secret");
    story.sync();
    EXPECT_EQ(story.taskCount(), 6U);
    EXPECT_EQ(story.accountError(), "");
}

TEST_P(JiraSyncTest, aChangeIsFoundByItsHintAndADeletionByTheCount) {
    Story story(GetParam());
    story.jira.editIssue("P1-2", [](FakeJiraIssue& issue) { issue.summary = "Another's"; });
    story.runFor(3600);

    EXPECT_EQ(story.title("P1-2"), "Another's");
    EXPECT_THAT(story.jira.takeLines(), Contains(HasSubstr("currentUser")));

    story.jira.removeIssue("P1-3");
    story.runFor(86400);
    EXPECT_EQ(story.taskCount(), 5U);
    EXPECT_EQ(story.accountError(), "");
}

TEST_P(JiraSyncTest, whatAFetchGivesTwiceIsNewsOnce) {
    Story story(GetParam());
    story.jira.editIssue("P1-2", [](FakeJiraIssue& issue) { issue.summary = "Another's"; });
    story.sync(SyncEngine::Mode::delta);
    EXPECT_TRUE(story.task(story.garden(), "P1-2").isUnread);
    story.run(story.store.markViewed(story.task(story.garden(), "P1-2").localID, story.clock->now()));
    story.clock->advance(60);

    story.sync(SyncEngine::Mode::delta);

    EXPECT_FALSE(story.task(story.garden(), "P1-2").isUnread);
}

TEST_P(JiraSyncTest, anEditIsPushedAndStaysWhatItIs) {
    Story story(GetParam());
    story.edit(story.garden(), "P1-1", [](TaskItem& item) {
        item.notes = "**All** of _it_\r\n\r\n- one\r\n- two";
        item.isCompleted = true;
        item.estimate = 8;
    });
    story.push();
    std::string written = story.jira.issue("P1-1").description;
    EXPECT_THAT(written, StartsWith("*All* of "));
    EXPECT_EQ(story.jira.issue("P1-1").points, 8);
    story.jira.takeLines();

    story.edit(story.garden(), "P1-1", [](TaskItem& item) { item.title = "Sow"; });
    story.push();

    FakeJiraIssue kept = story.jira.issue("P1-1");
    EXPECT_EQ(kept.summary, "Sow");
    EXPECT_EQ(kept.description, written);
    EXPECT_EQ(kept.status, "Done");
    EXPECT_EQ(story.jira.count("POST"), 1U) << "one transition";
}

TEST_P(JiraSyncTest, anEditThatStopsHalfWayIsFinishedByTheNextPush) {
    Story story(GetParam());
    story.edit(story.garden(), "P1-1", [](TaskItem& item) {
        item.title = "Sow";
        item.isCompleted = true;
    });
    story.jira.fail("POST /issue/P1-1/transitions", FakeFailure::status(503));
    story.push();
    EXPECT_EQ(story.jira.issue("P1-1").summary, "Sow");
    EXPECT_EQ(story.jira.issue("P1-1").status, "To Do");

    story.runFor(3600);

    EXPECT_EQ(story.jira.issue("P1-1").status, "Done");
    EXPECT_EQ(story.jira.count("PUT"), 1U) << "what stands isn't written again";
    EXPECT_TRUE(story.task(story.garden(), "P1-1").item.isCompleted);
}

}  // namespace
}  // namespace marlet
