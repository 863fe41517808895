#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "ForgeBackend/GitHubBoard.h"
#include "ForgeBackend/GitHubBoardRecordsInternal.h"
#include "MarletBase/Async.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

// None: the board has no status field.
using GitHubStatusField = std::shared_ptr<const GitHubProjectField>;

// The status fields of the boards, each asked for once; that a board has none is kept as well. Safe from any thread.
// A request runs outside the lock: two look-ups at once may ask twice, and the later answer stays.
class GitHubBoardFields {
public:
    // Throws what the request throws, and keeps nothing then. `client` has to outlive the operation.
    Async<GitHubStatusField> statusField(GitHubBoard board, const HTTPClient& client);

private:
    // No value: not asked for yet.
    std::optional<GitHubStatusField> known(const std::string& projectID) const;
    void store(const std::string& projectID, GitHubStatusField field);

    mutable std::mutex lock;
    std::unordered_map<std::string, GitHubStatusField> fields;  // by Project::id
};

}  // namespace marlet
