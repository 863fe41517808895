#include "JiraScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string page(int first, int count, const std::string& more) {
    std::string values;
    for (int number = first; number < first + count; ++number) {
        std::string id = std::to_string(number);
        values += (values.empty() ? "" : ",") + (R"({"id":")" + id) + R"(","key":"K)" + id + R"(","name":"N"})";
    }
    return "{\"values\":[" + values + "]" + more + "}";
}

TEST(JiraProjectsTest, aProjectOfCloudIsMappedWholeAndArchivedOnesAreLeftOut) {
    Cloud jira;
    jira.answer("GET /project/search", fixture("cloud-projects.json"));

    std::vector<Project> projects = runToEnd(jira.backend.fetchProjects());

    Project expected;
    expected.id = "10301";
    expected.accountID = jira.account.id;
    expected.name = "Orchard & Söhne 🌳";
    expected.detail = "ORCH";
    expected.webURL = URL::parse("https://larch.example/browse/ORCH");
    expected.kind = ProjectKind::list;
    ASSERT_EQ(projects.size(), 2U);
    EXPECT_EQ(projects[0], expected);
    EXPECT_EQ(projects[1].id, "10302");
    EXPECT_THAT(jira.requests(), ElementsAre("GET /project/search?startAt=0&maxResults=100"));
}

TEST(JiraProjectsTest, cloudIsReadOnByTheNumberGathered) {
    Cloud jira;
    jira.answer("GET /project/search?startAt=0&maxResults=100", page(0, 50, R"(,"isLast":false)"));
    jira.answer("GET /project/search?startAt=50&maxResults=100", page(50, 3, R"(,"isLast":false)"));
    jira.answer("GET /project/search?startAt=53&maxResults=100", page(53, 1, R"(,"isLast":true)"));

    EXPECT_EQ(runToEnd(jira.backend.fetchProjects()).size(), 54U);
    EXPECT_EQ(jira.requests().size(), 3U);
}

TEST(JiraProjectsTest, anEmptyPageEndsTheListOfCloud) {
    Cloud jira;
    jira.answer("GET /project/search", page(0, 0, R"(,"isLast":false)"));

    EXPECT_THAT(runToEnd(jira.backend.fetchProjects()), IsEmpty());
    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraProjectsTest, aCloudThatLeavesOutIsLastGetsOneRequest) {
    Cloud jira;
    jira.answer("GET /project/search", page(0, 100, ""));

    EXPECT_EQ(runToEnd(jira.backend.fetchProjects()).size(), 100U);
    EXPECT_EQ(jira.requests().size(), 1U);
}

TEST(JiraProjectsTest, aServerGivesItsProjectsInOneList) {
    Server jira;
    jira.answer("GET /project", fixture("server-projects.json"));

    std::vector<Project> projects = runToEnd(jira.backend.fetchProjects());

    ASSERT_EQ(projects.size(), 1U);
    EXPECT_EQ(projects[0].id, "10400");
    EXPECT_EQ(projects[0].webURL->text(), "https://mill.example/jira/browse/WHEEL");
    EXPECT_THAT(jira.requests(), ElementsAre("GET /project"));
}

TEST(JiraProjectsTest, whatIsNoListIsNeverAnEmptyOne) {
    for (const char* body : {"", "<html>Sign in</html>", "{}", "null", "{\"values\":null}", "{\"values\":{}}"}) {
        Cloud cloud;
        cloud.answer("GET /project/search", body);
        EXPECT_THROW(runToEnd(cloud.backend.fetchProjects()), DecodingError) << body;
        Server server;
        server.answer("GET /project", body);
        EXPECT_THROW(runToEnd(server.backend.fetchProjects()), DecodingError) << body;
    }
}

}  // namespace
}  // namespace marlet
