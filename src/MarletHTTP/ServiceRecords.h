// What the backends of the services read, compare and ask alike, whatever the service.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/URL.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/TaskItem.h"

namespace marlet {

// Kept as it came: a server that sends an empty or broken address of a page or a picture loses that, not the list.
using WebAddress = std::optional<std::string>;
std::optional<URL> url(const WebAddress& address);

// Something that is there; what it holds doesn't matter.
struct PresenceMarker {};
void decode(const boost::json::value& json, PresenceMarker& marker, const DecodingPath& path);

// What is of use where it can be read; otherwise it is absent, and the answer around it still stands.
template <class Record>
struct Readable {
    std::optional<Record> record;
};

template <class Record>
void decode(const boost::json::value& json, Readable<Record>& readable, const DecodingPath& path) {
    try {
        decode(json, readable.record.emplace(), path);
    } catch (const DecodingError&) {
        readable.record.reset();
    }
}

// The answer to what makes something new. The service has it by then, so an answer of which only the identity can be
// read is still a success: an error would have it made a second time.
template <class Identity, class Record>
struct Created {
    Identity identity;
    std::optional<Record> record;
};

template <class Identity, class Record>
void decode(const boost::json::value& json, Created<Identity, Record>& created, const DecodingPath& path) {
    decode(json, created.identity, path);
    Readable<Record> whole;
    decode(json, whole, path);
    created.record = std::move(whole.record);
}

// A comment of which the answer tells no more than the id.
TaskComment commentAsSent(std::string id, std::string body);

// "#D73A4A" -> "d73a4a". No value for an absent or empty one, or for nothing but "#".
std::optional<std::string> colorHex(const std::optional<std::string>& color);

// The label names, in order.
std::vector<std::string> labelNames(const std::vector<TaskLabel>& labels);
// Whether both name the same labels, in whatever order and however often.
bool haveSameNames(const std::vector<TaskLabel>& labels, const std::vector<TaskLabel>& others);

// The service refuses this to this token, or doesn't know it: what else it has may still be read.
bool isDenied(const BackendError& error);

// Ids of projects and tasks become parts of paths. Throws BackendError::notFound for one that would lead up the path or
// leave a gap in it; slashes separate segments.
void requirePathSegments(std::string_view id);
// The same for ids that are numbers.
void requireNumber(std::string_view id);

}  // namespace marlet
