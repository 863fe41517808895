#include "MarletBase/Date.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(DateTest, readsFractionsAndZones) {
    EXPECT_EQ(parseISO8601("2026-01-31T09:05:00Z"), dateFromSeconds(1769850300));
    EXPECT_EQ(parseISO8601("2026-01-31T10:05:00.250+01:00"), dateFromSeconds(1769850300.25));
    EXPECT_EQ(parseISO8601("2026-01-31T05:35:00-0330"), dateFromSeconds(1769850300));
}

TEST(DateTest, refusesWhatIsNoDateTime) {
    for (const char* text : {"", "2026-01-31", "2026-02-30T00:00:00Z", "2026-01-31T25:00:00Z", "2026-01-31T09:05:00",
                             "2026-01-31T09:05:00.Z", "2026-01-31T09:05:00Zx"}) {
        EXPECT_FALSE(parseISO8601(text)) << text;
    }
}

TEST(DateTest, printsWholeSecondsInUTC) {
    EXPECT_EQ(iso8601(dateFromSeconds(1769850300.75)), "2026-01-31T09:05:00Z");
    EXPECT_EQ(iso8601(dateFromSeconds(-0.5)), "1969-12-31T23:59:59Z");
}

}  // namespace
}  // namespace marlet
