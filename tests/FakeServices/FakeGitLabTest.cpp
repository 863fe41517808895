#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "TestSupport/FakeGitLab.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::string countDocument =
    "query($ids: [ID!]) { projects(ids: $ids) { nodes { mergeRequests(first: 0) { count } } } }";

// A fake GitLab with one project, and a client that asks it as it should be asked.
struct GitLabCaller {
    GitLabCaller() { gitLab.serveAt("https://gitlab.example"); }

    FakeRequest request(const std::string& method, const std::string& path, const std::string& body = {}) const {
        FakeRequest request;
        request.method = method;
        request.url =
            path == "graphql" ? "https://gitlab.example/api/graphql" : "https://gitlab.example/api/v4/" + path;
        request.headers = {{"authorization", "Bearer glpat-secret"}, {"accept", "application/json"}};
        if (!body.empty()) {
            request.headers["content-type"] = "application/json";
            request.body = body;
        }
        return request;
    }
    FakeAnswer ask(const std::string& method, const std::string& path, const std::string& body = {}) {
        return gitLab.handle(request(method, path, body));
    }
    boost::json::value json(const std::string& path) { return boost::json::parse(ask("GET", path).body); }
    std::string below(const std::string& path) const { return "projects/" + project + "/" + path; }
    FakeAnswer graphQL(const std::string& document, const std::string& variables) {
        return ask("POST", "graphql", R"({"query":")" + document + R"(","variables":)" + variables + "}");
    }

    VirtualClock clock;
    FakeGitLab gitLab{[this] { return clock.now(); }, "glpat-secret"};
    std::string project = gitLab.addProject("o/r");
};

TEST(FakeGitLabTest, whatTheServiceWouldNotTakeIsAViolation) {
    struct Wrong {
        std::string method;
        std::string path;
        std::string body;
    };
    GitLabCaller caller;
    caller.gitLab.addItem(caller.project, {.title = "Task"});
    caller.gitLab.addItem(caller.project, {.title = "Request", .isMergeRequest = true});
    const std::vector<Wrong> wrongs{
        {"GET", caller.below("issues?scope=all&page_size=100"), ""},
        {"GET", caller.below("issues"), ""},
        {"GET", caller.below("issues?scope=everything"), ""},
        {"GET", caller.below("issues?scope=all&updated_after=yesterday"), ""},
        {"GET", caller.below("merge_requests?scope=all"), ""},
        {"PATCH", caller.below("issues/1"), R"({"title":"x"})"},
        {"PUT", caller.below("issues/1"), R"({"title":"x","weight":1})"},
        {"PUT", caller.below("issues/1"), R"({"labels":["a"]})"},
        {"PUT", caller.below("issues/1"), R"({"state_event":"closed"})"},
        {"PUT", caller.below("issues/1"), R"({"due_date":"2026-03-20T00:00:00Z"})"},
        {"PUT", caller.below("merge_requests/1"), R"({"due_date":null})"},
        {"POST", caller.below("issues"), R"({"description":"x"})"},
        {"POST", caller.below("issues"), R"({"title":"x","due_date":null})"},
        {"POST", caller.below("issues/1/notes"), R"({"text":"x"})"},
        {"GET", "todos?since=2026-01-01T00:00:00Z", ""},
        {"POST", "graphql", R"({"query":"query { currentUser { id } }","variables":{}})"},
        {"POST", "graphql", R"({"query":")" + countDocument + R"(","variables":{"ids":["1"]}})"},
    };
    for (size_t index = 0; index < wrongs.size(); ++index) {
        caller.ask(wrongs[index].method, wrongs[index].path, wrongs[index].body);
        EXPECT_THAT(caller.gitLab.violations(), SizeIs(index + 1)) << wrongs[index].path << " " << wrongs[index].body;
    }
}

TEST(FakeGitLabTest, headersThatAreMissingAreViolations) {
    for (const char* header : {"authorization", "accept"}) {
        GitLabCaller caller;
        FakeRequest request = caller.request("GET", "projects");
        request.headers.erase(header);
        caller.gitLab.handle(request);
        EXPECT_THAT(caller.gitLab.violations(), SizeIs(1)) << header;
    }
    GitLabCaller caller;
    caller.gitLab.setToken("another");
    EXPECT_EQ(caller.ask("GET", "projects").status, 401);
    EXPECT_THAT(caller.gitLab.violations(), IsEmpty()) << "a wrong token is nobody's mistake";
}

TEST(FakeGitLabTest, listsTellTheirLengthUnlessTheyAreLong) {
    GitLabCaller caller;
    caller.gitLab.setCountedLength(2);
    for (int count = 1; count <= 3; ++count) {
        caller.gitLab.addItem(caller.project, {.title = "Request", .isMergeRequest = true});
        FakeAnswer answer = caller.ask("GET", caller.below("merge_requests?state=all&per_page=1"));
        EXPECT_EQ(answer.header("X-Total"), count <= 2 ? std::to_string(count) : "");
    }
    FakeAnswer counted = caller.graphQL(countDocument, R"({"ids":["gid://gitlab/Project/)" + caller.project + "\"]}");
    EXPECT_THAT(counted.body, HasSubstr(R"({"count":3})"));
    EXPECT_THAT(caller.gitLab.violations(), IsEmpty());
}

TEST(FakeGitLabTest, whatOthersDoMakesTodosAndWhatTheClientDoesDoesNot) {
    GitLabCaller caller;
    std::string other = caller.gitLab.addItem(caller.project, {.title = "Theirs"});
    caller.ask("POST", caller.below("issues"), R"({"title":"Mine"})");
    caller.ask("PUT", caller.below("issues/2"), R"({"title":"Still mine"})");
    EXPECT_THAT(caller.json("todos").as_array(), SizeIs(1));
    caller.gitLab.editItem(caller.project, "2", [](FakeGitLabItem& item) { item.title = "Theirs now"; });
    caller.gitLab.addTodo(0, "Epic");

    boost::json::value todos = caller.json("todos");

    ASSERT_THAT(todos.as_array(), SizeIs(3));
    EXPECT_EQ(todos.at(0).at("target_type"), "Epic") << "the newest first";
    EXPECT_FALSE(todos.at(0).as_object().contains("project"));
    EXPECT_EQ(todos.at(1).at("target_type"), "Issue");
    caller.gitLab.editItem(caller.project, other, [](FakeGitLabItem& item) { item.title = "Again"; });
    EXPECT_THAT(caller.json("todos").as_array(), SizeIs(3)) << "one is pending for each item";
}

TEST(FakeGitLabTest, onlyListsTellTheColorsOfLabels) {
    GitLabCaller caller;
    caller.gitLab.addLabel(caller.project, "bug", "d73a4a");
    caller.gitLab.addItem(caller.project, {.title = "Task", .labels = {"bug"}});
    EXPECT_EQ(
        caller.json(caller.below("issues?scope=all&with_labels_details=true")).at(0).at("labels").at(0).at("color"),
        "#d73a4a");
    EXPECT_EQ(caller.json(caller.below("issues/1")).at("labels").at(0), "bug");
    FakeAnswer written = caller.ask("PUT", caller.below("issues/1"), R"({"labels":"bug,new"})");
    EXPECT_THAT(written.body, HasSubstr(R"("labels":["bug","new"])"));
}

TEST(FakeGitLabTest, aMergedRequestCannotBeReopened) {
    GitLabCaller caller;
    caller.gitLab.addItem(caller.project, {.title = "Request", .isMergeRequest = true, .isMerged = true});
    FakeAnswer answer = caller.ask("PUT", caller.below("merge_requests/1"), R"({"state_event":"reopen"})");
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.body, HasSubstr(R"("state":"merged")"));
}

TEST(FakeGitLabTest, aProjectMayHideItsMergeRequests) {
    GitLabCaller caller;
    caller.gitLab.editProject(caller.project, [](FakeGitLabProject& project) { project.hasMergeRequests = false; });
    EXPECT_EQ(caller.ask("GET", caller.below("merge_requests?state=all")).status, 403);
    EXPECT_EQ(caller.ask("GET", "projects/99/issues?scope=all").status, 404);
    EXPECT_THAT(caller.gitLab.violations(), IsEmpty());
}

TEST(FakeGitLabTest, onlyATaskMayHaveAParentAndOnlyAnIssueMayBeOne) {
    GitLabCaller caller;
    caller.gitLab.addItem(caller.project, {.title = "Issue"});
    caller.gitLab.addItem(caller.project, {.title = "Task", .type = "task"});
    std::string issue = caller.gitLab.item(caller.project, "1").globalID();
    std::string task = caller.gitLab.item(caller.project, "2").globalID();
    const std::string mutation = "mutation($input: WorkItemUpdateInput!) { workItemUpdate(input: $input) { errors } }";
    auto changing = [&](const std::string& child, const std::string& parent) {
        return caller
            .graphQL(mutation,
                     R"({"input":{"id":")" + child + R"(","hierarchyWidget":{"parentId":")" + parent + R"("}}})")
            .body;
    };

    EXPECT_THAT(changing(issue, task), HasSubstr("not allowed"));
    EXPECT_THAT(changing(task, task), HasSubstr("not allowed"));
    EXPECT_THAT(changing(task, issue), Not(HasSubstr("not allowed")));
    EXPECT_EQ(caller.gitLab.item(caller.project, "2").parent, 1);
    EXPECT_THAT(caller.gitLab.violations(), IsEmpty());
}

}  // namespace
}  // namespace marlet
