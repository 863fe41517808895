#include "MarletKit/BackendFactory.h"

#include "ForgeBackend/ForgeTaskBackend.h"
#include "GitLabBackend/GitLabTaskBackend.h"
#include "JiraBackend/JiraTaskBackend.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/CurlTransport.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {
namespace {

constexpr int64_t itemLimit = 1000;

template <class Backend>
std::shared_ptr<TaskBackend> make(const Account& account, const std::string& token) {
    return std::make_shared<Backend>(account, token, CurlTransport::shared(), itemLimit,
                                     std::make_shared<SystemClock>());
}

}  // namespace

std::shared_ptr<TaskBackend> makeBackend(const Account& account, const std::string& token) {
    switch (account.kind) {
        case BackendKind::github:
        case BackendKind::forgejo:
            return make<ForgeTaskBackend>(account, token);
        case BackendKind::gitlab:
            return make<GitLabTaskBackend>(account, token);
        case BackendKind::vikunja:
            return make<VikunjaTaskBackend>(account, token);
        case BackendKind::jira:
            return make<JiraTaskBackend>(account, token);
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
