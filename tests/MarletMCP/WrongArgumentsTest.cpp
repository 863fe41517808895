#include <gtest/gtest.h>

#include "ToolScenario.h"

namespace marlet {
namespace {

enum class Kind { text, requiredText, uuid, boolean, requiredBoolean, integer, date, texts, estimate };

struct Argument {
    const char* tool;
    const char* name;
    Kind kind;
};

// Every argument of every tool.
const Argument everyArgument[] = {
    {"set_default_task_type", "account_id", Kind::uuid},
    {"set_default_task_type", "type", Kind::text},
    {"list_projects", "account_id", Kind::uuid},
    {"list_projects", "include_unsubscribed", Kind::boolean},
    {"set_project_subscription", "project_key", Kind::requiredText},
    {"set_project_subscription", "subscribed", Kind::requiredBoolean},
    {"list_tasks", "project_key", Kind::text},
    {"list_tasks", "list", Kind::text},
    {"list_tasks", "query", Kind::text},
    {"list_tasks", "parent", Kind::text},
    {"list_tasks", "epics_only", Kind::boolean},
    {"list_tasks", "include_completed", Kind::boolean},
    {"list_tasks", "limit", Kind::integer},
    {"get_task", "task_id", Kind::uuid},
    {"get_task", "include_comments", Kind::boolean},
    {"get_task", "include_raw", Kind::boolean},
    {"create_task", "project_key", Kind::requiredText},
    {"create_task", "title", Kind::requiredText},
    {"create_task", "notes", Kind::text},
    {"create_task", "labels", Kind::texts},
    {"create_task", "due_date", Kind::date},
    {"create_task", "type", Kind::text},
    {"update_task", "task_id", Kind::uuid},
    {"update_task", "title", Kind::text},
    {"update_task", "notes", Kind::text},
    {"update_task", "labels", Kind::texts},
    {"update_task", "due_date", Kind::date},
    {"update_task", "completed", Kind::boolean},
    {"update_task", "parent", Kind::text},
    {"update_task", "status", Kind::text},
    {"update_task", "estimate", Kind::estimate},
    {"delete_task", "task_id", Kind::uuid},
    {"add_comment", "task_id", Kind::uuid},
    {"add_comment", "body", Kind::requiredText},
    {"set_task_flags", "task_id", Kind::uuid},
    {"set_task_flags", "next", Kind::boolean},
    {"set_task_flags", "starred", Kind::boolean},
    {"set_task_flags", "unread", Kind::boolean},
    {"start_timer", "task_id", Kind::uuid},
    {"sync", "account_id", Kind::uuid},
    {"sync", "full", Kind::boolean},
};

struct WrongValue {
    JSONValue value;
    std::string problem;  // behind the argument's name
};

std::vector<WrongValue> wrongValues(Kind kind) {
    JSONValue object = JSONValue::object({{"a", 1}});
    JSONValue array = JSONValue::array({"a", 1});
    auto each = [](std::vector<JSONValue> values, const std::string& problem) {
        std::vector<WrongValue> result;
        for (JSONValue& value : values) {
            result.push_back({std::move(value), problem});
        }
        return result;
    };
    switch (kind) {
        case Kind::text:
        case Kind::requiredText:
        case Kind::uuid:
            return each({1, true, array, object}, " must be a string.");
        case Kind::boolean:
        case Kind::requiredBoolean:
            return each({1, "true", array, object}, " must be true or false.");
        case Kind::integer:
            return each({1.5, 1e300, "1", true, array, object}, " must be an integer.");
        case Kind::date:
            return each({1, true, array, object}, " must be a date string or null.");
        case Kind::texts:
            return each({1, "a", true, array, object}, " must be an array of strings.");
        case Kind::estimate:
            return each({-1, "1", true, array, object}, " must be a number of at least 0, or null.");
    }
    return {};
}

// An account with a Jira project, whose tasks take every argument, and good values for whatever comes first.
class WrongArgumentsTest : public testing::Test {
protected:
    WrongArgumentsTest() {
        scenario.serve(tracker, "PROJ", {issue("PROJ-1", "Epic"), issue("PROJ-2", "Story")});
        scenario.harness.createTask(tracker, "Waiting");
    }

    JSONValue::Object goodArguments(const std::string& tool) {
        JSONValue::Object arguments;
        auto takes = [&](const char* name) {
            return std::any_of(std::begin(everyArgument), std::end(everyArgument), [&](const Argument& argument) {
                return tool == argument.tool && argument.name == std::string_view(name);
            });
        };
        if (takes("task_id")) {
            arguments["task_id"] = scenario.taskID(tracker, "PROJ", "PROJ-2").text();
        }
        if (takes("project_key")) {
            arguments["project_key"] = projectKey(tracker.id, "PROJ");
        }
        if (takes("account_id")) {
            arguments["account_id"] = tracker.id.text();
        }
        if (tool == "create_task") {
            arguments["title"] = "Title";
        }
        if (tool == "update_task") {
            arguments["title"] = "Title";
            arguments["parent"] = "PROJ-1";
        }
        if (tool == "set_task_flags") {
            arguments["next"] = true;
        }
        return arguments;
    }

    ToolScenario scenario;
    Account tracker = scenario.addAccount(BackendKind::jira, {"PROJ"});
};

}  // namespace

TEST_F(WrongArgumentsTest, aValueOfTheWrongKindIsRefusedByNameAndChangesNothing) {
    std::string before = scenario.everythingStored();
    for (const Argument& argument : everyArgument) {
        for (const WrongValue& wrong : wrongValues(argument.kind)) {
            JSONValue::Object arguments = goodArguments(argument.tool);
            arguments.insert_or_assign(argument.name, wrong.value);
            EXPECT_EQ(scenario.refusal(argument.tool, arguments), argument.name + wrong.problem)
                << argument.tool << " " << wrong.value.data();
        }
    }
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(tracker).empty());
}

TEST_F(WrongArgumentsTest, aTextThatIsNoUUIDOrNoDateIsRefusedAsItIs) {
    using namespace std::string_literals;
    std::string before = scenario.everythingStored();
    for (const Argument& argument : everyArgument) {
        JSONValue::Object arguments = goodArguments(argument.tool);
        for (const std::string& text : {"abc"s, ""s, "a\0b"s, "\xF0\x9F\x8D\x8E"s}) {
            arguments.insert_or_assign(argument.name, text);
            if (argument.kind == Kind::uuid) {
                EXPECT_EQ(scenario.refusal(argument.tool, arguments),
                          argument.name + " \""s + text + "\" isn't valid.");
            }
            if (argument.kind == Kind::date) {
                EXPECT_EQ(scenario.refusal(argument.tool, arguments),
                          argument.name + " \""s + text + "\" must be YYYY-MM-DD or an RFC 3339 date-time.");
            }
        }
    }
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(tracker).empty());
}

TEST_F(WrongArgumentsTest, aRequiredArgumentThatIsMissingOrNullIsAskedFor) {
    std::string before = scenario.everythingStored();
    for (const Argument& argument : everyArgument) {
        std::string tool = argument.tool;
        bool isOptionalID = tool == "sync" || tool == "list_projects";
        bool isRequired = argument.kind == Kind::requiredText || argument.kind == Kind::requiredBoolean ||
                          (argument.kind == Kind::uuid && !isOptionalID);
        if (isRequired) {
            JSONValue::Object arguments = goodArguments(tool);
            arguments.erase(argument.name);
            EXPECT_EQ(scenario.refusal(tool, arguments), std::string(argument.name) + " is required.") << tool;
            arguments[argument.name] = nullptr;
            EXPECT_EQ(scenario.refusal(tool, arguments), std::string(argument.name) + " is required.") << tool;
        }
    }
    EXPECT_EQ(scenario.everythingStored(), before);
    EXPECT_TRUE(scenario.requests(tracker).empty());
}

TEST_F(WrongArgumentsTest, argumentsThatNobodyAsksForArePassedOver) {
    JSONValue::Object arguments = goodArguments("get_task");
    arguments["colour"] = "red";
    EXPECT_EQ(member(scenario.call("get_task", arguments), "title"), "Story");
    EXPECT_EQ(scenario.call("stop_timer", JSONValue::object({{"task_id", 5}})),
              JSONValue::object({{"stopped", false}}));
}

TEST_F(WrongArgumentsTest, theTableHoldsEveryArgumentOfEveryTool) {
    size_t count = 0;
    for (const MCPTool& tool : marletTools(ToolContext{scenario.harness.services(), scenario.background})) {
        for (const auto& [name, schema] : *member(tool.inputSchema, "properties").objectValue()) {
            bool isInTable = std::any_of(
                std::begin(everyArgument), std::end(everyArgument),
                [&](const Argument& argument) { return tool.name == argument.tool && name == argument.name; });
            EXPECT_TRUE(isInTable) << tool.name << " " << name;
            ++count;
        }
    }
    EXPECT_EQ(count, std::size(everyArgument));
}

}  // namespace marlet
