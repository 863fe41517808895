// Commands that change tasks. They go by the agents' tools: one set of checks, one set of words.
#include <fmt/format.h>

#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

// The task as it is once its change has had its chance to reach the server. The tool has begun to send it. What waits
// then is sent from here, such as the labels that some services take only behind a create; the create itself isn't: had
// just its answer been lost, the server would make the task once more.
Async<CommandReply> afterPush(Engine& engine, UUID localID) {
    co_await engine.settle();
    std::optional<TaskSnapshot> task = co_await engine.store().taskSnapshot(localID);
    if (task && task->pendingOperation == PendingOperation::update) {
        co_await engine.push(task->accountID);
        task = co_await engine.store().taskSnapshot(localID);
    }
    if (!task) {
        throw StoreError::taskNotFound();
    }
    co_return success(taskJSON(*task, TaskShape::detail));
}

UUID taskID(const JSONValue& task) {
    const JSONValue* id = task["task_id"];
    return UUID::parse(id && id->stringValue() ? *id->stringValue() : "").value_or(UUID{});
}

Async<CommandReply> add(Engine& engine, TaskAddOptions options) {
    ProjectSnapshot project = co_await projectNamed(engine.store(), options.project);
    JSONValue::Object arguments{
        {"project_key", project.key}, {"title", options.title}, {"labels", options.labels}, {"type", options.type}};
    arguments["notes"] = options.notes;
    if (options.due) {
        arguments["due_date"] = *options.due;
    }
    JSONValue created = co_await engine.callTool("create_task", std::move(arguments));
    co_return co_await afterPush(engine, taskID(created));
}

Async<JSONValue::Object> editArguments(TaskStore& store, TaskEditOptions options) {
    JSONValue::Object arguments;
    if (options.title) {
        arguments["title"] = *options.title;
    }
    if (options.notes) {
        arguments["notes"] = *options.notes;
    }
    if (!options.labels.empty() || options.noLabels) {
        arguments["labels"] = options.labels;
    }
    if (options.due || options.noDue) {
        arguments["due_date"] = options.due;
    }
    if (options.parent) {
        arguments["parent"] = co_await completedTaskID(store, *options.parent);
    } else if (options.noParent) {
        arguments["parent"] = nullptr;
    }
    if (options.status) {
        arguments["status"] = *options.status;
    }
    if (options.estimate || options.noEstimate) {
        arguments["estimate"] = options.estimate ? JSONValue(*options.estimate) : JSONValue();
    }
    co_return arguments;
}

Async<CommandReply> edit(Engine& engine, TaskEditOptions options) {
    TaskSnapshot task = co_await taskNamed(engine.store(), options.task, options.project);
    JSONValue::Object arguments = co_await editArguments(engine.store(), std::move(options));
    arguments["task_id"] = task.localID.text();
    co_await engine.callTool("update_task", std::move(arguments));
    co_return co_await afterPush(engine, task.localID);
}

Async<CommandReply> setCompleted(Engine& engine, TasksOptions options, bool completed) {
    std::vector<TaskSnapshot> tasks =
        co_await tasksNamed(engine.store(), std::move(options.tasks), std::move(options.project));
    for (const TaskSnapshot& task : tasks) {
        if (task.item.isCompleted != completed) {
            JSONValue::Object arguments{{"task_id", task.localID.text()}, {"completed", completed}};
            co_await engine.callTool("update_task", std::move(arguments));
        }
    }
    co_await engine.settle();
    std::vector<TaskSnapshot> changed = co_await readAgain(engine.store(), std::move(tasks));
    co_return success(tasksJSON(changed));
}

Async<CommandReply> done(Engine& engine, TasksOptions options) {
    return setCompleted(engine, std::move(options), true);
}

Async<CommandReply> reopen(Engine& engine, TasksOptions options) {
    return setCompleted(engine, std::move(options), false);
}

Async<CommandReply> comment(Engine& engine, TaskCommentOptions options) {
    TaskSnapshot task = co_await taskNamed(engine.store(), options.task, options.project);
    JSONValue::Object arguments{{"task_id", task.localID.text()}, {"body", options.text}};
    JSONValue result = co_await engine.callTool("add_comment", std::move(arguments));
    co_return success(std::move(result));
}

Async<CommandReply> remove(Engine& engine, TaskOptions options) {
    TaskSnapshot task = co_await taskNamed(engine.store(), options.task, options.project);
    JSONValue::Object arguments{{"task_id", task.localID.text()}};
    JSONValue result = co_await engine.callTool("delete_task", std::move(arguments));
    co_return success(std::move(result));
}

Async<CommandReply> setFlag(Engine& engine, TaskFlagOptions options, std::string flag) {
    std::vector<TaskSnapshot> tasks =
        co_await tasksNamed(engine.store(), std::move(options.tasks), std::move(options.project));
    JSONValue::Array results;
    for (const TaskSnapshot& task : tasks) {
        JSONValue::Object arguments{{"task_id", task.localID.text()}, {flag, !options.off}};
        JSONValue result = co_await engine.callTool("set_task_flags", std::move(arguments));
        results.push_back(std::move(result));
    }
    co_return success(JSONValue::object({{"tasks", std::move(results)}}));
}

Async<CommandReply> next(Engine& engine, TaskFlagOptions options) {
    return setFlag(engine, std::move(options), "next");
}

Async<CommandReply> star(Engine& engine, TaskFlagOptions options) {
    return setFlag(engine, std::move(options), "starred");
}

Async<CommandReply> unread(Engine& engine, TaskFlagOptions options) {
    return setFlag(engine, std::move(options), "unread");
}

}  // namespace

CommandBody taskWriteCommand(std::string_view name) {
    static const std::map<std::string_view, CommandBody> bodies{
        {"task add", commandBody(add)},         {"task edit", commandBody(edit)},
        {"task done", commandBody(done)},       {"task reopen", commandBody(reopen)},
        {"task comment", commandBody(comment)}, {"task delete", commandBody(remove)},
        {"task next", commandBody(next)},       {"task star", commandBody(star)},
        {"task unread", commandBody(unread)},
    };
    auto found = bodies.find(name);
    return found == bodies.end() ? CommandBody() : found->second;
}

}  // namespace marlet
