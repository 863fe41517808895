#pragma once

#include <string>

#include "MarletClient/CommandMessage.h"
#include "MarletClient/Terminal.h"

namespace marlet {

// A command's result as people read it; every line ends with a line end. Made from the same value that --json prints.
std::string presented(const std::string& command, const CommandReply& reply, const Terminal& terminal);

}  // namespace marlet
