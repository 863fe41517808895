#include <gtest/gtest.h>

#include "HTTPScenario.h"

namespace marlet {
namespace {

struct Entry {
    int64_t id = 0;

    bool operator==(const Entry&) const = default;
};
BOOST_DESCRIBE_STRUCT(Entry, (), (id))

using Answer = HTTPScenario::Answer;

std::vector<int64_t> ids(const std::vector<Entry>& entries) {
    std::vector<int64_t> result;
    for (const Entry& entry : entries) {
        result.push_back(entry.id);
    }
    return result;
}

std::vector<int64_t> walk(const HTTPScenario& scenario, PageWalk<Entry> pageWalk = {}, URLQuery query = {}) {
    return ids(runToEnd(scenario.client.paginate<Entry>("list", std::move(query), std::move(pageWalk))));
}

Answer linking(const std::string& body, const std::string& target) {
    return {200, {{"Link", "<" + target + ">; rel=\"next\""}}, body};
}

TEST(PaginationTest, aServerThatTellsOfNoOtherPageGetsOneRequest) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list?per_page=2", R"([{"id":1},{"id":2}])");

    EXPECT_EQ(walk(scenario, {}, {{"per_page", "2"}}), (std::vector<int64_t>{1, 2}));

    EXPECT_EQ(scenario.server->log(), std::vector<std::string>{"GET https://api.example.com/list?per_page=2"});
}

TEST(PaginationTest, theNextPageIsAskedForAsTheServerWroteIt) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking(R"([{"id":1}])", "https://API.example.com:443/else?after=a%2Bb&x"));
    scenario.server->answer("GET /else", R"([{"id":2}])");

    EXPECT_EQ(walk(scenario), (std::vector<int64_t>{1, 2}));

    EXPECT_EQ(scenario.server->log().at(1), "GET https://API.example.com:443/else?after=a%2Bb&x");
    EXPECT_EQ(scenario.server->lastRequest().headers.at("Authorization"), "Bearer t");
}

TEST(PaginationTest, aWalkOfNoItemsSendsNothing) {
    HTTPScenario scenario;

    EXPECT_EQ(walk(scenario, {.maxItems = 0}), std::vector<int64_t>{});

    EXPECT_EQ(scenario.server->requests().size(), 0u);
}

TEST(PaginationTest, theWalkEndsAtTheMostItemsAlsoAmidAPage) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking(R"([{"id":1},{"id":2},{"id":3}])", "https://api.example.com/never"));

    EXPECT_EQ(walk(scenario, {.maxItems = 2}), (std::vector<int64_t>{1, 2}));
    EXPECT_EQ(walk(scenario, {.maxItems = 3}), (std::vector<int64_t>{1, 2, 3}));
}

TEST(PaginationTest, theWalkEndsBeforeTheElementThatIsNotWanted) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking(R"([{"id":1},{"id":5},{"id":2}])", "https://api.example.com/never"));

    EXPECT_EQ(walk(scenario, {.goesOn = [](const Entry& entry) { return entry.id < 5; }}), std::vector<int64_t>{1});
}

TEST(PaginationTest, aPageIsReadWholeBeforeItsElementsAreLookedAt) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", R"([{"id":5},{"id":"not a number"}])");

    EXPECT_TRUE(
        errorOf<DecodingError>([&] { walk(scenario, {.goesOn = [](const Entry&) { return false; }}); }).has_value());
}

TEST(PaginationTest, anEmptyPageEndsTheWalkWhateverTheServerPromises) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking("[]", "https://api.example.com/never"));

    EXPECT_EQ(walk(scenario), std::vector<int64_t>{});
}

TEST(PaginationTest, inspectSeesEveryAnswerBeforeItIsDecoded) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking(R"([{"id":1}])", "https://api.example.com/two"));
    scenario.server->answer("GET /two", "no list");
    std::vector<std::string> seen;

    EXPECT_THROW(walk(scenario, {.inspect = [&](const HTTPResponse& response) { seen.push_back(response.data); }}),
                 DecodingError);

    EXPECT_EQ(seen, (std::vector<std::string>{R"([{"id":1}])", "no list"}));
}

TEST(PaginationTest, anErrorOnALaterPageEndsTheWholeWalk) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", linking(R"([{"id":1}])", "https://api.example.com/two"));
    scenario.server->answer("GET /two", Answer{502, {}, ""});

    EXPECT_EQ(errorOf<BackendError>([&] { walk(scenario); }), BackendError::http(502));
}

Answer counting(const std::string& body, const std::string& pages) {
    return {200, {{"X-Pagination-Total-Pages", pages}}, body};
}

TEST(PaginationTest, aSinglePageOfACountingServerEndsTheWalk) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list", counting(R"([{"id":1}])", "1"));

    EXPECT_EQ(walk(scenario), std::vector<int64_t>{1});
    EXPECT_EQ(scenario.server->requests().size(), 1u);
}

TEST(PaginationTest, aCountingServerIsAskedForEveryPageByNumberBehindTheGivenItems) {
    HTTPScenario scenario;
    scenario.server->answer("GET /list?a=1&a=2", counting(R"([{"id":1}])", "+2"));
    scenario.server->answer("GET /list?a=1&a=2&page=2", counting(R"([{"id":2}])", "2"));

    EXPECT_EQ(walk(scenario, {}, {{"a", "1"}, {"a", "2"}}), (std::vector<int64_t>{1, 2}));
    EXPECT_EQ(scenario.server->requests().size(), 2u);
}

TEST(PaginationTest, aCountOfPagesThatCannotBeReadEndsTheWalk) {
    for (const char* pages : {"", "many", "2.0", " 2", "-2", "99999999999999999999", "+-2", "0x2"}) {
        HTTPScenario scenario;
        scenario.server->answer("GET /list", counting(R"([{"id":1}])", pages));

        EXPECT_EQ(walk(scenario), std::vector<int64_t>{1}) << pages;
    }
}

TEST(PaginationTest, aNamedNextPageGoesBeforeTheCountOfPages) {
    HTTPScenario scenario;
    Answer first = linking(R"([{"id":1}])", "https://api.example.com/two");
    first.headers.emplace_back("x-pagination-total-pages", "9");
    scenario.server->answer("GET /list", first);
    scenario.server->answer("GET /two", R"([{"id":2}])");

    EXPECT_EQ(walk(scenario), (std::vector<int64_t>{1, 2}));
}

TEST(PaginationTest, anUnchangedListCostsOneUnmodifiedAnswerPerPageAndIsReadOnFromTheCache) {
    HTTPScenario scenario;
    scenario.server->onRequest = [](const URLRequest& request) -> std::optional<Answer> {
        if (request.headers.contains("If-None-Match")) {
            return Answer{304, {{"Link", "<https://api.example.com/never>; rel=\"next\""}}, ""};
        }
        bool isFirst = request.url.text().ends_with("/list");
        Answer answer =
            isFirst ? linking(R"([{"id":1}])", "https://api.example.com/two") : Answer{200, {}, "[{\"id\":2}]"};
        answer.headers.emplace_back("ETag", isFirst ? "\"1\"" : "\"2\"");
        return answer;
    };
    walk(scenario);
    std::vector<int> statuses;

    EXPECT_EQ(walk(scenario, {.inspect = [&](const HTTPResponse& response) { statuses.push_back(response.status); }}),
              (std::vector<int64_t>{1, 2}));

    EXPECT_EQ(statuses, (std::vector<int>{200, 200}));
    EXPECT_EQ(scenario.server->requests().size(), 4u);
}

TEST(PaginationTest, anAddressThatCannotBeComposedSendsNothing) {
    HTTPScenario scenario;
    scenario.client = scenario.anotherClient("api.example.com");

    EXPECT_EQ(errorOf<BackendError>([&] { walk(scenario); }), BackendError::invalidURL());
    EXPECT_EQ(scenario.server->requests().size(), 0u);
}

TEST(PaginationTest, aNextPageOnAnotherServerIsNoPageOfTheUsersList) {
    for (const char* target :
         {"https://evil.example.com/list", "http://api.example.com/list", "https://api.example.com:8443/list",
          "https://api.example.com.evil.com/list", "https://api.example.com@evil.com/list", "/list?page=2"}) {
        HTTPScenario scenario;
        scenario.server->answer("GET https://api.example.com/list", linking(R"([{"id":1}])", target));

        EXPECT_EQ(errorOf<BackendError>([&] { walk(scenario); }), BackendError::invalidResponse()) << target;

        EXPECT_EQ(scenario.server->requests().size(), 1u) << target;
    }
}

TEST(PaginationTest, aClientWithoutCredentialsFollowsTheListToAnotherServer) {
    HTTPScenario scenario;
    scenario.client = HTTPClient(HTTPScenario::url("https://api.example.com"), {}, scenario.server, scenario.clock);
    scenario.server->answer("GET https://api.example.com/list",
                            linking(R"([{"id":1}])", "https://mirror.example.com/list"));
    scenario.server->answer("GET https://mirror.example.com/list", R"([{"id":2}])");

    EXPECT_EQ(walk(scenario), (std::vector<int64_t>{1, 2}));
}

}  // namespace
}  // namespace marlet
