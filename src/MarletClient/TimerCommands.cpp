#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

Async<CommandReply> start(Engine& engine, TaskOptions options) {
    TaskSnapshot task = co_await taskNamed(engine.store(), options.task, options.project);
    JSONValue::Object arguments{{"task_id", task.localID.text()}};
    JSONValue result = co_await engine.callTool("start_timer", std::move(arguments));
    co_return success(std::move(result));
}

Async<CommandReply> stop(Engine& engine, NoOptions) {
    JSONValue result = co_await engine.callTool("stop_timer", {});
    // No task is said, rather than left out: one shape for both outcomes.
    result.objectValue()->try_emplace("task", nullptr);
    co_return success(std::move(result));
}

Async<CommandReply> status(Engine& engine, NoOptions) {
    std::optional<TaskSnapshot> current = co_await engine.store().currentTimerTask();
    CommandReply reply;
    reply.result = JSONValue::object({{"task", nullptr}});
    if (current && current->isTiming) {
        reply.result = JSONValue::object({{"task", taskJSON(*current, TaskShape::list)}});
    } else if (current) {
        reply.remark = "Last worked on: " + current->item.title;
    }
    co_return reply;
}

}  // namespace

CommandBody timerCommand(std::string_view name) {
    if (name == "timer start") {
        return commandBody(start);
    }
    if (name == "timer stop") {
        return commandBody(stop);
    }
    return name == "timer status" ? commandBody(status) : CommandBody();
}

}  // namespace marlet
