#include "ForgeBackend/GitHubBoardFieldsInternal.h"

#include "ForgeBackend/GitHubBoardMappingInternal.h"

namespace marlet {

Async<GitHubStatusField> GitHubBoardFields::statusField(GitHubBoard board, const HTTPClient& client) {
    std::string projectID = board.projectID();
    std::optional<GitHubStatusField> cached = known(projectID);
    if (cached) {
        co_return *cached;
    }
    std::string path = board.apiPath() + "/fields";
    std::vector<GitHubProjectField> all =
        co_await client.paginate<GitHubProjectField>(std::move(path), gitHubBoards::pageQuery());
    GitHubStatusField field = gitHubBoards::statusField(std::move(all));
    store(projectID, field);
    co_return field;
}

std::optional<GitHubStatusField> GitHubBoardFields::known(const std::string& projectID) const {
    std::scoped_lock guard(lock);
    auto found = fields.find(projectID);
    return found != fields.end() ? std::optional(found->second) : std::nullopt;
}

void GitHubBoardFields::store(const std::string& projectID, GitHubStatusField field) {
    std::scoped_lock guard(lock);
    fields[projectID] = std::move(field);
}

}  // namespace marlet
