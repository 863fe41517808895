#include <gtest/gtest.h>

#include <boost/container_hash/hash.hpp>

#include "MarletBase/Coding.h"
#include "MarletCore/Account.h"
#include "MarletCore/TaskItem.h"

namespace marlet {
namespace {

TaskItem fullTask() {
    TaskItem item;
    item.id = "7";
    item.projectID = "a/b";
    item.kind = TaskKind::pullRequest;
    item.title = "Gießen der Bohnen 🌱";
    item.notes = "line\n\"quoted\"";
    item.isCompleted = true;
    item.createdAt = dateFromSeconds(1769850300);
    item.updatedAt = dateFromSeconds(1769850301.125);
    item.priority = -3;
    item.labels = {{"bug", "ff0000"}, {"später", std::nullopt}};
    item.assignees = {{"1", "ada", "Ada", URL::parse("https://h/a.png")}};
    item.milestone = Milestone{"m", "v1", dateFromSeconds(1769850300.5), true};
    item.parent = TaskParent{"a/c#1", "Parent"};
    item.estimate = 2.5;
    item.webURL = URL::parse("https://h/a/b/7");
    return item;
}

TEST(RecordCodingTest, aTaskReadsBackAsItWasWritten) {
    TaskItem item = fullTask();
    EXPECT_EQ(decoded<TaskItem>(encode(item, DateCoding::seconds)), item);
}

TEST(RecordCodingTest, keysAreTheFieldNamesAndAbsentOnesAreLeftOut) {
    boost::json::value json = encode(TaskItem{.id = "1", .projectID = "p"}, DateCoding::iso8601);
    EXPECT_EQ(sortedJSON(json),
              R"({"assignees":[],"canChangeParent":true,"canHaveChildren":false,"id":"1","isCompleted":false,)"
              R"("kind":"task","labels":[],"notes":"","projectID":"p","title":""})");
}

TEST(RecordCodingTest, datesAreISO8601WhereAPersonOrServiceReadsThem) {
    boost::json::value json = encode(Milestone{"m", "v1", dateFromSeconds(1769850300.5), false}, DateCoding::iso8601);
    EXPECT_EQ(json.at("dueDate").as_string(), "2026-01-31T09:05:00Z");
}

TEST(RecordCodingTest, unknownMembersArePassedOverAndNullsReadAsAbsent) {
    auto label = decoded<TaskLabel>(parseJSON(R"({"name": "bug", "colorHex": null, "node_id": [1, {}]})"));
    EXPECT_EQ(label, (TaskLabel{"bug", std::nullopt}));
}

TEST(RecordCodingTest, aMissingOrWrongMemberIsNamedByItsPath) {
    const std::vector<std::pair<const char*, const char*>> rows{
        {R"({"id": "1"})", "The data can't be read: \"title\" is missing."},
        {R"({"id": 1, "title": ""})", "The data can't be read: \"id\" isn't a text."},
        {R"([])", "The data can't be read: it isn't an object."},
    };
    for (const auto& [json, message] : rows) {
        try {
            decoded<TaskParent>(parseJSON(json));
            ADD_FAILURE() << json;
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.errorDescription(), message);
        }
    }
}

TEST(RecordCodingTest, everyRequiredFieldOfATaskIsRequired) {
    boost::json::value complete = encode(fullTask(), DateCoding::seconds);
    for (const char* key : {"id", "projectID", "kind", "title", "notes", "isCompleted", "labels", "assignees",
                            "canHaveChildren", "canChangeParent"}) {
        boost::json::value json = complete;
        json.as_object().erase(key);
        EXPECT_THROW(decoded<TaskItem>(json), DecodingError) << key;
    }
    for (const char* key : {"createdAt", "updatedAt", "dueDate", "priority", "milestone", "parent", "typeName",
                            "status", "estimate", "webURL"}) {
        boost::json::value json = complete;
        json.as_object().erase(key);
        EXPECT_NO_THROW(decoded<TaskItem>(json)) << key;
    }
}

TEST(RecordCodingTest, recordsAreHashable) {
    TaskItem item = fullTask();
    TaskItem other = item;
    EXPECT_EQ(boost::hash<TaskLabel>()(item.labels[0]), boost::hash<TaskLabel>()(other.labels[0]));
    EXPECT_NE(boost::hash<TaskLabel>()(item.labels[0]), boost::hash<TaskLabel>()(item.labels[1]));
    EXPECT_EQ(std::hash<UUID>()(UUID{}), std::hash<UUID>()(UUID{}));
}

TEST(RecordCodingTest, keysJoinTheAccountTheProjectAndTheTask) {
    UUID account = *UUID::parse("0d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a11");
    EXPECT_EQ(projectKey(account, "a/b"), "0D9E9F84-94BB-4A0C-8A3D-2F0E3C8F6A11|a/b");
    EXPECT_EQ(taskKey(account, "a/b", "7"), "0D9E9F84-94BB-4A0C-8A3D-2F0E3C8F6A11|a/b|7");
}

}  // namespace
}  // namespace marlet
