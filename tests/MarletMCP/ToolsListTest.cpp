#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "MarletMCP/MCPServer.h"
#include "ToolScenario.h"

namespace marlet {
namespace {

std::string fixture(const std::string& name) {
    std::ifstream file(std::string(MARLET_MCP_FIXTURES) + "/" + name);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_TRUE(file.good()) << name;
    return text.str();
}

JSONValue answer(ToolScenario& scenario, const char* method) {
    MCPServer server("marlet", "1.2.3", marletInstructions,
                     marletTools(ToolContext{scenario.harness.services(), scenario.background}));
    JSONValue request = JSONValue::object({{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}});
    std::optional<JSONValue> response = scenario.harness.run(server.handle(request));
    return member(*response, "result");
}

}  // namespace

TEST(ToolsListTest, theListSaysWordForWordWhatEachToolIsFor) {
    ToolScenario scenario;
    JSONValue listed = answer(scenario, "tools/list");
    JSONValue expected = JSONValue::decode(fixture("tools-list.json"));

    const JSONValue::Array& tools = *member(listed, "tools").arrayValue();
    const JSONValue::Array& expectedTools = *member(expected, "tools").arrayValue();
    ASSERT_EQ(tools.size(), 14u);
    ASSERT_EQ(tools.size(), expectedTools.size());
    for (size_t index = 0; index < tools.size(); ++index) {
        EXPECT_EQ(tools[index].data(true), expectedTools[index].data(true));
    }
    EXPECT_EQ(listed, expected);
}

TEST(ToolsListTest, theInstructionsAreWordForWordAsAgreed) {
    ToolScenario scenario;
    EXPECT_EQ(*member(answer(scenario, "initialize"), "instructions").stringValue(), fixture("instructions.txt"));
}

}  // namespace marlet
