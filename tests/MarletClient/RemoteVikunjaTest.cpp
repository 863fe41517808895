// The life of an account of Vikunja behind a running daemon, over real sockets: what it asks is printed, and held to.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>

#include "ClientScenario.h"
#include "MarletBase/Clock.h"
#include "TestSupport/FakeServer.h"
#include "TestSupport/FakeVikunja.h"

namespace marlet {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Texts = std::vector<std::string>;

class RemoteVikunjaTest : public testing::Test {
protected:
    inline static const std::string token = "tk_0nlyTh3S3rv3rKn0ws";

    RemoteVikunjaTest() {
        garden = vikunja.addProject("Garden");
        house = vikunja.addProject("House");
        vikunja.addLabel("Urgent", "e8445a");
        winter = addTask(garden, {.title = "Winter work", .priority = 3});
        prune = addTask(garden, {.title = "Prune", .description = "<p>Not too <em>hard</em></p>", .parents = {winter}});
        paint = addTask(house, {.title = "Paint"});
        client.startDaemon();
    }
    void TearDown() override {
        EXPECT_EQ(client.stopDaemon(), 0);
        EXPECT_THAT(vikunja.violations(), IsEmpty()) << vikunja.printedLog();
    }

    int64_t addTask(int64_t project, FakeVikunjaTask task) { return vikunja.addTask(project, std::move(task)); }
    void addAccount() {
        client.json({"account", "add", "vikunja", "--name", "Work", "--url", server.url() + "/", "--token-stdin",
                     "--subscribe", "all"},
                    0, token + "\n");
    }
    void sync(const ClientScenario::Arguments& more = {}, int status = 0) {
        ClientScenario::Arguments line{"sync", "--account", "Work"};
        line.insert(line.end(), more.begin(), more.end());
        client.json(line, status);
    }
    JSONValue edit(int64_t id, const ClientScenario::Arguments& changes) {
        ClientScenario::Arguments line{"task", "edit", std::to_string(id), "--project",
                                       vikunja.task(id).projectID == house ? "House" : "Garden"};
        line.insert(line.end(), changes.begin(), changes.end());
        return client.json(line);
    }
    Texts titles(const std::string& project) {
        Texts found = textsOf(client.json({"task", "list", "--project", project, "--all"}), "tasks", "title");
        std::sort(found.begin(), found.end());
        return found;
    }
    // What was asked since the last step, printed with its number.
    Texts step(const char* name) {
        Texts lines = vikunja.takeLines();
        fmt::print("{}: {}\n", name, lines.size());
        for (const std::string& line : lines) {
            fmt::print("    {}\n", line);
        }
        return lines;
    }
    std::string path(int64_t task) const { return fmt::format("/tasks/{}", task); }

    ClientScenario client;
    FakeVikunja vikunja{[] { return SystemClock().now(); }, token};
    FakeServer server{vikunja};
    int64_t garden = 0;
    int64_t house = 0;
    int64_t winter = 0;
    int64_t prune = 0;
    int64_t paint = 0;
};

TEST_F(RemoteVikunjaTest, anAccountIsReadOnceAndThenAskedLittle) {
    addAccount();
    EXPECT_EQ(step("add an account, read 3 tasks of 2 projects").size(), 3u);
    EXPECT_THAT(titles("Garden"), ElementsAre("Prune", "Winter work"));
    JSONValue shown = client.json({"task", "show", std::to_string(prune), "--project", "Garden"});
    EXPECT_EQ(textOf(shown, "notes"), "<p>Not too <em>hard</em></p>");

    sync({"--full"});
    EXPECT_THAT(step("sync in full, nothing new"), AllOf(Not(IsEmpty()), Each(EndsWith(" -> 304"))));
    sync();
    step("sync what changed, for the first time");
    sync();
    EXPECT_THAT(step("sync what changed, nothing new"), AllOf(Not(IsEmpty()), Each(EndsWith(" -> 304"))));

    vikunja.editTask(paint, [](FakeVikunjaTask& task) { task.title = "Paint the door"; });
    sync();
    step("sync after one change on the server");
    EXPECT_THAT(titles("House"), ElementsAre("Paint the door"));
}

TEST_F(RemoteVikunjaTest, anEditReadsTheTaskAndSendsItBackWhole) {
    addAccount();
    vikunja.takeLines();
    FakeVikunjaTask before = vikunja.task(prune);

    JSONValue edited = edit(prune, {"--title", "Prune the pear"});

    EXPECT_EQ(textOf(edited, "sync_state"), "synced");
    EXPECT_THAT(step("edit one task"),
                ElementsAre("GET " + path(prune) + " -> 200", "POST " + path(prune) + " -> 200"));
    FakeVikunjaTask after = vikunja.task(prune);
    EXPECT_EQ(after.title, "Prune the pear");
    EXPECT_EQ(after.parents, before.parents) << "the answer to a write shows no parent";
    after.title = before.title;
    after.updated = before.updated;
    EXPECT_EQ(after, before);

    edit(prune, {"--notes", "<p>Soon</p>"});
    step("edit it once more");
    EXPECT_EQ(vikunja.task(prune).parents, before.parents);
    EXPECT_EQ(vikunja.task(prune).description, "<p>Soon</p>");
}

TEST_F(RemoteVikunjaTest, whatTheServerRefusesIsKeptWithItsReason) {
    addAccount();
    vikunja.takeLines();
    vikunja.fail("POST " + path(paint), FakeFailure::status(412, R"({"code":2002,"message":"Invalid Data"})"));

    JSONValue edited = edit(paint, {"--title", "Paint it red"});

    EXPECT_EQ(textOf(edited, "sync_state"), "rejected");
    EXPECT_EQ(textOf(edited, "sync_error"), "Invalid Data");
    step("edit that the server refuses");
    EXPECT_EQ(vikunja.task(paint).title, "Paint");
    client.json({"pending", "retry", std::to_string(paint), "--project", "House"});
    step("the same once more");
    EXPECT_EQ(vikunja.task(paint).title, "Paint it red");
}

TEST_F(RemoteVikunjaTest, aParentIsMovedAndRemovedAlsoAcrossProjects) {
    int64_t summer = addTask(house, {.title = "Summer work"});
    addAccount();
    vikunja.takeLines();

    edit(prune, {"--parent", std::to_string(summer)});

    EXPECT_THAT(step("move a task to another parent"),
                ElementsAre("GET " + path(prune) + " -> 200", "POST " + path(prune) + " -> 200",
                            fmt::format("DELETE {}/relations/parenttask/{} -> 200", path(prune), winter),
                            "PUT " + path(prune) + "/relations -> 201"));
    EXPECT_THAT(vikunja.task(prune).parents, ElementsAre(summer));
    edit(prune, {"--no-parent"});
    step("take it from its parent");
    EXPECT_THAT(vikunja.task(prune).parents, IsEmpty());
}

TEST_F(RemoteVikunjaTest, aLabelIsMadeWhereItIsNewAndFoundWhereItIsNot) {
    addAccount();
    vikunja.takeLines();

    edit(paint, {"--label", "urgent", "--label", "Doors"});

    EXPECT_THAT(step("set two labels, one of them new"),
                ElementsAre("GET " + path(paint) + " -> 200", "POST " + path(paint) + " -> 200",
                            "GET /labels?per_page=50 -> 200", "PUT /labels -> 201",
                            "POST " + path(paint) + "/labels/bulk -> 201", "GET " + path(paint) + " -> 200"));
    EXPECT_THAT(vikunja.task(paint).labels, ElementsAre("Urgent", "Doors"));
    EXPECT_EQ(vikunja.labels().size(), 2u);
    edit(paint, {"--no-labels"});
    step("clear the labels");
    EXPECT_THAT(vikunja.task(paint).labels, IsEmpty());
}

// The service takes no labels with a new task: they follow at once.
TEST_F(RemoteVikunjaTest, theLabelsOfATaskMadeHereComeWithAnEditBehindIt) {
    addAccount();
    vikunja.takeLines();

    JSONValue added = client.json({"task", "add", "Mend the gate", "--project", "Garden", "--label", "Urgent"});

    Texts lines = step("add a task with a label");
    int64_t id = std::stoll(textOf(added, "number"));
    EXPECT_EQ(textOf(added, "sync_state"), "synced");
    EXPECT_THAT(lines, ElementsAre(fmt::format("PUT /projects/{}/tasks -> 201", garden), "GET " + path(id) + " -> 200",
                                   "POST " + path(id) + " -> 200", "GET /labels?per_page=50 -> 200",
                                   "POST " + path(id) + "/labels/bulk -> 201", "GET " + path(id) + " -> 200"));
    EXPECT_THAT(vikunja.task(id).labels, ElementsAre("Urgent"));
}

TEST_F(RemoteVikunjaTest, aRepeatingTaskThatIsCompletedIsOpenAgain) {
    int64_t water = addTask(house, {.title = "Water", .dueDate = SystemClock().now() - 3600.0, .repeatAfter = 86400});
    addAccount();

    client.json({"task", "done", std::to_string(water), "--project", "House"});

    Texts open = textsOf(client.json({"task", "list", "--project", "House"}), "tasks", "title");
    EXPECT_THAT(open, testing::UnorderedElementsAre("Paint", "Water"));
    EXPECT_FALSE(vikunja.task(water).isDone);
    EXPECT_GT(vikunja.task(water).dueDate.value(), SystemClock().now());
}

TEST_F(RemoteVikunjaTest, aRevokedTokenIsToldWithThePermissionsThatOneNeeds) {
    vikunja.setToken("another");
    JSONValue told = client.json(
        {"account", "add", "vikunja", "--name", "Work", "--url", server.url(), "--token-stdin"}, 1, token + "\n");
    std::string text = textOf(memberOf(told, "error"), "message");
    EXPECT_THAT(text, StartsWith("The server rejected the access token."));
    EXPECT_THAT(text, testing::HasSubstr("every permission for tasks"));
}

}  // namespace
}  // namespace marlet
