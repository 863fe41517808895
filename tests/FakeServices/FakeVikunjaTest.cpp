#include "TestSupport/FakeVikunja.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "TestSupport/VirtualClock.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// One project with a parent and a child, and a client that asks as it should.
struct VikunjaCaller {
    VikunjaCaller() {
        vikunja.serveAt("https://tasks.example");
        project = vikunja.addProject("Garden");
        parent = vikunja.addTask(project, {.title = "Winter work"});
        child = vikunja.addTask(project, {.title = "Prune", .labels = {"Urgent"}, .parents = {parent}});
    }

    FakeAnswer ask(const std::string& method, const std::string& path, const std::string& body = {}) {
        FakeRequest request;
        request.method = method;
        request.url = "https://tasks.example/api/v1/" + path;
        request.headers = {{"authorization", "Bearer tk_secret"}, {"accept", "application/json"}};
        if (!body.empty()) {
            request.headers["content-type"] = "application/json";
            request.body = body;
        }
        return vikunja.handle(request);
    }
    boost::json::object task(int64_t id) { return boost::json::parse(ask("GET", path(id)).body).as_object(); }
    FakeAnswer post(int64_t id, const boost::json::object& body) {
        return ask("POST", path(id), boost::json::serialize(body));
    }
    static std::string path(int64_t id) { return "tasks/" + std::to_string(id); }

    VirtualClock clock;
    FakeVikunja vikunja{[this] { return clock.now(); }, "tk_secret"};
    int64_t project = 0;
    int64_t parent = 0;
    int64_t child = 0;
};

TEST(FakeVikunjaTest, theAnswerToAWriteHasNoRelationsThoughTheyStand) {
    VikunjaCaller caller;
    boost::json::object whole = caller.task(caller.child);
    EXPECT_TRUE(whole.at("related_tasks").as_object().contains("parenttask"));
    whole.erase("related_tasks");
    whole["title"] = "Prune the pear";

    FakeAnswer answer = caller.post(caller.child, whole);

    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(boost::json::parse(answer.body).at("related_tasks").is_null());
    EXPECT_THAT(caller.vikunja.task(caller.child).parents, ElementsAre(caller.parent));
    EXPECT_THAT(caller.vikunja.task(caller.child).labels, ElementsAre("Urgent"));
    EXPECT_THAT(caller.vikunja.violations(), IsEmpty());
}

TEST(FakeVikunjaTest, aWriteOfHalfATaskOrOfRelationsIsAViolation) {
    VikunjaCaller caller;
    boost::json::object whole = caller.task(caller.child);
    EXPECT_EQ(caller.post(caller.child, whole).status, 422);
    whole.erase("related_tasks");
    whole.erase("priority");
    EXPECT_EQ(caller.post(caller.child, whole).status, 422);

    EXPECT_THAT(caller.vikunja.violations(),
                ElementsAre(HasSubstr("unknown key related_tasks"), HasSubstr("lacks priority")));
}

TEST(FakeVikunjaTest, whatTheServiceWouldNotTakeIsAViolation) {
    VikunjaCaller caller;
    caller.ask("GET", "tasks?filter=done%20%3D%20true");
    caller.ask("GET", "projects?limit=50");
    caller.ask("PUT", "labels", R"({"title":"new"})");
    caller.ask("PUT", caller.path(caller.child) + "/relations",
               R"({"task_id":1,"other_task_id":2,"relation_kind":"parenttask"})");
    caller.ask("POST", caller.path(caller.child) + "/labels/bulk", R"({"labels":[{"id":1,"title":"x"}]})");
    EXPECT_EQ(caller.vikunja.violations().size(), 5u);
}

TEST(FakeVikunjaTest, listsTellTheirPagesAndTheirEmptyDates) {
    VikunjaCaller caller;
    FakeAnswer answer =
        caller.ask("GET", "tasks?filter=project%20%3D%20" + std::to_string(caller.project) + "&per_page=1");
    EXPECT_EQ(answer.header("x-pagination-total-pages"), "2");
    EXPECT_EQ(answer.header("x-pagination-result-count"), "1");
    EXPECT_EQ(answer.header("Link"), "");
    EXPECT_EQ(caller.task(caller.child).at("due_date"), "0001-01-01T00:00:00Z");
}

TEST(FakeVikunjaTest, aRepeatingTaskIsOpenedAgain) {
    VikunjaCaller caller;
    Date due = caller.clock.now() - 3600.0;
    int64_t id = caller.vikunja.addTask(caller.project, {.title = "Water", .dueDate = due, .repeatAfter = 86400});
    boost::json::object whole = caller.task(id);
    whole.erase("related_tasks");
    whole["done"] = true;
    caller.post(id, whole);
    EXPECT_FALSE(caller.vikunja.task(id).isDone);
    EXPECT_EQ(caller.vikunja.task(id).dueDate, due + 86400.0);
}

TEST(FakeVikunjaTest, aCycleOfParentsAndASecondRelationAreRefused) {
    VikunjaCaller caller;
    auto relate = [&](int64_t id, int64_t other) {
        boost::json::object body{{"task_id", id}, {"other_task_id", other}, {"relation_kind", "parenttask"}};
        return caller.ask("PUT", caller.path(id) + "/relations", boost::json::serialize(body)).status;
    };
    EXPECT_EQ(relate(caller.parent, caller.child), 409);
    EXPECT_EQ(relate(caller.child, caller.child), 409);
    EXPECT_EQ(relate(caller.child, caller.parent), 409);
    EXPECT_EQ(caller.ask("DELETE", caller.path(caller.child) + "/relations/parenttask/1").status, 404);
    EXPECT_THAT(caller.vikunja.violations(), IsEmpty());
}

TEST(FakeVikunjaTest, everyNotificationOfTheServiceCanBeMade) {
    VikunjaCaller caller;
    for (const char* name : {"task.comment", "task.assigned", "task.deleted", "task.mentioned", "task.reminder",
                             "task.undone.overdue", "team.member.added", "project.created"}) {
        caller.vikunja.notify(name, caller.child);
    }
    boost::json::value list = boost::json::parse(caller.ask("GET", "notifications?per_page=50").body);
    EXPECT_EQ(list.as_array().size(), 8u);
    EXPECT_EQ(list.at(0).at("name"), "project.created") << "the newest comes first";
    EXPECT_EQ(list.at(7).at("notification").at("task").at("project_id"), caller.project);
}

}  // namespace
}  // namespace marlet
