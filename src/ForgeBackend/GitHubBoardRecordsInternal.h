// What the Projects API answers and takes. Everything the mapping doesn't need may be absent, null or of any shape.
#pragma once

#include <boost/describe.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/Date.h"
#include "MarletHTTP/ServiceRecords.h"

namespace marlet {

// A text that comes plain in some answers and as {"raw": …, "html": …} in others.
struct GitHubText {
    std::string raw;

    struct Rich {
        std::string raw;
    };

    bool operator==(const GitHubText&) const = default;
};
BOOST_DESCRIBE_STRUCT(GitHubText::Rich, (), (raw))

void decode(const boost::json::value& json, GitHubText& text, const DecodingPath& path);

struct GitHubProjectV2 {
    int64_t number = 0;
    std::string title;
    std::optional<std::string> shortDescription;
    std::optional<std::string> state;
    std::optional<Date> closedAt;
    std::optional<bool> isTemplate;
};
BOOST_DESCRIBE_STRUCT(GitHubProjectV2, (), (number, title, shortDescription, state, closedAt, isTemplate))

struct GitHubProjectField {
    struct Option {
        std::string id;
        GitHubText name;
    };

    int64_t id = 0;
    std::string name;
    std::optional<std::string> dataType;
    std::optional<std::vector<Option>> options;
};
BOOST_DESCRIBE_STRUCT(GitHubProjectField::Option, (), (id, name))
BOOST_DESCRIBE_STRUCT(GitHubProjectField, (), (id, name, dataType, options))

struct GitHubProjectItem {
    struct Content {
        std::optional<std::string> nodeId;
        std::optional<std::string> title;
        std::optional<std::string> body;
        std::optional<Date> createdAt;
        std::optional<Date> updatedAt;
    };
    struct FieldValue {
        struct Value {
            std::optional<std::string> id;
            std::optional<GitHubText> name;
        };

        std::optional<int64_t> id;
        std::optional<std::string> name;
        std::optional<Value> value;
    };

    int64_t id = 0;
    std::string contentType;
    std::optional<Content> content;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<Date> archivedAt;
    std::optional<std::vector<FieldValue>> fields;
};
BOOST_DESCRIBE_STRUCT(GitHubProjectItem::Content, (), (nodeId, title, body, createdAt, updatedAt))
BOOST_DESCRIBE_STRUCT(GitHubProjectItem::FieldValue, (), (id, name, value))
BOOST_DESCRIBE_STRUCT(GitHubProjectItem, (), (id, contentType, content, createdAt, updatedAt, archivedAt, fields))

// A field's value may be of every JSON type, and its members too: a milestone has a number for its id. What isn't an
// object is no value, and a member that is no text is absent.
void decode(const boost::json::value& json, std::optional<GitHubProjectItem::FieldValue::Value>& value,
            const DecodingPath& path);

struct GitHubItemIdentity {
    int64_t id = 0;
};
BOOST_DESCRIBE_STRUCT(GitHubItemIdentity, (), (id))

using CreatedDraft = Created<GitHubItemIdentity, GitHubProjectItem>;

struct GitHubDraftUpdate {
    struct Payload {};

    std::optional<Payload> updateProjectV2DraftIssue;
};
BOOST_DESCRIBE_STRUCT(GitHubDraftUpdate::Payload, (), ())
BOOST_DESCRIBE_STRUCT(GitHubDraftUpdate, (), (updateProjectV2DraftIssue))

struct NewDraft {
    std::string title;
    std::string body;
};
BOOST_DESCRIBE_STRUCT(NewDraft, (), (title, body))

}  // namespace marlet
