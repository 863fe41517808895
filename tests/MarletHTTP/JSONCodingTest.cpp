#include "MarletHTTP/JSONCoding.h"

#include <gtest/gtest.h>

#include <limits>

namespace marlet {
namespace {

struct Person {
    int64_t id = 0;
    std::string login;
    std::optional<std::string> fullName;
    std::optional<URL> avatarUrl;

    bool operator==(const Person&) const = default;
};
BOOST_DESCRIBE_STRUCT(Person, (), (id, login, fullName, avatarUrl))

struct Issue {
    int64_t number = 0;
    std::string title;
    std::optional<std::string> body;
    std::optional<Date> createdAt;
    std::optional<std::vector<Person>> assignees;
    std::optional<double> storyPoints;

    bool operator==(const Issue&) const = default;
};
BOOST_DESCRIBE_STRUCT(Issue, (), (number, title, body, createdAt, assignees, storyPoints))

// What a service of other names is read into.
struct Foreign {
    std::string typeName;
    bool isSubtask = false;
    std::optional<Date> dueDate;
};
BOOST_DESCRIBE_STRUCT(Foreign, (), (typeName, isSubtask, dueDate))
constexpr std::array<KeyName, 2> keyNames(const Foreign*) {
    return {{{"typeName", "issuetype"}, {"isSubtask", "Sub_Task"}}};
}

struct Renamed {
    std::string URLOfPage;
    std::string pageURL;
    std::string httpUrlToRepo;
    std::string dueAt2;
    std::string x;
};
BOOST_DESCRIBE_STRUCT(Renamed, (), (URLOfPage, pageURL, httpUrlToRepo, dueAt2, x))

// A type with a form of its own: names or numbers in a bare list.
struct References {
    std::vector<std::string> names;
    std::vector<int64_t> ids;
};
boost::json::value encode(const References& references, const CodingStyle& style) {
    return references.names.empty() ? encode(references.ids, style) : encode(references.names, style);
}
struct Label {
    std::string name;
};
void decode(const boost::json::value& json, Label& label, const DecodingPath& path) {
    if (path.style.keys == KeyCoding::snakeCase && json.is_object()) {
        decode(json.at("name"), label.name, DecodingPath{&path, "name"});
    } else {
        decode(json, label.name, path);
    }
}
struct Sent {
    References labelIds;
};
BOOST_DESCRIBE_STRUCT(Sent, (), (labelIds))
struct Read {
    std::optional<std::vector<Label>> newLabels;
};
BOOST_DESCRIBE_STRUCT(Read, (), (newLabels))

TEST(JSONCodingTest, recordsAreWrittenInTheirOrderInSnakeCaseAndWithoutWhatIsAbsent) {
    Issue issue{7, "Prune", std::nullopt, dateFromSeconds(1773480413.75), {{{1, "mira", "Mira Ö", {}}}}, 0.5};

    EXPECT_EQ(JSONCoding::encode(issue),
              R"({"number":7,"title":"Prune","created_at":"2026-03-14T09:26:53Z",)"
              R"("assignees":[{"id":1,"login":"mira","full_name":"Mira Ö"}],"story_points":5E-1})");
}

TEST(JSONCodingTest, theKeysOfAMapAreDataAndStay) {
    std::map<std::string, std::vector<std::string>> map{{"dueDate", {"a"}}, {"due_date", {}}};

    EXPECT_EQ(JSONCoding::encode(map), R"({"dueDate":["a"],"due_date":[]})");
    EXPECT_EQ((JSONCoding::decode<decltype(map)>(R"({"dueDate":["a"],"due_date":[]})")), map);
}

TEST(JSONCodingTest, anUpperCaseLetterStartsAWordAndARunOfThemIsOne) {
    EXPECT_EQ(JSONCoding::encode(Renamed{}),
              R"({"url_of_page":"","page_url":"","http_url_to_repo":"","due_at2":"","x":""})");
}

TEST(JSONCodingTest, whatIsWrittenReadsBack) {
    Issue issue{7, "Prune", "b", dateFromSeconds(1773480413), {{{1, "mira", "M", URL::parse("https://h/a")}}}, 3.0};

    EXPECT_EQ(JSONCoding::decode<Issue>(JSONCoding::encode(issue)), issue);
}

TEST(JSONCodingTest, anAnswerWithMoreThanIsDeclaredNullsAndGapsIsRead) {
    Issue issue = JSONCoding::decode<Issue>(R"({"url":"https://h/1","id":91,"node_id":"I_k","number":7,
        "title":"Über 🌱 \"x\"","user":null,"labels":[],"body":null,"created_at":"2026-03-14T09:26:53Z",
        "assignees":[{"login":"mira","id":3,"avatar_url":"https://a.example.com/3?v=4","site_admin":false},
                     {"login":"ghost","id":-1,"full_name":null}],
        "reactions":{"+1":1,"-1":0},"pull_request":{"merged_at":null}})");

    EXPECT_EQ(
        issue,
        (Issue{7, "Über 🌱 \"x\"", std::nullopt, dateFromSeconds(1773480413),
               std::vector<Person>{{3, "mira", {}, URL::parse("https://a.example.com/3?v=4")}, {-1, "ghost", {}, {}}},
               std::nullopt}));
}

TEST(JSONCodingTest, aListThatIsNullIsAbsentAndAnEmptyOneIsEmpty) {
    EXPECT_EQ(JSONCoding::decode<Issue>(R"({"number":1,"title":"","assignees":null})").assignees, std::nullopt);
    EXPECT_EQ(JSONCoding::decode<Issue>(R"({"number":1,"title":"","assignees":[]})").assignees, std::vector<Person>());
    EXPECT_EQ(JSONCoding::decode<std::vector<Issue>>("[]"), std::vector<Issue>());
}

TEST(JSONCodingTest, theSnakeCaseKeyGoesBeforeTheDeclaredOne) {
    EXPECT_EQ(JSONCoding::decode<Person>(R"({"id":1,"login":"","fullName":"camel"})").fullName, "camel");
    EXPECT_EQ(JSONCoding::decode<Person>(R"({"id":1,"login":"","fullName":"camel","full_name":"snake"})").fullName,
              "snake");
    EXPECT_EQ(JSONCoding::decode<Person>(R"({"id":1,"login":"","fullName":"camel","full_name":null})").fullName,
              std::nullopt);
}

TEST(JSONCodingTest, otherStylesKeepTheDeclaredKeys) {
    boost::json::value json = encode(Person{1, "m", "Mira", {}}, DateCoding::seconds);

    EXPECT_EQ(json, parseJSON(R"({"id":1,"login":"m","fullName":"Mira"})"));
    EXPECT_EQ(decoded<Person>(parseJSON(R"({"id":1,"login":"m","full_name":"M"})")).fullName, std::nullopt);
}

TEST(JSONCodingTest, aRecordCanNameItsKeys) {
    Foreign foreign = JSONCoding::decode<Foreign>(
        R"({"issuetype":"Bug","type_name":"no","Sub_Task":true,"is_subtask":false,"due_date":"2026-03-14T09:26:53Z"})");

    EXPECT_EQ(foreign.typeName, "Bug");
    EXPECT_TRUE(foreign.isSubtask);
    EXPECT_EQ(JSONCoding::encode(foreign), R"({"issuetype":"Bug","Sub_Task":true,"due_date":"2026-03-14T09:26:53Z"})");
    EXPECT_EQ(encode(foreign, DateCoding::iso8601),
              parseJSON(R"({"issuetype":"Bug","Sub_Task":true,"dueDate":"2026-03-14T09:26:53Z"})"));
}

TEST(JSONCodingTest, aTypeCanHaveAFormOfItsOwnAndKnowsTheStyle) {
    EXPECT_EQ(JSONCoding::encode(Sent{{{"a"}, {}}}), R"({"label_ids":["a"]})");
    EXPECT_EQ(JSONCoding::encode(Sent{{{}, {7}}}), R"({"label_ids":[7]})");

    Read read = JSONCoding::decode<Read>(R"({"new_labels":["a",{"name":"b","color":"c"}]})");

    EXPECT_EQ(read.newLabels->at(0).name, "a");
    EXPECT_EQ(read.newLabels->at(1).name, "b");
}

TEST(JSONCodingTest, anErrorTellsWhereTheValueStoodByItsKeyOnTheWire) {
    try {
        JSONCoding::decode<std::vector<Issue>>(
            R"([{"number":1,"title":"","assignees":[{"id":1,"login":"m","full_name":5}]}])");
        FAIL();
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.errorDescription(), "The data can't be read: \"0.assignees.0.full_name\" isn't a text.");
        EXPECT_EQ(error.path(), "0.assignees.0.full_name");
    }
}

TEST(JSONCodingTest, bytesThatAreNotJSONAreRefused) {
    for (const char* bytes : {"", " ", "<html></html>", "[", "[] []", "\xef\xbb\xbf[]", "[\"\xff\"]"}) {
        EXPECT_THROW(JSONCoding::decode<std::vector<Issue>>(bytes), DecodingError) << bytes;
    }
    EXPECT_THROW(JSONCoding::decode<std::vector<Issue>>(std::string(100'000, '[')), DecodingError);
}

TEST(JSONCodingTest, whatJSONCannotHoldIsNotWritten) {
    EXPECT_THROW(JSONCoding::encode(std::numeric_limits<double>::infinity()), EncodingError);
    EXPECT_THROW(JSONCoding::encode(Issue{1, "\xc3", {}, {}, {}, {}}), EncodingError);
}

TEST(JSONCodingTest, aKeyInSnakeCaseNamesItsMember) {
    const std::pair<const char*, const char*> samples[] = {
        {"due_date", "dueDate"},
        {"customfield_10014", "customfield10014"},
        {"http_url_to_repo", "httpUrlToRepo"},
        {"_leading_mark", "_leadingMark"},
        {"__a_b__", "__aB__"},
        {"trailing_", "trailing_"},
        {"_", "_"},
        {"___", "___"},
        {"", ""},
        {"plain", "plain"},
        {"dueDate", "dueDate"},
        {"updateProjectV2DraftIssue", "updateProjectV2DraftIssue"},
        {"a__b", "aB"},
        {"FOO_BAR", "fooBar"},
        {"foo_bAR", "fooBar"},
        {"a_1st_b", "a1StB"},
        {"grün_blau", "grünBlau"},
    };
    for (auto [key, member] : samples) {
        EXPECT_EQ(JSONCoding::keyFromSnakeCase(key), member) << key;
    }
}

}  // namespace
}  // namespace marlet
