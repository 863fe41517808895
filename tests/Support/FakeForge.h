#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TestSupport/FakeForgeShapes.h"
#include "TestSupport/FakeForgeState.h"
#include "TestSupport/FakeService.h"

namespace marlet {

enum class FakeForgeKind { github, forgejo };

// GitHub or Forgejo in memory: repositories, issues and pull requests, labels, comments, sub-issues, organisations,
// notifications and, on GitHub, Projects boards. See FakeService for the log, failures and violations.
class FakeForge final : public FakeService {
public:
    FakeForge(FakeForgeKind kind, TimeSource now, std::string token);

    // What the test does is done by another user and makes notifications. Throws std::out_of_range for a repository,
    // issue, board or item that isn't there.
    void addRepository(const std::string& fullName) { addRepository(FakeRepository{.fullName = fullName}); }
    void addRepository(FakeRepository repository);
    void addOrganization(const std::string& login);
    void addLabel(const std::string& repository, const std::string& name, const std::string& color = "0e8a16");
    int64_t addIssue(const std::string& repository, FakeIssue issue);  // its number
    void editIssue(const std::string& repository, int64_t number, const std::function<void(FakeIssue& issue)>& change);
    void addComment(const std::string& repository, int64_t number, const std::string& body);
    // As when it is deleted or moved to another repository.
    void removeIssue(const std::string& repository, int64_t number);
    // A thread about something that is no issue.
    void notify(const std::string& repository, const std::string& subjectType, const std::string& title);

    // Copies of what stands.
    FakeIssue issue(const std::string& repository, int64_t number);
    std::vector<FakeIssue> issues(const std::string& repository);  // by number

    std::string addBoard(FakeBoard board);  // its key, "projects/orgs/acme/12"
    int64_t addBoardItem(const std::string& board, FakeBoardItem item);
    void editBoardItem(const std::string& board, int64_t item, const std::function<void(FakeBoardItem& item)>& change);
    FakeBoardItem boardItem(const std::string& board, int64_t item);
    std::vector<FakeBoardItem> boardItems(const std::string& board);  // by id

    // Everything else: the state as it is, with the service standing still.
    void with(const std::function<void(FakeForgeState& state)>& body);

    void setToken(std::string accepted);
    // Issues come in pages by number, with a link to the last one, instead of by cursor. GitHub alone has cursors.
    void setPagesByNumber(bool byNumber);
    // Requests an hour before the rest is refused; 304s are free. Only GitHub tells and counts.
    void setHourlyLimit(int requests);

protected:
    std::optional<std::string> target(const std::string& url) const override;
    std::optional<FakeAnswer> refuse(const FakeRequest& request) override;
    FakeAnswer refusal(int status, const std::string& message) const override;
    void addStandingHeaders(FakeAnswer& answer) override;

private:
    bool isGitHub() const { return state.isGitHub; }
    std::string apiRoot() const;
    std::string graphQLURL() const;
    FakeForgeShapes shapes() { return {state, root(), apiRoot()}; }
    FakePaging paging() const;

    void addAccountRoutes();
    FakeAnswer listRepositories(const FakeCall& call, const std::vector<std::string>& names);
    FakeAnswer listNotifications(const FakeCall& call);

    // In FakeForgeIssues.cpp.
    void addIssueRoutes();
    void addIssueRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                       std::vector<FakeBodyKey> body,
                       std::function<FakeAnswer(const FakeCall& call, FakeRepository& repository)> answer);
    FakeAnswer listIssues(const FakeCall& call, FakeRepository& repository);
    FakeAnswer createIssue(const FakeCall& call, FakeRepository& repository);
    FakeAnswer readIssue(const FakeCall& call, FakeRepository& repository);
    FakeAnswer changeIssue(const FakeCall& call, FakeRepository& repository);
    FakeAnswer createComment(const FakeCall& call, FakeRepository& repository);
    FakeAnswer listComments(const FakeCall& call, FakeRepository& repository);
    FakeAnswer listLabels(const FakeCall& call, FakeRepository& repository);
    FakeAnswer replaceLabels(const FakeCall& call, FakeRepository& repository);
    FakeAnswer addSubIssue(const FakeCall& call, FakeRepository& repository);
    FakeAnswer removeSubIssue(const FakeCall& call, FakeRepository& repository);
    std::vector<std::string> labelNames(const FakeCall& call, FakeRepository& repository);

    // In FakeForgeBoards.cpp.
    void addBoardRoutes();
    void addBoardRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                       std::vector<FakeBodyKey> body,
                       std::function<FakeAnswer(const FakeCall& call, FakeBoard& board)> answer);
    FakeAnswer listBoards(const FakeCall& call, bool isOrganizations);
    void addDraftRoutes();
    FakeAnswer createDraft(const FakeCall& call, const std::string& key);
    FakeAnswer changeFields(const FakeCall& call, FakeBoard& board, FakeBoardItem& item);
    FakeAnswer graphQL(const FakeCall& call);

    FakeForgeState state;
    std::string token;
    bool pagesByNumber = false;
    int hourlyLimit = 5000;
    int usedThisHour = 0;
    Date hourEnds = {};
};

}  // namespace marlet
