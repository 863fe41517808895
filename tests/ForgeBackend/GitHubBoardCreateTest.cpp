// New drafts of a board, and what is read of a single one.
#include <boost/asio/bind_cancellation_slot.hpp>

#include "GitHubBoardScenario.h"
#include "MarletBase/Coding.h"
#include "TestSupport/HeldTransport.h"

namespace marlet {
namespace {

const TaskDraft digger{.title = "Rent a digger", .notes = "For one day", .dueDate = {}, .labels = {}, .typeName = {}};

void answerDrafts(GitHubBoardScenario& scenario) {
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts",
                            {.status = 201, .headers = {}, .body = fixture("board-draft-created.json")});
}

}  // namespace

TEST(GitHubBoardCreateTest, anOrganizationsBoardTakesADraftUnderItsLogin) {
    GitHubBoardScenario scenario;
    answerDrafts(scenario);
    scenario.answerFields(fixture("board-fields.json"));

    TaskItem task = scenario.create(digger);

    EXPECT_EQ(scenario.takeLog(),
              (Lines{"POST /orgs/acme/projectsV2/12/drafts", "GET /orgs/acme/projectsV2/12/fields?per_page=100"}));
    EXPECT_EQ(scenario.body(0), R"({"title":"Rent a digger","body":"For one day"})");
    TaskItem expected{.id = "620", .projectID = acmeBoard, .kind = TaskKind::task, .title = "Rent a digger"};
    expected.notes = "For one day";
    expected.createdAt = date("2026-05-08T09:15:01Z");
    expected.updatedAt = date("2026-05-08T09:15:01Z");
    expected.canChangeParent = false;
    expected.webURL = URL::parse("https://github.com/orgs/acme/projects/12?pane=issue&itemId=620");
    EXPECT_EQ(task, expected);
}

TEST(GitHubBoardCreateTest, aUsersBoardTakesADraftUnderTheNumberThatTheUserHasNow) {
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /users/mona", R"({"id": 7, "login": "mona"})");
    scenario.server->answer("GET /users/mona", R"({"id": 8, "login": "mona"})");
    scenario.server->answer("POST /user/7/projectsV2/3/drafts", draftItem(1, "Dig", ""));
    scenario.server->answer("POST /user/8/projectsV2/3/drafts", draftItem(2, "Dig", ""));
    scenario.server->answer("GET /users/mona/projectsV2/3/fields", "[]");

    EXPECT_EQ(scenario.create(digger, monasBoard).id, "1");
    EXPECT_EQ(scenario.create(digger, monasBoard).id, "2");

    EXPECT_EQ(scenario.takeLog(), (Lines{"GET /users/mona", "POST /user/7/projectsV2/3/drafts",
                                         "GET /users/mona/projectsV2/3/fields?per_page=100", "GET /users/mona",
                                         "POST /user/8/projectsV2/3/drafts"}));
    EXPECT_EQ(scenario.body(1), R"({"title":"Rent a digger","body":"For one day"})");
}

TEST(GitHubBoardCreateTest, dueDateLabelsAndTypeAreNotSent) {
    GitHubBoardScenario scenario;
    answerDrafts(scenario);
    scenario.answerFields("[]");
    TaskDraft draft = digger;
    draft.dueDate = date("2026-06-01T00:00:00Z");
    draft.labels = {"heavy"};
    draft.typeName = "Task";

    scenario.create(draft);

    EXPECT_EQ(scenario.body(0), R"({"title":"Rent a digger","body":"For one day"})");
}

TEST(GitHubBoardCreateTest, aStatusThatTheAnswerTellsIsKept) {
    GitHubBoardScenario scenario;
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", draftItem(1, "Dig", "", statusMember("Done")));
    scenario.answerFields(statusFields({"To do", "Done"}));

    TaskItem task = scenario.create(digger);

    EXPECT_EQ(task.status, "Done");
    EXPECT_TRUE(task.isCompleted);
}

TEST(GitHubBoardCreateTest, aRefusedDraftIsAnErrorBeforeAnythingElseIsAsked) {
    GitHubBoardScenario scenario;
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", failing(422, R"({"message": "Title is blank"})"));

    EXPECT_EQ(errorOf(scenario.backend.createTask(digger, acmeBoard)), BackendError::rejected("Title is blank"));
    EXPECT_EQ(scenario.takeLog().size(), 1U);
}

TEST(GitHubBoardCreateTest, nothingIsCreatedForAUserThatCannotBeRead) {
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /users/mona", failing(404));

    EXPECT_EQ(errorOf(scenario.backend.createTask(digger, monasBoard)), BackendError::notFound());
    EXPECT_EQ(scenario.takeLog(), Lines{"GET /users/mona"});
}

TEST(GitHubBoardCreateTest, aCreatedDraftComesBackWhateverBecomesOfItsStatus) {
    for (const ScriptedTransport::Answer& answer :
         {failing(500), failing(401), failing(403), failing(404), failing(429), failing(200, "<html>")}) {
        GitHubBoardScenario scenario;
        answerDrafts(scenario);
        scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", answer);

        TaskItem task = scenario.create(digger);

        EXPECT_EQ(task.id, "620") << answer.status;
        EXPECT_EQ(task.title, "Rent a digger");
        EXPECT_EQ(task.status, std::nullopt);
        EXPECT_FALSE(task.isCompleted);
    }
}

TEST(GitHubBoardCreateTest, aCreatedDraftOutlivesABreakOfTheConnection) {
    GitHubBoardScenario scenario;
    answerDrafts(scenario);
    scenario.server->fail("GET /orgs/acme/projectsV2/12/fields",
                          std::make_exception_ptr(std::runtime_error("The line is dead.")));

    EXPECT_EQ(scenario.create(digger).id, "620");
}

TEST(GitHubBoardCreateTest, aCreatedDraftComesBackThoughTheCallerGaveUpMeanwhile) {
    TestLoop loop;
    GitHubBoardScenario scenario;
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", fixture("board-draft-created.json"));
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", "[]");
    auto held = std::make_shared<HeldTransport>(scenario.server, "/fields");
    ForgeTaskBackend backend = scenario.backendBehind(held);
    boost::asio::cancellation_signal giveUp;
    std::optional<TaskItem> created;
    boost::asio::co_spawn(
        loop.executor(), backend.createTask(digger, acmeBoard),
        boost::asio::bind_cancellation_slot(giveUp.slot(), [&created](const std::exception_ptr& error, TaskItem task) {
            EXPECT_FALSE(error);
            created = std::move(task);
        }));
    loop.runUntil([&] { return held->heldCount() == 1; });

    giveUp.emit(boost::asio::cancellation_type::terminal);

    loop.runUntil([&] { return created.has_value(); });
    EXPECT_EQ(created->id, "620");
}

TEST(GitHubBoardCreateTest, aLookUpThatFailedAfterACreationIsMadeAgain) {
    GitHubBoardScenario scenario;
    answerDrafts(scenario);
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", failing(500));
    scenario.answerFields(statusFields({"To do", "Done"}));
    scenario.answerItems("[]");

    scenario.create(digger);
    scenario.takeLog();
    scenario.tasks();

    EXPECT_EQ(scenario.takeLog(), (Lines{"GET /orgs/acme/projectsV2/12/fields?per_page=100",
                                         "GET /orgs/acme/projectsV2/12/items?per_page=100&fields=40"}));
}

TEST(GitHubBoardCreateTest, anAnswerOfWhichOnlyTheIDIsReadableIsStillTheDraft) {
    for (const char* answer : {R"({"id": 620})", R"({"id": 620, "content_type": "DraftIssue", "created_at": "soon"})",
                               R"({"id": 620, "content_type": 1})"}) {
        GitHubBoardScenario scenario;
        scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", answer);
        scenario.answerFields("[]");

        TaskItem task = scenario.create(digger);

        EXPECT_EQ(task.id, "620") << answer;
        EXPECT_EQ(task.title, "Rent a digger");
        EXPECT_EQ(task.notes, "For one day");
    }
}

TEST(GitHubBoardCreateTest, anAnswerWithoutAnIDIsAnError) {
    GitHubBoardScenario scenario;
    scenario.server->answer("POST /orgs/acme/projectsV2/12/drafts", R"({"content_type": "DraftIssue"})");

    EXPECT_THROW(scenario.create(digger), DecodingError);
}

TEST(GitHubBoardCreateTest, theRawTaskIsTheAnswerByteForByte) {
    GitHubBoardScenario scenario;
    std::string bytes = "{ \"id\":601,\n\"odd\": [1.0, \"\\u00e9\"] }\n";
    scenario.answerItem(601, bytes);

    std::string raw = runToEnd(scenario.backend.rawTask({.id = "601", .projectID = acmeBoard}));

    EXPECT_EQ(raw, bytes);
    EXPECT_EQ(scenario.takeLog(), Lines{"GET /orgs/acme/projectsV2/12/items/601"});
}

}  // namespace marlet
