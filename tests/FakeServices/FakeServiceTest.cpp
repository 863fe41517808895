// What all fake services have in common, seen on a forge.
#include "ForgeCaller.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string list = "repos/o/r/issues?state=all&per_page=100";

TEST(FakeServiceTest, anUnchangedListIsAnswered304AndAChangedOneInFull) {
    ForgeCaller caller;
    caller.forge.addIssue("o/r", {.title = "Water the beans"});
    FakeRequest request = caller.request("GET", list);
    request.headers["if-none-match"] = caller.get(list).header("ETag");

    FakeAnswer unchanged = caller.forge.handle(request);
    caller.forge.editIssue("o/r", 1, [](FakeIssue& issue) { issue.title = "Water the peas"; });
    FakeAnswer changed = caller.forge.handle(request);

    EXPECT_THAT(request.headers["if-none-match"], StartsWith("W/\""));
    EXPECT_EQ(unchanged.status, 304);
    EXPECT_THAT(unchanged.body, IsEmpty());
    EXPECT_EQ(changed.status, 200);
    EXPECT_THAT(caller.forge.violations(), IsEmpty());
}

TEST(FakeServiceTest, aServiceWithoutEntityTagsGivesNone) {
    ForgeCaller caller;
    caller.forge.setOffersETags(false);

    EXPECT_EQ(caller.get(list).header("ETag"), "");
}

TEST(FakeServiceTest, everyRequestIsLoggedWithItsOutcome) {
    ForgeCaller caller;
    caller.get(list);
    caller.get("repos/o/none/issues");
    caller.forge.fail("GET /notifications", FakeFailure::cut());
    caller.get("notifications");

    EXPECT_THAT(caller.forge.takeLines(), ElementsAre("GET /" + list + " -> 200", "GET /repos/o/none/issues -> 404",
                                                      "GET /notifications -> cut"));
    EXPECT_EQ(caller.forge.count("GET /repos/"), 2u);
    EXPECT_THAT(caller.forge.takeLines(), IsEmpty());
}

struct WrongRequest {
    std::string name;
    std::function<void(FakeRequest& request)> change;
    int status = 422;
    std::string violation;

    friend void PrintTo(const WrongRequest& tested, std::ostream* stream) { *stream << tested.name; }
};

class FakeStrictnessTest : public testing::TestWithParam<WrongRequest> {};

const std::string home = "https://forge.example/api/v3/repos/o/r/issues";

INSTANTIATE_TEST_SUITE_P(
    Requests, FakeStrictnessTest,
    testing::Values(
        WrongRequest{"unknownRoute", [](FakeRequest& asked) { asked.url += "/1/reactions"; }, 404, "unknown route"},
        WrongRequest{"foreignAddress", [](FakeRequest& asked) { asked.url = "https://other.example/"; }, 404,
                     "no address"},
        WrongRequest{"noUserAgent", [](FakeRequest& asked) { asked.headers.erase("user-agent"); }, 403, "User-Agent"},
        WrongRequest{"noCredentials", [](FakeRequest& asked) { asked.headers.erase("authorization"); }, 401,
                     "credentials"},
        WrongRequest{"wrongScheme", [](FakeRequest& asked) { asked.headers["authorization"] = "token ghp_secret"; },
                     401, "credentials"},
        WrongRequest{"wrongAccept", [](FakeRequest& asked) { asked.headers["accept"] = "*/*"; }, 422, "Accept"},
        WrongRequest{"noVersion", [](FakeRequest& asked) { asked.headers.erase("x-github-api-version"); }, 422,
                     "Version"},
        WrongRequest{"unknownQueryItem", [](FakeRequest& asked) { asked.url = home + "?limit=50"; }, 422, "limit"},
        WrongRequest{"wrongQueryValue", [](FakeRequest& asked) { asked.url = home + "?state=any"; }, 422, "state"},
        WrongRequest{"queryItemTwice", [](FakeRequest& asked) { asked.url = home + "?page=1&page=2"; }, 422, "twice"},
        WrongRequest{"bodyOfAGet", [](FakeRequest& asked) { asked.body = "{}"; }, 422, "body"},
        WrongRequest{"noJSON",
                     [](FakeRequest& asked) {
                         asked.method = "POST";
                         asked.body = "{";
                     },
                     422, "JSON"},
        WrongRequest{"unknownKey",
                     [](FakeRequest& asked) {
                         asked.method = "POST";
                         asked.body = R"({"title": "a", "due_date": "2026-01-01T00:00:00Z"})";
                     },
                     422, "due_date"},
        WrongRequest{"missingKey",
                     [](FakeRequest& asked) {
                         asked.method = "POST";
                         asked.body = "{}";
                     },
                     422, "title"},
        WrongRequest{"keyOfAWrongKind",
                     [](FakeRequest& asked) {
                         asked.method = "POST";
                         asked.body = R"({"title": "a", "labels": [1]})";
                     },
                     422, "labels"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(FakeStrictnessTest, refusesAndNotesAWrongRequest) {
    ForgeCaller caller;
    FakeRequest request = caller.request("GET", home);
    request.headers["content-type"] = "application/json";
    GetParam().change(request);

    FakeAnswer answer = caller.forge.handle(request);

    EXPECT_EQ(answer.status, GetParam().status);
    EXPECT_THAT(caller.forge.violations(), ElementsAre(HasSubstr(GetParam().violation)));
    EXPECT_THAT(caller.forge.issues("o/r"), IsEmpty());
}

TEST(FakeServiceTest, aWrongTokenIsRefusedWithoutBeingAMistakeOfTheClient) {
    ForgeCaller caller;
    caller.forge.setToken("another");

    EXPECT_EQ(caller.get("user").status, 401);
    EXPECT_THAT(caller.forge.violations(), IsEmpty());
}

TEST(FakeServiceTest, aLimitRefusesTheNextRequestsAndSaysUntilWhen) {
    ForgeCaller caller;
    caller.forge.limit({.count = 1, .resetsAfter = 90, .retryAfter = 60});

    FakeAnswer refused = caller.get("user");

    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(refused.header("X-RateLimit-Remaining"), "0");
    EXPECT_EQ(refused.header("X-RateLimit-Reset"), "1800000090");
    EXPECT_EQ(refused.header("Retry-After"), "60");
    EXPECT_EQ(caller.get("user").status, 200);
}

TEST(FakeServiceTest, anHourAllowsSoManyRequestsAnd304sAreFree) {
    ForgeCaller caller;
    caller.forge.setHourlyLimit(2);
    FakeRequest request = caller.request("GET", "user");
    request.headers["if-none-match"] = caller.get("user").header("ETag");

    EXPECT_EQ(caller.forge.handle(request).status, 304);
    EXPECT_EQ(caller.get("user").header("X-RateLimit-Remaining"), "0");
    EXPECT_EQ(caller.get("user").status, 403);
    caller.clock.advance(3600);
    EXPECT_EQ(caller.get("user").status, 200);
}

TEST(FakeServiceTest, aFailureHitsItsRouteSoManyTimes) {
    ForgeCaller caller;
    caller.forge.fail("GET /user", FakeFailure::status(500), 2);

    EXPECT_EQ(caller.get(list).status, 200);
    EXPECT_EQ(caller.get("user").status, 500);
    EXPECT_EQ(caller.get("user/orgs").status, 500);
    EXPECT_EQ(caller.get("user").status, 200);
}

TEST(FakeServiceTest, aLostAnswerLeavesWhatTheRequestDid) {
    ForgeCaller caller;
    caller.forge.fail("POST", FakeFailure::lostAnswer());

    FakeAnswer lost = caller.ask("POST", "repos/o/r/issues", R"({"title": "Water the beans"})");

    EXPECT_EQ(lost.delivery, FakeAnswer::Delivery::cut);
    EXPECT_EQ(caller.forge.issue("o/r", 1).title, "Water the beans");
}

}  // namespace
}  // namespace marlet
