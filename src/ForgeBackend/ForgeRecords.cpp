#include "ForgeBackend/ForgeRecordsInternal.h"

namespace marlet {
namespace {

struct IssueNumber {
    int64_t number = 0;
};
BOOST_DESCRIBE_STRUCT(IssueNumber, (), (number))

struct CommentIdentity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(CommentIdentity, (), (id))

// No value for a record that can't be read.
template <class Record>
std::optional<Record> readable(const boost::json::value& json, const DecodingPath& path) {
    try {
        Record record;
        decode(json, record, path);
        return record;
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

}  // namespace

void decode(const boost::json::value&, PresenceMarker&, const DecodingPath&) {}

void decode(const boost::json::value& json, CreatedIssue& created, const DecodingPath& path) {
    IssueNumber identity;
    decode(json, identity, path);
    created.number = identity.number;
    created.issue = readable<ForgeIssue>(json, path);
}

void decode(const boost::json::value& json, CreatedComment& created, const DecodingPath& path) {
    CommentIdentity identity;
    decode(json, identity, path);
    created.id = identity.id;
    created.comment = readable<ForgeComment>(json, path);
}

boost::json::value encode(const LabelReferences& labels, const CodingStyle& style) {
    return std::visit([&](const auto& references) { return encode(references, style); }, labels.namesOrIDs);
}

}  // namespace marlet
