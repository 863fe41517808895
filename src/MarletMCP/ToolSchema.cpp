#include "MarletMCP/ToolSchema.h"

namespace marlet {
namespace {

JSONValue described(JSONValue::Object schema, std::string_view description) {
    schema.emplace("description", description);
    return schema;
}

}  // namespace

JSONValue inputSchema(JSONValue::Object properties, std::initializer_list<std::string_view> required) {
    return JSONValue::object({
        {"type", "object"},
        {"properties", std::move(properties)},
        {"required", JSONValue::Array(required.begin(), required.end())},
        {"additionalProperties", false},
    });
}

JSONValue textProperty() {
    return JSONValue::object({{"type", "string"}});
}

JSONValue textProperty(std::string_view description) {
    return described({{"type", "string"}}, description);
}

JSONValue textOrNullProperty(std::string_view description) {
    return described({{"type", JSONValue::array({"string", "null"})}}, description);
}

JSONValue textsProperty() {
    return JSONValue::object({{"type", "array"}, {"items", textProperty()}});
}

JSONValue textsProperty(std::string_view description) {
    return described({{"type", "array"}, {"items", textProperty()}}, description);
}

JSONValue booleanProperty() {
    return JSONValue::object({{"type", "boolean"}});
}

JSONValue switchProperty() {
    return JSONValue::object({{"type", "boolean"}, {"default", false}});
}

JSONValue switchProperty(std::string_view description) {
    return described({{"type", "boolean"}, {"default", false}}, description);
}

JSONValue::Object toolAnnotations(ToolHints hints) {
    return {
        {"readOnlyHint", hints.readOnly},
        {"destructiveHint", hints.destructive},
        {"idempotentHint", hints.idempotent},
        {"openWorldHint", hints.openWorld},
    };
}

}  // namespace marlet
