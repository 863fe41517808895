#include "JiraBackend/JiraRecordsInternal.h"

#include "MarletHTTP/JSONCoding.h"

namespace marlet {

void decode(const boost::json::value& json, JiraFields& fields, const DecodingPath& path) {
    decode(json, static_cast<JiraNamedFields&>(fields), path);
    fields.customStrings.clear();
    fields.customNumbers.clear();
    for (const auto& member : detail::objectIn(json, path)) {
        std::string_view key(member.key().data(), member.key().size());
        const boost::json::value& value = member.value();
        if (!key.starts_with("customfield")) {
            continue;
        }
        if (const boost::json::string* text = value.if_string()) {
            fields.customStrings[JSONCoding::keyFromSnakeCase(key)].assign(text->data(), text->size());
        } else if (value.is_number()) {
            fields.customNumbers[JSONCoding::keyFromSnakeCase(key)] = value.to_number<double>();
        }
    }
}

}  // namespace marlet
