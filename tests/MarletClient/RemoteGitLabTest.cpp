// The life of an account of GitLab behind a running daemon, over real sockets: what it asks is printed, and held to.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "ClientScenario.h"
#include "MarletBase/Clock.h"
#include "TestSupport/FakeGitLab.h"
#include "TestSupport/FakeServer.h"

namespace marlet {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Texts = std::vector<std::string>;

const std::string token = "glpat-0nlyTh3S3rv3rKn0ws";

class RemoteGitLabTest : public testing::Test {
protected:
    RemoteGitLabTest() : weir(gitLab.addProject("river/weir")), mill(gitLab.addProject("river/mill")) {
        gitLab.addLabel(weir, "urgent", "d73a4a");
        basin = gitLab.addItem(weir, {.title = "Dredge the basin", .labels = {"urgent"}});
        pumps = gitLab.addItem(weir, {.title = "Mend the pumps"});
        barge = gitLab.addItem(weir, {.title = "Hire a barge", .type = "task", .parent = std::stoll(basin)});
        request = gitLab.addItem(weir, {.title = "Replace the seal", .isMergeRequest = true});
        client.startDaemon();
    }
    void TearDown() override {
        EXPECT_EQ(client.stopDaemon(), 0);
        EXPECT_THAT(gitLab.violations(), IsEmpty()) << gitLab.printedLog();
    }

    JSONValue addAccount(int status = 0) {
        return client.json({"account", "add", "gitlab", "--name", "Work", "--url", server.url() + "/api/v4",
                            "--token-stdin", "--subscribe", "all"},
                           status, token + "\n");
    }
    // With everything but the account behind it.
    void begin() {
        addAccount();
        gitLab.takeLines();
    }
    JSONValue edit(const std::string& taskID, const ClientScenario::Arguments& changes) {
        ClientScenario::Arguments line{"task", "edit", taskID, "--project", "river/weir"};
        line.insert(line.end(), changes.begin(), changes.end());
        return client.json(line);
    }
    void sync() { client.json({"sync", "--account", "Work"}); }
    Texts titles() {
        return textsOf(client.json({"task", "list", "--project", "river/weir", "--all"}), "tasks", "title");
    }
    // What was asked since the last step, printed with its number.
    Texts step(const char* name) {
        Texts lines = gitLab.takeLines();
        fmt::print("{}: {} requests\n", name, lines.size());
        for (const std::string& line : lines) {
            fmt::print("    {}\n", line);
        }
        return lines;
    }
    std::string path(const std::string& below) const { return "/projects/" + weir + below; }

    ClientScenario client;
    FakeGitLab gitLab{[] { return SystemClock().now(); }, token};
    FakeServer server{gitLab};
    const std::string weir;
    const std::string mill;
    std::string basin;
    std::string pumps;
    std::string barge;
    std::string request;
};

TEST_F(RemoteGitLabTest, anAccountIsReadOnceAndThenAskedLittle) {
    JSONValue added = addAccount();
    EXPECT_EQ(textOf(memberOf(added, "account"), "server"), server.url());
    // The projects, two lists of each, and the parents of the one that has a task.
    EXPECT_THAT(step("add an account, read 4 tasks of 2 projects"), SizeIs(1 + 4 + 1));
    EXPECT_THAT(titles(),
                UnorderedElementsAre("Dredge the basin", "Mend the pumps", "Hire a barge", "Replace the seal"));

    client.json({"sync", "--account", "Work", "--full"});
    Texts quiet = step("sync in full, nothing new");
    std::erase_if(quiet, [](const std::string& line) { return line.starts_with("POST /graphql"); });
    EXPECT_THAT(quiet, SizeIs(4));
    EXPECT_THAT(quiet, Each(EndsWith(" -> 304")));
    sync();
    step("sync what changed, for the first time");
    sync();
    step("sync what changed, nothing new");

    gitLab.editItem(weir, pumps, [](FakeGitLabItem& item) { item.title = "Mend both pumps"; });
    sync();
    step("sync after one change on the server");
    EXPECT_THAT(titles(), testing::Contains("Mend both pumps"));
}

TEST_F(RemoteGitLabTest, anEditReadsTheIssueAndThenWritesIt) {
    begin();
    JSONValue edited = edit(pumps, {"--title", "Mend the old pumps", "--due", "2026-12-01"});
    EXPECT_EQ(textOf(edited, "sync_state"), "synced");
    EXPECT_THAT(step("edit one issue"),
                ElementsAre("GET " + path("/issues/2 -> 200"), "PUT " + path("/issues/2 -> 200")));
    EXPECT_EQ(gitLab.item(weir, pumps).title, "Mend the old pumps");
    EXPECT_EQ(gitLab.item(weir, pumps).dueDay, "2026-12-01") << "the day in the user's zone";

    edit(pumps, {"--no-due"});
    EXPECT_THAT(step("take its due date away"), SizeIs(2));
    EXPECT_EQ(gitLab.item(weir, pumps).dueDay, std::nullopt);
}

TEST_F(RemoteGitLabTest, aMergeRequestIsClosedByItsOwnNumber) {
    begin();
    JSONValue done = client.json({"task", "done", request, "--project", "river/weir"});
    EXPECT_THAT(textsOf(done, "tasks", "sync_state"), ElementsAre("synced"));
    EXPECT_THAT(step("close a merge request"),
                ElementsAre("GET " + path("/merge_requests/1 -> 200"), "PUT " + path("/merge_requests/1 -> 200")));
    EXPECT_TRUE(gitLab.item(weir, request).isClosed);
    EXPECT_FALSE(gitLab.item(weir, basin).isClosed) << "an issue has the same number";
}

TEST_F(RemoteGitLabTest, whatTheServerRefusesIsKeptWithItsReason) {
    begin();
    gitLab.fail("PUT ", FakeFailure::status(400, R"({"message":"Title is too long"})"));
    JSONValue edited = edit(pumps, {"--title", "Mend all pumps"});
    EXPECT_EQ(textOf(edited, "sync_state"), "rejected");
    EXPECT_EQ(textOf(edited, "sync_error"), "Title is too long");
    step("edit that the server refuses");
    EXPECT_EQ(gitLab.item(weir, pumps).title, "Mend the pumps");
    client.json({"pending", "retry", pumps, "--project", "river/weir"});
    step("the same once more");
    EXPECT_EQ(gitLab.item(weir, pumps).title, "Mend all pumps");
}

TEST_F(RemoteGitLabTest, aTaskIsMovedToAnotherParentAndTakenFromIt) {
    begin();
    edit(barge, {"--parent", pumps});
    EXPECT_THAT(step("move a task to another parent"),
                ElementsAre("GET " + path("/issues/3 -> 200"), "PUT " + path("/issues/3 -> 200"),
                            "POST /graphql -> 200", "POST /graphql -> 200"));
    EXPECT_EQ(gitLab.item(weir, barge).parent, std::stoll(pumps));
    edit(barge, {"--no-parent"});
    step("take it from its parent");
    EXPECT_EQ(gitLab.item(weir, barge).parent, std::nullopt);
}

TEST_F(RemoteGitLabTest, labelsAreSetMadeAndCleared) {
    begin();
    edit(pumps, {"--label", "urgent", "--label", "later"});
    EXPECT_THAT(step("set two labels, one of them new"), SizeIs(2));
    EXPECT_THAT(gitLab.item(weir, pumps).labels, ElementsAre("later", "urgent"));
    edit(pumps, {"--no-labels"});
    step("clear the labels");
    EXPECT_THAT(gitLab.item(weir, pumps).labels, IsEmpty());

    JSONValue refused = edit(pumps, {"--label", "sooner, later"});
    EXPECT_EQ(textOf(refused, "sync_state"), "rejected");
    EXPECT_EQ(textOf(refused, "sync_error"), "GitLab can't have a label with a comma in its name: \"sooner, later\".");
    EXPECT_THAT(step("set a label with a comma"), ElementsAre("GET " + path("/issues/2 -> 200")));
}

TEST_F(RemoteGitLabTest, aTaskMadeHereIsAnIssueThere) {
    begin();
    JSONValue added = client.json({"task", "add", "Oil the gate", "--project", "river/weir", "--label", "urgent"});
    EXPECT_EQ(textOf(added, "sync_state"), "synced");
    EXPECT_EQ(textOf(added, "number"), "4");
    EXPECT_THAT(step("add a task with a label"), ElementsAre("POST " + path("/issues -> 201")));
    EXPECT_THAT(gitLab.item(weir, "4").labels, ElementsAre("urgent"));
}

TEST_F(RemoteGitLabTest, aTokenWithoutTheScopeIsToldWhatItNeeds) {
    gitLab.fail("GET /projects", FakeFailure::status(403, R"({"error":"insufficient_scope","scope":"api"})"));
    std::string text = textOf(memberOf(addAccount(1), "error"), "message");
    EXPECT_EQ(text, "The server responded with HTTP 403. The token needs the scope api.");
    gitLab.setToken("another");
    text = textOf(memberOf(addAccount(1), "error"), "message");
    EXPECT_THAT(text, HasSubstr("The server rejected the access token."));
}

}  // namespace
}  // namespace marlet
