#include <gmock/gmock.h>

#include "ForgeScenario.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string hiddenByThree =
    "GitHub hides the repositories of 3 organizations that use SAML single sign-on from this token. Authorize it under "
    "Settings → Developer settings → Personal access tokens (classic) → Configure SSO, then connect again.";
const std::string hiddenByOne =
    "GitHub hides the repositories of an organization that use SAML single sign-on from this token. Authorize it under "
    "Settings → Developer settings → Personal access tokens (classic) → Configure SSO, then connect again.";

std::vector<std::string> names(const std::vector<Project>& projects) {
    std::vector<std::string> result;
    for (const Project& project : projects) {
        result.push_back(project.id);
    }
    return result;
}

// A GitHub account whose own list comes with this header, and that has no organisations.
struct SignOnHeader : GitHub {
    explicit SignOnHeader(const std::string& header, const std::string& repositories = "[]") {
        hideBoards();
        answer("GET /user/repos", 200, repositories, {{"x-github-sso", header}});
        answer("GET /user/orgs", 200, "[]");
    }

    std::string refusal() {
        std::optional<BackendError> error = errorOf(backend.fetchProjects());
        const auto* rejected = error ? error->as<BackendError::Rejected>() : nullptr;
        return rejected ? rejected->message : "(not rejected)";
    }
};

TEST(ForgeProjectsTest, gitHubListsTheUsersRepositoriesAndThenThoseOfEachOrganisation) {
    GitHub gitHub;
    gitHub.hideBoards();
    gitHub.answer("GET /user/repos", 200, fixture("github-repositories.json"));
    gitHub.answer("GET /user/orgs", 200, fixture("github-organizations.json"));
    gitHub.answer("GET /orgs/larch/repos", 200, fixture("github-organization-repositories.json"));

    std::vector<Project> projects = runToEnd(gitHub.backend.fetchProjects());

    Lines log = gitHub.server->log();
    ASSERT_GE(log.size(), 3U);
    log.resize(3);
    EXPECT_THAT(log, ElementsAre("GET https://api.github.com/user/repos?per_page=100&sort=updated",
                                 "GET https://api.github.com/user/orgs?per_page=100",
                                 "GET https://api.github.com/orgs/larch/repos?type=all&per_page=100&sort=updated"));
    EXPECT_THAT(names(projects), ElementsAre("wren/notes", "larch/orchard", "larch/.profile"));
    Project notes;
    notes.id = "wren/notes";
    notes.accountID = gitHub.account.id;
    notes.name = "wren/notes";
    notes.detail = "Notizen & mehr 🪶";
    notes.webURL = URL::parse("https://github.com/wren/notes");
    notes.cloneURL = URL::parse("https://github.com/wren/notes.git");
    notes.sshCloneURL = "git@github.com:wren/notes.git";
    notes.kind = ProjectKind::repository;
    EXPECT_EQ(projects.at(0), notes);
    EXPECT_EQ(projects.at(1).detail, "") << "the user's own listing of a repository comes first";
}

TEST(ForgeProjectsTest, forgejoListsTheUsersRepositoriesAlone) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/user/repos", 200, fixture("forgejo-repositories.json"));

    std::vector<Project> projects = runToEnd(forgejo.backend.fetchProjects());

    EXPECT_THAT(forgejo.server->log(), ElementsAre("GET https://forge.example/api/v1/user/repos?limit=50"));
    EXPECT_THAT(names(projects), ElementsAre("mill/wheel"));
    EXPECT_EQ(projects.at(0).detail, "Räder & Mühlen");
    EXPECT_EQ(projects.at(0).sshCloneURL, "ssh://git@forge.example:2222/mill/wheel.git");
}

TEST(ForgeProjectsTest, boardsStandBehindTheRepositories) {
    GitHub gitHub;
    gitHub.answer("GET /user/repos", 200, fixture("github-repositories.json"));
    gitHub.answer("GET /user/orgs", 200, "[]");
    gitHub.answer("GET /user", 200, R"({"id":71,"login":"wren"})");
    gitHub.answer("GET /users/wren/projectsV2", 200, R"([{"number":3,"title":"Season"}])");
    gitHub.answer("GET /users/wren/projectsV2/3/fields", 200, "[]");

    std::vector<Project> projects = runToEnd(gitHub.backend.fetchProjects());

    EXPECT_THAT(names(projects), ElementsAre("wren/notes", "larch/orchard", "projects/users/wren/3"));
}

TEST(ForgeProjectsTest, aRepositoryThatDoesNotSayWhetherItHasIssuesCountsAsHavingThem) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/user/repos", 200,
                   R"([{"full_name":"a/b"},{"full_name":"a/c","has_issues":null,"archived":null},)"
                   R"({"full_name":"a/d","has_issues":false},{"full_name":"a/e","archived":true},)"
                   R"({"full_name":"A/b"},{"full_name":"a/b","description":"again"}])");

    std::vector<Project> projects = runToEnd(forgejo.backend.fetchProjects());

    EXPECT_THAT(names(projects), ElementsAre("a/b", "a/c", "A/b"));
    EXPECT_EQ(projects.at(0).detail, "");
}

TEST(ForgeProjectsTest, anUnreadableAddressCostsOnlyItself) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/user/repos", 200,
                   R"([{"full_name":"a/b","html_url":"","clone_url":"http://[","ssh_url":"git@h:a/b.git"}])");

    std::vector<Project> projects = runToEnd(forgejo.backend.fetchProjects());

    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects[0].webURL, std::nullopt);
    EXPECT_EQ(projects[0].cloneURL, std::nullopt);
    EXPECT_EQ(projects[0].sshCloneURL, "git@h:a/b.git");
}

TEST(ForgeProjectsTest, organisationsThatAreDeniedAreLeftOut) {
    const std::vector<std::pair<int, std::string>> denials = {
        {404, ""}, {403, R"({"message":"Resource not accessible"})"}, {422, R"({"message":"Not for you"})"}};
    for (const auto& [status, body] : denials) {
        GitHub gitHub;
        gitHub.hideBoards();
        gitHub.answer("GET /user/repos", 200, R"([{"full_name":"a/b"}])");
        gitHub.answer("GET /user/orgs", status, body);

        EXPECT_THAT(names(runToEnd(gitHub.backend.fetchProjects())), ElementsAre("a/b")) << status;
    }
}

TEST(ForgeProjectsTest, anOrganisationThatIsDeniedIsSkippedAndTheNextIsRead) {
    const std::vector<std::pair<int, std::string>> denials = {
        {404, ""}, {403, ""}, {410, R"({"message":"Gone for good"})"}};
    for (const auto& [status, body] : denials) {
        GitHub gitHub;
        gitHub.hideBoards();
        gitHub.answer("GET /user/repos", 200, "[]");
        gitHub.answer("GET /user/orgs", 200, R"([{"login":"shut"},{"login":"open"}])");
        gitHub.answer("GET /orgs/shut/repos", status, body);
        gitHub.answer("GET /orgs/open/repos", 200, R"([{"full_name":"open/a"}])");

        EXPECT_THAT(names(runToEnd(gitHub.backend.fetchProjects())), ElementsAre("open/a")) << status;
    }
}

TEST(ForgeProjectsTest, everyOtherFailureOfTheOrganisationsIsThrown) {
    const std::vector<std::pair<int, BackendError>> failures = {{401, BackendError::unauthorized()},
                                                                {500, BackendError::http(500)},
                                                                {400, BackendError::http(400)},
                                                                {429, BackendError::rateLimited(std::nullopt)}};
    for (const auto& [status, expected] : failures) {
        GitHub gitHub;
        gitHub.answer("GET /user/repos", 200, R"([{"full_name":"a/b"}])");
        gitHub.answer("GET /user/orgs", status, "");
        EXPECT_EQ(errorOf(gitHub.backend.fetchProjects()), expected);

        GitHub other;
        other.answer("GET /user/repos", 200, R"([{"full_name":"a/b"}])");
        other.answer("GET /user/orgs", 200, R"([{"login":"o"}])");
        other.answer("GET /orgs/o/repos", status, "");
        EXPECT_EQ(errorOf(other.backend.fetchProjects()), expected);
    }
}

TEST(ForgeProjectsTest, organisationsThatGoOnAtAnotherAddressAreNoneThatAreDenied) {
    const std::vector<std::pair<std::string, std::string>> elsewhere = {
        {"Link", R"(<https://elsewhere.example/list?page=2>; rel="next")"}};
    for (const char* list : {"GET /user/orgs", "GET /orgs/o/repos", "GET /users/wren/projectsV2"}) {
        GitHub gitHub;
        gitHub.answer(list, 200, R"([{"login":"o","full_name":"o/a","number":1,"title":"t"}])", elsewhere);
        gitHub.answer("GET /user/repos", 200, "[]");
        gitHub.answer("GET /user/orgs", 200, R"([{"login":"o"}])");
        gitHub.answer("GET /orgs/o/repos", 200, "[]");
        gitHub.answer("GET /user", 200, R"({"id":71,"login":"wren"})");
        EXPECT_THROW(runToEnd(gitHub.backend.fetchProjects()), NetworkError) << list;
    }
}

TEST(ForgeProjectsTest, aFailureOfTheUsersOwnListIsAlwaysThrown) {
    for (int status : {403, 404}) {
        GitHub gitHub;
        gitHub.answer("GET /user/repos", status, "");
        BackendError expected = status == 404 ? BackendError::notFound() : BackendError::http(403);
        EXPECT_EQ(errorOf(gitHub.backend.fetchProjects()), expected);
    }
}

TEST(ForgeProjectsTest, anAccountThatSeesNothingHearsHowManyOrganisationsAreHidden) {
    EXPECT_EQ(SignOnHeader("partial-results; organizations=1,2,3").refusal(), hiddenByThree);
    EXPECT_EQ(SignOnHeader("Partial-Results;  ORGANIZATIONS=1,2,3 ").refusal(), hiddenByThree);
    EXPECT_EQ(SignOnHeader("partial-results; organizations=17").refusal(), hiddenByOne);
}

TEST(ForgeProjectsTest, hiddenOrganisationsThatAreNotCountedAreOne) {
    EXPECT_EQ(SignOnHeader("partial-results").refusal(), hiddenByOne);
    EXPECT_EQ(SignOnHeader("partial-results; organizations=").refusal(), hiddenByOne);
    EXPECT_EQ(SignOnHeader("partial-results; else=1,2").refusal(), hiddenByOne);
}

TEST(ForgeProjectsTest, aSignOnHeaderOfAnotherKindHidesNothing) {
    SignOnHeader required("required; url=https://github.com/orgs/o/sso");
    EXPECT_THAT(runToEnd(required.backend.fetchProjects()), IsEmpty());
}

TEST(ForgeProjectsTest, hiddenOrganisationsDoNotMatterOnceARepositoryIsSeen) {
    SignOnHeader one("partial-results; organizations=1,2,3", R"([{"full_name":"a/b"}])");
    EXPECT_THAT(names(runToEnd(one.backend.fetchProjects())), ElementsAre("a/b"));
}

TEST(ForgeProjectsTest, repositoriesThatCannotHoldIssuesDoNotHideTheHiddenOrganisations) {
    SignOnHeader archive("partial-results; organizations=1,2,3", R"([{"full_name":"a/b","archived":true}])");
    EXPECT_EQ(archive.refusal(), hiddenByThree);
}

TEST(ForgeProjectsTest, theLargestNumberOfHiddenOrganisationsOfAnyPageCounts) {
    GitHub gitHub;
    gitHub.answer("GET /user/repos", 200, R"([{"full_name":"a/b","archived":true}])",
                  {{"X-GitHub-SSO", "partial-results; organizations=1,2,3"},
                   {"Link", R"(<https://api.github.com/user/repos?page=2>; rel="next")"}});
    gitHub.answer("GET /user/repos?page=2", 200, "[]", {{"X-GitHub-SSO", "partial-results; organizations=1"}});
    gitHub.answer("GET /user/orgs", 200, "[]");

    std::optional<BackendError> error = errorOf(gitHub.backend.fetchProjects());

    EXPECT_EQ(error, BackendError::rejected(hiddenByThree));
}

TEST(ForgeProjectsTest, anAnswerThatIsNotTheServicesIsAnErrorAndNotAnEmptyList) {
    for (const std::string& body : {std::string("<html>Sign in</html>"), std::string(), std::string("{}"),
                                    std::string("null"), std::string(R"([{"name":"no full name"}])")}) {
        Forgejo forgejo;
        forgejo.answer("GET /api/v1/user/repos", 200, body);
        EXPECT_THROW(runToEnd(forgejo.backend.fetchProjects()), LocalizedError) << body;
    }
}

TEST(ForgeProjectsTest, theHeadersOfGitHubNameTheVersionOfTheAPI) {
    GitHub gitHub;
    gitHub.answer("GET /repos/a/b/issues", 200, "[]");
    runToEnd(gitHub.backend.fetchTasks("a/b", std::nullopt));
    EXPECT_EQ(gitHub.lastHeader("Authorization"), "Bearer ghp_k3y");
    EXPECT_EQ(gitHub.lastHeader("Accept"), "application/vnd.github+json");
    EXPECT_EQ(gitHub.lastHeader("X-GitHub-Api-Version"), "2022-11-28");
}

TEST(ForgeProjectsTest, theHeadersOfForgejoCallTheTokenByItsName) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/repos/a/b/issues", 200, "[]");
    runToEnd(forgejo.backend.fetchTasks("a/b", std::nullopt));
    EXPECT_EQ(forgejo.lastHeader("Authorization"), "token k3y");
    EXPECT_EQ(forgejo.lastHeader("Accept"), "application/json");
    EXPECT_EQ(forgejo.lastHeader("X-GitHub-Api-Version"), "(none)");
}

TEST(ForgeProjectsTest, theAPIIsFoundUnderTheAddressThatTheUserTyped) {
    const std::vector<std::tuple<BackendKind, std::string, std::string>> addresses = {
        {BackendKind::github, "https://www.github.com", "https://api.github.com"},
        {BackendKind::github, "https://code.example/", "https://code.example/api/v3"},
        {BackendKind::forgejo, "https://forge.example/git", "https://forge.example/git/api/v1"},
        {BackendKind::forgejo, "https://forge.example/api/v1/", "https://forge.example/api/v1"}};
    for (const auto& [kind, typed, root] : addresses) {
        ForgeScenario scenario(kind);
        Account account = scenario.account;
        account.baseURL = *URL::parse(typed);
        ForgeTaskBackend backend(account, "t", scenario.server, 10, scenario.clock);
        scenario.server->onRequest = [](const URLRequest&) { return ScriptedTransport::Answer{.body = "[]"}; };

        runToEnd(backend.fetchTasks("a/b", dateFromSeconds(0)));

        EXPECT_TRUE(scenario.server->log().at(0).starts_with("GET " + root + "/repos/a/b/issues?")) << typed;
    }
}

TEST(ForgeProjectsTest, anAccountOfAnotherServiceEndsTheProcess) {
    Forgejo forgejo;
    Account account = forgejo.account;
    account.kind = BackendKind::gitlab;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(ForgeTaskBackend(account, "t", forgejo.server, 10, forgejo.clock), "GitHub or Forgejo");
}

TEST(ForgeProjectsTest, theCapabilitiesAreRawReadingCountingAndHints) {
    GitHub gitHub;
    TaskBackend* backend = &gitHub.backend;
    EXPECT_EQ(backend->account(), gitHub.account);
    EXPECT_EQ(backend->itemLimit(), 1000);
    EXPECT_NE(dynamic_cast<RawTaskReading*>(backend), nullptr);
    EXPECT_NE(dynamic_cast<TaskCounting*>(backend), nullptr);
    EXPECT_NE(dynamic_cast<ChangeHinting*>(backend), nullptr);
    EXPECT_EQ(dynamic_cast<AccountChangeProbing*>(backend), nullptr);
}

}  // namespace
}  // namespace marlet
