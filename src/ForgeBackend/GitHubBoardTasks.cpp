// The Projects boards of GitHub: only their draft tickets are tasks here.
#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "ForgeBackend/ForgeRecordsInternal.h"
#include "ForgeBackend/ForgeRequestsInternal.h"
#include "ForgeBackend/ForgeTaskBackend.h"
#include "ForgeBackend/GitHubBoard.h"
#include "ForgeBackend/GitHubBoardFieldsInternal.h"
#include "ForgeBackend/GitHubBoardMappingInternal.h"
#include "ForgeBackend/GitHubBoardRecordsInternal.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/GitHubURL.h"

namespace marlet {
namespace {

struct BoardOwner {
    GitHubBoard::Owner kind = GitHubBoard::Owner::orgs;
    std::string login;
};

// The REST API can't change a draft's text.
constexpr const char* draftUpdateDocument =
    "mutation($input: UpdateProjectV2DraftIssueInput!) { "
    "updateProjectV2DraftIssue(input: $input) { draftIssue { id } } }";

bool isCancellation(const std::exception& error) {
    const auto* failure = dynamic_cast<const boost::system::system_error*>(&error);
    return failure && failure->code() == boost::asio::error::operation_aborted;
}

// Without the viewer, the boards of the organizations are still worth having.
Async<std::optional<std::string>> viewerLogin(const HTTPClient& client) {
    try {
        std::string path = "user";
        ForgeUser viewer = co_await client.get<ForgeUser>(std::move(path));
        co_return std::move(viewer.login);
    } catch (const std::exception& error) {
        if (isCancellation(error)) {
            throw;
        }
    }
    co_return std::nullopt;
}

// Empty for an owner whose boards the token may not see, or whose server has none.
Async<std::vector<GitHubProjectV2>> listedBoards(BoardOwner owner, const HTTPClient& client) {
    std::vector<GitHubProjectV2> boards;
    try {
        std::string path = GitHubBoard::listPath(owner.kind, owner.login);
        boards = co_await client.paginate<GitHubProjectV2>(std::move(path), gitHubBoards::pageQuery());
    } catch (const BackendError& error) {
        if (!isDenied(error)) {
            throw;
        }
    }
    std::erase_if(boards, [](const GitHubProjectV2& board) { return !gitHubBoards::isListed(board); });
    co_return boards;
}

}  // namespace

std::optional<GitHubBoard> ForgeTaskBackend::board(const std::string& projectID) const {
    return dialect == ForgeDialect::github ? GitHubBoard::parse(projectID) : std::nullopt;
}

Async<std::vector<Project>> ForgeTaskBackend::fetchBoards(std::vector<ForgeOrganization> organizations) {
    std::vector<BoardOwner> owners;
    std::optional<std::string> viewer = co_await viewerLogin(client);
    if (viewer) {
        owners.push_back({GitHubBoard::Owner::users, std::move(*viewer)});
    }
    for (ForgeOrganization& organization : organizations) {
        owners.push_back({GitHubBoard::Owner::orgs, std::move(organization.login)});
    }
    std::vector<Project> projects;
    for (const BoardOwner& owner : owners) {
        std::vector<GitHubProjectV2> records = co_await listedBoards(owner, client);
        for (const GitHubProjectV2& record : records) {
            GitHubBoard board{owner.kind, owner.login, record.number};
            GitHubStatusField statusField = co_await boardFields->statusField(board, client);
            projects.push_back(gitHubBoards::project(record, board, statusField, ownAccount));
        }
    }
    co_return projects;
}

Async<std::vector<TaskItem>> ForgeTaskBackend::fetchDrafts(GitHubBoard board, std::optional<Date> updatedSince) {
    GitHubStatusField statusField = co_await boardFields->statusField(board, client);
    gitHubBoards::TaskMapping mapping(board, statusField, ownAccount);
    PageWalk<GitHubProjectItem> walk;
    if (!updatedSince) {
        walk.maxItems = static_cast<size_t>(std::max<int64_t>(limit, 0));
    }
    std::string path = board.apiPath() + "/items";
    URLQuery query = gitHubBoards::itemQuery(statusField);
    std::vector<GitHubProjectItem> items =
        co_await client.paginate<GitHubProjectItem>(std::move(path), std::move(query), std::move(walk));
    std::vector<TaskItem> tasks;
    for (const GitHubProjectItem& item : items) {
        bool isWanted = gitHubBoards::isDraft(item) && !item.archivedAt;
        if (isWanted && (!updatedSince || gitHubBoards::changeDate(item) >= *updatedSince)) {
            tasks.push_back(mapping.taskItem(item));
        }
    }
    co_return tasks;
}

Async<TaskItem> ForgeTaskBackend::createDraft(TaskDraft draft, GitHubBoard board) {
    std::optional<int64_t> userID;
    if (board.owner == GitHubBoard::Owner::users) {
        std::string userPath = "users/" + board.login;
        ForgeUser user = co_await client.get<ForgeUser>(std::move(userPath));
        userID = user.id;
    }
    std::string path = gitHubBoards::draftsPath(board, userID);
    NewDraft body{draft.title, draft.notes};
    CreatedDraft created = co_await client.send<CreatedDraft>(HTTPMethod::post, std::move(path), std::move(body));
    GitHubProjectItem item = gitHubBoards::createdItem(std::move(created), std::move(draft));
    GitHubStatusField statusField;
    try {
        statusField = co_await boardFields->statusField(board, client);
    } catch (...) {
        // The draft exists now, and an error would have it made again. A later fetch tells its status.
        statusField = nullptr;
    }
    gitHubBoards::TaskMapping mapping(board, statusField, ownAccount);
    co_return mapping.taskItem(item);
}

Async<TaskItem> ForgeTaskBackend::updateDraft(TaskItem task, GitHubBoard board) {
    std::string path = gitHubBoards::itemPath(board, task.id);
    GitHubStatusField statusField = co_await boardFields->statusField(board, client);
    URLQuery query = gitHubBoards::itemQuery(statusField);
    GitHubProjectItem item = co_await client.get<GitHubProjectItem>(path, query);
    if (!gitHubBoards::isDraft(item)) {
        throw BackendError::rejected("This item is no longer a draft; it was converted to an issue.");
    }
    if (task.title != gitHubBoards::title(item) || task.notes != gitHubBoards::notes(item)) {
        boost::json::object variables = gitHubBoards::draftUpdateVariables(item, task);
        URL url = gitHubGraphQLURL(ownAccount.baseURL);
        co_await client.graphQL<GitHubDraftUpdate>(std::move(url), draftUpdateDocument, std::move(variables));
    }
    if (task.status != gitHubBoards::status(item, statusField)) {
        std::string body = gitHubBoards::statusUpdate(task.status, statusField);
        URL url = client.url(path);
        co_await client.send(HTTPMethod::patch, std::move(url), std::move(body), true);
    }
    GitHubProjectItem updated = co_await client.get<GitHubProjectItem>(path, query);
    gitHubBoards::TaskMapping mapping(board, statusField, ownAccount);
    co_return mapping.taskItem(updated);
}

Async<std::string> ForgeTaskBackend::rawDraft(TaskItem task, GitHubBoard board) {
    HTTPResponse response = co_await client.get(gitHubBoards::itemPath(board, task.id));
    co_return std::move(response.data);
}

}  // namespace marlet
