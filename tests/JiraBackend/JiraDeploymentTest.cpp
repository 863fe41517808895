#include "JiraScenario.h"
#include "TestSupport/HeldTransport.h"

namespace marlet {
namespace {

using testing::ElementsAre;

// A backend that knows nothing yet.
struct NewBackend {
    explicit NewBackend(const std::string& address = "https://larch.example")
        : backend(jiraAccount(address), "s3cret", server, 1000, clock) {
        answer("GET /rest/api/2/project/search", R"({"values":[]})");
        answer("GET /rest/api/2/project", "[]");
    }

    void answer(const std::string& route, std::string body, int status = 200) {
        server->answer(route, ScriptedTransport::Answer{.status = status, .body = std::move(body)});
    }
    // "search" for Cloud and "project" for a server.
    std::string askedPath() {
        runToEnd(backend.fetchProjects());
        std::string path = server->lastRequest().url.components().path;
        return path.substr(path.rfind('/') + 1);
    }

    std::shared_ptr<ScriptedTransport> server = std::make_shared<ScriptedTransport>();
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    JiraTaskBackend backend;
};

TEST(JiraDeploymentTest, theServerTellsItsDeployment) {
    for (const char* cloud : {"Cloud", "cloud", "CLOUD"}) {
        NewBackend jira("https://mill.example");
        jira.answer("GET /rest/api/2/serverInfo", R"({"deploymentType":")" + std::string(cloud) + R"("})");
        EXPECT_EQ(jira.askedPath(), "search");
    }
    for (const char* server : {"Server", "Data Center", ""}) {
        NewBackend jira("https://orchard.atlassian.net");
        jira.answer("GET /rest/api/2/serverInfo", R"({"deploymentType":")" + std::string(server) + R"("})");
        EXPECT_EQ(jira.askedPath(), "project");
    }
}

TEST(JiraDeploymentTest, aServerThatDoesNotTellIsCloudWhereItsHostIs) {
    for (const char* address : {"https://orchard.atlassian.net", "https://Orchard.Atlassian.NET/rest/api/3"}) {
        NewBackend jira(address);
        jira.answer("GET /rest/api/2/serverInfo", R"({"version":"1001.0.0"})");
        EXPECT_EQ(jira.askedPath(), "search");
    }
    for (const char* address : {"https://mill.example", "https://atlassian.net.example", "https://notatlassian.net"}) {
        NewBackend jira(address);
        jira.answer("GET /rest/api/2/serverInfo", R"({"deploymentType":null})");
        EXPECT_EQ(jira.askedPath(), "project") << address;
    }
}

TEST(JiraDeploymentTest, itIsAskedForOnceByAllCopies) {
    NewBackend jira;
    jira.answer("GET /rest/api/2/serverInfo", fixture("cloud-server-info.json"));
    jira.answer("GET /rest/api/2/field", fixture("cloud-fields.json"));
    jira.answer("GET /rest/api/2/search/jql", R"({"issues":[]})");
    JiraTaskBackend copy = jira.backend;

    runToEnd(jira.backend.fetchTasks("10301", std::nullopt));
    runToEnd(copy.fetchTasks("10301", std::nullopt));
    runToEnd(copy.fetchProjects());

    Lines paths;
    for (const URLRequest& request : jira.server->requests()) {
        paths.push_back(request.url.components().path.substr(12));
    }
    EXPECT_THAT(paths, ElementsAre("serverInfo", "field", "search/jql", "search/jql", "project/search"));
}

TEST(JiraDeploymentTest, aNewBackendAsksAnew) {
    NewBackend jira;
    jira.answer("GET /rest/api/2/serverInfo", fixture("cloud-server-info.json"));
    runToEnd(jira.backend.fetchProjects());
    JiraTaskBackend another(jira.backend.account(), "s3cret", jira.server, 1000, jira.clock);

    runToEnd(another.fetchProjects());

    EXPECT_EQ(jira.server->requests().size(), 4U);
}

TEST(JiraDeploymentTest, aFailureIsToldAndNotKept) {
    NewBackend jira;
    jira.answer("GET /rest/api/2/serverInfo", "", 503);
    jira.answer("GET /rest/api/2/serverInfo", fixture("cloud-server-info.json"));

    EXPECT_EQ(errorOf(jira.backend.fetchProjects()), BackendError::http(503));
    EXPECT_EQ(jira.askedPath(), "search");
}

TEST(JiraDeploymentTest, aPageOfAProxyIsNoDeployment) {
    NewBackend jira("https://orchard.atlassian.net");
    jira.answer("GET /rest/api/2/serverInfo", "<html>Sign in</html>");

    EXPECT_THROW(runToEnd(jira.backend.fetchProjects()), DecodingError);
}

TEST(JiraDeploymentTest, twoThatMissItAtTheSameTimeBothFindItOut) {
    NewBackend jira;
    jira.answer("GET /rest/api/2/serverInfo", fixture("cloud-server-info.json"));
    jira.answer("GET /rest/api/2/field", fixture("cloud-fields.json"));
    jira.answer("GET /rest/api/2/search/jql", R"({"issues":[]})");
    for (const char* held : {"/serverInfo", "/field"}) {
        auto server = std::make_shared<HeldTransport>(jira.server, held);
        JiraTaskBackend backend(jira.backend.account(), "s3cret", server, 1000, jira.clock);
        JiraTaskBackend copy = backend;
        TestLoop loop;

        auto first = loop.start(backend.fetchTasks("10301", std::nullopt));
        auto second = loop.start(copy.fetchTasks("10301", std::nullopt));
        loop.runUntil([&] { return server->heldCount() == 2; });
        server->release();
        loop.runUntil([&] { return first->isFinished && second->isFinished; });

        EXPECT_FALSE(first->error || second->error);
        loop.runToEnd(copy.fetchTasks("10301", std::nullopt));
        EXPECT_EQ(server->heldCount(), 0U) << held << " is asked for again";
    }
}

}  // namespace
}  // namespace marlet
