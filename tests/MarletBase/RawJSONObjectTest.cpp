#include "MarletBase/RawJSONObject.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

RawJSONObject object(std::string_view text) {
    std::optional<RawJSONObject> result = RawJSONObject::parse(text);
    EXPECT_TRUE(result) << text;
    return result.value_or(RawJSONObject());
}

TEST(RawJSONObjectTest, whatNobodyChangesGoesBackAsItCame) {
    const std::string text = R"({"big":12345678901234567890123,"f":1.10,"e":1E+2,"s":"a\u00e4\"}]","n":null,)"
                             R"("o":{"k":[1,{"x":"}"}]},"t":true})";

    EXPECT_EQ(object(text).text(), text);
}

TEST(RawJSONObjectTest, spaceBetweenMembersIsDropped) {
    EXPECT_EQ(object(" {\n \"a\" : 1 ,\t\"b\":[ 1, 2 ] }\r\n").text(), R"({"a":1,"b":[ 1, 2 ]})");
    EXPECT_EQ(object("{ }").text(), "{}");
}

TEST(RawJSONObjectTest, aMemberIsReplacedWhereItStands) {
    RawJSONObject task = object(R"({"title":"old","done":false,"id":7})");

    task.set("title", "new \"name\"");
    task.set("due_date", nullptr);

    EXPECT_EQ(task.text(), R"({"title":"new \"name\"","done":false,"id":7,"due_date":null})");
}

TEST(RawJSONObjectTest, aKeyThatStandsTwiceIsReplacedAsOne) {
    RawJSONObject task = object(R"({"a":1,"b":2,"a":3})");

    task.set("a", 4);

    EXPECT_EQ(task.text(), R"({"a":4,"b":2})");
}

TEST(RawJSONObjectTest, aKeyIsFoundHoweverItIsEscaped) {
    RawJSONObject task = object(R"({"t\u0069tle":1,"r":2})");

    task.remove("title");
    task.remove("nobody");

    EXPECT_EQ(task.text(), R"({"r":2})");
}

TEST(RawJSONObjectTest, itsMembersAreToldInOrderAlsoOnesThatStandTwice) {
    RawJSONObject task = object(R"({"b": [1, 2],"a":1e0,"b":null})");

    std::vector<std::pair<std::string, std::string>> told;
    for (const RawJSONObject::Member& member : task.members()) {
        told.emplace_back(member.key, member.text);
    }

    EXPECT_EQ(told, (std::vector<std::pair<std::string, std::string>>{{"b", "[1, 2]"}, {"a", "1e0"}, {"b", "null"}}));
}

TEST(RawJSONObjectTest, aMemberKeepsItsTextUntilItIsChanged) {
    RawJSONObject task = object(R"({"a": 1.10 ,"o":{"k" : 1e400}})");

    EXPECT_EQ(task.member("a"), "1.10");
    EXPECT_EQ(task.member("o"), R"({"k" : 1e400})");
    EXPECT_EQ(task.member("k"), std::nullopt);
    EXPECT_EQ(object(R"({"a":1,"a":2})").member("a"), "2");
}

TEST(RawJSONObjectTest, anObjectBecomesAMemberWithItsOwnText) {
    RawJSONObject outer = object(R"({"a":1,"b":2})");

    outer.set("a", object(R"({"n":1.10})"));
    outer.set("c", RawJSONObject());

    EXPECT_EQ(outer.text(), R"({"a":{"n":1.10},"b":2,"c":{}})");
}

TEST(RawJSONObjectTest, theTextForPeopleHasALineForEachValueAndItsKeysInOrder) {
    EXPECT_EQ(
        object(R"({"b":[1.10,[],{}, [ ] ,[2]],"\u0061":{"z":"}{][,:","y":null},"\"":true,"B":"\/ä"})").prettyText(),
        R"({
  "\"": true,
  "B": "\/ä",
  "a": {
    "y": null,
    "z": "}{][,:"
  },
  "b": [
    1.10,
    [],
    {},
    [],
    [
      2
    ]
  ]
})");
    EXPECT_EQ(object(" { } ").prettyText(), "{}");
}

TEST(RawJSONObjectTest, keysThatStandTwiceKeepTheirOrder) {
    std::string text = R"({"b":1)";
    std::string expected = "{";
    for (int value = 0; value < 100; ++value) {
        text += ",\"a\":" + std::to_string(value);
        expected += "\n  \"a\": " + std::to_string(value) + ",";
    }

    EXPECT_EQ(object(text + "}").prettyText(), expected + "\n  \"b\": 1\n}");
}

TEST(RawJSONObjectTest, whatIsNoObjectGivesNone) {
    for (std::string_view text : {"", "[]", "null", "{", "{\"a\":}", "<html>", "{} {}"}) {
        EXPECT_FALSE(RawJSONObject::parse(text)) << text;
    }
}

}  // namespace
}  // namespace marlet
