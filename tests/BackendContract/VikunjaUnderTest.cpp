#include "VikunjaUnderTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <boost/json/serialize.hpp>

#include "TestSupport/FakeTransport.h"
#include "VikunjaBackend/VikunjaTaskBackend.h"

namespace marlet {
namespace {

const std::string token = "tk_secret";

ServerTask serverTask(const FakeVikunjaTask& task) {
    ServerTask result;
    result.title = task.title;
    result.notes = task.description;
    result.isCompleted = task.isDone;
    result.labels = task.labels;
    result.dueDate = task.dueDate;
    result.assignees = task.assignees;
    std::sort(result.labels.begin(), result.labels.end());
    if (!task.parents.empty()) {
        result.parentID = fmt::format("{}", fmt::join(task.parents, " and "));
    }
    result.rest = fmt::format("by {} at {} in {}, priority {}, repeated after {}, {} comments, {}", task.author,
                              iso8601(task.created), task.projectID, task.priority, task.repeatAfter,
                              task.comments.size(), boost::json::serialize(task.rest));
    return result;
}

void apply(const ServerTask& task, FakeVikunjaTask& kept) {
    kept.title = task.title;
    kept.description = task.notes;
    kept.isDone = task.isCompleted;
    kept.labels = task.labels;
    kept.dueDate = task.dueDate;
    kept.assignees = task.assignees;
    kept.parents.clear();
    if (task.parentID) {
        kept.parents.push_back(std::stoll(*task.parentID));
    }
}

}  // namespace

VikunjaUnderTest::VikunjaUnderTest(std::shared_ptr<VirtualClock> time)
    : vikunja([time] { return time->now(); }, token), clock(std::move(time)) {
    vikunja.serveAt("https://tasks.example");
    project = vikunja.addProject("Garden");
    vikunja.addProject("Shed", true);
}

std::shared_ptr<TaskBackend> VikunjaUnderTest::makeBackend(int64_t itemLimit) {
    Account account{UUID::random(), BackendKind::vikunja, "Tasks", URL::parse(vikunja.webRoot()).value()};
    auto transport = std::make_shared<FakeTransport>(vikunja);
    return std::make_shared<VikunjaTaskBackend>(account, token, transport, itemLimit, clock);
}

std::string VikunjaUnderTest::add(const ServerTask& task) {
    FakeVikunjaTask added;
    apply(task, added);
    added.priority = 3;
    return std::to_string(vikunja.addTask(project, std::move(added)));
}

void VikunjaUnderTest::edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) {
    vikunja.editTask(std::stoll(taskID), [&](FakeVikunjaTask& kept) {
        ServerTask task = serverTask(kept);
        change(task);
        apply(task, kept);
    });
}

ServerTask VikunjaUnderTest::read(const std::string& taskID) {
    return serverTask(vikunja.task(std::stoll(taskID)));
}

void VikunjaUnderTest::addComment(const std::string& taskID, const std::string& body) {
    vikunja.addComment(std::stoll(taskID), body);
}

std::vector<std::string> VikunjaUnderTest::comments(const std::string& taskID) {
    std::vector<std::string> result;
    for (const FakeComment& comment : vikunja.task(std::stoll(taskID)).comments) {
        result.push_back(comment.body);
    }
    return result;
}

}  // namespace marlet
