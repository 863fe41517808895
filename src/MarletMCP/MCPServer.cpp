#include "MarletMCP/MCPServer.h"

#include <algorithm>
#include <exception>

namespace marlet {
namespace {

constexpr int invalidRequest = -32600;
constexpr int methodNotFound = -32601;
constexpr int invalidParams = -32602;

JSONValue success(JSONValue id, JSONValue result) {
    return JSONValue::object({{"jsonrpc", "2.0"}, {"id", std::move(id)}, {"result", std::move(result)}});
}

JSONValue::Object objectMember(const JSONValue::Object& members, std::string_view key) {
    auto found = members.find(key);
    const JSONValue::Object* object = found == members.end() ? nullptr : found->second.objectValue();
    return object ? *object : JSONValue::Object();
}

const std::string* stringMember(const JSONValue::Object& members, std::string_view key) {
    auto found = members.find(key);
    return found == members.end() ? nullptr : found->second.stringValue();
}

JSONValue textContent(std::string text) {
    JSONValue::Array content;
    content.push_back(JSONValue::object({{"type", "text"}, {"text", std::move(text)}}));
    return content;
}

JSONValue toolResult(JSONValue value) {
    JSONValue content = textContent(value.data(true));
    JSONValue structured = value.objectValue() ? std::move(value) : JSONValue::object({{"result", std::move(value)}});
    return JSONValue::object(
        {{"content", std::move(content)}, {"structuredContent", std::move(structured)}, {"isError", false}});
}

JSONValue toolFailure(std::exception_ptr error) {
    return JSONValue::object({{"content", textContent(localizedDescription(error))}, {"isError", true}});
}

}  // namespace

MCPServer::MCPServer(std::string serverName, std::string serverVersion, std::string serverInstructions,
                     std::vector<MCPTool> serverTools)
    : name(std::move(serverName)),
      version(std::move(serverVersion)),
      instructions(std::move(serverInstructions)),
      tools(std::move(serverTools)) {}

JSONValue MCPServer::failure(JSONValue id, int code, std::string message) {
    return JSONValue::object({{"jsonrpc", "2.0"},
                              {"id", std::move(id)},
                              {"error", JSONValue::object({{"code", code}, {"message", std::move(message)}})}});
}

Async<std::optional<JSONValue>> MCPServer::handle(JSONValue message) const {
    const JSONValue::Object* members = message.objectValue();
    if (!members || members->empty()) {
        co_return failure(nullptr, invalidRequest, "Invalid request");
    }
    const JSONValue* id = message["id"];
    const std::string* method = stringMember(*members, "method");
    if (!method) {
        if (members->contains("result") || members->contains("error")) {
            co_return std::nullopt;
        }
        co_return failure(id ? *id : JSONValue(), invalidRequest, "Invalid request");
    }
    if (!id) {
        co_return std::nullopt;
    }
    if (*method == "ping") {
        co_return success(*id, JSONValue::Object());
    }
    if (*method == "initialize") {
        co_return success(*id, initializeResult(objectMember(*members, "params")));
    }
    if (*method == "tools/list") {
        co_return success(*id, listResult());
    }
    if (*method == "tools/call") {
        JSONValue response = co_await callResponse(*id, objectMember(*members, "params"));
        co_return response;
    }
    co_return failure(*id, methodNotFound, "Method not found: " + *method);
}

JSONValue MCPServer::initializeResult(const JSONValue::Object& params) const {
    const std::string* wanted = stringMember(params, "protocolVersion");
    auto chosen = supportedProtocolVersions.begin();
    if (wanted) {
        auto found = std::find(supportedProtocolVersions.begin(), supportedProtocolVersions.end(), *wanted);
        chosen = found == supportedProtocolVersions.end() ? chosen : found;
    }
    return JSONValue::object(
        {{"protocolVersion", *chosen},
         {"capabilities", JSONValue::object({{"tools", JSONValue::object({{"listChanged", false}})}})},
         {"serverInfo", JSONValue::object({{"name", name}, {"title", "Marlet"}, {"version", version}})},
         {"instructions", instructions}});
}

JSONValue MCPServer::listResult() const {
    JSONValue::Array list;
    for (const MCPTool& tool : tools) {
        JSONValue::Object annotations = tool.annotations;
        annotations["title"] = tool.title;
        list.push_back(JSONValue::object({{"name", tool.name},
                                          {"title", tool.title},
                                          {"description", tool.description},
                                          {"inputSchema", tool.inputSchema},
                                          {"annotations", std::move(annotations)}}));
    }
    return JSONValue::object({{"tools", std::move(list)}});
}

Async<JSONValue> MCPServer::callResponse(JSONValue id, JSONValue::Object params) const {
    const std::string* wanted = stringMember(params, "name");
    if (!wanted) {
        co_return failure(std::move(id), invalidParams, "Missing tool name");
    }
    auto tool = std::find_if(tools.begin(), tools.end(), [&](const MCPTool& each) { return each.name == *wanted; });
    if (tool == tools.end()) {
        co_return failure(std::move(id), invalidParams, "Unknown tool: " + *wanted);
    }
    JSONValue::Object arguments = objectMember(params, "arguments");
    std::exception_ptr error;
    try {
        JSONValue value = co_await tool->handler(std::move(arguments));
        co_return success(std::move(id), toolResult(std::move(value)));
    } catch (...) {
        error = std::current_exception();
    }
    co_return success(std::move(id), toolFailure(error));
}

}  // namespace marlet
