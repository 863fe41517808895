// Which boards an account has.
#include <fmt/format.h>

#include "GitHubBoardScenario.h"
#include "TestSupport/HeldTransport.h"

namespace marlet {
namespace {

std::string listOf(int64_t number, const std::string& title) {
    return fmt::format(R"([{{"number": {}, "title": "{}"}}])", number, title);
}

std::vector<std::string> projectIDs(GitHubBoardScenario& scenario) {
    std::vector<std::string> ids;
    for (const Project& project : runToEnd(scenario.backend.fetchProjects())) {
        ids.push_back(project.id);
    }
    return ids;
}

// Mona, who is in acme and zeta, has one board, and so have both organizations.
void answerThreeOwners(GitHubBoardScenario& scenario) {
    scenario.answerAccount({"acme", "zeta"});
    scenario.server->answer("GET /user", R"({"id": 7, "login": "mona"})");
    scenario.server->answer("GET /users/mona/projectsV2", listOf(3, "Own"));
    scenario.server->answer("GET /orgs/acme/projectsV2", listOf(12, "Pond"));
    scenario.server->answer("GET /orgs/zeta/projectsV2", listOf(1, "Well"));
    for (const char* board : {"users/mona/projectsV2/3", "orgs/acme/projectsV2/12", "orgs/zeta/projectsV2/1"}) {
        scenario.server->answer(fmt::format("GET /{}/fields", board), "[]");
    }
}

}  // namespace

TEST(GitHubBoardListTest, theViewersBoardsComeBeforeThoseOfTheOrganizations) {
    GitHubBoardScenario scenario;
    answerThreeOwners(scenario);

    EXPECT_EQ(projectIDs(scenario), (Lines{monasBoard, acmeBoard, "projects/orgs/zeta/1"}));

    Lines log = scenario.takeLog();
    auto viewer = std::find(log.begin(), log.end(), "GET /user");
    EXPECT_EQ(Lines(viewer, log.end()),
              (Lines{"GET /user", "GET /users/mona/projectsV2?per_page=100",
                     "GET /users/mona/projectsV2/3/fields?per_page=100", "GET /orgs/acme/projectsV2?per_page=100",
                     "GET /orgs/acme/projectsV2/12/fields?per_page=100", "GET /orgs/zeta/projectsV2?per_page=100",
                     "GET /orgs/zeta/projectsV2/1/fields?per_page=100"}));
}

TEST(GitHubBoardListTest, closedBoardsAndTemplatesAreLeftOutBeforeTheirFieldsAreRead) {
    GitHubBoardScenario scenario;
    scenario.answerAccount({"acme"});
    scenario.server->answer("GET /user", failing(500));
    scenario.server->answer("GET /orgs/acme/projectsV2", fixture("board-list.json"));
    scenario.answerFields(fixture("board-fields.json"));
    scenario.server->answer("GET /orgs/acme/projectsV2/16/fields", "[]");

    std::vector<Project> projects = runToEnd(scenario.backend.fetchProjects());

    Project pond{.id = acmeBoard, .accountID = scenario.backend.account().id, .name = "Pond 🐸"};
    pond.detail = "Dig, line, fill";
    pond.webURL = URL::parse("https://github.com/orgs/acme/projects/12");
    pond.kind = ProjectKind::board;
    pond.statusOptions = {"Later & more", "Doing", "DONE", "Dropped"};
    Project hedge{.id = "projects/orgs/acme/16", .accountID = pond.accountID, .name = "Hedge"};
    hedge.webURL = URL::parse("https://github.com/orgs/acme/projects/16");
    hedge.kind = ProjectKind::board;
    EXPECT_EQ(projects, (std::vector<Project>{pond, hedge}));
}

TEST(GitHubBoardListTest, aBoardWithoutAStatusFieldIsListedWithoutStatusOptions) {
    GitHubBoardScenario scenario;
    answerThreeOwners(scenario);

    for (const Project& project : runToEnd(scenario.backend.fetchProjects())) {
        EXPECT_EQ(project.statusOptions, Lines{}) << project.id;
        EXPECT_EQ(project.kind, ProjectKind::board) << project.id;
    }
}

TEST(GitHubBoardListTest, aUsersBoardIsShownUnderTheUser) {
    GitHubBoardScenario scenario;
    answerThreeOwners(scenario);

    std::vector<Project> projects = runToEnd(scenario.backend.fetchProjects());

    EXPECT_EQ(projects.at(0).webURL, URL::parse("https://github.com/users/mona/projects/3"));
}

TEST(GitHubBoardListTest, aServerOfTheUsersOwnShowsItsBoardsAtItsRoot) {
    GitHubBoardScenario scenario;
    ForgeTaskBackend backend = scenario.backendAt("https://git.example.com/");
    scenario.server->answer("GET /api/v3/user/repos", "[]");
    scenario.server->answer("GET /api/v3/user/orgs", "[]");
    scenario.server->answer("GET /api/v3/user", R"({"id": 7, "login": "mona"})");
    scenario.server->answer("GET /api/v3/users/mona/projectsV2", listOf(3, "Own"));
    scenario.server->answer("GET /api/v3/users/mona/projectsV2/3/fields", "[]");

    std::vector<Project> projects = runToEnd(backend.fetchProjects());

    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects[0].webURL, URL::parse("https://git.example.com/users/mona/projects/3"));
}

TEST(GitHubBoardListTest, aViewerThatCannotBeReadLeavesOutItsOwnBoardsAlone) {
    for (const ScriptedTransport::Answer& answer : {failing(500), failing(401), failing(403), failing(404),
                                                    failing(429), failing(200, "{}"), failing(200, "<")}) {
        GitHubBoardScenario scenario;
        scenario.server->answer("GET /user", answer);
        answerThreeOwners(scenario);

        EXPECT_EQ(projectIDs(scenario), (Lines{acmeBoard, "projects/orgs/zeta/1"})) << answer.status;
    }
}

TEST(GitHubBoardListTest, aConnectionThatBreaksAtTheViewerLeavesOutItsOwnBoardsAlone) {
    GitHubBoardScenario scenario;
    scenario.server->fail("GET /user", std::make_exception_ptr(std::runtime_error("The line is dead.")));
    answerThreeOwners(scenario);

    EXPECT_EQ(projectIDs(scenario), (Lines{acmeBoard, "projects/orgs/zeta/1"}));
}

TEST(GitHubBoardListTest, aListThatIsCancelledAtTheViewerIsNoListWithoutBoards) {
    TestLoop loop;
    GitHubBoardScenario scenario;
    scenario.answerAccount({});
    scenario.server->answer("GET /user", R"({"id": 7, "login": "mona"})");
    auto held = std::make_shared<HeldTransport>(scenario.server, "/user");
    ForgeTaskBackend backend = scenario.backendBehind(held);
    boost::asio::cancellation_signal giveUp;
    std::optional<std::exception_ptr> outcome;
    boost::asio::co_spawn(
        loop.executor(), backend.fetchProjects(),
        boost::asio::bind_cancellation_slot(
            giveUp.slot(), [&outcome](std::exception_ptr error, const std::vector<Project>&) { outcome = error; }));
    loop.runUntil([&] { return held->heldCount() == 1; });

    giveUp.emit(boost::asio::cancellation_type::terminal);

    loop.runUntil([&] { return outcome.has_value(); });
    ASSERT_TRUE(*outcome);
    EXPECT_THROW(std::rethrow_exception(*outcome), boost::system::system_error);
}

TEST(GitHubBoardListTest, anOwnerWhoseBoardsAreDeniedIsSkipped) {
    for (const ScriptedTransport::Answer& answer :
         {failing(404), failing(403), failing(422, R"({"message": "Projects are off"})")}) {
        GitHubBoardScenario scenario;
        scenario.server->answer("GET /users/mona/projectsV2", answer);
        scenario.server->answer("GET /orgs/acme/projectsV2", answer);
        answerThreeOwners(scenario);

        EXPECT_EQ(projectIDs(scenario), Lines{"projects/orgs/zeta/1"}) << answer.status;
    }
}

TEST(GitHubBoardListTest, anyOtherFailureOfAnOwnerEndsTheList) {
    for (const auto& [answer, expected] :
         {std::pair(failing(401), BackendError::unauthorized()), std::pair(failing(500), BackendError::http(500)),
          std::pair(failing(410), BackendError::http(410)),
          std::pair(failing(429), BackendError::rateLimited(std::nullopt))}) {
        GitHubBoardScenario scenario;
        scenario.server->answer("GET /orgs/acme/projectsV2", answer);
        answerThreeOwners(scenario);

        EXPECT_EQ(errorOf(scenario.backend.fetchProjects()), expected);
    }
}

TEST(GitHubBoardListTest, aStatusFieldThatCannotBeReadEndsTheList) {
    GitHubBoardScenario scenario;
    scenario.server->answer("GET /orgs/acme/projectsV2/12/fields", failing(404));
    answerThreeOwners(scenario);

    EXPECT_EQ(errorOf(scenario.backend.fetchProjects()), BackendError::notFound());
}

TEST(GitHubBoardListTest, everyPageOfAnOwnersBoardsIsRead) {
    GitHubBoardScenario scenario;
    scenario.answerPages("/orgs/acme/projectsV2", listOf(12, "Pond"), listOf(16, "Hedge"));
    scenario.server->answer("GET /orgs/acme/projectsV2/16/fields", "[]");
    answerThreeOwners(scenario);

    EXPECT_EQ(projectIDs(scenario), (Lines{monasBoard, acmeBoard, "projects/orgs/acme/16", "projects/orgs/zeta/1"}));
}

}  // namespace marlet
