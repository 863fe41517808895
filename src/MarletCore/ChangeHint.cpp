#include "MarletCore/ChangeHint.h"

#include <algorithm>

namespace marlet {

void ChangeHint::add(Date date, bool isDeletion) {
    latest = std::max(latest, date);
    if (isDeletion) {
        latestDeletion = std::max(latestDeletion.value_or(date), date);
    }
}

void add(ChangeHints& hints, Date date, const std::string& projectID, bool isDeletion) {
    hints.try_emplace(projectID, ChangeHint{date, std::nullopt}).first->second.add(date, isDeletion);
}

}  // namespace marlet
