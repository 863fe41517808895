#include "MarletWorkspace/HelperMessages.h"

#include <boost/container_hash/hash.hpp>
#include <boost/mp11/algorithm.hpp>
#include <optional>

#include "MarletBase/JSONText.h"
#include "MarletBase/RawJSONObject.h"
#include "MarletBase/Text.h"

namespace marlet {
namespace {

// A path on disk is any bytes; a reply with one must still be a line that the other side can read.
std::string readable(std::string text) {
    return isValidUTF8(text) ? std::move(text) : repairedUTF8(text);
}

// `Cases` is a variant of described records, each with the `name` that it has as the one key of a message.
template <class Cases>
std::string lineOf(const Cases& cases) {
    std::string text = "{\"";
    std::visit(
        [&text](const auto& one) {
            text += one.name;
            text += "\":";
            appendJSON(text, one);
        },
        cases);
    text += '}';
    return readable(std::move(text));
}

template <class Cases, class Case>
Cases readCase(const std::string& payload) {
    DecodingPath message(DateCoding::seconds);
    Case one;
    decode(parseJSON(payload), one, DecodingPath{&message, Case::name});
    return one;
}

template <class Cases>
struct FoundCase {
    Cases (*read)(const std::string& payload) = nullptr;
    const std::string* payload = nullptr;
    size_t count = 0;
};

template <class Cases>
FoundCase<Cases> findCase(const RawJSONObject& message) {
    FoundCase<Cases> found;
    boost::mp11::mp_for_each<boost::mp11::mp_transform<boost::mp11::mp_identity, Cases>>([&](auto identity) {
        using Case = typename decltype(identity)::type;
        for (const RawJSONObject::Member& member : message.members()) {
            if (member.key == Case::name) {
                found = {&readCase<Cases, Case>, &member.text, found.count + 1};
            }
        }
    });
    return found;
}

template <class Cases>
Cases parseCase(std::string_view line) {
    std::optional<RawJSONObject> message = RawJSONObject::parse(line);
    if (!message) {
        parseJSON(line);  // tells what is wrong with text that isn't JSON at all
        throw DecodingError("", "isn't an object");
    }
    FoundCase<Cases> found = findCase<Cases>(*message);
    if (found.count != 1) {
        throw HelperMessageError("The data can't be read: Invalid number of keys found, expected one.");
    }
    return found.read(*found.payload);
}

template <class Message>
Message parseMessage(std::string_view line) {
    try {
        return {parseCase<decltype(Message::value)>(line)};
    } catch (const DecodingError& error) {
        throw HelperMessageError(error.errorDescription());
    }
}

}  // namespace

std::string HelperRequest::line() const {
    return lineOf(value);
}

HelperRequest HelperRequest::parse(std::string_view line) {
    return parseMessage<HelperRequest>(line);
}

size_t hash_value(const HelperRequest& request) {
    return boost::hash<decltype(request.value)>()(request.value);
}

std::string HelperReply::line() const {
    return lineOf(value);
}

HelperReply HelperReply::parse(std::string_view line) {
    return parseMessage<HelperReply>(line);
}

size_t hash_value(const HelperReply& reply) {
    return boost::hash<decltype(reply.value)>()(reply.value);
}

}  // namespace marlet
