#include <gmock/gmock.h>

#include "ForgeScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const Date since = dateFromSeconds(1'770'285'600);  // 2026-02-05T10:00:00Z

using Headers = std::vector<std::pair<std::string, std::string>>;

std::optional<int64_t> gitHubCount(const std::string& body, const Headers& headers) {
    GitHub gitHub;
    gitHub.answer("GET https://api.github.com/repos/a/b/issues?state=all&per_page=1", 200, body, headers);
    return runToEnd(gitHub.backend.taskCount("a/b"));
}

std::optional<int64_t> gitHubCount(const std::string& lastPage) {
    return gitHubCount("[{}]",
                       {{"Link", "<https://x.example/i?page=2>; rel=\"next\", <" + lastPage + ">; rel=\"last\""}});
}

std::optional<int64_t> forgejoCount(const Headers& headers) {
    Forgejo forgejo;
    forgejo.answer("GET https://forge.example/api/v1/repos/a/b/issues?state=all&limit=1", 200, "[{}]", headers);
    return runToEnd(forgejo.backend.taskCount("a/b"));
}

TEST(ForgeHintsTest, gitHubGivesHintsToClassicTokensOnly) {
    EXPECT_TRUE(GitHub("ghp_abc").backend.providesChangeHints());
    EXPECT_TRUE(GitHub("gho_abc").backend.providesChangeHints());
    EXPECT_FALSE(GitHub("github_pat_abc").backend.providesChangeHints());
    EXPECT_FALSE(GitHub("ghs_abc").backend.providesChangeHints());
    EXPECT_FALSE(GitHub("GHP_abc").backend.providesChangeHints());
    EXPECT_FALSE(GitHub("").backend.providesChangeHints());
}

TEST(ForgeHintsTest, forgejoAlwaysGivesHints) {
    EXPECT_TRUE(Forgejo("anything").backend.providesChangeHints());
}

TEST(ForgeHintsTest, gitHubsNotificationsTellWhereIssuesAndPullRequestsChanged) {
    GitHub gitHub;
    gitHub.answer("GET /notifications", 200, fixture("github-notifications.json"));

    ChangeHints hints = runToEnd(gitHub.backend.notifiedTaskUpdates(since));

    EXPECT_THAT(gitHub.server->log(), ElementsAre("GET https://api.github.com/notifications"
                                                  "?all=true&since=2026-02-05T10%3A00%3A00Z&per_page=100"));
    ChangeHints expected = {{"larch/orchard", {*parseISO8601("2026-02-06T11:00:00Z"), std::nullopt}},
                            {"wren/notes", {*parseISO8601("2026-02-01T12:00:00Z"), std::nullopt}}};
    EXPECT_EQ(hints, expected);
}

TEST(ForgeHintsTest, forgejosNotificationsOfIssuesAloneAreHints) {
    Forgejo forgejo;
    forgejo.answer("GET /api/v1/notifications", 200, fixture("forgejo-notifications.json"));

    ChangeHints hints = runToEnd(forgejo.backend.notifiedTaskUpdates(since));

    EXPECT_THAT(forgejo.server->log(), ElementsAre("GET https://forge.example/api/v1/notifications"
                                                   "?all=true&since=2026-02-05T10%3A00%3A00Z&limit=50"));
    ChangeHints expected = {{"mill/wheel", {*parseISO8601("2026-02-05T09:00:00Z"), std::nullopt}}};
    EXPECT_EQ(hints, expected);
}

TEST(ForgeHintsTest, noMoreThanTwoHundredNotificationsAreRead) {
    GitHub gitHub;
    gitHub.server->onRequest = [](const URLRequest& request) {
        std::string page = "[";
        for (int index = 0; index < 90; ++index) {
            page += R"({"repository":{"full_name":"a/b"},"subject":{"type":"Issue"},"updated_at":")";
            page += "2026-02-05T10:00:00Z\"},";
        }
        page.back() = ']';
        ScriptedTransport::Answer answer{.body = page};
        answer.headers.emplace_back("Link", "<" + request.url.text() + "&more=1>; rel=\"next\"");
        return answer;
    };
    runToEnd(gitHub.backend.notifiedTaskUpdates(since));
    EXPECT_EQ(gitHub.server->requests().size(), 3U);
}

TEST(ForgeHintsTest, aFailureToReadTheNotificationsIsThrown) {
    GitHub gitHub;
    gitHub.answer("GET /notifications", 403, R"({"message":"Resource not accessible by personal access token"})");
    EXPECT_EQ(errorOf(gitHub.backend.notifiedTaskUpdates(since)), BackendError::http(403));
}

TEST(ForgeHintsTest, theLastPageOfOneIssueEachIsGitHubsCount) {
    EXPECT_EQ(gitHubCount("https://api.github.com/repositories/7/issues?state=all&per_page=1&page=312"), 312);
    EXPECT_EQ(gitHubCount("https://api.github.com/repositories/7/issues?page=+4&per_page=1"), 4);
}

TEST(ForgeHintsTest, aLastPageWithoutANumberIsNoCount) {
    for (const std::string& link :
         {"https://x.example/issues", "https://x.example/issues?per_page=1",
          "https://x.example/issues?page=", "https://x.example/issues?page=many", "https://x.example/issues?page=1x",
          "https://x.example/issues?page=99999999999999999999", "https://x.example/issues?apage=3"}) {
        EXPECT_EQ(gitHubCount(link), std::nullopt) << link;
    }
}

TEST(ForgeHintsTest, withoutALastPageGitHubsCountIsTheLengthOfTheAnswer) {
    EXPECT_EQ(gitHubCount("[]", {}), 0);
    EXPECT_EQ(gitHubCount(R"([{"number":1}])", {}), 1);
    EXPECT_EQ(gitHubCount("[{}]", {{"Link", "<https://api.github.com/x?after=Y3&page=2>; rel=\"next\""}}), 1);
}

TEST(ForgeHintsTest, aCountThatIsNotTheServicesAnswerIsAnError) {
    EXPECT_THROW(gitHubCount("<html>", {}), LocalizedError);
    EXPECT_THROW(gitHubCount("", {}), LocalizedError);
    EXPECT_THROW(gitHubCount("{}", {}), LocalizedError);
}

TEST(ForgeHintsTest, forgejoCountsInAHeader) {
    EXPECT_EQ(forgejoCount({{"X-Total-Count", "131"}}), 131);
    EXPECT_EQ(forgejoCount({{"x-total-count", "+7"}}), 7);
    EXPECT_EQ(forgejoCount({{"X-Total-Count", "-1"}}), -1);
    EXPECT_EQ(forgejoCount({{"X-Total-Count", "0"}}), 0);
}

TEST(ForgeHintsTest, aHeaderThatIsNoNumberIsNoCount) {
    for (const std::string& value : {"", "many", "12 ", " 12", "1.5", "+-1", "+", "99999999999999999999"}) {
        EXPECT_EQ(forgejoCount({{"X-Total-Count", value}}), std::nullopt) << value;
    }
    EXPECT_EQ(forgejoCount({}), std::nullopt);
}

TEST(ForgeHintsTest, aBoardOfGitHubIsNotCounted) {
    GitHub gitHub;
    EXPECT_EQ(runToEnd(gitHub.backend.taskCount("projects/orgs/acme/12")), std::nullopt);
    EXPECT_TRUE(gitHub.server->requests().empty());
}

}  // namespace
}  // namespace marlet
