#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

TEST(VikunjaProjectsTest, realProjectsThatAreInUseAreListed) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/projects", 200, fixture("projects.json"));

    std::vector<Project> projects = runToEnd(vikunja.backend.fetchProjects());

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + api + "projects?per_page=50"));
    EXPECT_EQ(vikunja.lastBody(), "(none)");
    std::vector<std::string> ids;
    for (const Project& project : projects) {
        ids.push_back(project.id);
    }
    EXPECT_THAT(ids, ElementsAre("3", "12", "13")) << "neither the pseudo-projects nor the archived one";

    Project garden;
    garden.id = "12";
    garden.accountID = vikunja.account.id;
    garden.name = "Garten & Hof 🌿";
    garden.detail = "<p>Beds, <em>hedges</em></p>";
    garden.webURL = URL::parse("https://tasks.example/projects/12");
    garden.kind = ProjectKind::list;
    EXPECT_EQ(projects.at(1), garden);
}

TEST(VikunjaProjectsTest, aProjectOfWhichLittleIsToldIsListed) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/projects", 200,
                   R"([{"id":0,"title":"Zero"},{"id":1,"title":"A","description":null,"is_archived":null},
                       {"id":-1,"title":"Favorites"}])");

    std::vector<Project> projects = runToEnd(vikunja.backend.fetchProjects());

    ASSERT_EQ(projects.size(), 1u);
    EXPECT_EQ(projects[0].id, "1");
    EXPECT_EQ(projects[0].detail, "");
}

TEST(VikunjaProjectsTest, theListIsReadToItsLastPage) {
    Vikunja vikunja;
    vikunja.answer("GET " + api + "projects?per_page=50", 200, R"([{"id":1,"title":"A"}])",
                   {{"x-pagination-total-pages", "2"}});
    vikunja.answer("GET " + api + "projects?per_page=50&page=2", 200, R"([{"id":2,"title":"B"}])",
                   {{"x-pagination-total-pages", "2"}});

    EXPECT_EQ(runToEnd(vikunja.backend.fetchProjects()).size(), 2u);
    EXPECT_EQ(vikunja.server->requests().size(), 2u);
}

// A list without projects lets go of those that are here: it must be a list.
TEST(VikunjaProjectsTest, anAnswerThatIsNoListIsAnErrorAndNotAnAccountWithoutProjects) {
    for (const std::string& body : {std::string("null"), std::string("{}"), std::string()}) {
        Vikunja vikunja;
        vikunja.answer("GET /api/v1/projects", 200, body);
        EXPECT_THROW(runToEnd(vikunja.backend.fetchProjects()), LocalizedError) << body;
    }
}

TEST(VikunjaProjectsTest, everyRequestCarriesTheTokenAndAsksForJSON) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/projects", 200, "[]");
    runToEnd(vikunja.backend.fetchProjects());
    EXPECT_EQ(vikunja.lastHeader("Authorization"), "Bearer tk_k3y");
    EXPECT_EQ(vikunja.lastHeader("Accept"), "application/json");
    EXPECT_EQ(vikunja.lastHeader("Content-Type"), "(none)");
}

TEST(VikunjaProjectsTest, theAddressMayNameTheAPIOrNot) {
    for (const std::string& typed : {"https://x.example/todo", "https://x.example/todo/",
                                     "https://x.example/todo/api/v1", "https://x.example/todo/api/v1/"}) {
        Vikunja vikunja(typed);
        vikunja.answer("GET https://x.example/todo/api/v1/projects?per_page=50", 200, R"([{"id":5,"title":"A"}])");
        std::vector<Project> projects = runToEnd(vikunja.backend.fetchProjects());
        EXPECT_EQ(projects.at(0).webURL.value().text(), "https://x.example/todo/projects/5") << typed;
    }
}

// So does the service answer a token that lacks the permission, too.
TEST(VikunjaProjectsTest, aTokenThatIsWorthNothingIsSaidToBe) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/projects", 401,
                   R"({"code":11,"message":"missing, malformed, expired or otherwise invalid token provided"})");

    std::optional<BackendError> error = errorOf(vikunja.backend.fetchProjects());

    EXPECT_EQ(error, BackendError::unauthorized());
    EXPECT_EQ(error.value().errorDescription(), "The server rejected the access token.");
}

TEST(VikunjaProjectsTest, refusalsAreToldInTheServersWords) {
    struct Case {
        int status;
        std::string body;
        BackendError error;
    };
    for (const Case& tested :
         {Case{412, R"({"code":2002,"message":"Invalid Data","invalid_fields":["title: non zero value required"]})",
               BackendError::rejected("Invalid Data")},
          Case{400, R"({"code":4019,"message":"The task filter value is invalid."})",
               BackendError::rejected("The task filter value is invalid.")},
          Case{403, R"({"code":1,"message":"You're not allowed to do this."})", BackendError::http(403)},
          Case{404, R"({"message":"Not Found"})", BackendError::notFound()},
          Case{500, R"({"message":"Internal Server Error"})", BackendError::http(500)}}) {
        Vikunja vikunja;
        vikunja.answer("GET /api/v1/projects", tested.status, tested.body);
        EXPECT_EQ(errorOf(vikunja.backend.fetchProjects()), tested.error) << tested.status;
    }
}

TEST(VikunjaProjectsTest, aLimitEndsWhenTheServerSaysSo) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/projects", 429, R"({"message":"Too Many Requests"})",
                   {{"X-RateLimit-Limit", "100"}, {"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "1773480480"}});
    EXPECT_EQ(errorOf(vikunja.backend.fetchProjects()), BackendError::rateLimited(dateFromSeconds(1'773'480'480)));
}

TEST(VikunjaProjectsTest, anAccountOfAnotherServiceEndsTheProcess) {
    Vikunja vikunja;
    Account account = vikunja.account;
    account.kind = BackendKind::forgejo;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(VikunjaTaskBackend(account, "t", vikunja.server, 10, vikunja.clock), "an account of Vikunja");
}

TEST(VikunjaProjectsTest, everyCapabilityOfABackendIsThere) {
    Vikunja vikunja;
    static_assert(std::is_base_of_v<RawTaskReading, VikunjaTaskBackend>);
    static_assert(std::is_base_of_v<TaskCounting, VikunjaTaskBackend>);
    static_assert(std::is_base_of_v<AccountChangeProbing, VikunjaTaskBackend>);
    static_assert(std::is_base_of_v<ChangeHinting, VikunjaTaskBackend>);
    EXPECT_TRUE(vikunja.backend.providesChangeHints());
    EXPECT_EQ(vikunja.backend.itemLimit(), 1000);
    EXPECT_EQ(vikunja.backend.account(), vikunja.account);
}

}  // namespace
}  // namespace marlet
