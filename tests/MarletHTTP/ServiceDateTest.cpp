#include <gtest/gtest.h>

#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

constexpr double moment = 1773480413;  // 2026-03-14T09:26:53Z

std::optional<double> seconds(std::string_view text) {
    std::optional<Date> date = JSONCoding::parseDate(text);
    return date ? std::optional(secondsSince1970(*date)) : std::nullopt;
}

struct Dated {
    std::optional<Date> dueDate;
};
BOOST_DESCRIBE_STRUCT(Dated, (), (dueDate))

struct DayText {
    std::optional<std::string> dueDate;
};
BOOST_DESCRIBE_STRUCT(DayText, (), (dueDate))

TEST(ServiceDateTest, bothFormsGiveTheSameMoment) {
    EXPECT_EQ(seconds("2026-03-14T09:26:53Z"), moment);
    EXPECT_EQ(seconds("2026-03-14T09:26:53.000Z"), moment);
    EXPECT_EQ(seconds("2026-03-14T09:26:53.000+0000"), moment);
}

TEST(ServiceDateTest, anyZoneIsReadWithOrWithoutItsColon) {
    EXPECT_EQ(seconds("2026-03-14T09:26:53+01:00"), moment - 3600);
    EXPECT_EQ(seconds("2026-03-14T09:26:53+0100"), moment - 3600);
    EXPECT_EQ(seconds("2026-03-14T09:26:53-03:30"), moment + 12600);
    EXPECT_EQ(seconds("2026-03-14T09:26:53.000-0330"), moment + 12600);
    EXPECT_EQ(seconds("2026-03-14T09:26:53.000+01:00"), moment - 3600);
}

TEST(ServiceDateTest, aFractionMayHaveOneToNineDigits) {
    EXPECT_EQ(seconds("2026-03-14T09:26:53.5Z"), moment + 0.5);
    EXPECT_EQ(seconds("2026-03-14T09:26:53.25+0100"), moment - 3600 + 0.25);
    EXPECT_NEAR(seconds("2026-03-14T09:26:53.589Z").value(), moment + 0.589, 1e-6);
    EXPECT_NEAR(seconds("2026-03-14T09:26:53.123456789Z").value(), moment + 0.123456789, 1e-6);
}

TEST(ServiceDateTest, withAFractionTheZoneMayBeLeftOutAndWithoutOneItMayNot) {
    EXPECT_EQ(seconds("2026-03-14T09:26:53.500"), moment + 0.5);
    EXPECT_EQ(seconds("2026-03-14T09:26:53"), std::nullopt);
}

TEST(ServiceDateTest, theEmptyDateOfAServiceIsADateInAnyZone) {
    EXPECT_EQ(seconds("0001-01-01T00:00:00Z"), -62135596800.0);
    EXPECT_EQ(seconds("0001-01-01T00:00:00+01:00"), -62135596800.0 - 3600);
}

TEST(ServiceDateTest, everythingElseGivesNothing) {
    for (const char* text : {"",
                             "2026-03-14",
                             "2026-03-14T",
                             "2026-03-14 09:26:53Z",
                             "2026-03-14t09:26:53Z",
                             "2026-03-14T09:26Z",
                             "20260314T092653Z",
                             "2026-02-30T09:26:53Z",
                             "2026-03-14T24:00:00Z",
                             "2026-03-14T09:60:00Z",
                             "2026-03-14T09:26:53.Z",
                             "2026-03-14T09:26:53.5X",
                             "2026-03-14T09:26:53Z ",
                             " 2026-03-14T09:26:53Z",
                             "2026-03-14T09:26:53ZZ",
                             "2026-03-14T09:26:53+1:00",
                             "2026-03-14T09:26:53+24:00",
                             "1773480413",
                             "soon",
                             "2026-03-14T09:26:53,5Z",
                             "+2026-03-14T09:26:53Z"}) {
        EXPECT_EQ(seconds(text), std::nullopt) << text;
    }
}

TEST(ServiceDateTest, aDateOfAnUnknownFormFailsTheWholeDecodeWithItsText) {
    for (const char* text : {"2026-03-14", "", "soon"}) {
        try {
            JSONCoding::decode<std::vector<Dated>>(R"([{"due_date":null},{"due_date":")" + std::string(text) + "\"}]");
            ADD_FAILURE() << text;
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.errorDescription(), "Invalid date: " + std::string(text));
            EXPECT_EQ(error.path(), "1.due_date");
        }
    }
}

TEST(ServiceDateTest, aNumberIsNoDateOfAService) {
    EXPECT_THROW(JSONCoding::decode<Dated>(R"({"due_date":1773480413})"), DecodingError);
    EXPECT_THROW(JSONCoding::decode<Dated>(R"({"due_date":"1773480413s"})"), DecodingError);
}

TEST(ServiceDateTest, aBareDayIsReadByARecordThatTakesItAsText) {
    EXPECT_EQ(JSONCoding::decode<DayText>(R"({"due_date":"2026-03-14"})").dueDate, "2026-03-14");
}

TEST(ServiceDateTest, datesAreWrittenInUTCWithoutAFraction) {
    EXPECT_EQ(JSONCoding::encode(Dated{dateFromSeconds(moment + 0.999)}), R"({"due_date":"2026-03-14T09:26:53Z"})");
}

}  // namespace
}  // namespace marlet
