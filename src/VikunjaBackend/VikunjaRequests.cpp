#include "VikunjaBackend/VikunjaRequestsInternal.h"

#include <array>
#include <boost/json/string.hpp>

#include "MarletBase/Text.h"

namespace marlet::vikunja {
namespace {

constexpr std::array<const char*, 9> palette{"e8445a", "f2994a", "f2c94c", "27ae60", "2d9cdb",
                                             "1973ff", "9b51e0", "e86fb1", "4f4f4f"};

URLQueryItem projectFilter(const std::string& projectID) {
    requireNumber(projectID);
    return {"filter", "project = " + projectID};
}

}  // namespace

HTTPHeaders requestHeaders(const std::string& token) {
    return {{"Authorization", "Bearer " + token}, {"Accept", "application/json"}};
}

std::string taskPath(const std::string& taskID) {
    requireNumber(taskID);
    return "tasks/" + taskID;
}

std::string newTaskPath(const std::string& projectID) {
    requireNumber(projectID);
    return "projects/" + projectID + "/tasks";
}

std::string parentPath(const std::string& taskID, int64_t parentID) {
    return taskPath(taskID) + "/relations/" + parentRelation + "/" + std::to_string(parentID);
}

URLQueryItem pageSize() {
    return {"per_page", "50"};
}

URLQuery changesQuery() {
    return {{"sort_by", "updated"}, {"order_by", "desc"}, pageSize()};
}

URLQuery tasksQuery(const std::string& projectID) {
    URLQuery query = changesQuery();
    query.insert(query.begin(), projectFilter(projectID));
    return query;
}

URLQuery countQuery(const std::string& projectID) {
    return {projectFilter(projectID), {"per_page", "1"}};
}

URLQuery commentsQuery() {
    return {{"order_by", "asc"}, pageSize()};
}

std::string editedTask(RawJSONObject raw, const TaskItem& task) {
    raw.set("title", boost::json::string(task.title));
    raw.set("description", boost::json::string(task.notes));
    raw.set("done", task.isCompleted);
    raw.set("due_date",
            task.dueDate ? boost::json::value(boost::json::string(iso8601(*task.dueDate))) : boost::json::value());
    raw.remove("related_tasks");
    return raw.text();
}

std::string labelColor(std::string_view name) {
    uint32_t hash = 5381;
    for (char32_t character : codePoints(lowercased(name))) {
        hash = hash * 33 + static_cast<uint32_t>(character);
    }
    return palette[hash % palette.size()];
}

LabelIDs::LabelIDs(const std::vector<VikunjaLabel>& known) {
    for (const VikunjaLabel& label : known) {
        exact.emplace(label.title, label.id);
        lowered.emplace(lowercased(label.title), label.id);
    }
}

std::optional<int64_t> LabelIDs::find(const std::string& name) const {
    if (auto found = exact.find(name); found != exact.end()) {
        return found->second;
    }
    auto found = lowered.find(lowercased(name));
    return found != lowered.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace marlet::vikunja
