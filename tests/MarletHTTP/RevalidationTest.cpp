#include <gtest/gtest.h>

#include <thread>

#include "HTTPScenario.h"

namespace marlet {
namespace {

using Answer = HTTPScenario::Answer;

Answer tagged(const std::string& body, const std::string& etag) {
    return {200, {{"ETag", etag}, {"X-Total", "5"}}, body};
}

const Answer unmodified{304, {{"ETag", "\"other\""}, {"X-Total", "9"}}, ""};

// The tag that the last request named.
std::optional<std::string> sentTag(const HTTPScenario& scenario) {
    const HTTPHeaders& headers = scenario.server->lastRequest().headers;
    auto found = headers.find("If-None-Match");
    return found != headers.end() ? std::optional(found->second) : std::nullopt;
}

// A client that has read /a, which carries the tag "1".
struct Revalidation : HTTPScenario {
    explicit Revalidation(std::vector<Answer> later) {
        server->answer("GET /a", tagged("first", "\"1\""));
        for (Answer& answer : later) {
            server->answer("GET /a", std::move(answer));
        }
        get("a");
    }
};

TEST(RevalidationTest, anUnmodifiedAnswerIsTheStoredOneAsItStands) {
    Revalidation scenario({unmodified});

    HTTPResponse response = scenario.get("a");

    EXPECT_EQ(sentTag(scenario), "\"1\"");
    EXPECT_EQ(response, (HTTPResponse{"first", 200, {{"etag", "\"1\""}, {"x-total", "5"}}}));
    EXPECT_EQ(scenario.get("a"), response);
    EXPECT_EQ(sentTag(scenario), "\"1\"");
}

TEST(RevalidationTest, aWeakTagKeepsItsMark) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", tagged("", "W/\"1\""));
    scenario.get("a");

    scenario.get("a");

    EXPECT_EQ(sentTag(scenario), "W/\"1\"");
}

TEST(RevalidationTest, anUnmodifiedAnswerToARequestWithoutATagIsAnError) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", unmodified);

    EXPECT_EQ(errorOf<BackendError>([&] { scenario.get("a"); }), BackendError::http(304));
}

TEST(RevalidationTest, aRequestThatIsNotRevalidatedNeitherReadsNorWritesTheCache) {
    Revalidation scenario({tagged("second", "\"2\""), unmodified});

    EXPECT_EQ(scenario.get("a", false).data, "second");
    EXPECT_EQ(sentTag(scenario), std::nullopt);

    EXPECT_EQ(scenario.get("a").data, "first");
    EXPECT_EQ(sentTag(scenario), "\"1\"");
}

TEST(RevalidationTest, anUnmodifiedAnswerToARequestThatIsNotRevalidatedIsAnError) {
    Revalidation scenario({unmodified});

    EXPECT_EQ(errorOf<BackendError>([&] { scenario.get("a", false); }), BackendError::http(304));
}

TEST(RevalidationTest, otherMethodsNeitherUseNorInvalidateWhatIsStored) {
    for (HTTPMethod method : {HTTPMethod::post, HTTPMethod::put, HTTPMethod::patch, HTTPMethod::delete_}) {
        Revalidation scenario({unmodified});
        scenario.server->answer(std::string(requestName(method)) + " /a", tagged("written", "\"9\""));

        HTTPResponse written = runToEnd(scenario.client.send(method, scenario.client.url("a"), "{}", true));

        EXPECT_EQ(written.data, "written");
        EXPECT_EQ(sentTag(scenario), std::nullopt);
        EXPECT_EQ(scenario.get("a").data, "first");
        EXPECT_EQ(sentTag(scenario), "\"1\"");
    }
}

TEST(RevalidationTest, aNewerAnswerReplacesTheStoredOne) {
    Revalidation scenario({tagged("second", "\"2\""), unmodified});

    EXPECT_EQ(scenario.get("a").data, "second");

    EXPECT_EQ(scenario.get("a").data, "second");
    EXPECT_EQ(sentTag(scenario), "\"2\"");
}

TEST(RevalidationTest, anAnswerWithoutATagLeavesTheStoredOneInPlace) {
    Revalidation scenario({Answer{200, {}, "untagged"}, unmodified});

    EXPECT_EQ(scenario.get("a").data, "untagged");

    EXPECT_EQ(scenario.get("a").data, "first");
}

TEST(RevalidationTest, noErrorTouchesWhatIsStored) {
    for (int status : {401, 403, 404, 422, 429, 500, 503}) {
        Revalidation scenario({Answer{status, {{"ETag", "\"e\""}}, "refused"}, unmodified});

        EXPECT_TRUE(errorOf<BackendError>([&] { scenario.get("a"); }));

        EXPECT_EQ(scenario.get("a").data, "first") << status;
        EXPECT_EQ(sentTag(scenario), "\"1\"") << status;
    }
}

TEST(RevalidationTest, anErrorOfTheNetworkLeavesTheStoredAnswerInPlace) {
    Revalidation scenario({unmodified});
    scenario.server->fail("GET https://api.example.com/a", std::make_exception_ptr(std::runtime_error("down")));

    EXPECT_TRUE(errorOf<std::runtime_error>([&] { scenario.get("a"); }));

    EXPECT_EQ(sentTag(scenario), "\"1\"");
}

TEST(RevalidationTest, anAnswerThatCannotBeDecodedStaysStored) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", tagged("<html>", "\"1\""));
    EXPECT_THROW(runToEnd(scenario.client.get<std::string>("a")), DecodingError);

    scenario.get("a");

    EXPECT_EQ(sentTag(scenario), "\"1\"");
}

TEST(RevalidationTest, answersAreToldApartByTheWholeAddress) {
    HTTPScenario scenario;
    scenario.server->answer("GET /a", tagged("", "\"1\""));
    auto ask = [&](const URLQuery& query) {
        runToEnd(scenario.client.send(HTTPMethod::get, scenario.client.url("a", query), std::nullopt, true));
        return sentTag(scenario);
    };

    EXPECT_EQ(ask({{"page", "1"}}), std::nullopt);
    EXPECT_EQ(ask({{"page", "2"}}), std::nullopt);
    EXPECT_EQ(ask({}), std::nullopt);
    EXPECT_EQ(ask({{"page", "1"}}), "\"1\"");
}

TEST(RevalidationTest, copiesOfAClientShareTheirAnswersAndSeparateOnesDoNot) {
    Revalidation scenario({unmodified});
    HTTPClient copy = scenario.client;
    HTTPClient separate = scenario.anotherClient();

    HTTPResponse response = runToEnd(copy.send(HTTPMethod::get, copy.url("a"), std::nullopt, true));
    EXPECT_EQ(response.data, "first");
    EXPECT_EQ(sentTag(scenario), "\"1\"");

    EXPECT_EQ(
        errorOf<BackendError>([&] { runToEnd(separate.send(HTTPMethod::get, separate.url("a"), std::nullopt, true)); }),
        BackendError::http(304));
    EXPECT_EQ(sentTag(scenario), std::nullopt);
}

// A server whose answers take so many seconds each, in the order of the requests, and can overtake one another.
class SlowServer final : public HTTPTransport {
public:
    explicit SlowServer(std::shared_ptr<VirtualClock> ownClock) : clock(std::move(ownClock)) {}

    Async<TransportAnswer> send(URLRequest request) override {
        size_t number = requests.size();
        requests.push_back(request);
        std::chrono::duration<double> delay(delays.at(number));
        co_await clock->sleep(delay);
        std::string tag = "\"" + std::to_string(number) + "\"";
        co_return TransportAnswer{200, {{"ETag", tag}}, std::to_string(number)};
    }

    std::vector<double> delays;
    std::vector<URLRequest> requests;

private:
    std::shared_ptr<VirtualClock> clock;
};

TEST(RevalidationTest, twoRequestsAtOnceSendTheSameTagAndTheLaterAnswerIsKept) {
    TestLoop loop;
    auto clock = std::make_shared<VirtualClock>();
    auto server = std::make_shared<SlowServer>(clock);
    server->delays = {1, 3, 2, 1};
    HTTPClient client(HTTPScenario::url("https://h"), {}, server, clock);
    auto start = [&] { return loop.start(client.send(HTTPMethod::get, client.url("a"), std::nullopt, true)); };
    auto finish = [&](const auto& outcome) {
        loop.runReady();
        clock->advance(1);
        loop.runUntil([&] { return outcome->isFinished; });
        return outcome->value->data;
    };
    EXPECT_EQ(finish(start()), "0");

    auto slower = start();
    auto faster = start();
    loop.runReady();
    clock->advance(1);
    EXPECT_EQ(finish(faster), "2");
    EXPECT_EQ(finish(slower), "1");
    finish(start());

    EXPECT_EQ(server->requests.at(1).headers.at("If-None-Match"), "\"0\"");
    EXPECT_EQ(server->requests.at(2).headers.at("If-None-Match"), "\"0\"");
    EXPECT_EQ(server->requests.at(3).headers.at("If-None-Match"), "\"1\"");
}

TEST(RevalidationTest, theCacheIsSafeFromSeveralThreads) {
    ETagCache cache;
    URL url = HTTPScenario::url("https://h/a");
    auto work = [&](const std::string& text) {
        for (int count = 0; count < 2'000; ++count) {
            cache.store({text, HTTPResponse{text, 200, {}}}, url);
            std::shared_ptr<const ETagCache::Entry> entry = cache.entry(url);
            ASSERT_EQ(entry->etag, entry->response.data);
        }
    };

    std::thread one(work, "one");
    std::thread other(work, "other");
    one.join();
    other.join();

    EXPECT_EQ(cache.entry(HTTPScenario::url("https://h/b")), nullptr);
}

}  // namespace
}  // namespace marlet
