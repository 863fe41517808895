// Text search over the tasks. Internal to MarletStore.
//
// Each task has one block of bytes in TaskSearch: its id as it is, then title, notes and label names, folded, each
// field closed by a byte that no UTF-8 text holds. So one pass over a block finds what no two fields make up together.
#pragma once

#include <cstdint>
#include <string>

#include "MarletBase/Database.h"
#include "MarletCore/TaskItem.h"

namespace marlet {

// Makes the SQL function taskTextMatches(folded, foldedText, text) on the context's connection.
void installTaskSearch(ModelContext& context);

std::string searchBlock(const TaskItem& item);

void insertSearchText(ModelContext& context, int64_t task, const TaskItem& item);
void updateSearchText(ModelContext& context, int64_t task, const TaskItem& item);

}  // namespace marlet
