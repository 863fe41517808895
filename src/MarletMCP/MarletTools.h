#pragma once

#include <vector>

#include "MarletMCP/MCPTool.h"
#include "MarletMCP/ToolContext.h"

namespace marlet {

// All tools of the server, in the order in which they are listed.
std::vector<MCPTool> marletTools(ToolContext context);

// What an agent is told about the server as a whole.
extern const char* const marletInstructions;

}  // namespace marlet
