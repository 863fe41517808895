#include "ForgeBackend/GitHubBoardMappingInternal.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/GitHubURL.h"
#include "MarletHTTP/HTTPResponse.h"

namespace marlet {

void decode(const boost::json::value& json, GitHubText& text, const DecodingPath& path) {
    if (json.is_string()) {
        decode(json, text.raw, path);
        return;
    }
    GitHubText::Rich rich;
    decode(json, rich, path);
    text.raw = std::move(rich.raw);
}

void decode(const boost::json::value& json, std::optional<GitHubProjectItem::FieldValue::Value>& value,
            const DecodingPath&) {
    value.reset();
    const boost::json::object* object = json.if_object();
    if (!object) {
        return;
    }
    value.emplace();
    const boost::json::value* id = object->if_contains("id");
    if (id && id->is_string()) {
        value->id = id->as_string();
    }
    const boost::json::value* name = object->if_contains("name");
    const boost::json::object* rich = name ? name->if_object() : nullptr;
    const boost::json::value* raw = rich ? rich->if_contains("raw") : name;
    if (raw && raw->is_string()) {
        value->name = GitHubText{std::string(raw->as_string())};
    }
}

namespace gitHubBoards {
namespace {

constexpr std::string_view statusName = "Status";

std::optional<URL> boardWebURL(const GitHubBoard& board, const Account& account) {
    URLComponents components = gitHubWebRoot(account.baseURL).components();
    if (components.path.ends_with('/')) {
        components.path.pop_back();
    }
    components.path +=
        "/" + std::string(code(board.owner)) + "/" + board.login + "/projects/" + std::to_string(board.number);
    components.query.reset();
    components.fragment.reset();
    return URL::build(components);
}

std::optional<URL> taskWebURL(const std::optional<URL>& boardURL, const std::string& taskID) {
    if (!boardURL) {
        return std::nullopt;
    }
    URLComponents components = boardURL->components();
    components.query = "pane=issue&itemId=" + taskID;
    return URL::build(components);
}

const GitHubProjectField::Option* optionWithID(const GitHubProjectField& field, const std::string& id) {
    auto found = std::find_if(field.options->begin(), field.options->end(),
                              [&](const GitHubProjectField::Option& option) { return option.id == id; });
    return found != field.options->end() ? &*found : nullptr;
}

const GitHubProjectField::Option* optionNamed(const GitHubProjectField& field, const std::string& name) {
    auto found = std::find_if(field.options->begin(), field.options->end(),
                              [&](const GitHubProjectField::Option& option) { return option.name.raw == name; });
    return found != field.options->end() ? &*found : nullptr;
}

bool holdsStatus(const GitHubProjectItem::FieldValue& entry, const GitHubStatusField& statusField) {
    return statusField ? entry.id == statusField->id : entry.name && equalIgnoringCase(*entry.name, statusName);
}

// Of two dates that may be absent; an absent one is smaller than any.
std::optional<Date> laterChange(const GitHubProjectItem& item) {
    return std::max(item.updatedAt, item.content ? item.content->updatedAt : std::nullopt);
}

}  // namespace

URLQuery pageQuery() {
    return {{"per_page", "100"}};
}

URLQuery itemQuery(const GitHubStatusField& statusField) {
    URLQuery query = pageQuery();
    if (statusField) {
        query.push_back({"fields", std::to_string(statusField->id)});
    }
    return query;
}

std::string itemPath(const GitHubBoard& board, const std::string& taskID) {
    std::optional<int64_t> id = decimalInteger(taskID);
    if (!id) {
        throw BackendError::notFound();
    }
    return board.apiPath() + "/items/" + std::to_string(*id);
}

std::string draftsPath(const GitHubBoard& board, std::optional<int64_t> userID) {
    std::string owner = userID ? "user/" + std::to_string(*userID) : "orgs/" + board.login;
    return owner + "/projectsV2/" + std::to_string(board.number) + "/drafts";
}

bool isListed(const GitHubProjectV2& board) {
    return board.state != "closed" && !board.closedAt && !board.isTemplate.value_or(false);
}

GitHubStatusField statusField(std::vector<GitHubProjectField> fields) {
    auto found = std::find_if(fields.begin(), fields.end(), [](const GitHubProjectField& field) {
        return field.options && equalIgnoringCase(field.name, statusName);
    });
    return found != fields.end() ? std::make_shared<const GitHubProjectField>(std::move(*found)) : nullptr;
}

Project project(const GitHubBoard& board, const GitHubStatusField& statusField, const Account& account) {
    Project project{.id = board.projectID(), .accountID = account.id};
    project.webURL = boardWebURL(board, account);
    project.kind = ProjectKind::board;
    if (statusField) {
        for (const GitHubProjectField::Option& option : *statusField->options) {
            project.statusOptions.push_back(option.name.raw);
        }
    }
    return project;
}

Project project(const GitHubProjectV2& record, const GitHubBoard& board, const GitHubStatusField& statusField,
                const Account& account) {
    Project result = project(board, statusField, account);
    result.name = record.title;
    result.detail = record.shortDescription.value_or("");
    return result;
}

bool isDraft(const GitHubProjectItem& item) {
    return item.contentType == "DraftIssue";
}

GitHubProjectItem createdItem(CreatedDraft created, TaskDraft draft) {
    if (created.record) {
        return std::move(*created.record);
    }
    GitHubProjectItem item;
    item.id = created.identity.id;
    item.content.emplace();
    item.content->title = std::move(draft.title);
    item.content->body = std::move(draft.notes);
    return item;
}

Date changeDate(const GitHubProjectItem& item) {
    return laterChange(item).value_or(distantFuture);
}

std::string title(const GitHubProjectItem& item) {
    return item.content ? item.content->title.value_or("") : "";
}

std::string notes(const GitHubProjectItem& item) {
    return item.content ? item.content->body.value_or("") : "";
}

std::optional<std::string> status(const GitHubProjectItem& item, const GitHubStatusField& statusField) {
    if (!item.fields) {
        return std::nullopt;
    }
    auto entry = std::find_if(
        item.fields->begin(), item.fields->end(),
        [&](const GitHubProjectItem::FieldValue& candidate) { return holdsStatus(candidate, statusField); });
    if (entry == item.fields->end() || !entry->value) {
        return std::nullopt;
    }
    if (entry->value->name) {
        return entry->value->name->raw;
    }
    if (!statusField || !entry->value->id) {
        return std::nullopt;
    }
    const GitHubProjectField::Option* option = optionWithID(*statusField, *entry->value->id);
    return option ? std::optional(option->name.raw) : std::nullopt;
}

TaskMapping::TaskMapping(const GitHubBoard& board, GitHubStatusField field, const Account& account)
    : project(gitHubBoards::project(board, field, account)),
      doneStatus(project.doneStatus()),
      statusField(std::move(field)) {}

TaskItem TaskMapping::taskItem(const GitHubProjectItem& item) const {
    TaskItem task;
    task.id = std::to_string(item.id);
    task.projectID = project.id;
    task.kind = TaskKind::task;
    task.title = title(item);
    task.notes = notes(item);
    task.status = status(item, statusField);
    task.isCompleted = task.status && task.status == doneStatus;
    task.createdAt = item.createdAt || !item.content ? item.createdAt : item.content->createdAt;
    task.updatedAt = laterChange(item);
    task.canHaveChildren = false;
    task.canChangeParent = false;
    task.webURL = taskWebURL(project.webURL, task.id);
    return task;
}

boost::json::object draftUpdateVariables(const GitHubProjectItem& item, const TaskItem& task) {
    if (!item.content || !item.content->nodeId) {
        throw BackendError::invalidResponse();
    }
    boost::json::object input{{"draftIssueId", *item.content->nodeId}, {"title", task.title}, {"body", task.notes}};
    return {{"input", std::move(input)}};
}

std::string statusUpdate(const std::optional<std::string>& status, const GitHubStatusField& statusField) {
    if (!statusField) {
        throw BackendError::rejected("The project has no Status field.");
    }
    boost::json::value value;
    if (status) {
        const GitHubProjectField::Option* option = optionNamed(*statusField, *status);
        if (!option) {
            throw BackendError::rejected("The project has no status \"" + *status + "\".");
        }
        value = boost::json::string(option->id);
    }
    boost::json::object change{{"id", statusField->id}, {"value", std::move(value)}};
    return boost::json::serialize(boost::json::object{{"fields", boost::json::array{std::move(change)}}});
}

}  // namespace gitHubBoards
}  // namespace marlet
