#pragma once

#include <functional>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "KillMoment.h"
#include "MarletMCP/JSONValue.h"
#include "TestSupport/LoopbackClient.h"

namespace marlet {

// A task as the one who edits it knows it.
struct ExpectedTask {
    using Content = std::optional<JSONValue::Object>;  // none: the task isn't there

    // Begins every title that the task ever has, and no other task's.
    std::string name;
    // Empty while nobody told it.
    std::string id;
    // What the last answer said comes first. A request that got no answer may have been carried out.
    std::vector<Content> possible;
    std::vector<std::string> comments;
    std::optional<std::string> possibleComment;
    bool isTimed = false;

    bool isSettled() const { return possible.size() == 1 && !possibleComment; }
    bool isThere() const { return isSettled() && possible.front(); }
    bool allows(const Content& content) const;
    bool mayBeGone() const { return allows(std::nullopt); }
};

std::string nameOf(const std::string& title);

// Where the daemon serves agents, and with what token.
struct AgentEndpoint {
    explicit AgentEndpoint(const JSONValue& ready);

    // The request that calls a tool, as it goes over the wire.
    std::string request(const std::string& tool, const JSONValue::Object& arguments) const;

    uint16_t port;
    std::string token;
    std::string projectKey;
};

// The outcome of a tool in a response: its structured result, or the text of its error.
struct ToolOutcome {
    explicit ToolOutcome(const std::string& response);

    JSONValue result;
    std::optional<std::string> error;
};

// One of several agents that edit tasks of their own, and remember what was acknowledged.
class EditingAgent {
public:
    EditingAgent(std::string agentName, uint32_t seed) : name(std::move(agentName)), random(seed) {}

    // Edits until the daemon is gone.
    void editUntilItDies(const AgentEndpoint& endpoint, LoopbackClient& client, KillMoment& moment);

    std::list<ExpectedTask> tasks;

private:
    // No value when the daemon died before it answered.
    using Ask = std::function<std::optional<ToolOutcome>(const std::string& tool, const JSONValue::Object& arguments)>;

    // Each is false when the daemon is gone.
    bool editOnce(const Ask& ask, const std::string& projectKey);
    bool create(const Ask& ask, const std::string& projectKey);
    bool update(const Ask& ask, ExpectedTask& task);
    bool setFlag(const Ask& ask, ExpectedTask& task);
    bool comment(const Ask& ask, ExpectedTask& task);
    bool startTimer(const Ask& ask, ExpectedTask& task);
    bool stopTimer(const Ask& ask);
    bool remove(const Ask& ask, ExpectedTask& task);

    bool change(const Ask& ask, const std::string& tool, ExpectedTask& task, const JSONValue::Object& fields);
    JSONValue::Object newFields(const ExpectedTask& task);
    ExpectedTask* anyTask();
    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); }
    std::string nextText() { return std::to_string(++texts); }

    std::string name;
    std::mt19937 random;
    int texts = 0;
};

}  // namespace marlet
