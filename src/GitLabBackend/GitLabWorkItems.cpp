#include "GitLabBackend/GitLabWorkItemsInternal.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <boost/json/array.hpp>

#include "MarletCore/BackendError.h"

namespace marlet::gitlab {
namespace {

// More nodes than this a connection doesn't give at once.
constexpr size_t itemsPerQuery = 100;

const std::string hierarchyQuery =
    "query($ids: [ID!], $iids: [String!]) { projects(ids: $ids) { nodes { workItems(iids: $iids) { nodes { id iid "
    "widgets { ... on WorkItemWidgetHierarchy { parent { id iid title } } } } } } } }";
const std::string mergeRequestCountQuery =
    "query($ids: [ID!]) { projects(ids: $ids) { nodes { mergeRequests(first: 0) { count } } } }";
const std::string parentMutation =
    "mutation($input: WorkItemUpdateInput!) { workItemUpdate(input: $input) { errors } }";

boost::json::array projectIDs(const std::string& projectID) {
    return {"gid://gitlab/Project/" + projectID};
}

Async<std::vector<GitLabWorkItem>> workItems(const HTTPClient& client, URL graphQLURL, std::string projectID,
                                             std::vector<std::string> numbers) {
    boost::json::object variables;
    variables["ids"] = projectIDs(projectID);
    variables["iids"] = boost::json::array(numbers.begin(), numbers.end());
    GitLabWorkItems answer =
        co_await client.graphQL<GitLabWorkItems>(std::move(graphQLURL), hierarchyQuery, std::move(variables));
    std::vector<GitLabWorkItem> items;
    for (GitLabWorkItemProject& project : answer.projects.nodes) {
        std::move(project.workItems.nodes.begin(), project.workItems.nodes.end(), std::back_inserter(items));
    }
    co_return items;
}

const GitLabWorkItem* find(const std::vector<GitLabWorkItem>& items, const std::string& number) {
    auto found = std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.iid == number; });
    return found == items.end() ? nullptr : &*found;
}

std::optional<TaskParent> parentOf(const GitLabWorkItem& item) {
    if (item.widgets) {
        for (const GitLabWidget& widget : *item.widgets) {
            if (widget.parent) {
                return TaskParent{widget.parent->iid, widget.parent->title};
            }
        }
    }
    return std::nullopt;
}

}  // namespace

Async<ParentsByNumber> parentsOf(const HTTPClient& client, URL graphQLURL, std::string projectID,
                                 std::vector<int64_t> numbers) {
    ParentsByNumber parents;
    for (size_t start = 0; start < numbers.size(); start += itemsPerQuery) {
        std::vector<std::string> chunk;
        for (size_t index = start; index < std::min(start + itemsPerQuery, numbers.size()); ++index) {
            chunk.push_back(std::to_string(numbers[index]));
        }
        std::vector<GitLabWorkItem> items = co_await workItems(client, graphQLURL, projectID, std::move(chunk));
        for (const GitLabWorkItem& item : items) {
            std::optional<int64_t> number = decimalInteger(item.iid);
            std::optional<TaskParent> parent = parentOf(item);
            if (number && parent) {
                parents.insert_or_assign(*number, std::move(*parent));
            }
        }
    }
    co_return parents;
}

Async<std::optional<TaskParent>> bringParentInLine(const HTTPClient& client, URL graphQLURL, TaskItem task,
                                                   int64_t number) {
    std::string ownNumber = std::to_string(number);
    std::vector<std::string> numbers{ownNumber};
    if (task.parent) {
        numbers.push_back(task.parent->id);
    }
    std::vector<GitLabWorkItem> items = co_await workItems(client, graphQLURL, task.projectID, std::move(numbers));
    const GitLabWorkItem* own = find(items, ownNumber);
    if (!own) {
        throw BackendError::notFound();
    }
    std::optional<TaskParent> current = parentOf(*own);
    bool isInLine = current && task.parent ? current->id == task.parent->id : !current && !task.parent;
    if (isInLine) {
        co_return current;
    }
    boost::json::object widget{{"parentId", nullptr}};
    if (task.parent) {
        const GitLabWorkItem* wanted = find(items, task.parent->id);
        if (!wanted) {
            std::string reference = TaskItem::reference(task.parent->id);
            throw BackendError::rejected("Issue " + reference + " isn't in this project.");
        }
        widget["parentId"] = wanted->id;
    }
    boost::json::object variables;
    variables["input"] = boost::json::object{{"id", own->id}, {"hierarchyWidget", std::move(widget)}};
    GitLabWorkItemUpdate answer =
        co_await client.graphQL<GitLabWorkItemUpdate>(std::move(graphQLURL), parentMutation, std::move(variables));
    const std::vector<std::string>& errors = answer.workItemUpdate.errors;
    if (!errors.empty()) {
        throw BackendError::rejected(fmt::format("{}", fmt::join(errors, " ")));
    }
    co_return task.parent;
}

Async<std::optional<int64_t>> mergeRequestCount(const HTTPClient& client, URL graphQLURL, std::string projectID) {
    std::optional<int64_t> count;
    boost::json::object variables{{"ids", projectIDs(projectID)}};
    try {
        GitLabMergeRequestCount answer = co_await client.graphQL<GitLabMergeRequestCount>(
            std::move(graphQLURL), mergeRequestCountQuery, std::move(variables));
        if (!answer.projects.nodes.empty()) {
            count = answer.projects.nodes.front().mergeRequests.count;
        }
    } catch (const BackendError& error) {
        if (!error.as<BackendError::Rejected>() && !error.as<BackendError::InvalidResponse>()) {
            throw;
        }
    } catch (const DecodingError&) {
        co_return std::nullopt;  // a page of a proxy, or data of another shape
    }
    co_return count;
}

}  // namespace marlet::gitlab
