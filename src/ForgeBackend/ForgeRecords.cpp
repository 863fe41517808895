#include "ForgeBackend/ForgeRecordsInternal.h"

namespace marlet {

boost::json::value encode(const LabelReferences& labels, const CodingStyle& style) {
    return std::visit([&](const auto& references) { return encode(references, style); }, labels.namesOrIDs);
}

}  // namespace marlet
