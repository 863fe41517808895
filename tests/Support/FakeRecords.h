// What fake services have in common: plain data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "MarletBase/Date.h"

namespace marlet {

struct FakeUser {
    int64_t id = 0;
    std::string login;
    std::string name;
};

struct FakeLabel {
    int64_t id = 0;
    std::string name;
    std::string color;
    bool isOrganizations = false;  // issues carry it, but the repository's list doesn't name it; on Forgejo alone
};

struct FakeMilestone {
    int64_t id = 0;
    int64_t number = 0;
    std::string title;
    std::optional<Date> dueOn = {};
    bool isClosed = false;

    bool operator==(const FakeMilestone&) const = default;
};

struct FakeComment {
    int64_t id = 0;
    std::string author;
    std::string body;
    Date createdAt;

    bool operator==(const FakeComment&) const = default;
};

// Who does something. What others do makes notifications.
enum class FakeActor { client, other };

}  // namespace marlet
