#include "MarletCore/BackendError.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(BackendErrorTest, everyCaseHasItsText) {
    EXPECT_EQ(BackendError::rateLimited(std::nullopt).errorDescription(), "Rate limited by the server.");
    EXPECT_EQ(BackendError::http(502).errorDescription(), "The server responded with HTTP 502.");
    EXPECT_EQ(BackendError::unknownLabels({"bug", "später"}).errorDescription(), "Unknown labels: bug, später.");
    EXPECT_EQ(BackendError::rejected("Title is too long").errorDescription(), "Title is too long");
    EXPECT_EQ(BackendError::unauthorized().errorDescription(), "The server rejected the access token.");
    EXPECT_EQ(BackendError::notFound().errorDescription(), "Not found on the server.");
    EXPECT_EQ(BackendError::invalidURL().errorDescription(), "The server URL is invalid.");
    EXPECT_EQ(BackendError::invalidResponse().errorDescription(), "The server sent an unexpected response.");
}

TEST(BackendErrorTest, aRateLimitNamesTheTimeOfDayAlone) {
    Date until = dateFromSeconds(1769850300);
    BackendError error = BackendError::rateLimited(until);

    EXPECT_EQ(error.errorDescription(), "Rate limited until " + shortLocalTime(until) + ".");
    EXPECT_EQ(error.errorDescription().find("2026"), std::string::npos);
    EXPECT_NE(error.errorDescription().find(':'), std::string::npos);
}

TEST(BackendErrorTest, theDescriptionIsAlsoWhatTheExceptionSays) {
    BackendError error = BackendError::http(500);

    EXPECT_STREQ(error.what(), error.errorDescription().c_str());
    EXPECT_EQ(localizedDescription(std::make_exception_ptr(error)), error.errorDescription());
}

TEST(BackendErrorTest, errorsAreEqualWithTheSameCaseAndPayload) {
    EXPECT_EQ(BackendError::http(404), BackendError::http(404));
    EXPECT_FALSE(BackendError::http(404) == BackendError::http(403));
    EXPECT_FALSE(BackendError::http(404) == BackendError::notFound());
    EXPECT_EQ(BackendError::http(404).as<BackendError::HTTP>()->status, 404);
    EXPECT_EQ(BackendError::http(404).as<BackendError::NotFound>(), nullptr);
}

}  // namespace
}  // namespace marlet
