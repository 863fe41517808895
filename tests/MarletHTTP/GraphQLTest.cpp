#include "MarletHTTP/GraphQL.h"

#include <gtest/gtest.h>

#include <limits>

#include "HTTPScenario.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

struct Viewer {
    std::string login;
    std::optional<std::string> displayName;
};
BOOST_DESCRIBE_STRUCT(Viewer, (), (login, displayName))

struct ViewerAnswer {
    Viewer viewer;
};
BOOST_DESCRIBE_STRUCT(ViewerAnswer, (), (viewer))

const char* const complete = R"({"data":{"viewer":{"login":"mira","displayName":"Mira Ö"}}})";

struct Endpoint {
    HTTPScenario scenario;
    URL url = HTTPScenario::url("https://api.example.com/graphql");

    explicit Endpoint(const std::string& answer = complete) { scenario.server->answer("POST /graphql", answer); }
    explicit Endpoint(HTTPScenario::Answer answer) { scenario.server->answer("POST /graphql", std::move(answer)); }

    Viewer ask(boost::json::object variables = {}) const {
        return runToEnd(scenario.client.graphQL<ViewerAnswer>(url, "query { viewer }", std::move(variables))).viewer;
    }
    std::optional<BackendError> refusal() const {
        return errorOf<BackendError>([&] { ask(); });
    }
};

TEST(GraphQLTest, dataIsReadWithKeysInEitherForm) {
    EXPECT_EQ(Endpoint().ask().displayName, "Mira Ö");
    EXPECT_EQ(Endpoint(R"({"data":{"viewer":{"login":"m","display_name":"M"}}})").ask().displayName, "M");
}

TEST(GraphQLTest, theRequestHoldsTheQueryAndTheVariablesAsTheyStand) {
    Endpoint endpoint;

    endpoint.ask({{"projectId", "a/b"}, {"nestedValue", {{"dueDate", nullptr}}}});

    const URLRequest& request = endpoint.scenario.server->lastRequest();
    EXPECT_EQ(parseJSON(request.body.value()), parseJSON(R"({"query":"query { viewer }",
        "variables":{"projectId":"a/b","nestedValue":{"dueDate":null}}})"));
    EXPECT_EQ(request.method, HTTPMethod::post);
    EXPECT_EQ(request.headers.at("Content-Type"), "application/json");
    EXPECT_EQ(request.headers.at("Authorization"), "Bearer t");
}

TEST(GraphQLTest, noVariablesAreAnEmptyObject) {
    EXPECT_EQ(graphQLBody("q", {}), R"({"query":"q","variables":{}})");
}

TEST(GraphQLTest, theURLIsNotComposedFromTheBase) {
    Endpoint endpoint;
    endpoint.scenario.client = endpoint.scenario.anotherClient("https://api.example.com/api/v3");

    endpoint.ask();

    EXPECT_EQ(endpoint.scenario.server->log().at(0), "POST https://api.example.com/graphql");
}

TEST(GraphQLTest, aMessageGoesBeforePartialData) {
    EXPECT_EQ(Endpoint(R"({"data":{"viewer":{"login":"m"}},"errors":[{"message":"x"}]})").refusal(),
              BackendError::rejected("x"));
}

TEST(GraphQLTest, aMessageGoesBeforeDataOfWhichAFailedFieldIsNull) {
    Endpoint endpoint(R"({"data":{"viewer":null},"errors":[{"message":"No permission","path":["viewer"]}]})");
    EXPECT_EQ(endpoint.refusal(), BackendError::rejected("No permission"));
}

TEST(GraphQLTest, messagesAreJoinedByOneBlankAndEmptyOnesDropped) {
    EXPECT_EQ(Endpoint(R"({"errors":[{"message":"a"},{"message":"b"}]})").refusal(), BackendError::rejected("a b"));
    EXPECT_EQ(Endpoint(R"({"errors":[{"message":""},{"message":"a"},{"message":""},{"message":"b"}]})").refusal(),
              BackendError::rejected("a b"));
}

TEST(GraphQLTest, whatElseAnErrorSaysIsPassedOver) {
    EXPECT_EQ(Endpoint(R"({"data":null,"errors":[{"type":"NOT_FOUND","path":["a",0],
        "locations":[{"line":1,"column":9}],"message":"Could not resolve"}]})")
                  .refusal(),
              BackendError::rejected("Could not resolve"));
}

TEST(GraphQLTest, errorsWithoutATextLeaveTheDataStanding) {
    EXPECT_EQ(Endpoint(R"({"data":{"viewer":{"login":"m"}},"errors":[{"message":""}]})").ask().login, "m");
    EXPECT_EQ(Endpoint(R"({"data":{"viewer":{"login":"m"}},"errors":null})").ask().login, "m");
}

TEST(GraphQLTest, anAnswerWithoutDataIsInvalid) {
    for (const char* answer : {"{}", R"({"data":null})", R"({"data":null,"errors":[]})"}) {
        EXPECT_EQ(Endpoint(answer).refusal(), BackendError::invalidResponse()) << answer;
    }
}

TEST(GraphQLTest, dataOfAnotherShapeIsTheDecodersError) {
    for (const char* answer : {R"({"data":{"viewer":null}})", R"({"data":[]})", "[]", "", "<html>"}) {
        EXPECT_TRUE(errorOf<DecodingError>([&] { Endpoint(answer).ask(); }).has_value()) << answer;
    }
}

TEST(GraphQLTest, statusesMeanWhatTheyMeanElsewhere) {
    EXPECT_EQ(Endpoint({401, {}, ""}).refusal(), BackendError::unauthorized());
    EXPECT_EQ(Endpoint({403, {{"X-RateLimit-Remaining", "0"}, {"X-RateLimit-Reset", "1800000600"}}, ""}).refusal(),
              BackendError::rateLimited(dateFromSeconds(1'800'000'600)));
    EXPECT_EQ(Endpoint({422, {}, R"({"message":"Bad"})"}).refusal(), BackendError::rejected("Bad"));
}

TEST(GraphQLTest, variablesThatJSONCannotHoldAreRefusedAndNothingIsSent) {
    for (const boost::json::value& value :
         {boost::json::value(std::numeric_limits<double>::infinity()), boost::json::value(std::nan("")),
          boost::json::value("\xff"), boost::json::value(boost::json::array{boost::json::object{{"\xff", 1}}})}) {
        Endpoint endpoint;

        EXPECT_TRUE(errorOf<EncodingError>([&] { endpoint.ask({{"value", value}}); }).has_value());

        EXPECT_EQ(endpoint.scenario.server->requests().size(), 0u);
    }
}

TEST(GraphQLTest, answersAreNeverCachedOrRevalidated) {
    Endpoint endpoint({200, {{"ETag", "\"1\""}}, complete});

    endpoint.ask();
    endpoint.ask();
    endpoint.scenario.server->answer("GET /graphql", "{}");
    endpoint.scenario.get("graphql");

    for (const URLRequest& request : endpoint.scenario.server->requests()) {
        EXPECT_FALSE(request.headers.contains("If-None-Match"));
    }
}

}  // namespace
}  // namespace marlet
