#include <gtest/gtest.h>

#include "HTTPScenario.h"

namespace marlet {
namespace {

using Answer = HTTPScenario::Answer;
using Headers = std::vector<std::pair<std::string, std::string>>;

const Date now = dateFromSeconds(1'800'000'000);

std::optional<BackendError> refusal(Answer answer) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", std::move(answer));
    return errorOf<BackendError>([&] { scenario.get("a"); });
}

std::optional<BackendError> refusal(int status, const std::string& body = "") {
    return refusal(Answer{status, {}, body});
}

TEST(ResponseStatusTest, everyStatusOfTheTwoHundredsPasses) {
    for (int status : {200, 201, 202, 204, 226, 299}) {
        HTTPScenario scenario;
        scenario.server->answer("GET /a", Answer{status, {}, "body"});

        EXPECT_EQ(scenario.get("a").status, status);
    }
}

TEST(ResponseStatusTest, statusesWithAMeaningOfTheirOwnIgnoreTheBody) {
    EXPECT_EQ(refusal(401, R"({"message":"Bad credentials"})"), BackendError::unauthorized());
    EXPECT_EQ(refusal(404, R"({"message":"Not Found"})"), BackendError::notFound());
    EXPECT_EQ(refusal(403, R"({"message":"Resource not accessible"})"), BackendError::http(403));
}

TEST(ResponseStatusTest, otherStatusesAreToldByNumberAlone) {
    for (int status : {0, 100, 199, 300, 301, 304, 399, 500, 502, 503, 599, 600, -1}) {
        EXPECT_EQ(refusal(status, R"({"message":"Bad"})"), BackendError::http(status)) << status;
    }
}

TEST(ResponseStatusTest, otherRefusalsSayWhatTheServerSays) {
    for (int status : {400, 402, 405, 409, 410, 412, 422, 423, 428, 430, 451, 499}) {
        EXPECT_EQ(refusal(status, R"({"message":"Bad"})"), BackendError::rejected("Bad")) << status;
        EXPECT_EQ(refusal(status), BackendError::http(status)) << status;
    }
}

TEST(ResponseStatusTest, aWaitInSecondsIsALimitEvenWithoutOtherHints) {
    for (int status : {403, 429}) {
        EXPECT_EQ(refusal({status, {{"Retry-After", "120"}}, ""}), BackendError::rateLimited(now + 120.0));
        EXPECT_EQ(refusal({status, {{"retry-after", "0"}}, ""}), BackendError::rateLimited(now));
        EXPECT_EQ(refusal({status, {{"Retry-After", "1.5"}}, ""}), BackendError::rateLimited(now + 1.5));
        EXPECT_EQ(refusal({status, {{"Retry-After", "+2"}}, ""}), BackendError::rateLimited(now + 2.0));
    }
}

TEST(ResponseStatusTest, aLimitBeyondAllCalendarsIsStillOne) {
    for (const char* seconds : {"1e300", "-1e300"}) {
        double wait = std::stod(seconds);

        EXPECT_EQ(refusal({429, {{"Retry-After", seconds}}, ""}), BackendError::rateLimited(now + wait));
        EXPECT_EQ(refusal({403, {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", seconds}}, ""}),
                  BackendError::rateLimited(dateFromSeconds(wait)));
    }
}

TEST(ResponseStatusTest, theWaitGoesBeforeTheEndOfTheLimit) {
    Headers headers{{"Retry-After", "60"}, {"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "1900000000"}};

    EXPECT_EQ(refusal({429, headers, ""}), BackendError::rateLimited(now + 60.0));
}

TEST(ResponseStatusTest, aWaitThatIsNoNumberOfSecondsIsPassedOver) {
    for (const char* wait :
         {"Wed, 21 Oct 2015 07:28:00 GMT", "", " 120", "120 ", "120s", "0x10", "inf", "nan", "+-1", "1e999", "--1"}) {
        EXPECT_EQ(refusal({429, {{"Retry-After", wait}}, ""}), BackendError::rateLimited(std::nullopt)) << wait;
        EXPECT_EQ(refusal({403, {{"Retry-After", wait}}, ""}), BackendError::http(403)) << wait;
    }
}

TEST(ResponseStatusTest, anExhaustedLimitEndsWhenTheServerSays) {
    for (int status : {403, 429}) {
        Headers headers{{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "1800003600"}};

        EXPECT_EQ(refusal({status, headers, ""}), BackendError::rateLimited(now + 3600.0));
    }
}

TEST(ResponseStatusTest, anExhaustedLimitWithoutAReadableEndHasNone) {
    for (int status : {403, 429}) {
        Headers unreadable{{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "abc"}};
        Headers date{{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "2026-03-14T09:26Z"}};

        EXPECT_EQ(refusal({status, unreadable, ""}), BackendError::rateLimited(std::nullopt));
        EXPECT_EQ(refusal({status, date, ""}), BackendError::rateLimited(std::nullopt));
        EXPECT_EQ(refusal({status, {{"X-RateLimit-Remaining", "0"}}, ""}), BackendError::rateLimited(std::nullopt));
    }
}

TEST(ResponseStatusTest, aLimitThatIsNotExhaustedIsNoHint) {
    for (const char* remaining : {"12", "00", "0.0", "-0", "", " 0"}) {
        Headers headers{{"X-RateLimit-Remaining", remaining}, {"X-RateLimit-Reset", "1800003600"}};

        EXPECT_EQ(refusal({403, headers, ""}), BackendError::http(403)) << remaining;
        EXPECT_EQ(refusal({429, headers, ""}), BackendError::rateLimited(std::nullopt)) << remaining;
    }
}

struct MessageCase {
    const char* body;
    std::optional<std::string> message;
};

const MessageCase messageCases[] = {
    {R"({"message":"  Bad  \n"})", "Bad"},
    {R"({"errorMessages":["a"],"errors":{"b":"2","a":"1"}})", "a 1 2"},
    {R"({"errorMessages":["a"],"errors":{"b":"2","a":"1"},"message":"never"})", "a 1 2"},
    {R"({"errors":[{"code":"x"}]})", std::nullopt},
    {R"({"errors":[{"code":"x"}],"message":"Validation Failed"})", "Validation Failed"},
    {R"({"errors":{"a":"1","b":2},"message":"m"})", "m"},
    {R"({"errors":{},"errorMessages":[],"message":"m"})", "m"},
    {R"({"errorMessages":["a",1],"message":"m"})", "m"},
    {R"({"errorMessages":["a",1],"errors":{"f":"g"}})", "g"},
    {R"({"errorMessages":"a","message":"m"})", "m"},
    {R"({"errorMessages":[" a ","","\t\r\n"," b"]})", "a b"},
    {R"({"errorMessages":[" "],"message":"never"})", std::nullopt},
    {R"({"message":" \n "})", std::nullopt},
    {R"({"message":""})", std::nullopt},
    {R"({"message":{"title":["can't be blank"]}})", std::nullopt},
    {R"({"message":["a"]})", std::nullopt},
    {R"({"error":"scope"})", std::nullopt},
    {R"({"message":"Größe 🌱 unbekannt"})", "Größe 🌱 unbekannt"},
    {R"(["message"])", std::nullopt},
    {R"("message")", std::nullopt},
    {"null", std::nullopt},
    {"", std::nullopt},
    {"<html>Bad Gateway</html>", std::nullopt},
    {"{\"message\":\"\xff\"}", std::nullopt},
    {R"({"message":"cut)", std::nullopt},
};

TEST(ResponseStatusTest, theMessageIsTakenFromWhereTheServicesPutIt) {
    for (const MessageCase& sample : messageCases) {
        BackendError expected = sample.message ? BackendError::rejected(*sample.message) : BackendError::http(422);

        EXPECT_EQ(refusal(422, sample.body), expected) << sample.body;
    }
}

TEST(ResponseStatusTest, aBodyThatNestsWithoutEndHasNoMessage) {
    EXPECT_EQ(refusal(422, std::string(100'000, '[')), BackendError::http(422));
}

}  // namespace
}  // namespace marlet
