#include <gmock/gmock.h>

#include "GitLabScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

using Headers = std::vector<std::pair<std::string, std::string>>;

const std::string statisticsRead = "GET " + projectAddress + "/issues_statistics?scope=all";
const std::string mergeRequestsRead = "GET " + projectAddress + "/merge_requests?state=all&per_page=1";

// A project with twenty issues, whose merge requests answer so.
struct CountedProject : GitLabScenario {
    explicit CountedProject(const Headers& headers, int status = 200) {
        answer("GET /api/v4/projects/31/issues_statistics", 200,
               R"({"statistics":{"counts":{"all":20,"closed":5,"opened":15}}})");
        answer("GET /api/v4/projects/31/merge_requests", status, "[{}]", headers);
    }

    std::optional<int64_t> count() { return runToEnd(backend.taskCount("31")); }
    std::optional<int64_t> countWith(const std::string& graphQL) {
        answerGraphQL(graphQL);
        return count();
    }
};

std::string nodes(const std::string& content) {
    return R"({"data":{"projects":{"nodes":[)" + content + "]}}}";
}

TEST(GitLabCountTest, issuesAndMergeRequestsAreAddedUp) {
    CountedProject gitLab({{"X-Total", "41"}, {"X-Total-Pages", "41"}});
    EXPECT_EQ(gitLab.count(), 61);
    EXPECT_THAT(gitLab.server->log(), ElementsAre(statisticsRead, mergeRequestsRead));
    EXPECT_EQ(CountedProject({{"x-total", "0"}}).count(), 20);
    EXPECT_EQ(CountedProject({{"X-Total", "+1"}}).count(), 21);
}

TEST(GitLabCountTest, withoutATotalGraphQLIsAskedForTheMergeRequests) {
    for (const Headers& headers : {Headers{}, Headers{{"X-Total", ""}}, Headers{{"X-Total", "many"}}}) {
        CountedProject gitLab(headers);
        EXPECT_EQ(gitLab.countWith(nodes(R"({"mergeRequests":{"count":12345}})")), 12365);
        EXPECT_THAT(gitLab.server->log(), ElementsAre(statisticsRead, mergeRequestsRead, "POST " + graphQLAddress));
        EXPECT_EQ(gitLab.lastBody(),
                  R"({"query":"query($ids: [ID!]) { projects(ids: $ids) { nodes { mergeRequests(first: 0) { count } } )"
                  R"(} }","variables":{"ids":["gid://gitlab/Project/31"]}})");
    }
}

TEST(GitLabCountTest, aProjectThatGraphQLDoesNotShowHasNoCount) {
    EXPECT_EQ(CountedProject({}).countWith(nodes("")), std::nullopt);
}

TEST(GitLabCountTest, aCountThatGraphQLRefusesOrLacksIsNone) {
    EXPECT_EQ(CountedProject({}).countWith(R"({"errors":[{"message":"Field 'count' doesn't exist"}]})"), std::nullopt);
    EXPECT_EQ(CountedProject({}).countWith(R"({"data":null})"), std::nullopt);
    EXPECT_EQ(CountedProject({}).countWith("{}"), std::nullopt);
}

TEST(GitLabCountTest, aCountThatCannotBeReadIsNone) {
    for (const std::string& body :
         {std::string(), std::string("<html>"), std::string("[]"), std::string(R"({"data":{"projects":null}})"),
          nodes(R"({"mergeRequests":null})"), nodes(R"({"mergeRequests":{"count":"12"}})"),
          nodes(R"({"mergeRequests":{"count":99999999999999999999}})")}) {
        EXPECT_EQ(CountedProject({}).countWith(body), std::nullopt) << body;
    }
}

TEST(GitLabCountTest, mergeRequestsThatAreHiddenLeaveTheIssuesAlone) {
    EXPECT_EQ(CountedProject({}, 403).count(), 20);
    EXPECT_EQ(CountedProject({}, 404).count(), 20);
    for (int status : {403, 404}) {
        CountedProject gitLab({});
        gitLab.answer("POST /api/graphql", status, "");
        EXPECT_EQ(gitLab.count(), 20);
    }
}

TEST(GitLabCountTest, anyOtherFailureOfTheMergeRequestsIsThrown) {
    for (int status : {500, 401, 422}) {
        CountedProject gitLab({}, status);
        EXPECT_TRUE(errorOf(gitLab.backend.taskCount("31"))) << status;
    }
    CountedProject limited({{"Retry-After", "60"}}, 403);
    EXPECT_EQ(errorOf(limited.backend.taskCount("31")), BackendError::rateLimited(limited.clock->now() + 60));
    CountedProject graphQL({});
    graphQL.answer("POST /api/graphql", 503, "");
    EXPECT_EQ(errorOf(graphQL.backend.taskCount("31")), BackendError::http(503));
}

TEST(GitLabCountTest, issuesThatAreHiddenHaveNoCountAndThrow) {
    for (int status : {403, 404, 500}) {
        GitLabScenario gitLab;
        gitLab.answer("GET /api/v4/projects/31/issues_statistics", status, "");
        EXPECT_TRUE(errorOf(gitLab.backend.taskCount("31"))) << status;
        EXPECT_THAT(gitLab.server->requests(), SizeIs(1));
    }
    for (const char* body : {"", "<html>", "{}", R"({"statistics":{"counts":{}}})"}) {
        GitLabScenario broken;
        broken.answer("GET /api/v4/projects/31/issues_statistics", 200, body);
        EXPECT_THROW(runToEnd(broken.backend.taskCount("31")), LocalizedError) << body;
    }
}

TEST(GitLabCountTest, numbersThatNoListHasAreNoCount) {
    EXPECT_EQ(CountedProject({{"X-Total", "9223372036854775807"}}).count(), std::nullopt);
}

}  // namespace
}  // namespace marlet
