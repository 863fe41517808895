#include <gmock/gmock.h>

#include "ForgeScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;

TEST(ForgePathsTest, aProjectThatWouldLeadElsewhereIsNotFoundAndNothingIsSent) {
    for (const std::string& projectID : {"", ".", "..", "../..", "a/..", "../user", "a/./b", "a//b", "/a/b", "a/b/"}) {
        Forgejo forgejo;
        TaskItem task = taskWithTitle("1", projectID);
        TaskDraft draft;
        draft.labels = {"x"};
        EXPECT_EQ(errorOf(forgejo.backend.fetchTasks(projectID, std::nullopt)), BackendError::notFound()) << projectID;
        EXPECT_EQ(errorOf(forgejo.backend.taskCount(projectID)), BackendError::notFound());
        EXPECT_EQ(errorOf(forgejo.backend.createTask(draft, projectID)), BackendError::notFound());
        EXPECT_EQ(errorOf(forgejo.backend.updateTask(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(forgejo.backend.rawTask(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(forgejo.backend.fetchComments(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(forgejo.backend.addComment("x", task)), BackendError::notFound());
        EXPECT_TRUE(forgejo.server->requests().empty());
    }
}

TEST(ForgePathsTest, aBoardThatWouldLeadElsewhereIsNotFoundAndNothingIsSent) {
    for (const std::string& projectID : {"projects/orgs/../12", "projects/users/./12", "projects/orgs//12"}) {
        GitHub gitHub;
        TaskItem task = taskWithTitle("1", projectID);
        EXPECT_EQ(errorOf(gitHub.backend.fetchTasks(projectID, std::nullopt)), BackendError::notFound()) << projectID;
        EXPECT_EQ(errorOf(gitHub.backend.createTask(TaskDraft{}, projectID)), BackendError::notFound());
        EXPECT_EQ(errorOf(gitHub.backend.updateTask(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(gitHub.backend.rawTask(task)), BackendError::notFound());
        EXPECT_TRUE(gitHub.server->requests().empty());
    }
}

TEST(ForgePathsTest, aTaskThatHasNoNumberIsNotFoundAndNothingIsSent) {
    for (const std::string& id : {"", "x", "1/../2", "../1", "1?state=all", "1#2", "+1", "-1", "1 ", "１", "%31"}) {
        GitHub gitHub;
        TaskItem task = taskWithTitle(id, "a/b");
        EXPECT_EQ(errorOf(gitHub.backend.updateTask(task)), BackendError::notFound()) << id;
        EXPECT_EQ(errorOf(gitHub.backend.rawTask(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(gitHub.backend.fetchComments(task)), BackendError::notFound());
        EXPECT_EQ(errorOf(gitHub.backend.addComment("x", task)), BackendError::notFound());
        EXPECT_TRUE(gitHub.server->requests().empty());
    }
}

TEST(ForgePathsTest, whatAPathCannotHoldIsEncodedWithinIt) {
    Forgejo forgejo;
    forgejo.server->onRequest = [](const URLRequest&) { return ScriptedTransport::Answer{.body = "{}"}; };
    for (const std::string& projectID : {"a/b?x=1", "a/b#c", "a/ü b", "%2e%2e/b", "a/...", "o/.github"}) {
        runToEnd(forgejo.backend.rawTask(taskWithTitle("7", projectID)));
    }
    const std::string repos = "GET https://forge.example/api/v1/repos/";
    EXPECT_THAT(forgejo.server->log(),
                ElementsAre(repos + "a/b%3Fx=1/issues/7", repos + "a/b%23c/issues/7", repos + "a/%C3%BC%20b/issues/7",
                            repos + "%252e%252e/b/issues/7", repos + "a/.../issues/7", repos + "o/.github/issues/7"));
}

}  // namespace
}  // namespace marlet
