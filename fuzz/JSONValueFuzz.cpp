#include "FuzzEntries.h"
#include "MarletBase/LocalizedError.h"
#include "MarletBase/Text.h"
#include "MarletMCP/JSONValue.h"

namespace marlet {

void fuzzJSONValue(std::string_view bytes) {
    JSONValue value;
    try {
        value = JSONValue::decode(bytes);
    } catch (const JSONError&) {
        return;
    }
    for (bool pretty : {false, true}) {
        std::string written = value.data(pretty);
        JSONValue again = JSONValue::decode(written);
        if (!isValidUTF8(written) || again != value || hash_value(again) != hash_value(value) ||
            again.data(pretty) != written) {
            programmingError("A value changes when it is written and read.");
        }
    }
}

}  // namespace marlet
