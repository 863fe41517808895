#include "MarletBase/Date.h"

#include <gtest/gtest.h>

#include "TestSupport/TimeZone.h"

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

Date utc(const char* text) {
    return parseISO8601(text).value();
}

TEST(LocalDayTest, aDayBeginsWhenItDoesInTheComputersZone) {
    TimeZone tokyo("Asia/Tokyo");
    EXPECT_EQ(parseLocalDay("2026-03-20"), utc("2026-03-19T15:00:00Z"));
    TimeZone denver("America/Denver");
    EXPECT_EQ(parseLocalDay("2026-03-20"), utc("2026-03-20T06:00:00Z"));
    TimeZone nowhere("UTC");
    EXPECT_EQ(parseLocalDay("2026-03-20"), utc("2026-03-20T00:00:00Z"));
}

TEST(LocalDayTest, aDateFallsOnTheDayOfTheComputersZone) {
    TimeZone tokyo("Asia/Tokyo");
    EXPECT_EQ(localDay(utc("2026-03-19T14:59:59Z")), "2026-03-19");
    EXPECT_EQ(localDay(utc("2026-03-19T15:00:00Z")), "2026-03-20");
    TimeZone denver("America/Denver");
    EXPECT_EQ(localDay(utc("2026-03-20T05:59:59Z") + 0.9), "2026-03-19");
    EXPECT_EQ(localDay(utc("2026-03-20T06:00:00Z")), "2026-03-20");
}

TEST(LocalDayTest, datesBefore1970HaveTheirDay) {
    TimeZone denver("America/Denver");
    EXPECT_EQ(parseLocalDay("1969-12-31"), utc("1969-12-31T07:00:00Z"));
    EXPECT_EQ(localDay(utc("1969-12-31T07:00:00Z") - 0.5), "1969-12-30");
    EXPECT_EQ(localDay(dateFromSeconds(-1)), "1969-12-31");
}

TEST(LocalDayTest, aDayWithoutAMidnightBeginsLater) {
    TimeZone saoPaulo("America/Sao_Paulo");
    EXPECT_EQ(parseLocalDay("2018-11-04"), utc("2018-11-04T03:00:00Z"));
    TimeZone cairo("Africa/Cairo");
    EXPECT_EQ(parseLocalDay("2010-04-30"), utc("2010-04-29T22:00:00Z"));
}

TEST(LocalDayTest, aDayWithTwoMidnightsBeginsAtTheFirst) {
    TimeZone havana("America/Havana");
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_EQ(parseLocalDay("2025-11-02"), utc("2025-11-02T04:00:00Z"));
        parseLocalDay(attempt == 0 ? "2025-07-01" : "2025-12-01");
    }
    TimeZone saoPaulo("America/Sao_Paulo");
    EXPECT_EQ(parseLocalDay("2018-02-18"), utc("2018-02-18T03:00:00Z"));
}

TEST(LocalDayTest, everyDayOfAYearSurvivesTheRoundTrip) {
    struct Year {
        const char* zone;
        int year;
    };
    for (const Year& tested : {Year{"America/Sao_Paulo", 2018}, Year{"Africa/Cairo", 2010}, Year{"Africa/Cairo", 2024},
                               Year{"America/Havana", 2025}, Year{"Asia/Beirut", 2022}, Year{"Asia/Tehran", 2021},
                               Year{"Pacific/Kiritimati", 2026}, Year{"Pacific/Pago_Pago", 2026},
                               Year{"Australia/Lord_Howe", 2026}, Year{"Asia/Kathmandu", 1986}, Year{"UTC", 2024}}) {
        TimeZone zone(tested.zone);
        std::chrono::sys_days first = std::chrono::year(tested.year) / 1 / 1;
        for (std::chrono::sys_days day = first; day < first + std::chrono::days(365); day += std::chrono::days(1)) {
            std::string text = iso8601(day).substr(0, 10);
            std::optional<Date> begins = parseLocalDay(text);
            ASSERT_TRUE(begins) << text;
            EXPECT_EQ(localDay(*begins), text) << tested.zone;
            EXPECT_LT(localDay(*begins - 1), text) << tested.zone;
        }
    }
}

TEST(LocalDayTest, nothingButADayIsADay) {
    for (const char* text : {"", "2026-02-30", "2026-13-01", "2026-00-10", "2026-1-31", "2026-01-31T00:00:00Z",
                             "2026-01-31 ", "someday"}) {
        EXPECT_FALSE(parseLocalDay(text)) << text;
    }
}

}  // namespace
}  // namespace marlet
