#include <gmock/gmock.h>

#include "ForgeBackend/ForgeMappingInternal.h"
#include "ForgeScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

const std::string repos = "https://api.github.com/repos/";

std::string parentMember(const std::string& place) {
    return R"(,"parent_issue_url":"https://api.github.com/repos/)" + place + "\"";
}

// GitHub with the issue 5 of "a/b", whose answer to an edit holds `more`. Sub-issue requests are answered with
// something that isn't JSON: nobody reads it.
struct GitHubIssue : GitHub {
    explicit GitHubIssue(const std::string& more = "") {
        answer("PATCH /repos/a/b/issues/5", 200, issueJSON(5, more));
        for (const std::string& route :
             {"POST /repos/a/b/issues/7/sub_issues", "POST /repos/c/d/issues/7/sub_issues",
              "DELETE /repos/a/b/issues/7/sub_issue", "DELETE /repos/c/d/issues/7/sub_issue"}) {
            answer(route, 200, "not read");
        }
    }

    TaskItem update(const std::optional<TaskParent>& parent, TaskKind kind = TaskKind::issue) {
        TaskItem task = taskWithTitle("5", "a/b");
        task.kind = kind;
        task.parent = parent;
        return runToEnd(backend.updateTask(task));
    }
    // What follows the edit itself.
    Lines laterRequests() {
        Lines log = server->log();
        EXPECT_EQ(log.at(0), "PATCH " + repos + "a/b/issues/5");
        log.erase(log.begin());
        return log;
    }
};

std::string parentID(const std::string& address, const std::string& projectID) {
    ForgeIssue issue;
    issue.parentIssueUrl = address;
    std::optional<TaskParent> parent = forge::parentOf(issue, projectID);
    return parent ? parent->id : "(none)";
}

TEST(ForgeParentTest, aParentInTheSameRepositoryIsItsNumberInAnyCase) {
    EXPECT_EQ(parentID("https://api.github.com/repos/a/b/issues/7", "a/b"), "7");
    EXPECT_EQ(parentID("https://api.github.com/repos/a/b/issues/7", "A/B"), "7");
}

TEST(ForgeParentTest, aParentInAnotherRepositoryCarriesItsName) {
    EXPECT_EQ(parentID("https://api.github.com/repos/a/b/issues/7", "c/d"), "a/b#7");
    EXPECT_EQ(parentID("https://code.example/api/v3/repos/a/b/issues/7", "c/d"), "a/b#7");
    EXPECT_EQ(parentID("https://code.example/repos/x/api/v3/repos/a/b/issues/7", "c/d"), "a/b#7");
}

TEST(ForgeParentTest, anAddressOfAnotherShapeNamesNoParent) {
    for (const std::string& address :
         {"https://api.github.com/repos/a/b/pulls/7", "https://api.github.com/repos/a/b/issues",
          "https://api.github.com/repos/a/b/issues/7/events", "https://api.github.com/a/b/issues/7",
          "https://api.github.com/repos/x/a/b/issues/7", "https://api.github.com/repos/a/repos/issues/7",
          "https://api.github.com/", "http://[", ""}) {
        EXPECT_EQ(parentID(address, "a/b"), "(none)") << address;
    }
}

TEST(ForgeParentTest, aTaskWithoutAParentStaysSoWithoutARequest) {
    GitHubIssue gitHub;
    EXPECT_EQ(gitHub.update(std::nullopt).parent, std::nullopt);
    EXPECT_TRUE(gitHub.laterRequests().empty());
}

TEST(ForgeParentTest, anUnchangedParentIsNotSent) {
    GitHubIssue same(parentMember("a/b/issues/7"));
    EXPECT_EQ(same.update(TaskParent{"7", "Title"}).parent, (TaskParent{"7", ""}));
    EXPECT_TRUE(same.laterRequests().empty());

    GitHubIssue elsewhere(parentMember("C/d/issues/7"));
    EXPECT_EQ(elsewhere.update(TaskParent{"c/D#7", ""}).parent, (TaskParent{"C/d#7", ""}));
    EXPECT_TRUE(elsewhere.laterRequests().empty());
}

TEST(ForgeParentTest, aNewParentTakesTheIssueByItsId) {
    GitHubIssue gitHub;
    TaskItem task = gitHub.update(TaskParent{"7", "The parent"});
    EXPECT_THAT(gitHub.laterRequests(), ElementsAre("POST " + repos + "a/b/issues/7/sub_issues"));
    EXPECT_EQ(gitHub.lastBody(), R"({"sub_issue_id":9005,"replace_parent":true})");
    EXPECT_EQ(gitHub.lastHeader("Content-Type"), "application/json");
    EXPECT_EQ(task.parent, (TaskParent{"7", "The parent"})) << "the answer to the edit is older than the change";
}

TEST(ForgeParentTest, aParentIsReplacedWithoutBeingRemovedFirst) {
    GitHubIssue gitHub(parentMember("a/b/issues/6"));
    EXPECT_EQ(gitHub.update(TaskParent{"c/d#7", ""}).parent, (TaskParent{"c/d#7", ""}));
    EXPECT_THAT(gitHub.laterRequests(), ElementsAre("POST " + repos + "c/d/issues/7/sub_issues"));
}

TEST(ForgeParentTest, aParentIsRemovedWhereItLies) {
    GitHubIssue here(parentMember("a/b/issues/7"));
    EXPECT_EQ(here.update(std::nullopt).parent, std::nullopt);
    EXPECT_THAT(here.laterRequests(), ElementsAre("DELETE " + repos + "a/b/issues/7/sub_issue"));
    EXPECT_EQ(here.lastBody(), R"({"sub_issue_id":9005})");

    GitHubIssue elsewhere(parentMember("c/d/issues/7"));
    EXPECT_EQ(elsewhere.update(std::nullopt).parent, std::nullopt);
    EXPECT_THAT(elsewhere.laterRequests(), ElementsAre("DELETE " + repos + "c/d/issues/7/sub_issue"));
}

TEST(ForgeParentTest, anIssueWithoutAnIdCannotChangeItsParent) {
    for (const std::string& id : {std::string(), std::string(R"("id":null,)")}) {
        GitHub gitHub;
        gitHub.answer("PATCH /repos/a/b/issues/5", 200,
                      "{" + id + R"("number":5,"title":"Prune","state":"open","labels":[]})");
        TaskItem task = taskWithTitle("5", "a/b");
        runToEnd(gitHub.backend.updateTask(task));
        task.parent = TaskParent{"7", ""};
        EXPECT_EQ(errorOf(gitHub.backend.updateTask(task)), BackendError::invalidResponse());
    }
}

TEST(ForgeParentTest, aPullRequestNeverTouchesSubIssues) {
    GitHubIssue gitHub(R"(,"pull_request":{})" + parentMember("a/b/issues/6"));
    TaskItem task = gitHub.update(TaskParent{"7", ""}, TaskKind::pullRequest);
    EXPECT_TRUE(gitHub.laterRequests().empty());
    EXPECT_FALSE(task.canChangeParent);
}

TEST(ForgeParentTest, forgejoIsNeverToldOfAParent) {
    Forgejo forgejo;
    forgejo.answer("PATCH /api/v1/repos/a/b/issues/5", 201, issueJSON(5));
    TaskItem task = taskWithTitle("5", "a/b");
    task.parent = TaskParent{"7", ""};
    EXPECT_EQ(runToEnd(forgejo.backend.updateTask(task)).parent, std::nullopt);
    EXPECT_EQ(forgejo.server->requests().size(), 1U);
}

TEST(ForgeParentTest, aParentThatGitHubRefusesFailsAfterTheTextWasSaved) {
    GitHub gitHub;
    gitHub.answer("PATCH /repos/a/b/issues/5", 200, issueJSON(5));
    gitHub.answer("POST /repos/a/b/issues/7/sub_issues", 422, R"({"message":"Sub issue may only have one parent"})");
    TaskItem task = taskWithTitle("5", "a/b");
    task.parent = TaskParent{"7", ""};
    EXPECT_EQ(errorOf(gitHub.backend.updateTask(task)), BackendError::rejected("Sub issue may only have one parent"));
}

TEST(ForgeParentTest, aParentThatNamesNoIssueIsNotFound) {
    for (const std::string& id : {"#7", "a/b#x", "../..#7", "7/sub_issues?", ""}) {
        GitHub gitHub;
        gitHub.answer("PATCH /repos/a/b/issues/5", 200, issueJSON(5));
        TaskItem task = taskWithTitle("5", "a/b");
        task.parent = TaskParent{id, ""};
        EXPECT_EQ(errorOf(gitHub.backend.updateTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(gitHub.server->requests().size(), 1U);
    }
}

}  // namespace
}  // namespace marlet
