// Boards from end to end, on a service that refuses what the real one wouldn't take.
#include <gmock/gmock.h>

#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <future>

#include "ForgeScenario.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Ada has a board of her own, and one in acme.
struct BoardStory {
    BoardStory()
        : forge(
              FakeForgeKind::github, [this] { return clock->now(); }, "ghp_key") {
        forge.serveAt("https://forge.example");
        forge.addOrganization("acme");
        forge.addBoard({.login = "acme",
                        .number = 12,
                        .title = "Season",
                        .statusOptions = {{"a1", "Todo"}, {"b2", "Doing"}, {"c3", "Done"}}});
        forge.addBoard({.isOrganizations = false, .login = "ada", .number = 3, .title = "Own"});
    }

    TaskItem create(const std::string& projectID, const std::string& title) {
        TaskDraft draft;
        draft.title = title;
        return runToEnd(backend.createTask(draft, projectID));
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    FakeForge forge;
    ForgeTaskBackend backend{
        Account{UUID::random(), BackendKind::github, "Forge", URL::parse("https://forge.example").value()}, "ghp_key",
        std::make_shared<FakeTransport>(forge), 1000, clock};
};

}  // namespace

TEST(GitHubBoardStoryTest, theBoardsOfUserAndOrganizationAreFound) {
    BoardStory story;

    std::vector<Project> boards = runToEnd(story.backend.fetchProjects());

    ASSERT_EQ(boards.size(), 2U);
    EXPECT_EQ(boards[0].id, "projects/users/ada/3");
    EXPECT_THAT(boards[0].statusOptions, IsEmpty());
    EXPECT_EQ(boards[1].id, "projects/orgs/acme/12");
    EXPECT_THAT(boards[1].statusOptions, ElementsAre("Todo", "Doing", "Done"));
    EXPECT_THAT(story.forge.violations(), IsEmpty());
}

TEST(GitHubBoardStoryTest, aDraftIsMadeEditedAndDone) {
    for (const char* projectID : {"projects/orgs/acme/12", "projects/users/ada/3"}) {
        BoardStory story;
        TaskItem task = story.create(projectID, "Sow");
        bool hasStatus = std::string_view(projectID).ends_with("12");

        task.title = "Sow beans";
        task.notes = "Two \"rows\"\n";
        task.status = hasStatus ? std::optional<std::string>("Done") : std::nullopt;
        TaskItem updated = runToEnd(story.backend.updateTask(task));

        EXPECT_EQ(updated.title, "Sow beans");
        EXPECT_EQ(updated.notes, "Two \"rows\"\n");
        EXPECT_EQ(updated.status, task.status);
        EXPECT_EQ(updated.isCompleted, hasStatus);
        std::vector<TaskItem> fetched = runToEnd(story.backend.fetchTasks(projectID, std::nullopt));
        EXPECT_EQ(fetched, std::vector<TaskItem>{updated});
        EXPECT_THAT(story.forge.violations(), IsEmpty());
    }
}

TEST(GitHubBoardStoryTest, anEditThatIsRepeatedAfterALostAnswerChangesNothingMore) {
    BoardStory story;
    TaskItem task = story.create("projects/orgs/acme/12", "Sow");
    task.title = "Sow beans";
    task.status = "Doing";
    runToEnd(story.backend.updateTask(task));
    FakeBoardItem before = story.forge.boardItem(task.projectID, std::stoll(task.id));
    story.forge.takeLines();

    TaskItem updated = runToEnd(story.backend.updateTask(task));

    EXPECT_EQ(updated.status, "Doing");
    EXPECT_EQ(story.forge.boardItem(task.projectID, std::stoll(task.id)).updatedAt, before.updatedAt);
    EXPECT_THAT(story.forge.takeLines(), testing::Each(testing::StartsWith("GET ")));
}

TEST(GitHubBoardStoryTest, onlyWhatChangedSinceIsFetched) {
    BoardStory story;
    TaskItem old = story.create("projects/orgs/acme/12", "Sow");
    story.clock->advance(600);
    Date since = story.clock->now();
    TaskItem later = story.create("projects/orgs/acme/12", "Water");

    EXPECT_THAT(runToEnd(story.backend.fetchTasks("projects/orgs/acme/12", since)), ElementsAre(later));

    story.clock->advance(600);
    story.forge.editBoardItem(old.projectID, std::stoll(old.id), [](FakeBoardItem& item) { item.body = "Deep"; });

    std::vector<TaskItem> changed = runToEnd(story.backend.fetchTasks("projects/orgs/acme/12", since));
    ASSERT_EQ(changed.size(), 2U);
    EXPECT_EQ(changed[0].notes, "Deep");
}

TEST(GitHubBoardStoryTest, aBoardOfSeveralPagesIsReadWhole) {
    BoardStory story;
    for (int number = 0; number < 250; ++number) {
        story.forge.addBoardItem("projects/orgs/acme/12", {.title = "Row " + std::to_string(number)});
    }

    EXPECT_EQ(runToEnd(story.backend.fetchTasks("projects/orgs/acme/12", std::nullopt)).size(), 250U);
    EXPECT_THAT(story.forge.violations(), IsEmpty());
}

TEST(GitHubBoardStoryTest, fetchesOnSeveralThreadsAtOnceAllKnowTheStatus) {
    BoardStory story;
    story.forge.addBoardItem("projects/orgs/acme/12", {.title = "Sow", .statusID = "c3"});
    boost::asio::thread_pool threads(4);

    std::vector<std::future<std::vector<TaskItem>>> fetches;
    for (int count = 0; count < 32; ++count) {
        fetches.push_back(boost::asio::co_spawn(
            threads, story.backend.fetchTasks("projects/orgs/acme/12", std::nullopt), boost::asio::use_future));
    }

    for (std::future<std::vector<TaskItem>>& fetch : fetches) {
        std::vector<TaskItem> tasks = fetch.get();
        ASSERT_EQ(tasks.size(), 1U);
        EXPECT_EQ(tasks[0].status, "Done");
        EXPECT_TRUE(tasks[0].isCompleted);
    }
    threads.join();
    EXPECT_THAT(story.forge.violations(), IsEmpty());
}

TEST(GitHubBoardStoryTest, aServerWithoutProjectsHasNoBoards) {
    BoardStory story;
    story.forge.fail("GET /users/ada/projectsV2", FakeFailure::status(404), -1);
    story.forge.fail("GET /orgs/acme/projectsV2", FakeFailure::status(404), -1);

    EXPECT_THAT(runToEnd(story.backend.fetchProjects()), IsEmpty());
}

}  // namespace marlet
