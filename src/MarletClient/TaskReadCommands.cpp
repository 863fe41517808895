#include <fmt/format.h>

#include "MarletClient/CommandShapes.h"
#include "MarletClient/Commands.h"
#include "MarletClient/Naming.h"
#include "MarletClient/Options.h"
#include "MarletMCP/ParentResolution.h"

namespace marlet {
namespace {

constexpr int64_t defaultLimit = 50;

Async<TaskQuery> queryFor(TaskStore& store, TaskListOptions options) {
    TaskQuery query;
    query.list = options.list;
    query.includeCompleted = options.all;
    query.text = options.query;
    if (options.epics) {
        query.canHaveChildren = true;
    }
    if (options.project) {
        ProjectSnapshot project = co_await projectNamed(store, *options.project);
        query.accountID = project.accountID;
        query.projectID = project.projectID;
    }
    if (options.parent) {
        std::string parent = co_await completedTaskID(store, *options.parent);
        query = co_await narrowedToChildren(store, query, parent);
    }
    co_return query;
}

Async<CommandReply> list(Engine& engine, TaskListOptions options) {
    int64_t limit = options.limit.value_or(defaultLimit);
    TaskQuery query = co_await queryFor(engine.store(), std::move(options));
    // One more, to know whether there is more.
    query.limit = limit < std::numeric_limits<int64_t>::max() ? limit + 1 : limit;
    std::vector<TaskSnapshot> tasks = co_await engine.store().taskSnapshots(query);
    CommandReply reply;
    if (static_cast<int64_t>(tasks.size()) > limit) {
        tasks.pop_back();
        reply.remark = fmt::format("These are the first {}. Use --limit to see more.", limit);
    }
    reply.result = tasksJSON(tasks);
    co_return reply;
}

Async<CommandReply> show(Engine& engine, TaskShowOptions options) {
    TaskSnapshot task = co_await taskNamed(engine.store(), options.task, options.project);
    JSONValue::Object arguments{
        {"task_id", task.localID.text()}, {"include_comments", options.comments}, {"include_raw", options.raw}};
    JSONValue result = co_await engine.callTool("get_task", std::move(arguments));
    co_return success(std::move(result));
}

}  // namespace

CommandBody taskReadCommand(std::string_view name) {
    if (name == "task list") {
        return commandBody(list);
    }
    return name == "task show" ? commandBody(show) : CommandBody();
}

}  // namespace marlet
