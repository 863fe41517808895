#include "ForgeBackend/ForgeMappingInternal.h"

#include "ForgeBackend/ForgeRequestsInternal.h"
#include "ForgeScenario.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet {
namespace {

TaskItem mapped(const std::string& more, ForgeDialect dialect = ForgeDialect::github) {
    return forge::taskItem(JSONCoding::decode<ForgeIssue>(issueJSON(4, more)), "a/b", dialect);
}

TaskItem withLabelColor(const std::string& color) {
    ForgeIssue issue;
    issue.labels = {{1, "x", color}};
    return forge::taskItem(issue, "a/b", ForgeDialect::github);
}

TEST(ForgeMappingTest, theLeastThatAnIssueMustTellIsNumberTitleStateAndLabels) {
    TaskItem task = mapped("");
    EXPECT_EQ(task.id, "4");
    EXPECT_EQ(task.projectID, "a/b");
    EXPECT_EQ(task.title, "Prune");
    EXPECT_EQ(task.notes, "");
    EXPECT_FALSE(task.isCompleted);
    EXPECT_TRUE(task.assignees.empty());
}

TEST(ForgeMappingTest, onlyTheStateClosedCompletesATask) {
    for (const std::string& state : {"open", "Closed", "locked", ""}) {
        ForgeIssue issue;
        issue.state = state;
        EXPECT_FALSE(forge::taskItem(issue, "a/b", ForgeDialect::forgejo).isCompleted) << state;
    }
}

TEST(ForgeMappingTest, colorsLoseTheirSignAndTheirCapitals) {
    const std::vector<std::pair<std::string, std::optional<std::string>>> colors = {
        {"D73A4A", "d73a4a"}, {"#0E8A16", "0e8a16"}, {"##AB#", "ab"},
        {"a#b", "a#b"},       {"", std::nullopt},    {"#", std::nullopt}};
    for (const auto& [color, expected] : colors) {
        EXPECT_EQ(withLabelColor(color).labels.at(0).colorHex, expected) << color;
    }
}

TEST(ForgeMappingTest, aMilestoneIsKnownByItsNumberOnGitHubAndByItsIdOnForgejo) {
    const std::string both = R"(,"milestone":{"id":88,"number":4,"title":"m","state":"closed"})";
    EXPECT_EQ(mapped(both).milestone, (Milestone{"4", "m", std::nullopt, true}));
    EXPECT_EQ(mapped(both, ForgeDialect::forgejo).milestone, (Milestone{"88", "m", std::nullopt, true}));
    EXPECT_EQ(mapped(R"(,"milestone":{"id":88,"title":"m"})").milestone, (Milestone{"88", "m", std::nullopt, false}));
}

TEST(ForgeMappingTest, anyPullRequestButNullMakesAPullRequest) {
    EXPECT_EQ(mapped(R"(,"pull_request":{})").kind, TaskKind::pullRequest);
    EXPECT_EQ(mapped(R"(,"pull_request":{"merged_at":null,"more":[1]})").kind, TaskKind::pullRequest);
    EXPECT_EQ(mapped(R"(,"pull_request":null)").kind, TaskKind::issue);
}

TEST(ForgeMappingTest, parentsAreForIssuesOfGitHubAlone) {
    const std::string pullRequest = R"(,"pull_request":{})";
    const std::string parent = R"(,"parent_issue_url":"https://x.example/repos/a/b/issues/1")";
    EXPECT_TRUE(mapped(parent).canHaveChildren);
    EXPECT_TRUE(mapped(parent).canChangeParent);
    EXPECT_EQ(mapped(parent).parent, (TaskParent{"1", ""}));
    EXPECT_FALSE(mapped(pullRequest).canHaveChildren);
    EXPECT_FALSE(mapped(pullRequest).canChangeParent);
    EXPECT_FALSE(mapped(parent, ForgeDialect::forgejo).canHaveChildren);
    EXPECT_FALSE(mapped(parent, ForgeDialect::forgejo).canChangeParent);
    EXPECT_EQ(mapped(parent, ForgeDialect::forgejo).parent, std::nullopt);
}

TEST(ForgeMappingTest, whatTheServicesDoNotHaveStaysAbsent) {
    TaskItem task = mapped(R"(,"priority":3,"status":"x","estimate":2)");
    EXPECT_EQ(task.priority, std::nullopt);
    EXPECT_EQ(task.status, std::nullopt);
    EXPECT_EQ(task.estimate, std::nullopt);
}

TEST(ForgeMappingTest, aDateComesAsItIsWhateverItsZone) {
    EXPECT_EQ(mapped(R"(,"due_date":"2026-03-21T00:59:59+02:00")").dueDate, parseISO8601("2026-03-20T22:59:59Z"));
}

TEST(ForgeMappingTest, theTitleOfAParentComesFromTheSameFetchOnly) {
    std::vector<ForgeIssue> issues;
    for (const std::string& text :
         {issueJSON(1, R"(,"parent_issue_url":"https://x.example/repos/a/b/issues/2")"), issueJSON(2),
          issueJSON(3, R"(,"parent_issue_url":"https://x.example/repos/c/d/issues/2")")}) {
        issues.push_back(JSONCoding::decode<ForgeIssue>(text));
    }
    issues[1].title = "Two";
    std::vector<TaskItem> tasks = forge::taskItems(issues, "a/b", ForgeDialect::github);
    EXPECT_EQ(tasks[0].parent, (TaskParent{"2", "Two"}));
    EXPECT_EQ(tasks[2].parent, (TaskParent{"c/d#2", ""}));
}

TEST(ForgeMappingTest, labelReferencesAreABareList) {
    EXPECT_EQ(JSONCoding::encode(ReplaceLabels{{std::vector<std::string>{"a", "b"}}}), R"({"labels":["a","b"]})");
    EXPECT_EQ(JSONCoding::encode(ReplaceLabels{{std::vector<int64_t>{7, -1}}}), R"({"labels":[7,-1]})");
}

}  // namespace
}  // namespace marlet
