#include "MarletHelper/HelperOptions.h"

#include <fmt/format.h>

#include <cstdlib>

#include "MarletIPC/LineServer.h"
#include "MarletWorkspace/HelperMessages.h"

namespace marlet {
namespace {

constexpr std::string_view socketOption = "--socket";

std::filesystem::path socketPath(const std::string& text) {
    if (text.empty()) {
        throw HelperUsageError("--socket needs a path.");
    }
    return std::filesystem::absolute(text);
}

}  // namespace

HelperOptions HelperOptions::parse(const std::vector<std::string>& arguments) {
    HelperOptions options;
    for (size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == socketOption) {
            options.socket = socketPath(++index < arguments.size() ? arguments[index] : "");
        } else if (argument.starts_with(fmt::format("{}=", socketOption))) {
            options.socket = socketPath(argument.substr(socketOption.size() + 1));
        } else if (argument == "--until-input-ends") {
            options.untilInputEnds = true;
        } else if (argument == "--help") {
            options.wantsUsage = true;
        } else {
            throw HelperUsageError(fmt::format("The argument \"{}\" isn't known.", argument));
        }
    }
    return options;
}

std::filesystem::path defaultHelperSocket() {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (!folder || *folder != '/') {
        throw LineServerError("XDG_RUNTIME_DIR isn't set. Name the socket with --socket PATH.");
    }
    return std::filesystem::path(folder) / fmt::format("{}.sock", helperServiceName);
}

}  // namespace marlet
