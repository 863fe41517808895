#pragma once

#include <map>
#include <optional>
#include <string>

#include "MarletBase/Date.h"

namespace marlet {

// What a service's notification feed says about one project: a reason to look, never data.
struct ChangeHint {
    Date latest;                         // the newest change seen
    std::optional<Date> latestDeletion;  // the newest change seen that was a deletion

    void add(Date date, bool isDeletion);

    bool operator==(const ChangeHint&) const = default;
};

// By project id.
using ChangeHints = std::map<std::string, ChangeHint>;

void add(ChangeHints& hints, Date date, const std::string& projectID, bool isDeletion);

}  // namespace marlet
