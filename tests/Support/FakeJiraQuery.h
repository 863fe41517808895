#pragma once

#include <optional>
#include <string>
#include <vector>

namespace marlet {

// The conditions of Jira's query language that the fake service understands; all that are given must hold.
struct FakeJiraQuery {
    std::optional<std::string> project;
    std::optional<int> updatedWithinMinutes;
    bool isAboutUser = false;  // assigned to, reported or watched by who asks
    std::optional<std::vector<std::string>> keys;
    bool isNewestFirst = false;

    // No value for what isn't understood.
    static std::optional<FakeJiraQuery> parse(std::string_view jql);
};

}  // namespace marlet
