#pragma once

#include <string>
#include <vector>

#include "MarletWorkspace/HelperMessages.h"

namespace marlet {

template <class Message>
struct MessageShape {
    Message message;
    std::string line;
};

// Every case, with all of its optional fields and with none of them.
std::vector<MessageShape<HelperRequest>> requestShapes();
std::vector<MessageShape<HelperReply>> replyShapes();

// Why the line isn't taken; "(none)" for one that is.
template <class Message>
std::string refusal(const std::string& line) {
    try {
        Message::parse(line);
    } catch (const HelperMessageError& error) {
        return error.errorDescription();
    }
    return "(none)";
}

// The lines of both.
std::vector<std::string> allLines();

}  // namespace marlet
