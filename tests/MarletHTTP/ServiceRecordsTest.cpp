#include "MarletHTTP/ServiceRecords.h"

#include <gtest/gtest.h>

#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

struct Identity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(Identity, (), (id))

struct Record {
    int64_t id = 0;
    std::string title;
};
BOOST_DESCRIBE_STRUCT(Record, (), (id, title))

bool leadsElsewhere(std::string_view id) {
    try {
        requirePathSegments(id);
        return false;
    } catch (const BackendError& error) {
        return error == BackendError::notFound();
    }
}

TEST(ServiceRecordsTest, aCreatedThingOfWhichOnlyTheIdentityCanBeReadIsASuccess) {
    using CreatedRecord = Created<Identity, Record>;

    auto whole = JSONCoding::decode<CreatedRecord>(R"({"id":7,"title":"a"})");
    auto odd = JSONCoding::decode<CreatedRecord>(R"({"id":7,"title":null})");

    EXPECT_EQ(whole.record->title, "a");
    EXPECT_EQ(odd.identity.id, 7);
    EXPECT_FALSE(odd.record);
    EXPECT_THROW(JSONCoding::decode<CreatedRecord>(R"({"title":"a"})"), DecodingError);
}

TEST(ServiceRecordsTest, coloursLoseTheirMarkAndTheirCase) {
    EXPECT_EQ(colorHex("#D73A4A"), "d73a4a");
    EXPECT_EQ(colorHex("##aB#"), "ab");
    EXPECT_EQ(colorHex("#"), std::nullopt);
    EXPECT_EQ(colorHex(""), std::nullopt);
    EXPECT_EQ(colorHex(std::nullopt), std::nullopt);
}

TEST(ServiceRecordsTest, aBrokenAddressIsNone) {
    EXPECT_EQ(url(WebAddress("https://x.test/a"))->text(), "https://x.test/a");
    EXPECT_FALSE(url(WebAddress("")));
    EXPECT_FALSE(url(std::nullopt));
}

TEST(ServiceRecordsTest, labelsAreComparedAsSets) {
    std::vector<TaskLabel> labels{{"a", "ff0000"}, {"b", std::nullopt}};

    EXPECT_TRUE(haveSameNames(labels, {{"b", std::nullopt}, {"a", std::nullopt}, {"a", std::nullopt}}));
    EXPECT_FALSE(haveSameNames(labels, {{"a", std::nullopt}}));
    EXPECT_FALSE(haveSameNames(labels, {{"A", std::nullopt}, {"b", std::nullopt}}));
    EXPECT_EQ(labelNames(labels), (std::vector<std::string>{"a", "b"}));
}

TEST(ServiceRecordsTest, onlyRefusalsCountAsDenied) {
    EXPECT_TRUE(isDenied(BackendError::notFound()));
    EXPECT_TRUE(isDenied(BackendError::rejected("no")));
    EXPECT_TRUE(isDenied(BackendError::http(403)));
    EXPECT_FALSE(isDenied(BackendError::http(500)));
    EXPECT_FALSE(isDenied(BackendError::unauthorized()));
    EXPECT_FALSE(isDenied(BackendError::rateLimited(std::nullopt)));
}

TEST(ServiceRecordsTest, anIdNeverLeadsOutOfItsPath) {
    for (std::string_view id : {"", "..", "a/../b", "a//b", "/a", "a/", "."}) {
        EXPECT_TRUE(leadsElsewhere(id)) << id;
    }
    for (std::string_view id : {"a", "owner/repo", "a/.github", "..."}) {
        EXPECT_FALSE(leadsElsewhere(id)) << id;
    }
}

}  // namespace
}  // namespace marlet
