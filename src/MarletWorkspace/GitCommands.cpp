#include "MarletWorkspace/GitCommandsInternal.h"

#include <fmt/ranges.h>

#include <algorithm>
#include <string_view>

#include "MarletBase/Base64.h"
#include "MarletBase/Text.h"
#include "MarletBase/URL.h"
#include "MarletWorkspace/CheckoutError.h"

namespace marlet {
namespace {

constexpr std::string_view redacted = "***";
constexpr size_t reportedLines = 3;

// What the host is shown, in the form that any user name goes with.
std::string credential(const std::string& token) {
    return base64("x-access-token:" + token);
}

// The host to show a token to, with its port; no value unless the address is an https one.
std::optional<std::string> tokenAuthority(const std::string& remote) {
    std::optional<URL> url = URL::parse(remote);
    if (!url) {
        return std::nullopt;
    }
    URLComponents components = url->components();
    if (components.scheme != "https" || components.host.value_or("").empty()) {
        return std::nullopt;
    }
    return components.port.empty() ? *components.host : *components.host + ":" + components.port;
}

std::string withoutSecrets(std::string text, const std::optional<std::string>& token) {
    if (token && !token->empty()) {
        text = replacingAll(text, credential(*token), redacted);
        text = replacingAll(text, *token, redacted);
    }
    return withoutUserInfo(text);
}

}  // namespace

CommandResult Git::run(const std::vector<std::string>& arguments, double timeout,
                       std::map<std::string, std::string> environment) const {
    Command command{executable, {"-C", folder}, std::nullopt, std::move(environment), timeout};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    return runner.run(command);
}

bool succeeded(const CommandResult& result) {
    return !result.timedOut && result.status == 0;
}

std::map<std::string, std::string> gitEnvironment(const std::string& remote, const std::optional<std::string>& token) {
    std::map<std::string, std::string> environment{{"GIT_TERMINAL_PROMPT", "0"},
                                                   {"GIT_SSH_COMMAND", "ssh -o BatchMode=yes"}};
    std::optional<std::string> authority = token ? tokenAuthority(remote) : std::nullopt;
    if (authority) {
        environment["GIT_CONFIG_COUNT"] = "1";
        environment["GIT_CONFIG_KEY_0"] = "http.https://" + *authority + "/.extraHeader";
        environment["GIT_CONFIG_VALUE_0"] = "Authorization: Basic " + credential(*token);
    }
    return environment;
}

void check(const CommandResult& result, const std::string& command, const std::optional<std::string>& token) {
    if (result.timedOut) {
        throw CheckoutError::commandFailed(command, "it took too long and was stopped");
    }
    if (result.status == 0) {
        return;
    }
    std::string said = withoutSecrets(result.errorOutput, token);
    std::replace(said.begin(), said.end(), '\r', '\n');  // ssh ends its lines with both
    std::vector<std::string_view> lines = pieces(said, '\n');
    lines.erase(lines.begin(), lines.end() - static_cast<ptrdiff_t>(std::min(lines.size(), reportedLines)));
    throw CheckoutError::commandFailed(command, lines.empty() ? fmt::format("exit status {}", result.status)
                                                              : fmt::format("{}", fmt::join(lines, " ")));
}

std::string withoutUserInfo(std::string_view text) {
    constexpr std::string_view mark = "://";
    std::string result;
    size_t copied = 0;
    for (size_t at = text.find(mark); at != std::string_view::npos; at = text.find(mark, at + mark.size())) {
        size_t start = at + mark.size();
        std::string_view authority = text.substr(start);
        authority = authority.substr(0, authority.find_first_of("/?# \t\r\n"));
        std::string_view userInfo = authority.substr(0, authority.rfind('@') + 1);  // with the "@"; empty without one
        bool isSSH = text.substr(0, at).ends_with("ssh");
        if (!userInfo.empty() && (!isSSH || userInfo.find(':') != std::string_view::npos)) {
            result.append(text, copied, start - copied).append(redacted);
            copied = start + userInfo.size() - 1;
        }
    }
    return result.append(text, copied);
}

}  // namespace marlet
