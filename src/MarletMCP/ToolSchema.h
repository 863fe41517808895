// The words that the tools' input schemas and annotations are made of.
#pragma once

#include <initializer_list>
#include <string_view>

#include "MarletMCP/JSONValue.h"

namespace marlet {

// An object with these properties and no others.
JSONValue inputSchema(JSONValue::Object properties, std::initializer_list<std::string_view> required);

JSONValue textProperty();
JSONValue textProperty(std::string_view description);
JSONValue textOrNullProperty(std::string_view description);
JSONValue textsProperty();
JSONValue textsProperty(std::string_view description);
JSONValue booleanProperty();
// A boolean that is false when absent.
JSONValue switchProperty();
JSONValue switchProperty(std::string_view description);

// What a client may assume of a tool before it asks the user.
struct ToolHints {
    bool readOnly = false;
    bool destructive = false;
    bool idempotent = false;
    bool openWorld = false;
};
JSONValue::Object toolAnnotations(ToolHints hints);

}  // namespace marlet
