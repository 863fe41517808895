#include "MarletBase/Coding.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

struct Sample {
    int64_t count = 0;
    std::optional<double> ratio;
    std::vector<std::string> names;
};
BOOST_DESCRIBE_STRUCT(Sample, (), (count, ratio, names))

TEST(CodingTest, wholeNumbersAreTakenAlsoWhenTheyAreWrittenAsFloats) {
    EXPECT_EQ(decoded<Sample>(parseJSON(R"({"count": 3.0, "names": []})")).count, 3);
    EXPECT_EQ(decoded<Sample>(parseJSON(R"({"count": 9007199254740993, "names": []})")).count, 9007199254740993);
    EXPECT_THROW(decoded<Sample>(parseJSON(R"({"count": 3.5, "names": []})")), DecodingError);
    EXPECT_THROW(decoded<Sample>(parseJSON(R"({"count": 1e19, "names": []})")), DecodingError);
    EXPECT_THROW(decoded<Sample>(parseJSON(R"({"count": 18446744073709551615, "names": []})")), DecodingError);
}

TEST(CodingTest, anElementOfAListIsNamedByItsPlace) {
    try {
        decoded<Sample>(parseJSON(R"({"count": 1, "names": ["a", null]})"));
        FAIL();
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.errorDescription(), "The data can't be read: \"names.1\" isn't a text.");
    }
}

TEST(CodingTest, bytesThatArentJSONAreRefused) {
    for (const char* bytes : {"", "{", "<html>", "{} x", "\xff"}) {
        EXPECT_THROW(parseJSON(bytes), DecodingError) << bytes;
    }
}

TEST(CodingTest, nestingIsBounded) {
    EXPECT_NO_THROW(parseJSON(std::string(100, '[') + std::string(100, ']')));
    EXPECT_THROW(parseJSON(std::string(100'000, '[') + std::string(100'000, ']')), DecodingError);
}

TEST(CodingTest, sortedJSONOrdersKeysAtEveryLevelAndLeavesSlashesAlone) {
    EXPECT_EQ(sortedJSON(parseJSON(R"({"b": [{"z": 1, "a": "x/y"}], "a": null})")),
              R"({"a":null,"b":[{"a":"x/y","z":1}]})");
}

TEST(CodingTest, datesReadFromNumbersAndTexts) {
    Date date;
    decode(parseJSON("1769850300.25"), date, DecodingPath{});
    EXPECT_EQ(date, dateFromSeconds(1769850300.25));
    decode(parseJSON("\"2026-01-31T09:05:00Z\""), date, DecodingPath{});
    EXPECT_EQ(date, dateFromSeconds(1769850300));
    EXPECT_THROW(decode(parseJSON("\"soon\""), date, DecodingPath{}), DecodingError);
}

}  // namespace
}  // namespace marlet
