#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletCore/TaskBackend.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

enum class ForgeDialect { github, forgejo };

struct ForgeOrganization;
struct GitHubBoard;
class GitHubBoardFields;

// Issues and pull requests of GitHub and Forgejo, which share one shape of a REST API; the dialect decides what
// differs. On GitHub also the draft tickets of Projects boards: a project whose id names a board goes that way.
//
// Holds no state of its own but the cached answers of its client and the boards' status fields.
class ForgeTaskBackend final : public RawTaskReading, public TaskCounting, public ChangeHinting {
public:
    // `account` is one of GitHub or Forgejo. `clock` tells when a limit ends that the server names in seconds.
    ForgeTaskBackend(Account account, const std::string& token, std::shared_ptr<HTTPTransport> transport,
                     int64_t itemLimit, std::shared_ptr<Clock> clock);

    const Account& account() const override { return ownAccount; }
    int64_t itemLimit() const override { return limit; }
    bool providesChangeHints() const override { return givesHints; }

    Async<std::vector<Project>> fetchProjects() override;
    Async<std::vector<TaskItem>> fetchTasks(std::string projectID, std::optional<Date> updatedSince) override;
    Async<TaskItem> createTask(TaskDraft draft, std::string projectID) override;
    // The answer to the edit tells how the task stands then; an edit of several steps may stop half way, and what came
    // before the failure stands on the server.
    Async<TaskItem> updateTask(TaskItem task) override;
    Async<std::vector<TaskComment>> fetchComments(TaskItem task) override;
    Async<TaskComment> addComment(std::string body, TaskItem task) override;
    Async<std::string> rawTask(TaskItem task) override;
    Async<std::optional<int64_t>> taskCount(std::string projectID) override;
    Async<ChangeHints> notifiedTaskUpdates(Date since) override;

private:
    // In GitHubBoardTasks.cpp.
    std::optional<GitHubBoard> board(const std::string& projectID) const;
    Async<std::vector<Project>> fetchBoards(std::vector<ForgeOrganization> organizations);
    Async<std::vector<TaskItem>> fetchDrafts(GitHubBoard board, std::optional<Date> updatedSince);
    Async<TaskItem> createDraft(TaskDraft draft, GitHubBoard board);
    Async<TaskItem> updateDraft(TaskItem task, GitHubBoard board);
    Async<std::string> rawDraft(TaskItem task, GitHubBoard board);

    Account ownAccount;
    ForgeDialect dialect;
    HTTPClient client;
    std::shared_ptr<GitHubBoardFields> boardFields;
    int64_t limit;
    bool givesHints;
};

}  // namespace marlet
