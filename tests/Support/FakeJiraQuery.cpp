#include "TestSupport/FakeJiraQuery.h"

#include <charconv>

namespace marlet {
namespace {

constexpr std::string_view newestFirst = " ORDER BY updated DESC";
constexpr std::string_view separator = " AND ";
constexpr std::string_view aboutUser =
    "(assignee = currentUser() OR reporter = currentUser() OR watcher = currentUser())";

bool takeBeginning(std::string_view& text, std::string_view beginning) {
    bool isThere = text.starts_with(beginning);
    text.remove_prefix(isThere ? beginning.size() : 0);
    return isThere;
}

bool takeEnd(std::string_view& text, std::string_view end) {
    bool isThere = text.ends_with(end);
    text.remove_suffix(isThere ? end.size() : 0);
    return isThere;
}

std::optional<int> number(std::string_view text) {
    int value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

// "\"A-1\",\"A-2\"" without the first and last quotation mark.
std::vector<std::string> quotedList(std::string_view text) {
    std::vector<std::string> result;
    while (true) {
        size_t end = text.find("\",\"");
        result.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return result;
        }
        text.remove_prefix(end + 3);
    }
}

bool readCondition(std::string_view text, FakeJiraQuery& query) {
    if (text == aboutUser) {
        query.isAboutUser = true;
        return true;
    }
    if (takeBeginning(text, "project = ")) {
        query.project = std::string(text);
        return number(text).has_value();
    }
    if (takeBeginning(text, "updated >= \"-") && takeEnd(text, "m\"")) {
        query.updatedWithinMinutes = number(text);
        return query.updatedWithinMinutes.value_or(0) > 0;
    }
    if (takeBeginning(text, "key in (\"") && takeEnd(text, "\")")) {
        query.keys = quotedList(text);
        return text.find_first_of(" ()") == std::string_view::npos;
    }
    return false;
}

}  // namespace

std::optional<FakeJiraQuery> FakeJiraQuery::parse(std::string_view jql) {
    FakeJiraQuery query;
    query.isNewestFirst = takeEnd(jql, newestFirst);
    while (true) {
        size_t end = jql.find(separator);
        if (!readCondition(jql.substr(0, end), query)) {
            return std::nullopt;
        }
        if (end == std::string_view::npos) {
            return query;
        }
        jql.remove_prefix(end + separator.size());
    }
}

}  // namespace marlet
