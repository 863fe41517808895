// Reading the values that options take. What can't be read throws UsageError, with a text that names the option.
#pragma once

#include <cstdint>
#include <string>

#include "MarletBase/Date.h"
#include "MarletClient/Options.h"
#include "MarletCore/BackendKind.h"
#include "MarletStore/TaskQuery.h"

namespace marlet {

int64_t portValue(const std::string& text);
int64_t limitValue(const std::string& text);
double estimateValue(const std::string& text);
// YYYY-MM-DD, at midnight in the computer's time zone, or an RFC 3339 date-time.
Date dateValue(const std::string& option, const std::string& text);
BackendKind kindValue(const std::string& text);
AgentChoice agentValue(const std::string& text);
TaskList listValue(const std::string& text);
// "-" stands for standard input, read to its end, without the line end that closes it.
std::string notesValue(const std::string& text);

}  // namespace marlet
