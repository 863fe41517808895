#include "ForgeUnderTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

const std::string token = "ghp_secret";

ServerTask serverTask(const FakeIssue& issue) {
    ServerTask task{.title = issue.title,
                    .notes = issue.body,
                    .isCompleted = issue.isClosed,
                    .labels = issue.labels,
                    .dueDate = issue.dueDate,
                    .assignees = issue.assignees};
    std::sort(task.labels.begin(), task.labels.end());
    if (issue.parent) {
        task.parentID = std::to_string(issue.parent->number);
    }
    std::vector<std::string> comments;
    for (const FakeComment& comment : issue.comments) {
        comments.push_back(comment.body);
    }
    task.rest = fmt::format("{} by {} at {}, milestone {}, type {}, comments [{}]",
                            issue.isPullRequest ? "pull request" : "issue", issue.author, iso8601(issue.createdAt),
                            issue.milestone ? issue.milestone->title : "none", issue.typeName.value_or("none"),
                            fmt::join(comments, ", "));
    return task;
}

void apply(const ServerTask& task, FakeIssue& issue) {
    issue.title = task.title;
    issue.body = task.notes;
    issue.isClosed = task.isCompleted;
    issue.labels = task.labels;
    issue.dueDate = task.dueDate;
    issue.assignees = task.assignees;
    issue.parent.reset();
    if (task.parentID) {
        issue.parent = FakeIssuePlace{"o/r", std::stoll(*task.parentID)};
    }
}

}  // namespace

ForgeUnderTest::ForgeUnderTest(FakeForgeKind chosen, std::shared_ptr<VirtualClock> time)
    : forge(
          chosen, [time] { return time->now(); }, token),
      kind(chosen),
      clock(std::move(time)) {
    forge.serveAt("https://forge.example");
    forge.addRepository("o/r");
}

std::shared_ptr<TaskBackend> ForgeUnderTest::makeBackend(int64_t itemLimit) {
    Account account{UUID::random(), kind == FakeForgeKind::github ? BackendKind::github : BackendKind::forgejo, "Forge",
                    URL::parse(forge.webRoot()).value()};
    return std::make_shared<ForgeTaskBackend>(account, token, std::make_shared<FakeTransport>(forge), itemLimit, clock);
}

std::string ForgeUnderTest::add(const ServerTask& task) {
    FakeIssue issue;
    apply(task, issue);
    issue.milestone = FakeMilestone{.id = 31, .number = 2, .title = "Spring"};
    return std::to_string(forge.addIssue("o/r", std::move(issue)));
}

void ForgeUnderTest::edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) {
    forge.editIssue("o/r", std::stoll(taskID), [&](FakeIssue& issue) {
        ServerTask task = serverTask(issue);
        change(task);
        apply(task, issue);
    });
}

void ForgeUnderTest::remove(const std::string& taskID) {
    forge.removeIssue("o/r", std::stoll(taskID));
}

ServerTask ForgeUnderTest::read(const std::string& taskID) {
    return serverTask(forge.issue("o/r", std::stoll(taskID)));
}

void ForgeUnderTest::addComment(const std::string& taskID, const std::string& body) {
    forge.addComment("o/r", std::stoll(taskID), body);
}

std::vector<std::string> ForgeUnderTest::comments(const std::string& taskID) {
    std::vector<std::string> result;
    for (const FakeComment& comment : forge.issue("o/r", std::stoll(taskID)).comments) {
        result.push_back(comment.body);
    }
    return result;
}

// The last second of the day.
Date ForgeUnderTest::keptOnEdit(Date dueDate) const {
    return std::chrono::floor<std::chrono::days>(dueDate) + std::chrono::duration<double>(86399);
}

}  // namespace marlet
