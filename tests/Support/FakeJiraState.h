// What a fake Jira holds: plain data without any protocol.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeRecords.h"

namespace marlet {

struct FakeJiraType {
    std::string id;
    std::string name;
    int level = 0;  // -1 for sub-tasks, 1 for epics

    bool isSubTask() const { return level < 0; }
};

struct FakeJiraResolution {
    std::string id;
    std::string name;
};

struct FakeJiraTransition {
    std::string id;
    std::string from;  // a status by name; empty for all
    std::string to;
    std::vector<FakeJiraResolution> resolutions = {};  // to choose from; none: it asks for none
};

struct FakeJiraIssue {
    std::string summary;
    std::string description = {};  // wiki text
    std::string type = "Task";
    std::string status = "To Do";                // "Done" is done; "To Do" is new, and any other is under way
    std::optional<std::string> resolution = {};  // by id
    std::vector<std::string> labels = {};
    std::optional<std::string> assignee = {};
    std::optional<std::string> dueDay = {};
    std::string priority = "3";  // by id
    std::vector<FakeMilestone> versions = {};
    std::optional<std::string> parent = {};  // by key
    std::optional<double> points = {};
    bool isWatched = true;  // by the client's user

    // What the service gives.
    int64_t id = 0;
    int64_t projectID = 0;
    std::string key = {};
    std::string author = {};
    Date createdAt = {};
    Date updatedAt = {};
    std::vector<FakeComment> comments = {};

    bool operator==(const FakeJiraIssue&) const = default;
};

struct FakeJiraProject {
    int64_t id = 0;
    std::string key;
    std::string name;
    bool isArchived = false;
    std::vector<FakeJiraType> types = {};
    std::vector<FakeJiraTransition> workflow = {};
    bool hasPointsOnScreen = true;
    int64_t lastNumber = 0;
};

}  // namespace marlet
