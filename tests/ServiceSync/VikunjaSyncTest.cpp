// Stories of an account of Vikunja, from the store through the engine and the backend to the service and back.
#include "SyncedVikunja.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct Story : SyncedVikunja {
    // Two projects with three tasks each, in step, and the first probe done.
    Story() {
        addProject("Garden", 3);
        addProject("House", 3);
        subscribe();
        sync();
        runFor(3600);
        vikunja.takeLines();
    }
    ~Story() override { EXPECT_THAT(vikunja.violations(), IsEmpty()) << vikunja.printedLog(); }

    int64_t anyTask(const std::string& project) { return vikunja.tasks(projects.at(project)).front().id; }
    std::string garden() const { return projectID("Garden"); }
};

TEST(VikunjaSyncTest, aProbeFindsAChangeAndLooksAtItsProjectAlone) {
    Story story;
    int64_t id = story.anyTask("Garden");
    story.vikunja.editTask(id, [](FakeVikunjaTask& task) { task.title = "Another's"; });

    story.runFor(3600);

    EXPECT_EQ(story.task(story.garden(), id).item.title, "Another's");
    std::vector<std::string> lines = story.vikunja.takeLines();
    EXPECT_THAT(lines, Contains(HasSubstr("GET /tasks?sort_by=updated")));
    EXPECT_THAT(lines, Contains(HasSubstr("project%20%3D%20" + story.garden() + "&sort_by")));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("project%20%3D%20" + story.projectID("House") + "&sort_by"))));
    EXPECT_EQ(story.accountError(), "");
}

TEST(VikunjaSyncTest, aDeletionThatANotificationTellsIsFoundAtOnce) {
    Story story;
    int64_t id = story.anyTask("Garden");
    story.vikunja.removeTask(id);

    story.runFor(3600);

    EXPECT_EQ(story.tasks(story.garden()).size(), 2u);
    EXPECT_EQ(story.tasks(story.projectID("House")).size(), 3u);
    EXPECT_GT(story.vikunja.count("GET /notifications"), 0u);
}

TEST(VikunjaSyncTest, anEditKeepsTheParentThatTheAnswerLeavesOut) {
    Story story;
    std::vector<FakeVikunjaTask> tasks = story.vikunja.tasks(story.projects.at("Garden"));
    int64_t parent = tasks[0].id;
    int64_t child = tasks[1].id;
    story.vikunja.editTask(child, [&](FakeVikunjaTask& task) { task.parents = {parent}; });
    story.sync();

    for (const char* title : {"Once", "Twice"}) {
        story.edit(story.garden(), child, [&](TaskItem& item) { item.title = title; });
        story.push();
        EXPECT_EQ(story.vikunja.task(child).title, title);
        EXPECT_EQ(story.vikunja.task(child).parents, std::vector<int64_t>{parent});
        EXPECT_EQ(story.task(story.garden(), child).item.parent.value().id, std::to_string(parent));
    }
}

TEST(VikunjaSyncTest, aListThatIsNoListDeletesNothing) {
    Story story;
    for (const FakeFailure& failure : {FakeFailure::status(200, "null"), FakeFailure::html(), FakeFailure::empty()}) {
        story.vikunja.fail("", failure, -1);
        story.sync();
        story.vikunja.recover();
        EXPECT_EQ(story.tasks(story.garden()).size(), 3u);
        EXPECT_EQ(story.tasks(story.projectID("House")).size(), 3u);
    }
    story.sync();
    EXPECT_EQ(story.accountError(), "");
}

}  // namespace
}  // namespace marlet
