#include "TestSupport/FakeVikunjaState.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <chrono>

namespace marlet {
namespace {

// The service keeps whole seconds.
Date wholeSeconds(Date date) {
    return std::chrono::floor<std::chrono::seconds>(date);
}

boost::json::object restOfNewTask() {
    return {{"reminders", nullptr},          {"repeat_mode", 0}, {"start_date", vikunjaDate({})}, {"percent_done", 0},
            {"end_date", vikunjaDate({})},   {"hex_color", ""},  {"is_favorite", false},          {"position", 65536.5},
            {"cover_image_attachment_id", 0}};
}

}  // namespace

std::string vikunjaDate(const std::optional<Date>& date) {
    return date ? iso8601(*date) : "0001-01-01T00:00:00Z";
}

FakeUser& FakeVikunjaState::user(const std::string& login) {
    FakeUser& user = users[login];
    if (user.id == 0) {
        user.id = nextID();
        user.login = login;
    }
    return user;
}

FakeLabel& FakeVikunjaState::label(const std::string& title, const std::string& color) {
    auto found =
        std::find_if(labels.begin(), labels.end(), [&](const FakeLabel& label) { return label.name == title; });
    return found != labels.end() ? *found : labels.emplace_back(FakeLabel{nextID(), title, color});
}

const FakeLabel* FakeVikunjaState::labelByID(int64_t id) const {
    auto found = std::find_if(labels.begin(), labels.end(), [&](const FakeLabel& label) { return label.id == id; });
    return found != labels.end() ? &*found : nullptr;
}

FakeVikunjaTask& FakeVikunjaState::addTask(int64_t projectID, FakeVikunjaTask task, const std::string& author,
                                           Date now) {
    task.id = nextID();
    task.projectID = projects.at(projectID).id;
    task.author = author;
    task.created = task.updated = wholeSeconds(now);
    if (task.rest.empty()) {
        task.rest = restOfNewTask();
    }
    int64_t id = task.id;
    return tasks[id] = std::move(task);
}

FakeComment& FakeVikunjaState::addComment(int64_t taskID, const std::string& author, const std::string& body,
                                          Date now) {
    FakeVikunjaTask& commented = task(taskID);
    commented.updated = wholeSeconds(now);
    return commented.comments.emplace_back(FakeComment{nextID(), author, body, commented.updated});
}

void FakeVikunjaState::removeTask(int64_t id) {
    tasks.erase(id);
    for (auto& [other, task] : tasks) {
        std::erase(task.parents, id);
    }
}

void FakeVikunjaState::notify(const std::string& name, const FakeVikunjaTask& about, Date now) {
    boost::json::object payload;
    if (name.starts_with("task.") && name != "task.undone.overdue") {
        payload = {{"doer", json(user(otherUser))}, {"task", json(about, false)}, {"project", nullptr}};
    } else {
        payload = {{"doer", json(user(otherUser))}};
    }
    notifications.insert(notifications.begin(), {nextID(), name, std::move(payload), wholeSeconds(now)});
}

bool FakeVikunjaState::isAncestor(int64_t above, int64_t taskID) const {
    if (above == taskID) {
        return true;
    }
    const std::vector<int64_t>& parents = tasks.at(taskID).parents;
    return std::any_of(parents.begin(), parents.end(), [&](int64_t parent) { return isAncestor(above, parent); });
}

std::vector<const FakeVikunjaTask*> FakeVikunjaState::changes(std::optional<int64_t> projectID) const {
    std::vector<const FakeVikunjaTask*> found;
    for (const auto& [id, task] : tasks) {
        if (projectID ? task.projectID == *projectID : !projects.at(task.projectID).isArchived) {
            found.push_back(&task);
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const FakeVikunjaTask* left, const FakeVikunjaTask* right) {
        return left->updated > right->updated;
    });
    return found;
}

boost::json::object FakeVikunjaState::json(const FakeVikunjaProject& project) {
    return {{"id", project.id},
            {"title", project.title},
            {"description", ""},
            {"identifier", ""},
            {"hex_color", ""},
            {"parent_project_id", 0},
            {"owner", json(user(viewer))},
            {"is_archived", project.isArchived},
            {"background_information", nullptr},
            {"is_favorite", false},
            {"views", nullptr},
            {"max_permission", 2},
            {"created", "2025-02-03T08:00:00Z"},
            {"updated", "2025-02-03T08:00:00Z"}};
}

boost::json::object FakeVikunjaState::json(const FakeUser& person) const {
    return {{"id", person.id},
            {"name", person.name},
            {"username", person.login},
            {"created", "2025-02-03T08:00:00Z"},
            {"updated", "2025-02-03T08:00:00Z"}};
}

boost::json::object FakeVikunjaState::json(const FakeLabel& label) {
    return {{"id", label.id},
            {"title", label.name},
            {"description", ""},
            {"hex_color", label.color},
            {"created_by", json(user(viewer))},
            {"created", "2025-02-03T08:00:00Z"},
            {"updated", "2025-02-03T08:00:00Z"}};
}

boost::json::object FakeVikunjaState::json(const FakeComment& comment) {
    return {{"id", comment.id},
            {"comment", comment.body},
            {"author", json(user(comment.author))},
            {"reactions", nullptr},
            {"created", iso8601(comment.createdAt)},
            {"updated", iso8601(comment.createdAt)}};
}

boost::json::object FakeVikunjaState::json(const FakeVikunjaNotification& notification) const {
    return {{"id", notification.id},
            {"notification", notification.payload},
            {"name", notification.name},
            {"read_at", vikunjaDate({})},
            {"read", false},
            {"created", iso8601(notification.created)}};
}

boost::json::object FakeVikunjaState::relations(const FakeVikunjaTask& task) {
    boost::json::object result;
    auto add = [&](const char* kind, const FakeVikunjaTask& related) {
        if (!result.contains(kind)) {
            result[kind] = boost::json::array();
        }
        result[kind].as_array().push_back(json(related, false));
    };
    for (int64_t parent : task.parents) {
        add("parenttask", tasks.at(parent));
    }
    for (const auto& [id, other] : tasks) {
        if (std::find(other.parents.begin(), other.parents.end(), task.id) != other.parents.end()) {
            add("subtask", other);
        }
    }
    return result;
}

boost::json::object FakeVikunjaState::json(const FakeVikunjaTask& task, bool tellsRelations) {
    boost::json::array assignees;
    for (const std::string& login : task.assignees) {
        assignees.push_back(json(user(login)));
    }
    boost::json::array labelled;
    for (const std::string& title : task.labels) {
        labelled.push_back(json(label(title, "")));
    }
    auto orNull = [](boost::json::array list) { return list.empty() ? boost::json::value() : list; };
    boost::json::object result = task.rest;
    result["id"] = task.id;
    result["title"] = task.title;
    result["description"] = task.description;
    result["done"] = task.isDone;
    result["done_at"] = vikunjaDate(task.isDone ? std::optional(task.updated) : std::nullopt);
    result["due_date"] = vikunjaDate(task.dueDate);
    result["project_id"] = task.projectID;
    result["repeat_after"] = task.repeatAfter;
    result["priority"] = task.priority;
    result["assignees"] = orNull(std::move(assignees));
    result["labels"] = orNull(std::move(labelled));
    result["identifier"] = "#" + std::to_string(task.id);
    result["index"] = task.id;
    result["related_tasks"] = tellsRelations ? boost::json::value(relations(task)) : boost::json::value();
    result["attachments"] = nullptr;
    result["created"] = iso8601(task.created);
    result["updated"] = iso8601(task.updated);
    result["bucket_id"] = 0;
    result["reactions"] = nullptr;
    result["created_by"] = json(user(task.author));
    return result;
}

}  // namespace marlet
