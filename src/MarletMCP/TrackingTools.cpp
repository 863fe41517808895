// The tools for what stays on this computer: set_task_flags, start_timer, stop_timer.
#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

Async<JSONValue> listShape(TaskStore& store, UUID localID) {
    TaskSnapshot task = co_await findTask(store, localID);
    co_return taskJSON(task, TaskShape::list);
}

Async<JSONValue> setTaskFlags(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    UUID localID = arguments.requiredUUID("task_id");
    co_await findTask(store, localID);
    std::optional<bool> isNext = arguments.boolean("next");
    std::optional<bool> isStarred = arguments.boolean("starred");
    std::optional<bool> isUnread = arguments.boolean("unread");
    if (isNext) {
        co_await store.setNext(*isNext, localID);
    }
    if (isStarred) {
        co_await store.setStarred(*isStarred, localID);
    }
    if (isUnread) {
        Date viewedAt = *isUnread ? distantPast : context.services.clock().now();
        co_await store.markViewed(localID, viewedAt);
    }
    co_return co_await listShape(store, localID);
}

Async<JSONValue> startTimer(ToolContext context, ToolArguments arguments) {
    TaskStore& store = context.services.store();
    UUID localID = arguments.requiredUUID("task_id");
    co_await findTask(store, localID);
    co_await store.startTimer(localID, context.services.clock().now());
    co_return co_await listShape(store, localID);
}

Async<JSONValue> stopTimer(ToolContext context, ToolArguments) {
    TaskStore& store = context.services.store();
    std::optional<ActiveTimer> timer = co_await store.activeTimer();
    co_await store.stopTimer(context.services.clock().now());
    std::optional<TaskSnapshot> task;
    if (timer) {
        task = co_await store.taskSnapshot(timer->key);
    }
    if (!task) {
        co_return JSONValue::object({{"stopped", false}});
    }
    co_return JSONValue::object({{"stopped", true}, {"task", taskJSON(*task, TaskShape::list)}});
}

}  // namespace

MCPTool setTaskFlagsTool(ToolContext context) {
    return {
        .name = "set_task_flags",
        .title = "Set Next, Starred or Unread",
        .description =
            "Sets Marlet's local flags on a task: \"next\" puts it on the user's Next list, \"starred\" stars it, "
            "\"unread\" marks it as updated since last viewed. Only the given flags change.",
        .inputSchema = inputSchema(
            {
                {"task_id", textProperty()},
                {"next", booleanProperty()},
                {"starred", booleanProperty()},
                {"unread", booleanProperty()},
            },
            {"task_id"}),
        .annotations = toolAnnotations({.idempotent = true}),
        .handler = toolHandler(context, setTaskFlags),
    };
}

MCPTool startTimerTool(ToolContext context) {
    return {
        .name = "start_timer",
        .title = "Start the timer",
        .description = "Starts tracking time on a task. Only one task is timed at a time; a running timer stops.",
        .inputSchema = inputSchema({{"task_id", textProperty()}}, {"task_id"}),
        .annotations = toolAnnotations({}),
        .handler = toolHandler(context, startTimer),
    };
}

MCPTool stopTimerTool(ToolContext context) {
    return {
        .name = "stop_timer",
        .title = "Stop the timer",
        .description = "Stops the running timer, if any.",
        .inputSchema = inputSchema({}, {}),
        .annotations = toolAnnotations({.idempotent = true}),
        .handler = toolHandler(context, stopTimer),
    };
}

}  // namespace marlet
