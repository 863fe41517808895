#include <boost/container_hash/hash.hpp>

#include "FuzzEntries.h"
#include "MarletBase/Text.h"
#include "MarletWorkspace/HelperMessages.h"

namespace marlet {
namespace {

template <class Message>
void checkMessage(std::string_view bytes) {
    Message message;
    try {
        message = Message::parse(bytes);
    } catch (const HelperMessageError&) {
        return;
    }
    std::string line = message.line();
    Message again = Message::parse(line);
    if (again != message || again.line() != line || hash_value(again) != hash_value(message)) {
        programmingError("A message changes when it is written and read.");
    }
    if (!isValidUTF8(line) || line.find('\n') != std::string::npos) {
        programmingError("A message isn't one line of text.");
    }
}

}  // namespace

void fuzzHelperMessage(std::string_view bytes) {
    checkMessage<HelperRequest>(bytes);
    checkMessage<HelperReply>(bytes);
}

}  // namespace marlet
