// What travels between the command line and the process that carries a command out: one JSON line each way.
#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "MarletMCP/JSONValue.h"

namespace marlet {

struct CommandRequest {
    std::string command;         // "task add"
    boost::json::value options;  // the command's options record

    std::string line() const;
    // Throws DecodingError.
    static CommandRequest parse(std::string_view line);
};

struct CommandReply {
    JSONValue result;
    // Said below the result to people, such as that there is more.
    std::optional<std::string> remark;
    // The command failed, with or without a result.
    std::optional<std::string> error;
    // The daemon stops and hasn't looked at the command.
    bool isStopping = false;

    std::string line() const;
    // Throws JSONError.
    static CommandReply parse(std::string_view line);
    static CommandReply failure(std::string message);

    bool operator==(const CommandReply&) const = default;
};

}  // namespace marlet
