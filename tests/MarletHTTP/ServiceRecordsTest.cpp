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

// That the check finds nothing under such an id.
bool isRefused(void (*check)(std::string_view id), std::string_view id) {
    try {
        check(id);
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

TEST(ServiceRecordsTest, whatIsReadOnlyWhereItCanBeSpoilsNothingAroundIt) {
    using Records = std::vector<Readable<Record>>;

    auto records = JSONCoding::decode<Records>(R"([{"id":7,"title":"a"},{"id":"7","title":"b"},5,null])");

    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0].record->title, "a");
    EXPECT_FALSE(records[1].record || records[2].record || records[3].record);
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
        EXPECT_TRUE(isRefused(requirePathSegments, id)) << id;
    }
    for (std::string_view id : {"a", "owner/repo", "a/.github", "..."}) {
        EXPECT_FALSE(isRefused(requirePathSegments, id)) << id;
    }
}

TEST(ServiceRecordsTest, anIdThatIsANumberIsNothingElse) {
    for (std::string_view id : {"", "-1", "+1", " 1", "1 || true", "1/2", "٣", "local-1"}) {
        EXPECT_TRUE(isRefused(requireNumber, id)) << id;
    }
    for (std::string_view id : {"0", "7", "9223372036854775807"}) {
        EXPECT_FALSE(isRefused(requireNumber, id)) << id;
    }
}

}  // namespace
}  // namespace marlet
