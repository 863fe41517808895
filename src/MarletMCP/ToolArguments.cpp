#include "MarletMCP/ToolArguments.h"

#include <fmt/format.h>

#include <cmath>

#include "MarletBase/Text.h"
#include "MarletMCP/MCPTool.h"

namespace marlet {
namespace {

[[noreturn]] void fail(std::string_view name, std::string_view problem) {
    throw MCPToolError(fmt::format("{} {}", name, problem));
}

template <class Value>
Value required(std::optional<Value> value, std::string_view name) {
    if (!value) {
        fail(name, "is required.");
    }
    return *std::move(value);
}

}  // namespace

std::optional<Date> parseDayOrDateTime(std::string_view text) {
    std::optional<Date> date = parseISO8601(text);
    return date ? date : parseLocalDay(text);
}

const JSONValue* ToolArguments::present(std::string_view name) const {
    auto found = members.find(name);
    return found == members.end() || found->second.isNull() ? nullptr : &found->second;
}

bool ToolArguments::isNull(std::string_view name) const {
    return contains(name) && !present(name);
}

std::optional<std::string> ToolArguments::text(std::string_view name) const {
    const JSONValue* value = present(name);
    if (!value) {
        return std::nullopt;
    }
    const std::string* text = value->stringValue();
    if (!text) {
        fail(name, "must be a string.");
    }
    return *text;
}

std::string ToolArguments::requiredText(std::string_view name) const {
    return required(text(name), name);
}

std::optional<bool> ToolArguments::boolean(std::string_view name) const {
    const JSONValue* value = present(name);
    if (!value) {
        return std::nullopt;
    }
    std::optional<bool> flag = value->boolValue();
    if (!flag) {
        fail(name, "must be true or false.");
    }
    return flag;
}

bool ToolArguments::requiredBoolean(std::string_view name) const {
    return required(boolean(name), name);
}

std::optional<int64_t> ToolArguments::integer(std::string_view name) const {
    const JSONValue* value = present(name);
    if (!value) {
        return std::nullopt;
    }
    std::optional<int64_t> number = value->intValue();
    if (!number) {
        fail(name, "must be an integer.");
    }
    return number;
}

std::optional<UUID> ToolArguments::uuid(std::string_view name) const {
    std::optional<std::string> given = text(name);
    if (!given) {
        return std::nullopt;
    }
    std::optional<UUID> id = UUID::parse(*given);
    if (!id) {
        throw MCPToolError(fmt::format("{} \"{}\" isn't valid.", name, *given));
    }
    return id;
}

UUID ToolArguments::requiredUUID(std::string_view name) const {
    return required(uuid(name), name);
}

FieldChange<Date> ToolArguments::date(std::string_view name) const {
    if (!contains(name)) {
        return std::nullopt;
    }
    const JSONValue* value = present(name);
    if (!value) {
        return FieldChange<Date>(std::in_place);
    }
    const std::string* text = value->stringValue();
    if (!text) {
        fail(name, "must be a date string or null.");
    }
    std::optional<Date> date = parseDayOrDateTime(*text);
    if (!date) {
        throw MCPToolError(fmt::format("{} \"{}\" must be YYYY-MM-DD or an RFC 3339 date-time.", name, *text));
    }
    return FieldChange<Date>(date);
}

std::optional<std::vector<std::string>> ToolArguments::texts(std::string_view name) const {
    const JSONValue* value = present(name);
    if (!value) {
        return std::nullopt;
    }
    const JSONValue::Array* elements = value->arrayValue();
    if (!elements) {
        fail(name, "must be an array of strings.");
    }
    std::vector<std::string> result;
    for (const JSONValue& element : *elements) {
        const std::string* text = element.stringValue();
        if (!text) {
            fail(name, "must be an array of strings.");
        }
        if (std::string kept = trimmed(*text); !kept.empty()) {
            result.push_back(std::move(kept));
        }
    }
    return result;
}

FieldChange<double> ToolArguments::estimate(std::string_view name) const {
    if (!contains(name)) {
        return std::nullopt;
    }
    const JSONValue* value = present(name);
    if (!value) {
        return FieldChange<double>(std::in_place);
    }
    std::optional<double> number = value->numberValue();
    if (!number || !std::isfinite(*number) || *number < 0) {
        fail(name, "must be a number of at least 0, or null.");
    }
    return FieldChange<double>(number);
}

}  // namespace marlet
