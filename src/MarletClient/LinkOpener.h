#pragma once

#include <optional>
#include <string>

#include "MarletClient/CommandMessage.h"

namespace marlet {

// Has the desktop open the link with the program that it belongs to. Gives the reason, a sentence, when that is known
// not to work.
std::optional<std::string> openLink(const std::string& link);

// Opens the agent's link of a reply to `work`, unless people do that themselves, and says so in the remark. A link that
// can't be opened, or shall not be, is told there instead.
void handOver(CommandReply& reply, bool opensLink);

}  // namespace marlet
