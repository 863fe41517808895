#include "MarletHTTP/HTTPClient.h"

#include <gtest/gtest.h>

#include "HTTPScenario.h"

namespace marlet {
namespace {

struct Ticket {
    int64_t id = 0;
    std::optional<std::string> dueOn;
    std::optional<Date> createdAt;

    bool operator==(const Ticket&) const = default;
};
BOOST_DESCRIBE_STRUCT(Ticket, (), (id, dueOn, createdAt))

using Answer = HTTPScenario::Answer;

TEST(HTTPClientTest, everyRequestCarriesTheClientsHeadersAndTheTimeOut) {
    HTTPScenario scenario;
    scenario.server->answer("GET /user", "{}");

    scenario.get("user");

    const URLRequest& request = scenario.server->lastRequest();
    EXPECT_EQ(request.headers, (HTTPHeaders{{"Accept", "application/json"}, {"Authorization", "Bearer t"}}));
    EXPECT_EQ(request.timeout.count(), 60);
    EXPECT_EQ(request.body, std::nullopt);
}

TEST(HTTPClientTest, methodsAreNamedAsTheRequestLineHasThem) {
    EXPECT_EQ(requestName(HTTPMethod::get), "GET");
    EXPECT_EQ(requestName(HTTPMethod::post), "POST");
    EXPECT_EQ(requestName(HTTPMethod::put), "PUT");
    EXPECT_EQ(requestName(HTTPMethod::patch), "PATCH");
    EXPECT_EQ(requestName(HTTPMethod::delete_), "DELETE");
}

TEST(HTTPClientTest, aBodyIsJSONWhateverTheClientsHeadersSay) {
    HTTPScenario scenario;
    scenario.client =
        HTTPClient(HTTPScenario::url("https://h"), {{"content-type", "text/plain"}}, scenario.server, scenario.clock);
    scenario.server->answer("PUT /a", "{}");

    runToEnd(scenario.client.send(HTTPMethod::put, scenario.client.url("a"), "[]", true));

    const URLRequest& request = scenario.server->lastRequest();
    EXPECT_EQ(request.headers.size(), 1u);
    EXPECT_EQ(request.headers.at("Content-Type"), "application/json");
    EXPECT_EQ(request.body, "[]");
}

TEST(HTTPClientTest, getDecodesTheAnswer) {
    HTTPScenario scenario;
    scenario.server->answer("GET /tickets/7?a=b%20c", R"({"id":7,"due_on":null,"node_id":"MDU6","labels":[]})");

    Ticket ticket = runToEnd(scenario.client.get<Ticket>("tickets/7", {{"a", "b c"}}));

    EXPECT_EQ(ticket, (Ticket{7, std::nullopt, std::nullopt}));
}

TEST(HTTPClientTest, aRecordIsSentInTheServicesFormAndTheAnswerDecoded) {
    HTTPScenario scenario;
    scenario.server->answer("POST /tickets", Answer{201, {}, R"({"id":8})"});

    Ticket made = runToEnd(
        scenario.client.send<Ticket>(HTTPMethod::post, "tickets", Ticket{0, "tomorrow", dateFromSeconds(1.5)}));

    EXPECT_EQ(made.id, 8);
    EXPECT_EQ(scenario.server->lastRequest().body,
              R"({"id":0,"due_on":"tomorrow","created_at":"1970-01-01T00:00:01Z"})");
    EXPECT_EQ(scenario.server->log().at(0), "POST https://api.example.com/tickets");
}

TEST(HTTPClientTest, anAnswerThatIsNotTheJSONAskedForIsTheDecodersError) {
    for (const char* body : {"", "<html><body>Sign in</body></html>", "[]", "null", "{\"id\":", R"({"id":"7"})"}) {
        HTTPScenario scenario;
        scenario.server->answer("GET /tickets/7", body);
        scenario.server->answer("PATCH /tickets/7", body);

        EXPECT_TRUE(errorOf<DecodingError>([&] { runToEnd(scenario.client.get<Ticket>("tickets/7")); })) << body;
        EXPECT_TRUE(errorOf<DecodingError>([&] {
            runToEnd(scenario.client.send<Ticket>(HTTPMethod::patch, "tickets/7", Ticket{}));
        })) << body;
    }
}

TEST(HTTPClientTest, anEmptyAnswerIsNeverAnEmptyList) {
    for (const char* body : {"", " ", "null", "{}", "<html/>"}) {
        HTTPScenario scenario;
        scenario.server->answer("GET /tickets", body);

        EXPECT_TRUE(errorOf<DecodingError>([&] { runToEnd(scenario.client.get<std::vector<Ticket>>("tickets")); }))
            << body;
        EXPECT_TRUE(errorOf<DecodingError>([&] { runToEnd(scenario.client.paginate<Ticket>("tickets")); })) << body;
    }
}

TEST(HTTPClientTest, anAnswerWithoutABodyPassesWhereNoneIsDecoded) {
    HTTPScenario scenario;
    scenario.server->answer("DELETE /tickets/7", Answer{204, {}, ""});

    HTTPResponse response =
        runToEnd(scenario.client.send(HTTPMethod::delete_, scenario.client.url("tickets/7"), std::nullopt, true));

    EXPECT_EQ(response.status, 204);
}

class NetworkDown final : public std::runtime_error {
public:
    NetworkDown() : std::runtime_error("down") {}
};

TEST(HTTPClientTest, anErrorOfTheNetworkGoesToTheCallerUnchangedAndNothingIsSentAgain) {
    HTTPScenario scenario;
    scenario.server->fail("GET /user", std::make_exception_ptr(NetworkDown()));

    EXPECT_THROW(scenario.get("user"), NetworkDown);

    EXPECT_EQ(scenario.server->requests().size(), 1u);
}

TEST(HTTPClientTest, anAnswerThatIsNotHTTPIsTheTransportsToTell) {
    HTTPScenario scenario;
    scenario.server->fail("GET /user", std::make_exception_ptr(BackendError::invalidResponse()));

    EXPECT_EQ(errorOf<BackendError>([&] { scenario.get("user"); }), BackendError::invalidResponse());
}

TEST(HTTPClientTest, aLimitIsToldAndNeverWaitedFor) {
    HTTPScenario scenario;
    scenario.server->answer("GET /user", Answer{429, {{"Retry-After", "1"}}, ""});

    EXPECT_EQ(errorOf<BackendError>([&] { scenario.get("user"); }),
              BackendError::rateLimited(scenario.clock->now() + 1.0));

    EXPECT_EQ(scenario.clock->sleeperCount(), 0u);
    EXPECT_EQ(scenario.server->requests().size(), 1u);
}

TEST(HTTPClientTest, aBaseThatNamesNoServerSendsNothing) {
    for (const char* base : {"api.example.com", "/api", "https:", "mailto:a@b.c"}) {
        HTTPScenario scenario;
        HTTPClient client = scenario.anotherClient(base);

        EXPECT_EQ(errorOf<BackendError>([&] { runToEnd(client.get<Ticket>("a")); }), BackendError::invalidURL())
            << base;

        EXPECT_EQ(scenario.server->requests().size(), 0u);
    }
}

TEST(HTTPClientTest, theQueryReplacesTheBasesOwnAndNoQueryLeavesIt) {
    HTTPScenario scenario;
    HTTPClient client = scenario.anotherClient("https://h/base/?own=1");

    EXPECT_EQ(client.url("a").text(), "https://h/base/a?own=1");
    EXPECT_EQ(client.url("a", {{"b", "2"}}).text(), "https://h/base/a?b=2");
}

TEST(HTTPClientTest, credentialsGoToTheOriginOfTheBaseAlone) {
    for (const char* elsewhere :
         {"https://evil.example.com/a", "http://api.example.com/a", "https://api.example.com:8443/a",
          "https://api.example.com.evil.com/a", "https://api.example.com:t@evil.com/a"}) {
        HTTPScenario scenario;
        scenario.server->answer("GET /a", "{}");
        scenario.server->answer("POST /a", R"({"data":{"id":1}})");

        runToEnd(scenario.client.send(HTTPMethod::get, HTTPScenario::url(elsewhere), std::nullopt, true));
        runToEnd(scenario.client.graphQL<Ticket>(HTTPScenario::url(elsewhere), "q", {}));

        for (const URLRequest& request : scenario.server->requests()) {
            EXPECT_FALSE(request.headers.contains("authorization")) << elsewhere;
            EXPECT_EQ(request.headers.at("Accept"), "application/json");
        }
    }
}

TEST(HTTPClientTest, theOriginIsTheSameInAnyCaseAndWithItsPortWrittenOut) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", "{}");

    runToEnd(scenario.client.send(HTTPMethod::get, HTTPScenario::url("HTTPS://API.Example.com:443/a"), {}, true));

    EXPECT_EQ(scenario.server->lastRequest().headers.at("Authorization"), "Bearer t");
}

}  // namespace
}  // namespace marlet
