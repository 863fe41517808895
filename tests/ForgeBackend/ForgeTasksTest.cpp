#include <gmock/gmock.h>

#include "ForgeScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

// 2026-02-05T10:00:00Z and a half.
const Date changedSince = dateFromSeconds(1770285600.5);

// A list of this many issues, the highest number first, over pages of two.
void answerInPages(ForgeScenario& scenario, int count) {
    scenario.server->onRequest = [count](const URLRequest& request) -> std::optional<ScriptedTransport::Answer> {
        std::string text = request.url.text();
        size_t found = text.find("&page=");
        int page = found == std::string::npos ? 1 : std::stoi(text.substr(found + 6));
        int first = count - 2 * (page - 1);
        std::string body = "[" + issueJSON(first) + (first > 1 ? "," + issueJSON(first - 1) : "") + "]";
        ScriptedTransport::Answer answer{.body = body};
        if (first > 2) {
            std::string next = text.substr(0, found) + "&page=" + std::to_string(page + 1);
            answer.headers.emplace_back("Link", "<" + next + ">; rel=\"next\"");
        }
        return answer;
    };
}

TEST(ForgeTasksTest, gitHubIsAskedForAllIssuesTheNewestChangeFirst) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, fixture("github-issues.json"));

    std::vector<TaskItem> tasks = runToEnd(gitHub.backend.fetchTasks("larch/orchard", std::nullopt));

    EXPECT_THAT(gitHub.server->log(), ElementsAre("GET https://api.github.com/repos/larch/orchard/issues"
                                                  "?state=all&per_page=100&sort=updated&direction=desc"));
    EXPECT_EQ(tasks.size(), 4U);
}

TEST(ForgeTasksTest, gitHubIsAskedForWhatChangedSinceTheDate) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, "[]");

    runToEnd(gitHub.backend.fetchTasks("larch/orchard", changedSince));

    EXPECT_THAT(gitHub.server->log(),
                ElementsAre("GET https://api.github.com/repos/larch/orchard/issues"
                            "?state=all&per_page=100&sort=updated&direction=desc&since=2026-02-05T10%3A00%3A00Z"));
}

TEST(ForgeTasksTest, forgejoIsAskedInItsOwnOrderAndPageSize) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/issues", 200, fixture("forgejo-issues.json"));

    runToEnd(forgejo.backend.fetchTasks("mill/wheel", std::nullopt));
    runToEnd(forgejo.backend.fetchTasks("mill/wheel", changedSince));

    EXPECT_THAT(forgejo.server->log(),
                ElementsAre("GET https://forge.example/api/v1/repos/mill/wheel/issues?state=all&limit=50",
                            "GET https://forge.example/api/v1/repos/mill/wheel/issues"
                            "?state=all&limit=50&since=2026-02-05T10%3A00%3A00Z"));
}

TEST(ForgeTasksTest, anIssueOfGitHubIsMappedWhole) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, fixture("github-issues.json"));

    TaskItem task = runToEnd(gitHub.backend.fetchTasks("larch/orchard", std::nullopt)).at(0);

    TaskItem expected;
    expected.id = "41";
    expected.projectID = "larch/orchard";
    expected.kind = TaskKind::issue;
    expected.title = "Prune the <oldest> \"row\" 🌳";
    expected.notes = "First\r\nsecond";
    expected.createdAt = parseISO8601("2026-02-03T08:15:00Z");
    expected.updatedAt = parseISO8601("2026-02-05T17:40:12Z");
    expected.labels = {{"urgent", "d73a4a"}, {"優先", "0e8a16"}, {"plain", std::nullopt}};
    expected.assignees = {{"71", "wren", std::nullopt, URL::parse("https://pictures.example/u/71?v=4")},
                          {"72", "tit", std::nullopt, URL::parse("https://pictures.example/u/72?v=4")}};
    expected.milestone = Milestone{"4", "Ernte – autumn", parseISO8601("2026-10-01T07:00:00Z"), true};
    expected.typeName = "Chore";
    expected.canHaveChildren = true;
    expected.canChangeParent = true;
    expected.webURL = URL::parse("https://github.com/larch/orchard/issues/41");
    EXPECT_EQ(task, expected);
}

TEST(ForgeTasksTest, whatGitHubLeavesOutOrSendsAsNullIsAbsent) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, fixture("github-issues.json"));

    std::vector<TaskItem> tasks = runToEnd(gitHub.backend.fetchTasks("larch/orchard", std::nullopt));

    EXPECT_EQ(tasks.at(1).notes, "");
    EXPECT_EQ(tasks.at(1).milestone, std::nullopt);
    EXPECT_EQ(tasks.at(1).typeName, std::nullopt);
    EXPECT_TRUE(tasks.at(2).isCompleted);
    EXPECT_EQ(tasks.at(2).milestone, (Milestone{"4", "Ernte – autumn", std::nullopt, false}));
}

TEST(ForgeTasksTest, aPullRequestOfGitHubHasNeitherChildrenNorAParentOfItsChoice) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, fixture("github-issues.json"));

    TaskItem task = runToEnd(gitHub.backend.fetchTasks("larch/orchard", std::nullopt)).at(3);

    EXPECT_EQ(task.kind, TaskKind::pullRequest);
    EXPECT_FALSE(task.canHaveChildren);
    EXPECT_FALSE(task.canChangeParent);
}

TEST(ForgeTasksTest, aParentAmongTheFetchedIssuesHasItsTitle) {
    GitHub gitHub;
    gitHub.answer("GET /repos/larch/orchard/issues", 200, fixture("github-issues.json"));

    std::vector<TaskItem> tasks = runToEnd(gitHub.backend.fetchTasks("larch/orchard", std::nullopt));

    EXPECT_EQ(tasks.at(0).parent, std::nullopt);
    EXPECT_EQ(tasks.at(1).parent, (TaskParent{"41", "Prune the <oldest> \"row\" 🌳"}));
    EXPECT_EQ(tasks.at(2).parent, (TaskParent{"larch/plans#7", ""})) << "a parent elsewhere keeps an empty title";
}

TEST(ForgeTasksTest, anIssueOfForgejoIsMappedWhole) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/mill/wheel/issues", 200, fixture("forgejo-issues.json"));

    std::vector<TaskItem> tasks = runToEnd(forgejo.backend.fetchTasks("mill/wheel", std::nullopt));

    TaskItem expected;
    expected.id = "12";
    expected.projectID = "mill/wheel";
    expected.kind = TaskKind::issue;
    expected.title = "Grease the axle";
    expected.notes = "- [ ] left\n- [x] right\n";
    expected.createdAt = parseISO8601("2026-02-03T08:15:00Z");
    expected.updatedAt = parseISO8601("2026-02-05T17:40:12Z");
    expected.dueDate = parseISO8601("2026-03-20T22:59:59Z");
    expected.labels = {{"Kind/Bug", "ee0701"}, {"mill: soon", "fbca04"}};
    expected.assignees = {{"3", "otter", "Otter Brook", URL::parse("https://forge.example/avatars/3")},
                          {"-1", "Ghost", "", std::nullopt}};
    expected.milestone = Milestone{"6", "Frühling", parseISO8601("2026-04-30T21:59:59Z"), false};
    expected.canChangeParent = false;
    expected.webURL = URL::parse("https://forge.example/mill/wheel/issues/12");
    ASSERT_EQ(tasks.size(), 3U);
    EXPECT_EQ(tasks[0], expected);
    EXPECT_EQ(tasks[1].kind, TaskKind::issue) << "a null where a pull request would stand is none";
    EXPECT_TRUE(tasks[1].isCompleted);
    EXPECT_TRUE(tasks[1].assignees.empty());
    EXPECT_EQ(tasks[2].kind, TaskKind::pullRequest);
    EXPECT_EQ(tasks[2].parent, std::nullopt) << "Forgejo has no parents";
}

TEST(ForgeTasksTest, allPagesAreRead) {
    Forgejo forgejo;
    answerInPages(forgejo, 5);
    EXPECT_EQ(runToEnd(forgejo.backend.fetchTasks("a/b", std::nullopt)).size(), 5U);
    EXPECT_EQ(forgejo.server->requests().size(), 3U);
}

TEST(ForgeTasksTest, aFullFetchEndsAtTheItemLimitAndAsksForNoMore) {
    GitHub gitHub("ghp_k3y", 3);
    answerInPages(gitHub, 9);

    std::vector<TaskItem> tasks = runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt));

    ASSERT_EQ(tasks.size(), 3U);
    EXPECT_EQ(tasks.back().id, "7");
    EXPECT_EQ(gitHub.server->requests().size(), 2U);
}

TEST(ForgeTasksTest, aLimitOfNoTasksAsksForNone) {
    for (int64_t limit : {0, -1}) {
        GitHub gitHub("ghp_k3y", limit);
        EXPECT_TRUE(runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt)).empty()) << limit;
        EXPECT_TRUE(gitHub.server->requests().empty()) << limit;
    }
}

TEST(ForgeTasksTest, aFetchOfChangesIsNeverCutOff) {
    GitHub gitHub("ghp_k3y", 3);
    answerInPages(gitHub, 9);
    EXPECT_EQ(runToEnd(gitHub.backend.fetchTasks("a/b", changedSince)).size(), 9U);
}

TEST(ForgeTasksTest, anUnchangedListIsTakenFromTheCache) {
    GitHub gitHub;
    gitHub.answer("GET /repos/a/b/issues", 200, "[" + issueJSON(1) + "]", {{"ETag", "W/\"x\""}});
    gitHub.answer("GET /repos/a/b/issues", 304, "");

    runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt));
    std::vector<TaskItem> tasks = runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt));

    EXPECT_EQ(gitHub.lastHeader("If-None-Match"), "W/\"x\"");
    ASSERT_EQ(tasks.size(), 1U);
    EXPECT_EQ(tasks[0].id, "1");
}

TEST(ForgeTasksTest, aListThatIsNotTheServicesIsAnErrorAndNotAnEmptyOne) {
    const std::string noState = R"([{"number":1,"title":"t","labels":[]}])";
    const std::string noLabels = R"([{"number":1,"title":"t","state":"open"}])";
    const std::string strangeDate = "[" + issueJSON(1, R"(,"updated_at":"yesterday")") + "]";
    for (const std::string& body : {std::string("<html></html>"), std::string(), std::string(R"({"message":"x"})"),
                                    noState, noLabels, strangeDate}) {
        GitHub gitHub;
        gitHub.answer("GET /repos/a/b/issues", 200, body);
        EXPECT_THROW(runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt)), LocalizedError) << body;
    }
}

TEST(ForgeTasksTest, anAddressOfABoardIsAnOrdinaryRepositoryToForgejo) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/projects/orgs/acme/12/issues", 404, "");
    EXPECT_EQ(errorOf(forgejo.backend.fetchTasks("projects/orgs/acme/12", std::nullopt)), BackendError::notFound());
    EXPECT_EQ(forgejo.server->requests().size(), 1U);
}

TEST(ForgeTasksTest, failuresOfTheServiceComeThroughAsTheyAre) {
    const std::vector<std::pair<ScriptedTransport::Answer, BackendError>> failures = {
        {{401, {}, R"({"message":"Bad credentials"})"}, BackendError::unauthorized()},
        {{403, {}, R"({"message":"Resource protected by organization SAML enforcement."})"}, BackendError::http(403)},
        {{403, {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "1800000060"}}, "{}"},
         BackendError::rateLimited(dateFromSeconds(1'800'000'060))},
        {{403, {{"Retry-After", "60"}}, "{}"}, BackendError::rateLimited(dateFromSeconds(1'800'000'060))},
        {{404, {}, ""}, BackendError::notFound()},
        {{410, {}, R"({"message":"Issues has been disabled in this repository."})"},
         BackendError::rejected("Issues has been disabled in this repository.")},
        {{502, {}, "<html>"}, BackendError::http(502)}};
    for (const auto& [answer, expected] : failures) {
        GitHub gitHub;
        gitHub.server->answer("GET /repos/a/b/issues", answer);
        EXPECT_EQ(errorOf(gitHub.backend.fetchTasks("a/b", std::nullopt)), expected) << answer.status;
    }
}

}  // namespace
}  // namespace marlet
