#include "GitLabUnderTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "GitLabBackend/GitLabTaskBackend.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

const std::string token = "glpat-secret";

std::vector<std::string> texts(const std::vector<FakeComment>& comments) {
    std::vector<std::string> result;
    for (const FakeComment& comment : comments) {
        result.push_back(comment.body);
    }
    return result;
}

ServerTask serverTask(const FakeGitLabItem& item) {
    ServerTask task{.title = item.title,
                    .notes = item.body,
                    .isCompleted = item.isClosed,
                    .labels = item.labels,
                    .dueDate = item.dueDay ? parseLocalDay(*item.dueDay) : std::nullopt,
                    .assignees = item.assignees};
    if (item.parent) {
        task.parentID = std::to_string(*item.parent);
    }
    task.rest = fmt::format("{} by {} at {}, milestone {}, comments [{}]",
                            item.isMergeRequest ? "merge request" : item.type, item.author, iso8601(item.createdAt),
                            item.milestone ? item.milestone->title : "none", fmt::join(texts(item.comments), ", "));
    return task;
}

void apply(const ServerTask& task, FakeGitLabItem& item) {
    item.title = task.title;
    item.body = task.notes;
    item.isClosed = task.isCompleted;
    item.labels = task.labels;
    item.dueDay = task.dueDate ? std::optional(localDay(*task.dueDate)) : std::nullopt;
    item.assignees = task.assignees;
    item.parent = task.parentID ? std::optional(std::stoll(*task.parentID)) : std::nullopt;
}

}  // namespace

GitLabUnderTest::GitLabUnderTest(std::shared_ptr<VirtualClock> time)
    : gitLab([time] { return time->now(); }, token), clock(std::move(time)), project(gitLab.addProject("o/r")) {
    gitLab.serveAt("https://gitlab.example");
}

std::shared_ptr<TaskBackend> GitLabUnderTest::makeBackend(int64_t itemLimit) {
    Account account{UUID::random(), BackendKind::gitlab, "GitLab", URL::parse(gitLab.webRoot()).value()};
    return std::make_shared<GitLabTaskBackend>(account, token, std::make_shared<FakeTransport>(gitLab), itemLimit,
                                               clock);
}

std::string GitLabUnderTest::add(const ServerTask& task) {
    FakeGitLabItem item;
    apply(task, item);
    item.milestone = FakeMilestone{.id = 31, .number = 2, .title = "Spring"};
    return gitLab.addItem(project, std::move(item));
}

void GitLabUnderTest::edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) {
    gitLab.editItem(project, taskID, [&](FakeGitLabItem& item) {
        ServerTask task = serverTask(item);
        change(task);
        apply(task, item);
    });
}

ServerTask GitLabUnderTest::read(const std::string& taskID) {
    return serverTask(gitLab.item(project, taskID));
}

void GitLabUnderTest::addComment(const std::string& taskID, const std::string& body) {
    gitLab.addComment(project, taskID, body);
}

std::vector<std::string> GitLabUnderTest::comments(const std::string& taskID) {
    return texts(gitLab.item(project, taskID).comments);
}

void GitLabUnderTest::letHaveParent(const std::string& taskID) {
    gitLab.editItem(project, taskID, [](FakeGitLabItem& item) { item.type = "task"; });
}

// The day alone.
Date GitLabUnderTest::keptOnCreation(Date dueDate) const {
    return parseLocalDay(localDay(dueDate)).value();
}

}  // namespace marlet
