#include "MarletHTTP/HTTPClient.h"

#include <gtest/gtest.h>

#include "HTTPScenario.h"

namespace marlet {
namespace {

TEST(HTTPClientTest, everyRequestCarriesTheClientsHeadersAndTheTimeOut) {
    HTTPScenario scenario;
    scenario.server->answer("GET /user", "{}");

    scenario.get("user");

    const URLRequest& request = scenario.server->lastRequest();
    EXPECT_EQ(request.headers, (HTTPHeaders{{"Accept", "application/json"}, {"Authorization", "Bearer t"}}));
    EXPECT_EQ(request.timeout.count(), 60);
    EXPECT_EQ(request.body, std::nullopt);
}

}  // namespace
}  // namespace marlet
