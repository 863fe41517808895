#pragma once

#include "MarletMCP/MCPTool.h"
#include "MarletMCP/ToolArguments.h"
#include "MarletMCP/ToolContext.h"

namespace marlet {

MCPTool listAccountsTool(ToolContext context);
MCPTool setDefaultTaskTypeTool(ToolContext context);
MCPTool listProjectsTool(ToolContext context);
MCPTool setProjectSubscriptionTool(ToolContext context);
MCPTool listTasksTool(ToolContext context);
MCPTool getTaskTool(ToolContext context);
MCPTool createTaskTool(ToolContext context);
MCPTool updateTaskTool(ToolContext context);
MCPTool deleteTaskTool(ToolContext context);
MCPTool addCommentTool(ToolContext context);
MCPTool setTaskFlagsTool(ToolContext context);
MCPTool startTimerTool(ToolContext context);
MCPTool stopTimerTool(ToolContext context);
MCPTool syncTool(ToolContext context);

// The handler that runs `body` with the context and the arguments of a call.
inline MCPTool::Handler toolHandler(ToolContext context, Async<JSONValue> (*body)(ToolContext, ToolArguments)) {
    return [context, body](JSONValue::Object arguments) { return body(context, ToolArguments(std::move(arguments))); };
}

}  // namespace marlet
