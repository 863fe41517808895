#pragma once

#include <string>
#include <vector>

#include "MarletMCP/MCPTool.h"
#include "MarletMCP/MarletTools.h"
#include "TestSupport/ServicesHarness.h"

namespace marlet {

// All tools over a whole engine with scripted services: calls go in, results or refusals come out.
class ToolScenario {
public:
    ToolScenario();
    ~ToolScenario();

    // The tool's result. Whatever the tool throws ends the test.
    JSONValue call(const std::string& tool, JSONValue arguments = JSONValue::Object());
    // The same, begun beside the test.
    std::shared_ptr<TestLoop::Outcome<JSONValue>> start(const std::string& tool,
                                                        JSONValue arguments = JSONValue::Object());
    // The text with which the tool refuses the call.
    std::string refusal(const std::string& tool, JSONValue arguments = JSONValue::Object());

    // An account with subscribed projects that are named after their ids.
    Account addAccount(BackendKind kind, const std::vector<std::string>& projectIDs);
    // Replaces the account's list of projects; all of them are subscribed.
    void setProjects(const Account& account, std::vector<Project> projects);
    // What the server is said to hold, fetched into the store.
    void serve(const Account& account, const std::string& projectID, std::vector<TaskItem> items);

    UUID taskID(const Account& account, const std::string& projectID, const std::string& number);
    TaskSnapshot task(UUID id) { return harness.task(id); }

    // Waits for the pushes that tools began.
    void finishPushes() { harness.run(background.drain()); }
    // What the account's service was asked for since the last time, pushes in the background included.
    std::vector<std::string> requests(const Account& account);
    // Everything that a tool could change.
    std::string everythingStored();

    ServicesHarness harness;
    BackgroundTasks background{harness.loop.executor()};

private:
    const MCPTool& tool(const std::string& name) const;

    std::vector<MCPTool> tools;
};

// The member of an object; ends the test if there is none.
const JSONValue& member(const JSONValue& object, std::string_view key);
// The titles of the tasks that list_tasks gave, in order.
std::vector<std::string> titles(const JSONValue& result);

// Waits until the gate is opened: it expires or is cancelled.
Async<void> opened(boost::asio::steady_timer& gate);

// A task of a server that can have children and a parent.
TaskItem issue(const std::string& number, const std::string& title);

}  // namespace marlet
