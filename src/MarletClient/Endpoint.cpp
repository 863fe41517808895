#include "MarletClient/Endpoint.h"

#include <fmt/format.h>

#include <boost/json/serialize.hpp>

#include "MarletBase/Coding.h"

namespace marlet {

std::optional<Endpoint> Endpoint::load(const DataFolder& folder) {
    std::optional<std::string> content = readFile(folder.endpointFile());
    if (!content) {
        return std::nullopt;
    }
    try {
        return decoded<Endpoint>(parseJSON(*content));
    } catch (const DecodingError&) {
        throw DataFolderError(fmt::format(
            "The file {} can't be understood. Remove it: the next serve makes a new port and token, and agents have to "
            "be registered again.",
            folder.endpointFile().string()));
    }
}

void Endpoint::save(const DataFolder& folder) const {
    writePrivateFile(folder.endpointFile(), boost::json::serialize(encode(*this, DateCoding::seconds)) + "\n");
}

std::string Endpoint::url() const {
    return fmt::format("http://127.0.0.1:{}/mcp", port);
}

}  // namespace marlet
