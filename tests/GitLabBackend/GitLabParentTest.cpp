#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "GitLabScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

const std::string updated = R"({"data":{"workItemUpdate":{"errors":[]}}})";

TaskItem taskBelow(const std::string& parent) {
    TaskItem task = taskWithTitle("13");
    if (!parent.empty()) {
        task.parent = TaskParent{parent, "As the user knows it"};
    }
    return task;
}

std::string mutationBody(const std::string& parent) {
    return R"({"query":"mutation($input: WorkItemUpdateInput!) { workItemUpdate(input: $input) { errors } }",)"
           R"("variables":{"input":{"id":"gid://gitlab/WorkItem/1013","hierarchyWidget":{"parentId":)" +
           parent + "}}}}";
}

// Task 13 is edited; GraphQL answers the question for these numbers with these nodes.
struct EditedTask : GitLabScenario {
    explicit EditedTask(const std::string& nodes) {
        answerItem("issues/13", taskJSON(13), taskJSON(13));
        answerGraphQL(workItems(nodes));
    }

    std::string bodyOf(size_t request) const { return server->requests().at(request).body.value_or("(none)"); }
};

TEST(GitLabParentTest, theParentsOfTasksAreAskedForAndOfNothingElse) {
    GitLabScenario gitLab;
    gitLab.answerLists(fixture("issues.json"), fixture("merge-requests.json"));
    gitLab.answerGraphQL(workItems(workItem("13", "12")));

    gitLab.fetchTasks();

    EXPECT_EQ(gitLab.server->log().back(), "POST " + graphQLAddress);
    EXPECT_THAT(gitLab.server->log(), SizeIs(3));
    EXPECT_EQ(gitLab.lastBody(), hierarchyBody(R"("13")"));
    EXPECT_EQ(gitLab.lastHeader("Authorization"), "Bearer glpat-k3y");
    EXPECT_EQ(gitLab.lastHeader("Content-Type"), "application/json");
}

TEST(GitLabParentTest, withoutTasksGraphQLIsNotAsked) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + issueJSON(1, R"(,"issue_type":"issue")") + "]",
                       "[" + issueJSON(2, R"(,"issue_type":"task")") + "]");
    gitLab.fetchTasks();
    EXPECT_THAT(gitLab.server->log(), SizeIs(2));
}

TEST(GitLabParentTest, parentsAreAskedForAHundredAtATimeAndInOrder) {
    GitLabScenario gitLab;
    std::string list = "[";
    for (int number = 250; number > 0; --number) {
        list += taskJSON(number) + ",";
    }
    list.back() = ']';
    gitLab.answerLists(list);
    gitLab.answerGraphQL(workItems(workItem("250", "999")));
    gitLab.answerGraphQL(workItems(workItem("150", "998") + "," + workItem("250", "997")));
    gitLab.answerGraphQL(workItems(workItem("1", "996")));

    std::vector<TaskItem> tasks = gitLab.fetchTasks();

    ASSERT_THAT(gitLab.server->requests(), SizeIs(5));
    std::vector<size_t> sizes;
    std::vector<std::string> first;
    for (size_t index = 2; index < 5; ++index) {
        boost::json::value body = boost::json::parse(*gitLab.server->requests()[index].body);
        const boost::json::array& numbers = body.at("variables").at("iids").as_array();
        sizes.push_back(numbers.size());
        first.emplace_back(numbers.at(0).as_string().c_str());
    }
    EXPECT_THAT(sizes, ElementsAre(100U, 100U, 50U));
    EXPECT_THAT(first, ElementsAre("250", "150", "50"));
    EXPECT_EQ(tasks.at(0).parent->id, "997") << "what comes later counts";
    EXPECT_EQ(tasks.at(100).parent->id, "998");
    EXPECT_EQ(tasks.at(249).parent->id, "996");
    EXPECT_EQ(tasks.at(1).parent, std::nullopt);
}

TEST(GitLabParentTest, nodesThatSayNothingOfAParentArePassedOver) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + taskJSON(1) + "," + taskJSON(2) + "," + taskJSON(3) + "," + taskJSON(4) + "]");
    gitLab.answerGraphQL(
        workItems(R"({"id":"g1","iid":"1","widgets":null},{"id":"g2","iid":"2"},)"
                  R"({"id":"g3","iid":"three","widgets":[{"parent":{"id":"g","iid":"9","title":""}}]},)"
                  R"({"id":"g4","iid":"4","widgets":[{},{"parent":null},)"
                  R"({"parent":{"id":"g8","iid":"8","title":"Eight"}},)"
                  R"({"parent":{"id":"g9","iid":"9","title":"Nine"}}]})"));

    std::vector<TaskItem> tasks = gitLab.fetchTasks();

    EXPECT_FALSE(tasks.at(0).parent || tasks.at(1).parent || tasks.at(2).parent);
    EXPECT_EQ(tasks.at(3).parent, (TaskParent{"8", "Eight"})) << "the first of them";
}

TEST(GitLabParentTest, aProjectThatGraphQLDoesNotShowGivesNoParents) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + taskJSON(1) + "]");
    gitLab.answerGraphQL(R"({"data":{"projects":{"nodes":[]}}})");
    EXPECT_EQ(gitLab.fetchTasks().at(0).parent, std::nullopt);
}

TEST(GitLabParentTest, aFailedLookUpFailsTheFetch) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + taskJSON(1) + "]");
    gitLab.answerGraphQL(R"({"errors":[{"message":"Field 'workItems' doesn't exist on type 'Project'"}]})");
    EXPECT_EQ(errorOf(gitLab.backend.fetchTasks("31", std::nullopt)),
              BackendError::rejected("Field 'workItems' doesn't exist on type 'Project'"));
    for (const char* body : {"", "<html>", R"({"data":{"projects":null}})"}) {
        GitLabScenario broken;
        broken.answerLists("[" + taskJSON(1) + "]");
        broken.answerGraphQL(body);
        EXPECT_THROW(broken.fetchTasks(), LocalizedError) << body;
    }
}

TEST(GitLabParentTest, aParentThatIsAlreadyThereIsLeftAlone) {
    EditedTask gitLab(workItem("12") + "," + workItem("13", "12"));

    TaskItem task = gitLab.update(taskBelow("12"));

    EXPECT_THAT(gitLab.server->log(), ElementsAre("GET " + projectAddress + "/issues/13",
                                                  "PUT " + projectAddress + "/issues/13", "POST " + graphQLAddress));
    EXPECT_EQ(gitLab.bodyOf(2), hierarchyBody(R"("13","12")"));
    EXPECT_EQ(task.parent, (TaskParent{"12", "Parent 12"})) << "as GraphQL names it";
}

TEST(GitLabParentTest, aTaskThatHasNoParentAndShallHaveNoneIsLeftAlone) {
    EditedTask gitLab(workItem("13"));

    TaskItem task = gitLab.update(taskBelow(""));

    EXPECT_EQ(gitLab.bodyOf(2), hierarchyBody(R"("13")"));
    EXPECT_THAT(gitLab.server->log(), SizeIs(3));
    EXPECT_EQ(task.parent, std::nullopt);
}

TEST(GitLabParentTest, aNewParentIsSetByItsGlobalId) {
    for (const char* current : {"", "11"}) {
        EditedTask gitLab(workItem("13", current) + "," + workItem("12"));
        gitLab.answerGraphQL(updated);

        TaskItem task = gitLab.update(taskBelow("12"));

        EXPECT_THAT(gitLab.server->log(), SizeIs(4));
        EXPECT_EQ(gitLab.server->log().back(), "POST " + graphQLAddress);
        EXPECT_EQ(gitLab.lastBody(), mutationBody(R"("gid://gitlab/WorkItem/1012")"));
        EXPECT_EQ(task.parent, (TaskParent{"12", "As the user knows it"}));
    }
}

TEST(GitLabParentTest, aParentIsTakenAwayWithANull) {
    EditedTask gitLab(workItem("13", "12"));
    gitLab.answerGraphQL(updated);

    TaskItem task = gitLab.update(taskBelow(""));

    EXPECT_EQ(gitLab.lastBody(), mutationBody("null"));
    EXPECT_EQ(task.parent, std::nullopt);
}

TEST(GitLabParentTest, aParentOutsideTheProjectIsRefusedAfterTheRestWasSaved) {
    EditedTask gitLab(workItem("13"));
    EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskBelow("404"))),
              BackendError::rejected("Issue #404 isn't in this project."));
    EXPECT_EQ(gitLab.server->log().at(1), "PUT " + projectAddress + "/issues/13");

    EditedTask named(workItem("13"));
    EXPECT_EQ(errorOf(named.backend.updateTask(taskBelow("!4"))),
              BackendError::rejected("Issue !4 isn't in this project."));
}

TEST(GitLabParentTest, aTaskThatGraphQLDoesNotKnowIsNotFound) {
    for (const std::string& nodes : {std::string(), workItem("12")}) {
        EditedTask gitLab(nodes);
        EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskBelow("12"))), BackendError::notFound());
    }
}

TEST(GitLabParentTest, whatTheServiceSaysAgainstAParentIsJoinedByABlank) {
    EditedTask gitLab(workItem("13") + "," + workItem("12"));
    gitLab.answerGraphQL(R"({"data":{"workItemUpdate":{"errors":["#13 cannot be added.","Too deep."]}}})");
    EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskBelow("12"))),
              BackendError::rejected("#13 cannot be added. Too deep."));
}

TEST(GitLabParentTest, aMutationThatIsForbiddenSaysWhy) {
    EditedTask gitLab(workItem("13") + "," + workItem("12"));
    gitLab.answerGraphQL(R"({"data":{"workItemUpdate":null},"errors":[{"message":"No permission","path":["x"]}]})");
    EXPECT_EQ(errorOf(gitLab.backend.updateTask(taskBelow("12"))), BackendError::rejected("No permission"));
}

TEST(GitLabParentTest, onlyWhatWasReadAsATaskHasItsParentChanged) {
    GitLabScenario gitLab;
    gitLab.answerItem("issues/13", issueJSON(13, R"(,"issue_type":"issue")"), taskJSON(13));

    TaskItem task = gitLab.update(taskBelow("12"));

    EXPECT_THAT(gitLab.server->log(), SizeIs(2));
    EXPECT_EQ(task.parent, std::nullopt);
}

}  // namespace
}  // namespace marlet
