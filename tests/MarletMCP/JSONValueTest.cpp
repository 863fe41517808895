#include "MarletMCP/JSONValue.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace marlet {
namespace {

JSONValue roundTrip(const JSONValue& value) {
    return JSONValue::decode(value.data());
}

TEST(JSONValueTest, everyKindOfLiteralBecomesItsCase) {
    EXPECT_TRUE(JSONValue().isNull());
    EXPECT_TRUE(JSONValue(nullptr).isNull());
    EXPECT_EQ(JSONValue(true).boolValue(), true);
    EXPECT_EQ(JSONValue(7).intValue(), 7);
    EXPECT_EQ(JSONValue(2.5).numberValue(), 2.5);
    EXPECT_EQ(*JSONValue("a").stringValue(), "a");
    EXPECT_EQ(JSONValue::array({1, "b"}).arrayValue()->size(), 2u);
    EXPECT_EQ(*JSONValue::object({{"a", "b"}, {"c", "d"}}).objectValue()->at("c").stringValue(), "d");
    EXPECT_TRUE(JSONValue::object({}).objectValue()->empty());
    EXPECT_TRUE(JSONValue::array({}).arrayValue()->empty());
}

TEST(JSONValueTest, anAbsentOptionalIsNullAndAPresentOneItsText) {
    EXPECT_TRUE(JSONValue(std::optional<std::string>()).isNull());
    EXPECT_EQ(*JSONValue(std::optional<std::string>("x")).stringValue(), "x");
    EXPECT_TRUE(JSONValue(std::optional<Date>()).isNull());
    EXPECT_EQ(*JSONValue(std::optional(dateFromSeconds(1'800'000'000.75))).stringValue(), "2027-01-15T08:00:00Z");
    EXPECT_EQ(JSONValue(std::vector<std::string>{"a", "b"}), JSONValue::array({"a", "b"}));
}

TEST(JSONValueTest, aPayloadIsOnlyGivenForItsOwnCase) {
    JSONValue text("7");

    EXPECT_EQ(text.intValue(), std::nullopt);
    EXPECT_EQ(text.boolValue(), std::nullopt);
    EXPECT_EQ(text.arrayValue(), nullptr);
    EXPECT_EQ(text.objectValue(), nullptr);
    EXPECT_EQ(JSONValue(1).boolValue(), std::nullopt);
    EXPECT_EQ(JSONValue(true).numberValue(), std::nullopt);
    EXPECT_EQ(JSONValue(0).stringValue(), nullptr);
    EXPECT_FALSE(JSONValue(false).isNull());
}

TEST(JSONValueTest, onlyAWholeNumberThatFitsHasAnIntegerValue) {
    EXPECT_EQ(JSONValue(3.0).intValue(), 3);
    EXPECT_EQ(JSONValue(-0.0).intValue(), 0);
    EXPECT_EQ(JSONValue(3.5).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(-9223372036854775808.0).intValue(), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(JSONValue(9223372036854775808.0).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(1e300).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(std::numeric_limits<double>::quiet_NaN()).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(std::numeric_limits<double>::infinity()).intValue(), std::nullopt);
}

TEST(JSONValueTest, theSubscriptGivesTheMemberOfAnObjectAndNothingElse) {
    JSONValue value = JSONValue::object({{"a", nullptr}});

    ASSERT_NE(value["a"], nullptr);
    EXPECT_TRUE(value["a"]->isNull());
    EXPECT_EQ(value["b"], nullptr);
    EXPECT_EQ(JSONValue::array({1})["a"], nullptr);
}

TEST(JSONValueTest, numbersAreWrittenAsIntegersOnlyBelowTwoToThe53rd) {
    const std::vector<std::pair<double, std::string>> table = {
        {3.0, "3"},
        {-0.0, "0"},
        {3.5, "3.5"},
        {-2.25, "-2.25"},
        {0.1, "0.1"},
        {9007199254740991.0, "9007199254740991"},
        {-9007199254740991.0, "-9007199254740991"},
        {9007199254740992.0, "9007199254740992.0"},
        {-9007199254740992.0, "-9007199254740992.0"},
        {1e300, "1e+300"},
        {5e-324, "5e-324"},
    };
    for (const auto& [number, text] : table) {
        EXPECT_EQ(JSONValue(number).data(), text);
        EXPECT_EQ(JSONValue::decode(text).numberValue(), number);
    }
}

TEST(JSONValueTest, aNumberThatIsNotFiniteIsRefused) {
    EXPECT_THROW(JSONValue(std::numeric_limits<double>::infinity()).data(), JSONError);
    EXPECT_THROW(JSONValue::array({std::numeric_limits<double>::quiet_NaN()}).data(), JSONError);
}

TEST(JSONValueTest, keysAreSortedAndSlashesStayAsTheyAre) {
    JSONValue value = JSONValue::object({{"z", 1}, {"a/b", "c/d"}, {"m", JSONValue::array({true, nullptr})}});

    EXPECT_EQ(value.data(), R"({"a/b":"c/d","m":[true,null],"z":1})");
}

TEST(JSONValueTest, thePrettyFormHasOneMemberPerLine) {
    JSONValue value = JSONValue::object(
        {{"b", JSONValue::array({1, JSONValue::object({})})}, {"a", JSONValue::array({})}, {"c", "x"}});

    EXPECT_EQ(value.data(true), "{\n  \"a\": [],\n  \"b\": [\n    1,\n    {}\n  ],\n  \"c\": \"x\"\n}");
}

TEST(JSONValueTest, controlCharactersAndQuotesAreEscaped) {
    EXPECT_EQ(JSONValue(std::string("a\"b\\c\n\r\t\0\x1f", 10)).data(), R"("a\"b\\c\n\r\t\u0000\u001f")");
    EXPECT_EQ(JSONValue("grün 日本 😀").data(), "\"grün 日本 😀\"");
}

TEST(JSONValueTest, bytesThatAreNotUTF8AreRepairedWhenWritten) {
    EXPECT_EQ(JSONValue("a\xff"
                        "b")
                  .data(),
              "\"a\xEF\xBF\xBD"
              "b\"");
    EXPECT_EQ(JSONValue::object({{"k\xc3", 1}}).data(), "{\"k\xEF\xBF\xBD\":1}");
}

TEST(JSONValueTest, whatIsNotOneJSONTextIsRefused) {
    const std::vector<std::string> table = {
        "",
        " ",
        "{",
        "[1,]",
        "{\"a\":}",
        "{a:1}",
        "nul",
        "NaN",
        "Infinity",
        "-",
        "01",
        "+1",
        "1.",
        ".5",
        "1e",
        "\"a",
        "\"\\x\"",
        "\"a\nb\"",
        "[1] [2]",
        "1 x",
        "// c\n1",
        "'a'",
        "\"\xff\"",
        "\"\\ud800\"",
        "1e400",
        "-1e400",
        "\357\273\2771",  // a byte order mark
        "[1 2]",
        "{\"a\" 1}",
        "tru",
    };
    for (const std::string& text : table) {
        EXPECT_THROW(JSONValue::decode(text), JSONError) << text;
    }
    EXPECT_THROW(JSONValue::decode(std::string_view("1\0", 2)), JSONError);
}

TEST(JSONValueTest, anErrorSaysWhereTheTextBreaks) {
    try {
        JSONValue::decode("[1, x]");
        FAIL() << "was read";
    } catch (const JSONError& error) {
        EXPECT_TRUE(error.errorDescription().starts_with("The text isn't JSON: "));
        EXPECT_TRUE(error.errorDescription().ends_with(" at byte 4.")) << error.errorDescription();
    }
}

TEST(JSONValueTest, nestingIsReadDownToItsLimitAndNoDeeper) {
    auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };

    EXPECT_EQ(JSONValue::decode(nested(JSONValue::maximalDepth)).data(), nested(JSONValue::maximalDepth));
    EXPECT_THROW(JSONValue::decode(nested(JSONValue::maximalDepth + 1)), JSONError);
    EXPECT_THROW(JSONValue::decode(nested(1'000'000)), JSONError);
}

TEST(JSONValueTest, theLastOfTwoMembersWithTheSameKeyStays) {
    EXPECT_EQ(JSONValue::decode(R"({"a":1,"b":2,"a":[3]})"),
              JSONValue::object({{"a", JSONValue::array({3})}, {"b", 2}}));
}

TEST(JSONValueTest, numbersBeyondTheExactIntegersBecomeTheNearestDouble) {
    EXPECT_EQ(JSONValue::decode("9007199254740993").numberValue(), 9007199254740992.0);
    EXPECT_EQ(JSONValue::decode("9223372036854775807").numberValue(), 9223372036854775808.0);
    EXPECT_EQ(JSONValue::decode("18446744073709551615").numberValue(), 18446744073709551616.0);
    EXPECT_EQ(JSONValue::decode("123456789012345678901234567890").numberValue(), 123456789012345678901234567890.0);
    EXPECT_EQ(JSONValue::decode("0.30000000000000004").numberValue(), 0.30000000000000004);
    EXPECT_EQ(JSONValue::decode("1e-400").numberValue(), 0.0);
    EXPECT_EQ(JSONValue::decode("1e3").intValue(), 1000);
}

TEST(JSONValueTest, everyDoubleReadsBackExactly) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 20'000; ++round) {
        auto number = std::bit_cast<double>(random());
        if (std::isfinite(number)) {
            ASSERT_EQ(roundTrip(number).numberValue(), number);
        }
    }
}

TEST(JSONValueTest, escapesAreReadIncludingSurrogatePairsAndNUL) {
    EXPECT_EQ(*JSONValue::decode(R"("\ud83d\ude00\u00e9\/\b")").stringValue(), "😀é/\b");
    EXPECT_EQ(*JSONValue::decode(R"("a\u0000b")").stringValue(), std::string("a\0b", 3));
}

TEST(JSONValueTest, equalValuesHashAlikeAndDifferentOnesDiffer) {
    std::hash<JSONValue> hash;
    JSONValue left = JSONValue::decode(R"({"a":[1,true,null,"x"],"b":-0.0})");
    JSONValue right = JSONValue::decode(R"({"b":0,"a":[1.0,true,null,"x"]})");

    EXPECT_EQ(left, right);
    EXPECT_EQ(hash(left), hash(right));
    EXPECT_NE(JSONValue(1), JSONValue(true));
    EXPECT_NE(JSONValue("1"), JSONValue(1));
    EXPECT_NE(hash(JSONValue::array({1, 2})), hash(JSONValue::array({2, 1})));
    EXPECT_NE(JSONValue(), JSONValue::object({}));
}

}  // namespace
}  // namespace marlet
