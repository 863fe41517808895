// What the answers of the Projects API mean, and what is asked for: plain functions, without a request.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ForgeBackend/GitHubBoard.h"
#include "ForgeBackend/GitHubBoardFieldsInternal.h"
#include "ForgeBackend/GitHubBoardRecordsInternal.h"
#include "MarletCore/Account.h"
#include "MarletCore/Project.h"
#include "MarletCore/TaskItem.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet::gitHubBoards {

URLQuery pageQuery();
// Items come without the values of their fields, but for those that are named.
URLQuery itemQuery(const GitHubStatusField& statusField);
// Throws BackendError::notFound for a task id that no item can have.
std::string itemPath(const GitHubBoard& board, const std::string& taskID);
// For a user's board, `userID` is the user's number.
std::string draftsPath(const GitHubBoard& board, std::optional<int64_t> userID);

// Neither closed nor a template.
bool isListed(const GitHubProjectV2& board);
// The first field that is named "Status" in any case and has options.
GitHubStatusField statusField(std::vector<GitHubProjectField> fields);

// The board as far as its id and its status field tell: a name and a detail are in its record alone.
Project project(const GitHubBoard& board, const GitHubStatusField& statusField, const Account& account);
Project project(const GitHubProjectV2& record, const GitHubBoard& board, const GitHubStatusField& statusField,
                const Account& account);

// An item that is backed by an issue or a pull request is a task of its repository.
bool isDraft(const GitHubProjectItem& item);
// What the answer leaves unreadable is as it was sent.
GitHubProjectItem createdItem(CreatedDraft created, TaskDraft draft);
// When the item or its text changed. An item that doesn't tell counts as changed at any time.
Date changeDate(const GitHubProjectItem& item);
std::string title(const GitHubProjectItem& item);
std::string notes(const GitHubProjectItem& item);
std::optional<std::string> status(const GitHubProjectItem& item, const GitHubStatusField& statusField);

// Makes the tasks of one board: holds what all of them share.
class TaskMapping {
public:
    TaskMapping(const GitHubBoard& board, GitHubStatusField statusField, const Account& account);

    TaskItem taskItem(const GitHubProjectItem& item) const;

private:
    Project project;
    std::optional<std::string> doneStatus;
    GitHubStatusField statusField;
};

// The variables of the change of a draft's text. Throws BackendError::invalidResponse for an item that doesn't name
// its draft.
boost::json::object draftUpdateVariables(const GitHubProjectItem& item, const TaskItem& task);
// The body of the change of an item's status. Throws BackendError::rejected where the board has no such status.
std::string statusUpdate(const std::optional<std::string>& status, const GitHubStatusField& statusField);

}  // namespace marlet::gitHubBoards
