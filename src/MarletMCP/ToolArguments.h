#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/UUID.h"
#include "MarletMCP/JSONValue.h"

namespace marlet {

// What an argument asks of a field: no value leaves it, a value replaces what the field holds, which may be nothing.
template <class Value>
using FieldChange = std::optional<std::optional<Value>>;

// The arguments of one call, read by kind. Whatever can't be read throws MCPToolError with a text that names the
// argument. A null counts as absent unless told otherwise; arguments that nobody asks for are passed over.
class ToolArguments {
public:
    explicit ToolArguments(JSONValue::Object given) : members(std::move(given)) {}

    // Also true for a null.
    bool contains(std::string_view name) const { return members.contains(name); }
    bool isNull(std::string_view name) const;

    std::optional<std::string> text(std::string_view name) const;
    std::string requiredText(std::string_view name) const;
    std::optional<bool> boolean(std::string_view name) const;
    bool requiredBoolean(std::string_view name) const;
    std::optional<int64_t> integer(std::string_view name) const;
    std::optional<UUID> uuid(std::string_view name) const;
    UUID requiredUUID(std::string_view name) const;
    // A null removes the date.
    FieldChange<Date> date(std::string_view name) const;
    // Trimmed, without the empty ones.
    std::optional<std::vector<std::string>> texts(std::string_view name) const;
    // A number of at least 0; a null removes the estimate.
    FieldChange<double> estimate(std::string_view name) const;

private:
    // Null for an absent argument, and for one that is null.
    const JSONValue* present(std::string_view name) const;

    JSONValue::Object members;
};

// An RFC 3339 date-time, or a bare day at its midnight in the computer's time zone.
std::optional<Date> parseDayOrDateTime(std::string_view text);

}  // namespace marlet
