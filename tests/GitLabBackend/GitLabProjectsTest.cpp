#include <gmock/gmock.h>

#include "GitLabScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string addressAskedOf(const std::string& base) {
    GitLabScenario gitLab(1000, base);
    gitLab.server->onRequest = [](const URLRequest&) { return ScriptedTransport::Answer{.body = "[]"}; };
    runToEnd(gitLab.backend.fetchProjects());
    std::string text = gitLab.server->lastRequest().url.text();
    return text.substr(0, text.find('?'));
}

std::string graphQLAddressOf(const std::string& base) {
    GitLabScenario gitLab(1000, base);
    gitLab.server->onRequest = [](const URLRequest& request) {
        bool isIssues = request.url.components().path.ends_with("/issues");
        return ScriptedTransport::Answer{.body = request.method == HTTPMethod::post ? workItems("")
                                                 : isIssues                         ? "[" + taskJSON(1) + "]"
                                                                                    : "[]"};
    };
    gitLab.fetchTasks();
    return gitLab.server->lastRequest().url.text();
}

TEST(GitLabProjectsTest, theProjectsOfTheUserAreAskedForTheBusiestFirst) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects", 200, fixture("projects.json"));

    runToEnd(gitLab.backend.fetchProjects());

    EXPECT_THAT(gitLab.server->log(),
                ElementsAre("GET https://gitlab.example/api/v4/projects"
                            "?membership=true&archived=false&order_by=last_activity_at&sort=desc&per_page=100"));
    EXPECT_EQ(gitLab.lastHeader("Authorization"), "Bearer glpat-k3y");
    EXPECT_EQ(gitLab.lastHeader("Accept"), "application/json");
    EXPECT_EQ(gitLab.lastBody(), "(none)");
}

TEST(GitLabProjectsTest, aProjectIsMappedWhole) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects", 200, fixture("projects.json"));

    Project project = runToEnd(gitLab.backend.fetchProjects()).at(0);

    Project expected;
    expected.id = "31";
    expected.accountID = gitLab.account.id;
    expected.name = "river/lower/weir";
    expected.detail = "Gates & <pumps> 🐟";
    expected.webURL = URL::parse("https://gitlab.example/river/lower/weir");
    expected.cloneURL = URL::parse("https://gitlab.example/river/lower/weir.git");
    expected.sshCloneURL = "git@gitlab.example:river/lower/weir.git";
    expected.kind = ProjectKind::repository;
    EXPECT_EQ(project, expected);
}

TEST(GitLabProjectsTest, projectsThatAreArchivedOrHaveNoIssuesAreLeftOut) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects", 200, fixture("projects.json"));

    std::vector<Project> projects = runToEnd(gitLab.backend.fetchProjects());

    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[1].name, "otter/plans") << "what isn't told counts as enabled and not archived";
    EXPECT_EQ(projects[1].detail, "");
    EXPECT_EQ(projects[1].webURL, std::nullopt);
    EXPECT_EQ(projects[1].cloneURL, std::nullopt);
    EXPECT_EQ(projects[1].kind, ProjectKind::list) << "without an address to clone it";
}

TEST(GitLabProjectsTest, allPagesOfTheProjectsAreRead) {
    GitLabScenario gitLab;
    const std::string next = "https://gitlab.example/api/v4/projects?page=2";
    gitLab.answer("GET /api/v4/projects", 200, R"([{"id":1,"path_with_namespace":"a/b"}])",
                  {{"Link", "<" + next + ">; rel=\"next\""}});
    gitLab.answer("GET " + next, 200, R"([{"id":2,"path_with_namespace":"a/c"}])");
    EXPECT_EQ(runToEnd(gitLab.backend.fetchProjects()).size(), 2U);
}

TEST(GitLabProjectsTest, anAnswerThatIsNoListIsAnErrorAndNoEmptyList) {
    for (const char* body : {"", "<html></html>", "{}", "null", "[null]", R"([{"id":1}])"}) {
        GitLabScenario gitLab;
        gitLab.answer("GET /api/v4/projects", 200, body);
        EXPECT_THROW(runToEnd(gitLab.backend.fetchProjects()), LocalizedError) << body;
    }
}

TEST(GitLabProjectsTest, theServersAddressMayNameTheInterfaceOrNot) {
    for (const char* base : {"https://gitlab.example", "https://gitlab.example/", "https://gitlab.example/api/v4",
                             "https://gitlab.example/api/v4/"}) {
        EXPECT_EQ(addressAskedOf(base), "https://gitlab.example/api/v4/projects") << base;
        EXPECT_EQ(graphQLAddressOf(base), "https://gitlab.example/api/graphql") << base;
    }
    EXPECT_EQ(addressAskedOf("https://example.org/git%20lab/"), "https://example.org/git%20lab/api/v4/projects");
    EXPECT_EQ(graphQLAddressOf("https://example.org:8443/git%20lab/"),
              "https://example.org:8443/git%20lab/api/graphql");
}

TEST(GitLabProjectsTest, anExpiredTokenIsUnauthorized) {
    GitLabScenario gitLab;
    gitLab.answer("GET /api/v4/projects", 401, R"({"error":"invalid_token","error_description":"Token is expired."})");
    EXPECT_EQ(errorOf(gitLab.backend.fetchProjects()), BackendError::unauthorized());
}

TEST(GitLabProjectsTest, theBackendIsOfItsAccount) {
    GitLabScenario gitLab(321);
    EXPECT_EQ(gitLab.backend.account().id, gitLab.account.id);
    EXPECT_EQ(gitLab.backend.itemLimit(), 321);
    EXPECT_TRUE(gitLab.backend.providesChangeHints());
    EXPECT_THAT(gitLab.server->log(), IsEmpty());
}

TEST(GitLabProjectsTest, anAccountOfAnotherServiceStopsTheProcess) {
    GitLabScenario gitLab;
    Account account = gitLab.account;
    account.kind = BackendKind::github;
    EXPECT_DEATH(GitLabTaskBackend(account, "t", gitLab.server, 1, gitLab.clock), "GitLab");
}

}  // namespace
}  // namespace marlet
