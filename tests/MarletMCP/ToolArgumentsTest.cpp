#include "MarletMCP/ToolArguments.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "MarletMCP/MCPTool.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

ToolArguments given(JSONValue value) {
    return ToolArguments({{"given", std::move(value)}});
}

std::string refusal(const std::function<void()>& read) {
    try {
        read();
    } catch (const MCPToolError& error) {
        return error.message();
    }
    return "nothing was refused";
}

// The values of every kind but the one under test.
std::vector<JSONValue> allBut(const std::string& kind) {
    std::vector<std::pair<std::string, JSONValue>> kinds = {
        {"text", "a"},
        {"boolean", true},
        {"number", 2.5},
        {"array", JSONValue::array({1})},
        {"object", JSONValue::object({{"a", "b"}})},
    };
    std::vector<JSONValue> values;
    for (auto& [name, value] : kinds) {
        if (name != kind) {
            values.push_back(value);
        }
    }
    return values;
}

}  // namespace

TEST(ToolArgumentsTest, anAbsentArgumentAndANullAreNoValue) {
    for (const ToolArguments& arguments : {ToolArguments({}), given(nullptr)}) {
        EXPECT_EQ(arguments.text("given"), std::nullopt);
        EXPECT_EQ(arguments.boolean("given"), std::nullopt);
        EXPECT_EQ(arguments.integer("given"), std::nullopt);
        EXPECT_EQ(arguments.uuid("given"), std::nullopt);
        EXPECT_EQ(arguments.texts("given"), std::nullopt);
    }
}

TEST(ToolArgumentsTest, aRequiredArgumentThatIsAbsentOrNullIsAskedFor) {
    for (const ToolArguments& arguments : {ToolArguments({}), given(nullptr)}) {
        EXPECT_EQ(refusal([&] { arguments.requiredText("given"); }), "given is required.");
        EXPECT_EQ(refusal([&] { arguments.requiredBoolean("given"); }), "given is required.");
        EXPECT_EQ(refusal([&] { arguments.requiredUUID("given"); }), "given is required.");
    }
}

TEST(ToolArgumentsTest, aValueOfAnotherKindIsRefusedByName) {
    for (const JSONValue& value : allBut("text")) {
        EXPECT_EQ(refusal([&] { given(value).text("given"); }), "given must be a string.") << value.data();
        EXPECT_EQ(refusal([&] { given(value).requiredText("given"); }), "given must be a string.") << value.data();
        EXPECT_EQ(refusal([&] { given(value).uuid("given"); }), "given must be a string.") << value.data();
        EXPECT_EQ(refusal([&] { given(value).date("given"); }), "given must be a date string or null.") << value.data();
    }
    for (const JSONValue& value : allBut("boolean")) {
        EXPECT_EQ(refusal([&] { given(value).boolean("given"); }), "given must be true or false.") << value.data();
    }
    for (const JSONValue& value : allBut("nothing")) {
        EXPECT_EQ(refusal([&] { given(value).integer("given"); }), "given must be an integer.") << value.data();
    }
    for (const JSONValue& value : allBut("array")) {
        EXPECT_EQ(refusal([&] { given(value).texts("given"); }), "given must be an array of strings.") << value.data();
    }
    for (const JSONValue& value : allBut("number")) {
        EXPECT_EQ(refusal([&] { given(value).estimate("given"); }), "given must be a number of at least 0, or null.")
            << value.data();
    }
}

TEST(ToolArgumentsTest, integersAreWholeNumbersThatFit) {
    EXPECT_EQ(given(3.0).integer("given"), 3);
    EXPECT_EQ(given(-7).integer("given"), -7);
    EXPECT_EQ(given(9007199254740991).integer("given"), 9007199254740991);
    EXPECT_EQ(refusal([] { given(2.5).integer("given"); }), "given must be an integer.");
    EXPECT_EQ(refusal([] { given(1e300).integer("given"); }), "given must be an integer.");
}

TEST(ToolArgumentsTest, aUUIDIsReadInAnyCaseAndNothingElseIsOne) {
    UUID id = UUID::random();
    EXPECT_EQ(given(id.text()).uuid("given"), id);
    EXPECT_EQ(given(id.lowercaseText()).requiredUUID("given"), id);
    EXPECT_EQ(refusal([] { given("abc").uuid("given"); }), "given \"abc\" isn't valid.");
    EXPECT_EQ(refusal([] { given("").requiredUUID("given"); }), "given \"\" isn't valid.");
    EXPECT_EQ(refusal([&] { given(id.text() + " ").uuid("given"); }), "given \"" + id.text() + " \" isn't valid.");
}

TEST(ToolArgumentsTest, aDateIsLeftRemovedOrSet) {
    EXPECT_EQ(ToolArguments({}).date("given"), std::nullopt);
    EXPECT_EQ(given(nullptr).date("given"), FieldChange<Date>(std::in_place));
    EXPECT_EQ(given("2026-01-31T09:05:00.5+01:00").date("given"), FieldChange<Date>(dateFromSeconds(1769846700.5)));
}

TEST(ToolArgumentsTest, aBareDayIsMidnightInTheComputersTimeZone) {
    TimeZone zone("EST5");
    EXPECT_EQ(given("2026-01-31").date("given"), FieldChange<Date>(parseISO8601("2026-01-31T05:00:00Z")));
}

TEST(ToolArgumentsTest, aTextThatIsNoDateIsRefusedWithTheFormsThatAre) {
    using namespace std::string_literals;
    for (const std::string& text : {"tomorrow"s, ""s, "2026-02-30"s, "2026-1-1"s, "2026-01-31T09:05:00"s,
                                    "2026-01-31 "s, "2026-01-31\0"s, "31.01.2026"s}) {
        EXPECT_EQ(refusal([&] { given(text).date("given"); }),
                  "given \"" + text + "\" must be YYYY-MM-DD or an RFC 3339 date-time.");
    }
}

TEST(ToolArgumentsTest, textsAreTrimmedAndTheEmptyOnesDropped) {
    EXPECT_EQ(given(JSONValue::array({" a ", "", "\n", "b c"})).texts("given"), std::vector<std::string>({"a", "b c"}));
    EXPECT_EQ(given(JSONValue::Array()).texts("given"), std::vector<std::string>());
    EXPECT_EQ(refusal([] {
                  given(JSONValue::array({"a", nullptr})).texts("given");
              }),
              "given must be an array of strings.");
}

TEST(ToolArgumentsTest, anEstimateIsLeftRemovedOrSetAndNeverNegative) {
    EXPECT_EQ(ToolArguments({}).estimate("given"), std::nullopt);
    EXPECT_EQ(given(nullptr).estimate("given"), FieldChange<double>(std::in_place));
    EXPECT_EQ(given(0).estimate("given"), FieldChange<double>(0.0));
    EXPECT_EQ(given(2.5).estimate("given"), FieldChange<double>(2.5));
    for (double number : {-0.5, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(refusal([&] { given(number).estimate("given"); }), "given must be a number of at least 0, or null.");
    }
}

}  // namespace marlet
