#include "JiraUnderTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "JiraBackend/JiraTaskBackend.h"
#include "MarletCore/JiraMarkup.h"
#include "TestSupport/FakeTransport.h"

namespace marlet {
namespace {

std::string tokenOf(FakeJiraKind kind) {
    return kind == FakeJiraKind::cloud ? "ada@jira.example:secret" : "secret";
}

std::vector<std::string> markdownOf(const std::vector<FakeComment>& comments) {
    std::vector<std::string> result;
    result.reserve(comments.size());
    for (const FakeComment& comment : comments) {
        result.push_back(JiraMarkup::markdown(comment.body));
    }
    return result;
}

ServerTask serverTask(const FakeJiraIssue& issue) {
    ServerTask task{.title = issue.summary,
                    .notes = JiraMarkup::markdown(issue.description),
                    .isCompleted = issue.status == "Done",
                    .labels = issue.labels,
                    .dueDate = issue.dueDay ? parseLocalDay(*issue.dueDay) : std::nullopt,
                    .parentID = issue.parent};
    std::sort(task.labels.begin(), task.labels.end());
    if (issue.assignee) {
        task.assignees = {*issue.assignee};
    }
    task.rest = fmt::format("{} by {} at {}, priority {}, points {}, versions {}, comments [{}]", issue.type,
                            issue.author, iso8601(issue.createdAt), issue.priority, issue.points.value_or(-1),
                            issue.versions.size(), fmt::join(markdownOf(issue.comments), ", "));
    return task;
}

void apply(const ServerTask& task, FakeJiraIssue& issue) {
    bool isDone = issue.status == "Done";
    if (isDone != task.isCompleted) {
        issue.status = task.isCompleted ? "Done" : "To Do";
    }
    issue.summary = task.title;
    issue.description = JiraMarkup::wiki(task.notes);
    issue.labels = task.labels;
    issue.dueDay = task.dueDate ? std::optional(localDay(*task.dueDate)) : std::nullopt;
    issue.parent = task.parentID;
    issue.assignee = task.assignees.empty() ? std::nullopt : std::optional(task.assignees.front());
}

}  // namespace

JiraUnderTest::JiraUnderTest(FakeJiraKind chosen, std::shared_ptr<VirtualClock> time)
    : jira(
          chosen, [time] { return time->now(); }, tokenOf(chosen)),
      kind(chosen),
      clock(std::move(time)),
      project(jira.addProject("GARDEN", "Garden")) {
    jira.serveAt("https://jira.example");
}

std::shared_ptr<TaskBackend> JiraUnderTest::makeBackend(int64_t itemLimit) {
    Account account{UUID::random(), BackendKind::jira, "Jira", URL::parse(jira.webRoot()).value()};
    return std::make_shared<JiraTaskBackend>(account, tokenOf(kind), std::make_shared<FakeTransport>(jira), itemLimit,
                                             clock);
}

std::string JiraUnderTest::kept(const std::string& markup) const {
    return JiraMarkup::markdown(JiraMarkup::wiki(markup));
}

std::string JiraUnderTest::titleIn(const boost::json::value& raw) const {
    return raw.at("fields").at("summary").as_string().c_str();
}

std::string JiraUnderTest::add(const ServerTask& task) {
    FakeJiraIssue issue;
    apply(task, issue);
    issue.versions = {FakeMilestone{.id = 31, .title = "Spring"}};
    issue.points = 3;
    return jira.addIssue(project, std::move(issue));
}

void JiraUnderTest::edit(const std::string& taskID, const std::function<void(ServerTask& task)>& change) {
    jira.editIssue(taskID, [&](FakeJiraIssue& issue) {
        ServerTask task = serverTask(issue);
        change(task);
        apply(task, issue);
    });
}

ServerTask JiraUnderTest::read(const std::string& taskID) {
    return serverTask(jira.issue(taskID));
}

void JiraUnderTest::addComment(const std::string& taskID, const std::string& body) {
    jira.addComment(taskID, JiraMarkup::wiki(body));
}

std::vector<std::string> JiraUnderTest::comments(const std::string& taskID) {
    return markdownOf(jira.issue(taskID).comments);
}

void JiraUnderTest::letHaveChildren(const std::string& taskID) {
    jira.editIssue(taskID, [](FakeJiraIssue& issue) { issue.type = "Epic"; });
}

// The day alone.
Date JiraUnderTest::keptOnCreation(Date dueDate) const {
    return parseLocalDay(localDay(dueDate)).value();
}

}  // namespace marlet
