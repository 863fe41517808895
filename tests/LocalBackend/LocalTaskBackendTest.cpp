#include "LocalBackend/LocalTaskBackend.h"

#include <limits>

#include "LocalTaskFixture.h"
#include "MarletBase/Coding.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {
namespace {

constexpr int64_t unlimited = std::numeric_limits<int64_t>::max();

struct LocalAccount : LocalTaskFixture {
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>(noon);
    Account account{accountID, BackendKind::local, "On This Mac", *defaultBaseURL(BackendKind::local)};
    LocalTaskBackend backend{account, unlimited, database, clock};
};

TEST(LocalTaskBackendTest, theBackendSpeaksForItsAccountAndCutsNothingOff) {
    LocalAccount local;
    EXPECT_EQ(local.backend.account(), local.account);
    EXPECT_EQ(local.backend.itemLimit(), unlimited);
}

TEST(LocalTaskBackendTest, anAccountOfAnotherServiceEndsTheProcess) {
    LocalAccount local;
    Account remote = local.account;
    remote.kind = BackendKind::github;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(LocalTaskBackend(remote, unlimited, local.database, local.clock), "needs a local account");
}

TEST(LocalTaskBackendTest, aTaskLivesItsLifeThroughTheBackend) {
    LocalAccount local;
    TaskBackend& backend = local.backend;
    EXPECT_EQ(local.run(backend.fetchProjects()), std::vector<Project>{local.project});

    TaskItem task = local.run(backend.createTask({.title = "Sow the beans"}, local.project.id));
    EXPECT_EQ(task.createdAt, noon);

    local.clock->advance(60);
    task.isCompleted = true;
    task = local.run(backend.updateTask(task));
    EXPECT_EQ(task.updatedAt, noon + 60);
    EXPECT_EQ(local.run(backend.fetchTasks(local.project.id, noon)), std::vector<TaskItem>{task});
    EXPECT_TRUE(local.run(backend.fetchTasks(local.project.id, noon + 60)).empty());

    TaskComment comment = local.run(backend.addComment("They are up", task));
    EXPECT_EQ(comment.createdAt, noon + 60);
    EXPECT_EQ(local.run(backend.fetchComments(task)), std::vector<TaskComment>{comment});
}

TEST(LocalTaskBackendTest, rawReadingIsItsOneCapability) {
    LocalAccount local;
    TaskBackend* backend = &local.backend;
    EXPECT_NE(dynamic_cast<RawTaskReading*>(backend), nullptr);
    EXPECT_EQ(dynamic_cast<TaskCounting*>(backend), nullptr);
    EXPECT_EQ(dynamic_cast<ChangeHinting*>(backend), nullptr);
    EXPECT_EQ(dynamic_cast<AccountChangeProbing*>(backend), nullptr);
}

TEST(LocalTaskBackendTest, theRawTaskIsTheRecordAsSortedJSON) {
    LocalAccount local;
    TaskItem parent = local.create("Dig the bed");
    TaskItem task = local.create(TaskDraft{.title = "Sow \"the\" beans", .dueDate = noon + 0.5, .labels = {"a/b"}});
    task = local.moveBelow(task, parent.id, noon + 60);

    std::string raw = local.run(local.backend.rawTask(task));

    EXPECT_EQ(raw, R"({"assignees":[],"canChangeParent":true,"canHaveChildren":true,)"
                   R"("createdAt":"2027-01-15T08:00:00Z","dueDate":"2027-01-15T08:00:00Z","id":"2",)"
                   R"("isCompleted":false,"kind":"task","labels":[{"name":"a/b"}],"notes":"",)"
                   R"("parent":{"id":"1","title":"Dig the bed"},"projectID":")" +
                       local.project.id + R"(","title":"Sow \"the\" beans","updatedAt":"2027-01-15T08:01:00Z"})");
    EXPECT_EQ(decoded<TaskItem>(parseJSON(raw)).title, task.title);
}

TEST(LocalTaskBackendTest, theRawTaskOfATaskThatHasGoneIsNotFound) {
    LocalAccount local;
    TaskItem task = local.create("Sow the beans");
    local.remove(task);

    EXPECT_EQ(backendErrorOf([&] { local.run(local.backend.rawTask(task)); }), BackendError::notFound());
    local.run(local.database->deleteProject(local.project.id, local.accountID));
    EXPECT_EQ(backendErrorOf([&] { local.run(local.backend.rawTask(task)); }), BackendError::notFound());
}

TEST(LocalTaskBackendTest, manyCreatesAtOnceTakeOneNumberEach) {
    LocalAccount local;
    std::vector<std::shared_ptr<TestLoop::Outcome<TaskItem>>> creates;
    creates.reserve(50);
    for (int count = 0; count < 50; ++count) {
        creates.push_back(local.loop.start(local.backend.createTask({.title = "Bean"}, local.project.id)));
    }
    local.loop.runUntil([&] {
        return std::all_of(creates.begin(), creates.end(), [](const auto& create) { return create->isFinished; });
    });

    std::set<std::string> ids;
    for (const auto& create : creates) {
        ids.insert(create->value.value().id);
    }
    EXPECT_EQ(ids.size(), 50U);
    EXPECT_EQ(local.create("Next").id, "51");
}

}  // namespace
}  // namespace marlet
