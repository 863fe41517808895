#include <algorithm>

#include "JiraBackend/JiraLoginInternal.h"
#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

constexpr std::string_view loginHeader = "x-seraph-loginreason";

bool isRefused(std::string_view reasons) {
    std::vector<std::string_view> all = pieces(reasons, ',');
    return std::any_of(all.begin(), all.end(), [](std::string_view piece) {
        std::string reason = lowercasedASCII(trimmed(piece));
        return reason == "authenticated_failed" || reason == "authentication_denied";
    });
}

}  // namespace

Async<TransportAnswer> JiraLoginCheck::send(URLRequest request) {
    TransportAnswer answer = co_await carrier->send(std::move(request));
    for (const auto& [name, value] : answer.headers) {
        if (lowercasedASCII(name) == loginHeader && isRefused(value)) {
            throw BackendError::unauthorized();
        }
    }
    co_return answer;
}

}  // namespace marlet
