#include "MarletClient/Presentation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "MarletBase/Description.h"
#include "MarletBase/Text.h"
#include "MarletClient/Doctor.h"
#include "MarletClient/TextTable.h"
#include "MarletWorkspace/AgentDestination.h"

namespace marlet {
namespace {

constexpr size_t shownIDLength = 8;
const char* const refusalAdvice =
    "What was refused waits: change it with marlet task edit, send it again with marlet pending retry, or give it up "
    "with marlet pending discard.\n";

// The member as text: empty when it is absent, null or no text or number.
std::string text(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object[key];
    if (!member) {
        return {};
    }
    if (const std::string* found = member->stringValue()) {
        return *found;
    }
    return member->numberValue() ? member->data() : std::string();
}

bool flag(const JSONValue& object, std::string_view key) {
    const JSONValue* member = object[key];
    return member && member->boolValue().value_or(false);
}

const JSONValue::Array& elements(const JSONValue& object, std::string_view key) {
    static const JSONValue::Array none;
    const JSONValue* member = object[key];
    const JSONValue::Array* found = member ? member->arrayValue() : nullptr;
    return found ? *found : none;
}

const JSONValue& member(const JSONValue& object, std::string_view key) {
    static const JSONValue none;
    const JSONValue* found = object[key];
    return found ? *found : none;
}

std::string joined(const JSONValue& object, std::string_view key) {
    std::vector<std::string> texts;
    for (const JSONValue& element : elements(object, key)) {
        if (const std::string* found = element.stringValue()) {
            texts.push_back(*found);
        }
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

std::string reference(const std::string& number) {
    return !number.empty() && isAllNumbers(number) ? "#" + number : number;
}

// "2026-01-31T00:00:00Z" as the day it is where the user lives.
std::string localDay(const std::string& date) {
    std::optional<Date> parsed = parseISO8601(date);
    if (!parsed) {
        return date;
    }
    auto seconds = static_cast<time_t>(secondsSince1970(*parsed));
    tm local{};
    ::localtime_r(&seconds, &local);
    return fmt::format("{:04}-{:02}-{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

std::string localMoment(const std::string& date) {
    std::optional<Date> parsed = parseISO8601(date);
    return parsed ? fmt::format("{} {}", localDay(date), shortLocalTime(*parsed)) : date;
}

std::string duration(double seconds) {
    auto minutes = static_cast<int64_t>(seconds) / 60;
    return minutes < 60 ? fmt::format("{} min", minutes) : fmt::format("{} h {:02} min", minutes / 60, minutes % 60);
}

std::string taskState(const JSONValue& task) {
    std::vector<std::string> words;
    std::string syncState = text(task, "sync_state");
    auto add = [&](bool holds, std::string word) {
        if (holds) {
            words.push_back(std::move(word));
        }
    };
    add(flag(task, "completed"), "done");
    add(!text(task, "status").empty(), text(task, "status"));
    add(flag(task, "timing"), "timing");
    add(flag(task, "next"), "next");
    add(flag(task, "starred"), "starred");
    add(flag(task, "unread"), "unread");
    add(syncState != "synced", syncState);
    return fmt::format("{}", fmt::join(words, ", "));
}

bool isRefused(const JSONValue& task) {
    return text(task, "sync_state") == "rejected";
}

std::string taskTable(const JSONValue::Array& tasks, const Terminal& terminal) {
    if (tasks.empty()) {
        return "No tasks.\n";
    }
    TextTable table(
        {{"ID"}, {"NUMBER"}, {"TITLE", true}, {"PROJECT", true}, {"DUE"}, {"STATE", true}, {"ERROR", true}});
    for (const JSONValue& task : tasks) {
        table.add({text(task, "task_id").substr(0, shownIDLength), reference(text(task, "number")), text(task, "title"),
                   text(task, "project"), localDay(text(task, "due_date")), taskState(task), text(task, "sync_error")});
    }
    bool tellsMore = std::any_of(tasks.begin(), tasks.end(), isRefused);
    return table.text(terminal) + (tellsMore ? refusalAdvice : "");
}

std::string projectTable(const JSONValue::Array& projects, const Terminal& terminal) {
    if (projects.empty()) {
        return "No projects.\n";
    }
    TextTable table(
        {{"NAME", true}, {"ACCOUNT", true}, {"OPEN"}, {"SUBSCRIBED"}, {"SYNCED"}, {"KEY"}, {"ERROR", true}});
    for (const JSONValue& project : projects) {
        table.add({text(project, "name"), text(project, "account"), text(project, "open_tasks"),
                   flag(project, "subscribed") ? "yes" : "no", localMoment(text(project, "last_synced_at")),
                   text(project, "project_key"), text(project, "sync_error")});
    }
    return table.text(terminal);
}

std::string accountTable(const JSONValue::Array& accounts, const Terminal& terminal) {
    if (accounts.empty()) {
        return "No accounts. Add one with marlet account add.\n";
    }
    TextTable table({{"NAME", true}, {"SERVICE"}, {"SERVER", true}, {"ID"}, {"ERROR", true}});
    for (const JSONValue& account : accounts) {
        table.add({text(account, "name"), text(account, "service"), text(account, "server"),
                   text(account, "account_id"), text(account, "sync_error")});
    }
    return table.text(terminal);
}

// The account, and what is synced of it from now on.
std::string addedAccount(const JSONValue& result, const Terminal& terminal) {
    JSONValue::Array synced;
    for (const JSONValue& project : elements(result, "projects")) {
        if (flag(project, "subscribed")) {
            synced.push_back(project);
        }
    }
    std::string output = accountTable({member(result, "account")}, terminal);
    return synced.empty() ? output : output + "\n" + projectTable(synced, terminal);
}

// Text of several lines, each without what could steer the terminal.
std::string lines(std::string_view content) {
    std::string result;
    while (!content.empty()) {
        size_t end = content.find('\n');
        std::string_view line = content.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        result += withoutControlCharacters(line) + '\n';
        content = end == std::string_view::npos ? std::string_view() : content.substr(end + 1);
    }
    return result;
}

std::string comments(const JSONValue& task) {
    std::string result;
    for (const JSONValue& comment : elements(task, "comments")) {
        std::string author = text(comment, "author");
        std::string moment = localMoment(text(comment, "created_at"));
        result += fmt::format("\n{}{}{}:\n", withoutControlCharacters(author.empty() ? "Comment" : author),
                              moment.empty() ? "" : ", ", moment);
        result += lines(text(comment, "body"));
    }
    return result;
}

std::string taskDetail(const JSONValue& task) {
    std::string number = reference(text(task, "number"));
    std::string result =
        withoutControlCharacters(fmt::format("{}{}{}", number, number.empty() ? "" : " ", text(task, "title"))) + '\n';
    auto add = [&](std::string_view name, const std::string& value) {
        if (!value.empty()) {
            result += fmt::format("  {:<10} {}\n", name, withoutControlCharacters(value));
        }
    };
    double tracked = member(task, "tracked_seconds").numberValue().value_or(0);
    add("id", text(task, "task_id"));
    add("project", text(task, "project"));
    add("state", taskState(task));
    add("error", text(task, "sync_error"));
    add("due", localDay(text(task, "due_date")));
    add("labels", joined(task, "labels"));
    add("assignees", joined(task, "assignees"));
    add("milestone", text(task, "milestone"));
    add("type", text(task, "type"));
    add("estimate", text(task, "estimate"));
    add("parent",
        trimmed(reference(text(member(task, "parent"), "number")) + " " + text(member(task, "parent"), "title")));
    add("tracked", tracked > 0 ? duration(tracked) : "");
    add("updated", localMoment(text(task, "updated_at")));
    add("url", text(task, "url"));
    result += isRefused(task) ? refusalAdvice : "";
    std::string notes = text(task, "notes");
    if (!notes.empty()) {
        result += "\n" + lines(notes);
    }
    result += comments(task);
    if (const JSONValue* raw = task["raw"]) {
        result += "\n" + harmlessJSON(raw->data()) + "\n";
    }
    return result;
}

std::string status(const JSONValue& result, const Terminal& terminal) {
    std::string endpoint = text(result, "endpoint");
    std::string output = endpoint.empty() ? "Marlet isn't running. Start it with marlet serve.\n"
                                          : fmt::format("Marlet is running and serves agents at {}.\n", endpoint);
    output += fmt::format("Data folder: {}\n", withoutControlCharacters(text(result, "data_folder")));
    output += fmt::format("Changes that wait: {}, refused: {}{}\n", text(result, "pending"), text(result, "rejected"),
                          text(result, "rejected") == "0" ? "" : " (see marlet pending list)");
    std::string timed = text(member(result, "timer"), "title");
    output += timed.empty() ? "No timer is running.\n"
                            : fmt::format("The timer runs on: {}\n", withoutControlCharacters(timed));
    output += "\n" + accountTable(elements(result, "accounts"), terminal);
    if (!elements(result, "accounts").empty()) {
        output += "\n" + projectTable(elements(result, "projects"), terminal);
    }
    return output;
}

// What went wrong with accounts and projects is told by name, in the remark.
std::string syncOutcome(const JSONValue& result, const Terminal& terminal) {
    if (!elements(result, "rejected_tasks").empty()) {
        return taskTable(elements(result, "rejected_tasks"), terminal);
    }
    const JSONValue::Array& accounts = elements(result, "accounts");
    bool hasError = std::any_of(accounts.begin(), accounts.end(),
                                [](const JSONValue& account) { return !text(account, "sync_error").empty(); });
    return hasError || !elements(result, "project_errors").empty() ? "" : "Everything is in step.\n";
}

std::string named(const char* sentence, const JSONValue& result, std::string_view key) {
    return withoutControlCharacters(fmt::format(fmt::runtime(sentence), text(result, key))) + '\n';
}

std::string timerState(const std::string& command, const JSONValue& result) {
    std::string title = text(member(result, "task"), "title");
    if (title.empty()) {
        return "No timer is running.\n";
    }
    std::string tracked = duration(member(member(result, "task"), "tracked_seconds").numberValue().value_or(0));
    const char* state = command == "timer stop" ? "stopped on" : "runs on";
    return withoutControlCharacters(fmt::format("The timer {}: {} ({})", state, title, tracked)) + '\n';
}

std::string workPlace(const JSONValue& result, const Terminal&) {
    std::string output;
    for (const char* fact : {"folder", "branch", "brief"}) {
        std::string value = text(result, fact);
        output += value.empty() ? "" : withoutControlCharacters(fmt::format("{:<7} {}", fact, value)) + '\n';
    }
    return output;
}

std::string registration(const JSONValue& result, const Terminal&) {
    auto agent = fromCode<AgentApp>(text(result, "agent"));
    std::string folder = withoutControlCharacters(text(result, "folder"));
    return fmt::format("{} knows the endpoint now{}{}.\n", agent ? title(*agent) : "The agent",
                       folder.empty() ? "" : ", in ", folder);
}

using Show = std::string (*)(const JSONValue& result, const Terminal& terminal);

const std::map<std::string, Show>& presentations() {
    static const Show tasks = [](const JSONValue& result, const Terminal& terminal) {
        return taskTable(elements(result, "tasks"), terminal);
    };
    static const Show projects = [](const JSONValue& result, const Terminal& terminal) {
        return projectTable(elements(result, "projects"), terminal);
    };
    static const Show project = [](const JSONValue& result, const Terminal& terminal) {
        return projectTable({member(result, "project")}, terminal);
    };
    static const Show account = [](const JSONValue& result, const Terminal& terminal) {
        return accountTable({member(result, "account")}, terminal);
    };
    static const Show endpoint = [](const JSONValue& result, const Terminal&) {
        return fmt::format("endpoint  {}\ntoken     {}\n", text(result, "endpoint"), text(result, "token"));
    };
    static const Show task = [](const JSONValue& result, const Terminal&) { return taskDetail(result); };
    static const std::map<std::string, Show> table{
        {"status", status},
        {"sync", syncOutcome},
        {doctorName, presentedFindings},
        {"account list",
         [](const auto& result, const auto& terminal) { return accountTable(elements(result, "accounts"), terminal); }},
        {"account add", addedAccount},
        {"account token", account},
        {"account agent", account},
        {"account type", account},
        {"account remove",
         [](const auto& result, const auto&) { return named("Removed the account {}.", result, "name"); }},
        {"project list", projects},
        {"project subscribe", projects},
        {"project unsubscribe", projects},
        {"project refresh", projects},
        {"project create", project},
        {"project rename", project},
        {"project delete",
         [](const auto& result, const auto&) { return named("Deleted the project {}.", result, "name"); }},
        {"task list", tasks},
        {"task done", tasks},
        {"task reopen", tasks},
        {"task next", tasks},
        {"task star", tasks},
        {"task unread", tasks},
        {"pending list", tasks},
        {"pending retry", tasks},
        {"pending discard", tasks},
        {"task show", task},
        {"task add", task},
        {"task edit", task},
        {"task comment", [](const auto&, const auto&) { return std::string("The comment is posted.\n"); }},
        {"task delete", [](const auto& result, const auto&) { return named("Deleted the task {}.", result, "title"); }},
        {"timer start",
         [](const auto& result, const auto&) {
             return timerState("timer start", JSONValue::object({{"task", result}}));
         }},
        {"timer stop", [](const auto& result, const auto&) { return timerState("timer stop", result); }},
        {"timer status", [](const auto& result, const auto&) { return timerState("timer status", result); }},
        {"work", workPlace},
        {"work result", [](const auto&, const auto&) { return std::string("The result is posted as a comment.\n"); }},
        {"work remove",
         [](const auto& result, const auto&) {
             return named("Removed the worktree {}. Its branch stays.", result, "folder");
         }},
        {"mcp show", endpoint},
        {"mcp rotate", endpoint},
        {"mcp register", registration},
    };
    return table;
}

}  // namespace

std::string presented(const std::string& command, const CommandReply& reply, const Terminal& terminal) {
    std::string output;
    auto show = presentations().find(command);
    if (!reply.result.isNull() && show != presentations().end()) {
        output = show->second(reply.result, terminal);
    }
    if (reply.remark) {
        output += lines(*reply.remark);
    }
    return output;
}

}  // namespace marlet
