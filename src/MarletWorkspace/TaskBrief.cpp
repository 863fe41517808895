#include "MarletWorkspace/TaskBrief.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>

#include "MarletBase/Text.h"
#include "MarletWorkspace/HTMLMarkdown.h"

namespace marlet {
namespace {

constexpr std::string_view separator = " \u00B7 ";
// The server hasn't seen such a task, so it has no number to speak of.
constexpr std::string_view newTaskPrefix = "local-";

using Lines = std::vector<std::string>;

std::string bodyText(const std::string& text, BackendKind kind) {
    return kind == BackendKind::vikunja ? HTMLMarkdown::markdown(text) : trimmed(text);
}

std::string day(Date date) {
    std::string text = iso8601(date);
    return text.substr(0, text.find('T'));
}

std::string nameOf(const User& user) {
    return user.displayName.value_or(user.login);
}

std::string joined(const Lines& parts, std::string_view glue) {
    return fmt::format("{}", fmt::join(parts, glue));
}

std::string noun(TaskKind kind, BackendKind service) {
    switch (kind) {
        case TaskKind::task:
            return "task";
        case TaskKind::issue:
            return "issue";
        case TaskKind::pullRequest:
            return service == BackendKind::gitlab ? "merge request" : "pull request";
    }
    return "task";
}

void addPeopleAndLabels(Lines& lines, const TaskItem& task) {
    Lines labels;
    for (const TaskLabel& label : task.labels) {
        labels.push_back(label.name);
    }
    if (!labels.empty()) {
        lines.push_back("- Labels: " + joined(labels, ", "));
    }
    Lines assignees;
    for (const User& user : task.assignees) {
        assignees.push_back(nameOf(user));
    }
    if (!assignees.empty()) {
        lines.push_back("- Assignees: " + joined(assignees, ", "));
    }
}

void addFacts(Lines& lines, const TaskBrief& brief) {
    const TaskItem& task = brief.task;
    lines.push_back("- Source: " + joined({displayName(brief.kind), brief.accountName, brief.projectName}, separator));
    if (task.webURL) {
        lines.push_back("- Link: " + task.webURL->text());
    }
    lines.emplace_back(task.isCompleted ? "- Status: done" : "- Status: open");
    if (task.dueDate) {
        lines.push_back("- Due: " + day(*task.dueDate));
    }
    if (task.priority) {
        lines.push_back("- Priority: " + std::to_string(*task.priority));
    }
    addPeopleAndLabels(lines, task);
    if (task.milestone) {
        lines.push_back("- Milestone: " + task.milestone->title);
    }
    lines.push_back("- Marlet task_id: " + brief.localID.text());
}

void addComment(Lines& lines, const TaskComment& comment, BackendKind kind) {
    std::string heading = "### " + (comment.author ? nameOf(*comment.author) : "Unknown");
    if (comment.createdAt) {
        heading.append(separator).append(day(*comment.createdAt));
    }
    lines.insert(lines.end(), {"", heading, "", bodyText(comment.body, kind)});
}

void addAdvice(Lines& lines, const TaskBrief& brief) {
    lines.insert(lines.end(), {"", "## Working on this task", ""});
    lines.emplace_back(
        "- Put the outcome (an answer, a summary, or what you changed) in `RESULT.md` in this folder. "
        "Marlet offers to post it as a comment on the task.");
    if (brief.mcpAvailable) {
        lines.push_back("- If Marlet's MCP tools are available, use `task_id` " + brief.localID.text() +
                        " to read updates, comment or mark the task done.");
    }
}

}  // namespace

std::string TaskBrief::markdown() const {
    Lines lines{"# " + task.title, ""};
    addFacts(lines, *this);
    std::string description = bodyText(task.notes, kind);
    lines.insert(lines.end(),
                 {"", "## Description", "", description.empty() ? "_No description._" : std::move(description)});
    if (!comments.empty()) {
        lines.insert(lines.end(), {"", "## Comments"});
    }
    for (const TaskComment& comment : comments) {
        addComment(lines, comment, kind);
    }
    addAdvice(lines, *this);
    return joined(lines, "\n") + "\n";
}

std::string TaskBrief::prompt(AgentDestination destination) const {
    if (destination == AgentDestination::cowork) {
        return "Work on the task described in TASK.md (from Marlet). Write the result to RESULT.md in this folder.";
    }
    bool isNew = task.id.starts_with(newTaskPrefix);
    std::string text = isNew ? "Work on the new " : "Work on ";
    text += noun(task.kind, kind);
    text += isNew ? "" : " " + task.reference();
    text += " \u201C" + task.title + "\u201D in " + projectName;
    text += task.webURL ? " (" + task.webURL->text() + ")" : "";
    text += ".";
    if (mcpAvailable) {
        return text + " Its Marlet task_id is " + localID.text() +
               ": use Marlet's MCP tools to read the description and comments, and to comment when you're done.";
    }
    std::string body = bodyText(task.notes, kind);
    return body.empty() ? text : text + "\n\n" + body;
}

}  // namespace marlet
