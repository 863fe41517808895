// Which tasks a query finds, and in which order. Internal to MarletStore.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MarletBase/Database.h"
#include "MarletStore/TaskQuery.h"

namespace marlet {

// The row numbers of the query's tasks: newest first, rows of equal dates in row order, at most `limit`.
std::vector<int64_t> taskRows(ModelContext& context, const TaskQuery& query);

// The statement that a query without a parent runs: one of a bounded number of texts.
std::string taskRowsStatement(const TaskQuery& query, bool hasText);

}  // namespace marlet
