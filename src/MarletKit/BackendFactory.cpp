#include "MarletKit/BackendFactory.h"

#include <fmt/format.h>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/CurlTransport.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {
namespace {

constexpr int64_t itemLimit = 1000;

}  // namespace

std::shared_ptr<TaskBackend> makeBackend(const Account& account, const std::string& token) {
    switch (account.kind) {
        case BackendKind::github:
        case BackendKind::forgejo:
            return std::make_shared<ForgeTaskBackend>(account, token, CurlTransport::shared(), itemLimit,
                                                      std::make_shared<SystemClock>());
        case BackendKind::vikunja:
            return std::make_shared<VikunjaTaskBackend>(account, token, CurlTransport::shared(), itemLimit,
                                                        std::make_shared<SystemClock>());
        case BackendKind::gitlab:
        case BackendKind::jira:
            throw BackendError::rejected(
                fmt::format("{} accounts aren't built into this version of Marlet yet.", displayName(account.kind)));
        case BackendKind::local:
            break;
    }
    programmingError("A local account has no backend of the network.");
}

std::shared_ptr<TaskBackend> makeBackend(const Account& account, CredentialStore& credentials) {
    std::optional<std::string> token = credentials.token(account.id);
    if (!token) {
        throw BackendError::unauthorized();
    }
    return makeBackend(account, *token);
}

}  // namespace marlet
