#include "MarletWorkspace/CopilotMCPConfig.h"

#include <boost/json/value.hpp>
#include <optional>

#include "MarletBase/RawJSONObject.h"

namespace marlet {
namespace {

constexpr std::string_view serversKey = "mcpServers";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool isBlank(std::string_view data) {
    return data.find_first_not_of(" \t\n\r") == std::string_view::npos;
}

RawJSONObject readableObject(std::string_view text) {
    std::optional<RawJSONObject> object = RawJSONObject::parse(text);
    if (!object) {
        throw CopilotConfigError::unreadable();
    }
    return *object;
}

// Some editors put a mark of the encoding in front, which is no part of the JSON.
RawJSONObject readableFile(std::string_view data) {
    if (isBlank(data)) {
        return {};
    }
    if (data.starts_with(byteOrderMark)) {
        data.remove_prefix(byteOrderMark.size());
    }
    return readableObject(data);
}

RawJSONObject readableServers(const RawJSONObject& file) {
    std::optional<std::string_view> servers = file.member(serversKey);
    return servers ? readableObject(*servers) : RawJSONObject();
}

}  // namespace

CopilotConfigError CopilotConfigError::unreadable() {
    return CopilotConfigError(
        "~/.copilot/mcp-config.json isn't valid JSON, so Marlet left it alone. Fix or remove it, then try again.");
}

std::string CopilotMCPConfig::updated(std::string_view data, const std::string& endpoint, const std::string& token) {
    RawJSONObject file = readableFile(data);
    RawJSONObject servers = readableServers(file);
    servers.set(serverName, {{"type", "http"},
                             {"url", endpoint},
                             {"headers", {{"Authorization", "Bearer " + token}}},
                             {"tools", boost::json::array{"*"}}});
    file.set(serversKey, servers);
    return file.prettyText() + "\n";
}

}  // namespace marlet
