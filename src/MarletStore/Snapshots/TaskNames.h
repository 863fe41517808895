// Which tasks a name means. Internal to MarletStore.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Database.h"
#include "MarletBase/UUID.h"

namespace marlet {

// The row numbers of the tasks whose number or localID is this text, case ignored: newest first, rows of equal dates
// in row order.
std::vector<int64_t> rowsNamed(ModelContext& context, const std::string& name, const std::optional<UUID>& accountID,
                               const std::optional<std::string>& projectID);

// The statement that looks for them.
std::string rowsNamedStatement(bool inAccount, bool inProject);

}  // namespace marlet
