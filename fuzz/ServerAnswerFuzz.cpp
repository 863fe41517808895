#include "FuzzEntries.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/Text.h"
#include "MarletHTTP/HTTPResponse.h"
#include "MarletHTTP/ResponseStatusInternal.h"

namespace marlet {
namespace {

// What answers are made of: numbers, texts, links, dates, lists, and records in records.
struct Person {
    int64_t id = 0;
    std::optional<std::string> fullName;
    std::optional<URL> avatarUrl;
};
BOOST_DESCRIBE_STRUCT(Person, (), (id, fullName, avatarUrl))

struct Issue {
    int64_t number = 0;
    std::string title;
    std::optional<bool> isLocked;
    std::optional<Date> createdAt;
    std::optional<std::vector<Person>> assignees;
    std::optional<Person> closedBy;
};
BOOST_DESCRIBE_STRUCT(Issue, (), (number, title, isLocked, createdAt, assignees, closedBy))

void require(bool holds, const char* property) {
    if (!holds) {
        programmingError(property);
    }
}

// Years that four digits can tell.
bool isWritable(Date date) {
    return date >= dateFromSeconds(-62167219200.0) && date < dateFromSeconds(253402300800.0);
}

void checkHeaders(const std::string& text) {
    HTTPResponse response = HTTPResponse::of({200, {{"Link", text}}, ""});
    if (std::optional<URL> next = response.link("next")) {
        require(URL::parse(next->text()) == next, "A link changes when it is read again.");
    }
    std::optional<double> number = decimalValue(text);
    std::optional<int64_t> integer = decimalInteger(text);
    require(!integer || number == static_cast<double>(*integer), "A whole number has two values.");
}

void checkMessage(const std::string& body) {
    if (std::optional<std::string> message = refusalMessage(body)) {
        require(!message->empty() && trimmed(*message) == *message, "A message is empty or has blanks around it.");
        require(isValidUTF8(*message), "A message isn't text.");
    }
}

void checkDate(std::string_view text) {
    std::optional<Date> date = JSONCoding::parseDate(text);
    if (date && isWritable(*date)) {
        Date whole = std::chrono::floor<std::chrono::seconds>(*date);
        require(JSONCoding::parseDate(iso8601(*date)) == whole, "A date changes when it is written and read.");
    }
}

void checkPage(std::string_view body) {
    std::vector<Issue> page;
    try {
        page = JSONCoding::decode<std::vector<Issue>>(body);
    } catch (const DecodingError&) {
        return;
    }
    for (Issue& issue : page) {
        if (issue.createdAt && !isWritable(*issue.createdAt)) {
            issue.createdAt.reset();
        }
    }
    std::string written = JSONCoding::encode(page);
    require(JSONCoding::encode(JSONCoding::decode<std::vector<Issue>>(written)) == written,
            "A page changes when it is written and read.");
}

}  // namespace

void fuzzServerAnswer(std::string_view bytes) {
    std::string text(bytes);
    checkHeaders(text);
    checkMessage(text);
    checkDate(bytes);
    checkPage(bytes);
    std::string key = JSONCoding::keyFromSnakeCase(bytes);
    require(JSONCoding::keyFromSnakeCase(key) == key, "A member's name isn't its own key.");
}

}  // namespace marlet
