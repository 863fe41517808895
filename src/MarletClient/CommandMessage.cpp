#include "MarletClient/CommandMessage.h"

#include <boost/json/serialize.hpp>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

std::optional<std::string> text(const JSONValue& message, std::string_view key) {
    const JSONValue* member = message[key];
    const std::string* found = member ? member->stringValue() : nullptr;
    return found ? std::optional(*found) : std::nullopt;
}

}  // namespace

std::string CommandRequest::line() const {
    return boost::json::serialize(boost::json::object{{"command", command}, {"options", options}});
}

CommandRequest CommandRequest::parse(std::string_view line) {
    boost::json::value message = parseJSON(line);
    const boost::json::object* object = message.if_object();
    const boost::json::value* command = object ? object->if_contains("command") : nullptr;
    const boost::json::value* options = object ? object->if_contains("options") : nullptr;
    if (!command || !command->is_string() || !options) {
        throw DecodingError("command", "is missing");
    }
    return CommandRequest{std::string(command->get_string()), *options};
}

std::string CommandReply::line() const {
    JSONValue::Object message{{"result", result}};
    if (remark) {
        message["remark"] = *remark;
    }
    if (error) {
        message["error"] = *error;
    }
    if (isStopping) {
        message["stopping"] = true;
    }
    return JSONValue(std::move(message)).data();
}

CommandReply CommandReply::parse(std::string_view line) {
    JSONValue message = JSONValue::decode(line);
    CommandReply reply;
    if (const JSONValue* result = message["result"]) {
        reply.result = *result;
    }
    reply.remark = text(message, "remark");
    reply.error = text(message, "error");
    const JSONValue* stopping = message["stopping"];
    reply.isStopping = stopping && stopping->boolValue().value_or(false);
    return reply;
}

CommandReply CommandReply::failure(std::string message) {
    CommandReply reply;
    reply.error = std::move(message);
    return reply;
}

}  // namespace marlet
