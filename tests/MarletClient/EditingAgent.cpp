#include "EditingAgent.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ClientScenario.h"

namespace marlet {
namespace {

// Title, notes, labels, due date, completion and parent.
constexpr int fieldCount = 6;
constexpr int64_t mostTasks = 12;

void expectDone(const ToolOutcome& outcome, const std::string& tool, const JSONValue::Object& arguments) {
    EXPECT_EQ(outcome.error, std::nullopt) << tool << " " << JSONValue(arguments).data();
}

JSONValue::Object merged(JSONValue::Object content, const JSONValue::Object& fields) {
    for (const auto& [field, value] : fields) {
        content[field] = value;
    }
    return content;
}

}  // namespace

bool ExpectedTask::allows(const Content& content) const {
    return std::find(possible.begin(), possible.end(), content) != possible.end();
}

std::string nameOf(const std::string& title) {
    return title.substr(0, title.find(", "));
}

AgentEndpoint::AgentEndpoint(const JSONValue& ready) : token(textOf(ready, "token")) {
    constexpr std::string_view origin = "http://127.0.0.1:";
    port = static_cast<uint16_t>(std::stoi(textOf(ready, "endpoint").substr(origin.size())));
}

std::string AgentEndpoint::request(const std::string& tool, const JSONValue::Object& arguments) const {
    JSONValue call = JSONValue::object({{"name", tool}, {"arguments", arguments}});
    std::string body =
        JSONValue::object({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/call"}, {"params", std::move(call)}})
            .data();
    return fmt::format(
        "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer {}\r\nContent-Type: application/json\r\n"
        "Content-Length: {}\r\n\r\n{}",
        token, body.size(), body);
}

ToolOutcome::ToolOutcome(const std::string& response) {
    JSONValue answer = memberOf(JSONValue::decode(bodyOf(response)), "result");
    if (memberOf(answer, "isError") == JSONValue(false)) {
        result = memberOf(answer, "structuredContent");
    } else {
        error = response;
    }
}

void EditingAgent::editUntilItDies(const AgentEndpoint& endpoint, LoopbackClient& client, KillMoment& moment) {
    Ask ask = [&](const std::string& tool, const JSONValue::Object& arguments) -> std::optional<ToolOutcome> {
        std::string request = endpoint.request(tool, arguments);
        size_t allowed = moment.allowedBytes(request.size());
        bool isSent = client.send(std::string_view(request).substr(0, allowed));
        if (allowed < request.size()) {
            moment.cutRequest();
        }
        if (isSent) {
            moment.startedRequest();
        }
        std::string response = client.receiveResponse();
        if (response.empty()) {
            return std::nullopt;
        }
        moment.receivedAnswer();
        return ToolOutcome(response);
    };
    while (editOnce(ask, endpoint.projectKey)) {
    }
}

bool EditingAgent::editOnce(const Ask& ask, const std::string& projectKey) {
    constexpr int weights = 16;
    int chosen = pick(weights);
    ExpectedTask* task = anyTask();
    auto count = std::count_if(tasks.begin(), tasks.end(), [](const ExpectedTask& each) { return each.isThere(); });
    if (!task || (chosen < 4 && count < mostTasks)) {
        return create(ask, projectKey);
    }
    switch (chosen) {
        case 0:
        case 1:
            return remove(ask, *task);
        case 2:
        case 3:
            return setFlag(ask, *task);
        case 4:
        case 5:
        case 6:
            return comment(ask, *task);
        case 7:
            return startTimer(ask, *task);
        case 8:
            return stopTimer(ask);
        default:
            return update(ask, *task);
    }
}

// One whose state is known for sure.
ExpectedTask* EditingAgent::anyTask() {
    std::vector<ExpectedTask*> there;
    for (ExpectedTask& task : tasks) {
        if (task.isThere()) {
            there.push_back(&task);
        }
    }
    return there.empty() ? nullptr : there[static_cast<size_t>(pick(static_cast<int>(there.size())))];
}

bool EditingAgent::create(const Ask& ask, const std::string& projectKey) {
    ExpectedTask& task = tasks.emplace_back();
    task.name = name + " task " + nextText();
    JSONValue::Object arguments{{"title", task.name},
                                {"notes", "notes " + nextText()},
                                {"labels", JSONValue::array({"new"})},
                                {"due_date", "2027-01-15T09:00:00Z"}};
    JSONValue::Object content =
        merged(arguments, {{"completed", false}, {"next", false}, {"starred", false}, {"parent", {}}});
    task.possible = {std::nullopt, content};
    arguments.emplace("project_key", projectKey);
    std::optional<ToolOutcome> outcome = ask("create_task", arguments);
    if (outcome) {
        expectDone(*outcome, "create_task", arguments);
        task.id = textOf(outcome->result, "task_id");
        task.possible = {content};
    }
    return outcome.has_value();
}

bool EditingAgent::change(const Ask& ask, const std::string& tool, ExpectedTask& task,
                          const JSONValue::Object& fields) {
    JSONValue::Object content = merged(*task.possible.front(), fields);
    task.possible.emplace_back(content);
    std::optional<ToolOutcome> outcome = ask(tool, merged(fields, {{"task_id", task.id}}));
    if (!outcome) {
        return false;
    }
    // A task that hasn't been pushed yet can't be a parent. A refused change changes nothing.
    auto parent = fields.find("parent");
    bool mayBeRefused = parent != fields.end() && !parent->second.isNull();
    if (!mayBeRefused) {
        expectDone(*outcome, tool, fields);
    }
    if (outcome->error) {
        task.possible.pop_back();
    } else {
        task.possible = {content};
    }
    return true;
}

JSONValue::Object EditingAgent::newFields(const ExpectedTask& task) {
    switch (pick(fieldCount)) {
        case 0:
            return {{"title", task.name + ", " + nextText()}};
        case 1:
            return {{"notes", "notes " + nextText()}};
        case 2:
            return {{"labels", JSONValue::array({"a" + nextText(), "b"})}};
        case 3:
            return {{"due_date",
                     pick(3) == 0 ? JSONValue() : JSONValue(fmt::format("2027-02-{:02}T10:00:00Z", 1 + pick(28)))}};
        case 4:
            return {{"completed", pick(2) == 0}};
        default:
            break;
    }
    // The first task, which is never deleted, is the parent of others. It has none itself.
    const ExpectedTask& root = tasks.front();
    bool hasParent = &task != &root && root.isThere() && pick(3) != 0;
    return {{"parent", hasParent ? JSONValue(root.id) : JSONValue()}};
}

bool EditingAgent::update(const Ask& ask, ExpectedTask& task) {
    JSONValue::Object fields = merged(newFields(task), newFields(task));
    return change(ask, "update_task", task, fields);
}

bool EditingAgent::setFlag(const Ask& ask, ExpectedTask& task) {
    return change(ask, "set_task_flags", task, {{pick(2) == 0 ? "next" : "starred", pick(2) == 0}});
}

bool EditingAgent::comment(const Ask& ask, ExpectedTask& task) {
    task.possibleComment = "comment " + nextText();
    std::optional<ToolOutcome> outcome = ask("add_comment", {{"task_id", task.id}, {"body", *task.possibleComment}});
    if (!outcome) {
        return false;
    }
    // A task that hasn't been pushed yet can't be commented on.
    if (!outcome->error) {
        task.comments.push_back(*task.possibleComment);
    }
    task.possibleComment.reset();
    return true;
}

bool EditingAgent::startTimer(const Ask& ask, ExpectedTask& task) {
    std::optional<ToolOutcome> outcome = ask("start_timer", {{"task_id", task.id}});
    if (outcome) {
        expectDone(*outcome, "start_timer", {});
        task.isTimed = true;
    }
    return outcome.has_value();
}

bool EditingAgent::stopTimer(const Ask& ask) {
    std::optional<ToolOutcome> outcome = ask("stop_timer", {});
    if (outcome) {
        expectDone(*outcome, "stop_timer", {});
    }
    return outcome.has_value();
}

bool EditingAgent::remove(const Ask& ask, ExpectedTask& task) {
    if (&task == &tasks.front()) {
        return setFlag(ask, task);
    }
    task.possible.emplace_back(std::nullopt);
    std::optional<ToolOutcome> outcome = ask("delete_task", {{"task_id", task.id}});
    if (outcome) {
        expectDone(*outcome, "delete_task", {});
        task.possible = {std::nullopt};
    }
    return outcome.has_value();
}

}  // namespace marlet
