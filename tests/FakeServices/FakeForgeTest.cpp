#include "ForgeCaller.h"

#include <boost/json/parse.hpp>

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string linkTarget(const FakeAnswer& answer) {
    std::string link = answer.header("Link");
    return link.substr(1, link.find('>') - 1);
}

TEST(FakeForgeTest, gitHubsIssuesComeByCursorAndWithoutALastPage) {
    ForgeCaller caller;
    for (int count = 0; count < 5; ++count) {
        caller.forge.addIssue("o/r", {.title = "Task"});
    }

    FakeAnswer first = caller.get("repos/o/r/issues?state=all&per_page=2");
    FakeAnswer second = caller.get(linkTarget(first));
    FakeAnswer third = caller.get(linkTarget(second));

    EXPECT_THAT(first.header("Link"), Not(HasSubstr("last")));
    EXPECT_THAT(linkTarget(first), HasSubstr("/api/v3/repositories/"));
    EXPECT_THAT(caller.numbers(first), ElementsAre(5, 4));
    EXPECT_THAT(caller.numbers(second), ElementsAre(3, 2));
    EXPECT_THAT(caller.numbers(third), ElementsAre(1));
    EXPECT_EQ(third.header("Link"), "");
    EXPECT_THAT(caller.forge.violations(), IsEmpty());
}

TEST(FakeForgeTest, pagesByNumberNameTheLastOne) {
    ForgeCaller caller;
    caller.forge.setPagesByNumber(true);
    for (int count = 0; count < 5; ++count) {
        caller.forge.addIssue("o/r", {.title = "Task"});
    }

    FakeAnswer counted = caller.get("repos/o/r/issues?state=all&per_page=1");

    EXPECT_THAT(counted.header("Link"), HasSubstr("page=5>; rel=\"last\""));
}

TEST(FakeForgeTest, forgejosListsHaveTheirOwnPageSizeAndTellTheTotal) {
    ForgeCaller caller(FakeForgeKind::forgejo);
    for (int count = 0; count < 60; ++count) {
        caller.forge.addIssue("o/r", {.title = "Task"});
    }

    FakeAnswer answer = caller.get("repos/o/r/issues?state=all&limit=100");

    EXPECT_EQ(caller.numbers(answer).size(), 50u);
    EXPECT_EQ(answer.header("X-Total-Count"), "60");
    EXPECT_THAT(answer.header("Link"), HasSubstr(">; rel=\"next\",<"));
    EXPECT_EQ(caller.numbers(caller.get(linkTarget(answer))).size(), 10u);
    EXPECT_EQ(caller.get("repos/o/r/issues?per_page=1").status, 422);
}

TEST(FakeForgeTest, listsKnowStateDateAndOrder) {
    ForgeCaller caller;
    caller.forge.addIssue("o/r", {.title = "First"});
    caller.forge.addIssue("o/r", {.title = "Second", .isClosed = true});
    caller.clock.advance(60);
    std::string later = iso8601(caller.clock.now());
    caller.forge.addIssue("o/r", {.title = "Third"});
    caller.clock.advance(60);
    caller.forge.editIssue("o/r", 1, [](FakeIssue& issue) { issue.body = "Soon"; });

    EXPECT_THAT(caller.numbers(caller.get("repos/o/r/issues")), ElementsAre(3, 1));
    EXPECT_THAT(caller.numbers(caller.get("repos/o/r/issues?state=closed")), ElementsAre(2));
    EXPECT_THAT(caller.numbers(caller.get("repos/o/r/issues?state=all&sort=updated&direction=desc")),
                ElementsAre(1, 3, 2));
    EXPECT_THAT(caller.numbers(caller.get("repos/o/r/issues?state=all&since=" + percentEncoded(later))),
                ElementsAre(3, 1));
}

TEST(FakeForgeTest, notificationsComeFromOthersAlone) {
    ForgeCaller caller;
    caller.forge.addIssue("o/r", {.title = "Water the beans", .isPullRequest = true});
    caller.ask("POST", "repos/o/r/issues", R"({"title": "Mine"})");
    std::string since = iso8601(caller.clock.now() + 1);
    caller.clock.advance(60);

    EXPECT_EQ(caller.json("notifications?all=true&since=" + since).as_array().size(), 0u);
    caller.ask("PATCH", "repos/o/r/issues/1", R"({"state": "closed"})");
    EXPECT_EQ(caller.json("notifications?all=true&since=" + since).as_array().size(), 0u);
    caller.forge.addComment("o/r", 1, "Done?");
    boost::json::value changed = caller.json("notifications?all=true&since=" + since);

    ASSERT_EQ(changed.as_array().size(), 1u);
    EXPECT_EQ(changed.at(0).at("repository").at("full_name"), "o/r");
    EXPECT_EQ(changed.at(0).at("subject").at("type"), "PullRequest");
    EXPECT_EQ(changed.at(0).at("updated_at"), "2027-01-15T08:01:00Z");
}

TEST(FakeForgeTest, aFineGrainedTokenSeesNoNotifications) {
    ForgeCaller caller;
    caller.forge.setToken("github_pat_1");
    FakeRequest request = caller.request("GET", "notifications");
    request.headers["authorization"] = "Bearer github_pat_1";

    EXPECT_EQ(caller.forge.handle(request).status, 403);
}

TEST(FakeForgeTest, aSubIssueHasOneParentUnlessItIsReplaced) {
    ForgeCaller caller;
    for (const char* title : {"Garden", "Beans", "Kitchen"}) {
        caller.forge.addIssue("o/r", {.title = title});
    }
    std::string beans = std::to_string(caller.forge.issue("o/r", 2).id);
    std::string reference = R"({"sub_issue_id": )" + beans + "}";
    std::string replacing = R"({"sub_issue_id": )" + beans + R"(, "replace_parent": true})";

    EXPECT_EQ(caller.ask("POST", "repos/o/r/issues/1/sub_issues", reference).status, 201);
    EXPECT_EQ(caller.ask("POST", "repos/o/r/issues/3/sub_issues", reference).status, 422);
    EXPECT_EQ(caller.ask("POST", "repos/o/r/issues/3/sub_issues", replacing).status, 201);
    EXPECT_EQ(caller.json("repos/o/r/issues/2").at("parent_issue_url"),
              "https://forge.example/api/v3/repos/o/r/issues/3");
    EXPECT_EQ(caller.ask("POST", "repos/o/r/issues/2/sub_issues", replacing).status, 422);
    EXPECT_EQ(caller.ask("DELETE", "repos/o/r/issues/1/sub_issue", reference).status, 404);
    EXPECT_EQ(caller.ask("DELETE", "repos/o/r/issues/3/sub_issue", reference).status, 200);
    EXPECT_FALSE(caller.forge.issue("o/r", 2).parent);
    EXPECT_THAT(caller.forge.violations(), IsEmpty());
}

TEST(FakeForgeTest, forgejoKeepsTheDayOfADueDateAndPassesOverUnknownLabels) {
    ForgeCaller caller(FakeForgeKind::forgejo);
    caller.forge.addLabel("o/r", "bug");
    caller.forge.addIssue("o/r", {.title = "Beans"});
    int64_t bug = 0;
    caller.forge.with([&](FakeForgeState& state) { bug = state.repository("o/r").labels.at(0).id; });

    FakeAnswer dated = caller.ask("PATCH", "repos/o/r/issues/1", R"({"due_date": "2026-03-20T12:00:00Z"})");
    FakeAnswer labelled =
        caller.ask("PUT", "repos/o/r/issues/1/labels", R"({"labels": [1, )" + std::to_string(bug) + "]}");

    EXPECT_EQ(dated.status, 201);
    EXPECT_EQ(boost::json::parse(dated.body).at("due_date"), "2026-03-21T00:59:59+01:00");
    EXPECT_EQ(labelled.status, 200);
    EXPECT_THAT(caller.forge.issue("o/r", 1).labels, ElementsAre("bug"));
    caller.ask("PATCH", "repos/o/r/issues/1", R"({"unset_due_date": true})");
    EXPECT_FALSE(caller.forge.issue("o/r", 1).dueDate);
}

TEST(FakeForgeTest, gitHubMakesALabelThatIsNew) {
    ForgeCaller caller;
    caller.ask("POST", "repos/o/r/issues", R"({"title": "Beans", "labels": ["fresh"]})");

    EXPECT_EQ(caller.json("repos/o/r/issues/1").at("labels").at(0).at("color"), "ededed");
}

TEST(FakeForgeTest, anEmptyTitleCreatesNothing) {
    for (FakeForgeKind kind : {FakeForgeKind::github, FakeForgeKind::forgejo}) {
        ForgeCaller caller(kind);
        EXPECT_EQ(caller.ask("POST", "repos/o/r/issues", R"({"title": ""})").status, 422);
        EXPECT_THAT(caller.forge.issues("o/r"), IsEmpty());
    }
}

TEST(FakeForgeTest, organizationsListTheirRepositories) {
    ForgeCaller caller;
    caller.forge.addOrganization("acme");
    caller.forge.addRepository({.fullName = "acme/tools", .isListedAsOwn = false});

    EXPECT_EQ(caller.json("user/repos?per_page=100&sort=updated").as_array().size(), 1u);
    EXPECT_EQ(caller.json("user/orgs?per_page=100").at(0).at("login"), "acme");
    EXPECT_EQ(caller.json("orgs/acme/repos?type=all&per_page=100&sort=updated").at(0).at("full_name"), "acme/tools");
    EXPECT_EQ(caller.get("orgs/none/repos").status, 404);
}

}  // namespace
}  // namespace marlet
