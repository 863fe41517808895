#include "TestSupport/FakeVikunja.h"

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <chrono>

namespace marlet {
namespace {

const std::vector<FakeQueryKey> pageQuery{{"per_page"}, {"page"}};
constexpr const char* noTask = "This task does not exist";
constexpr const char* invalidData = "Invalid Data";

// A write replaces the task: what its body lacks is gone.
constexpr std::array<const char*, 27> taskKeys{"id",          "title",        "description",
                                               "done",        "done_at",      "due_date",
                                               "reminders",   "project_id",   "repeat_after",
                                               "repeat_mode", "priority",     "start_date",
                                               "end_date",    "assignees",    "labels",
                                               "hex_color",   "percent_done", "identifier",
                                               "index",       "attachments",  "cover_image_attachment_id",
                                               "is_favorite", "created",      "updated",
                                               "bucket_id",   "position",     "reactions"};

std::vector<FakeBodyKey> wholeTask() {
    std::vector<FakeBodyKey> keys{{"created_by", FakeKind::any}};
    for (const char* key : taskKeys) {
        keys.push_back({key, FakeKind::any});
    }
    return keys;
}

std::vector<FakeQueryKey> with(const std::vector<FakeQueryKey>& more) {
    std::vector<FakeQueryKey> keys = pageQuery;
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

// With the nine digits that the service's answers to a creation have.
boost::json::object withNanoseconds(boost::json::object made) {
    for (const char* key : {"created", "updated"}) {
        std::string text = made.at(key).as_string().c_str();
        made[key] = text.substr(0, text.size() - 1) + ".000000000Z";
    }
    return made;
}

std::optional<int64_t> filteredProject(const std::string& filter) {
    constexpr std::string_view beginning = "project = ";
    bool isNumber = filter.starts_with(beginning) && filter.size() > beginning.size() &&
                    filter.find_first_not_of("0123456789", beginning.size()) == std::string::npos;
    return isNumber ? std::optional<int64_t>(std::stoll(filter.substr(beginning.size()))) : std::nullopt;
}

}  // namespace

FakeVikunja::FakeVikunja(TimeSource now, std::string accepted)
    : FakeService(std::move(now)), token(std::move(accepted)) {
    addListRoutes();
    addTaskRoutes();
    addLabelRoutes();
    addRelationRoutes();
}

std::optional<std::string> FakeVikunja::target(const std::string& url) const {
    std::string beginning = root() + "/api/v1/";
    return url.starts_with(beginning) ? std::optional(url.substr(beginning.size())) : std::nullopt;
}

std::optional<FakeAnswer> FakeVikunja::refuse(const FakeRequest& request) {
    std::string credentials = request.header("authorization");
    if (!credentials.starts_with("Bearer ")) {
        return violation("no credentials of the form \"Bearer …\"", 401);
    }
    if (credentials != "Bearer " + token) {
        return refusal(401, "missing, malformed, expired or otherwise invalid token provided");
    }
    if (request.header("accept") != "application/json") {
        return violation("Accept is \"" + request.header("accept") + "\"");
    }
    return std::nullopt;
}

FakeAnswer FakeVikunja::refusal(int status, const std::string& message) const {
    boost::json::object body{{"message", message}};
    if (status == 401) {
        body["code"] = 11;
    } else if (message == noTask) {
        body["code"] = 4002;
    } else if (message == invalidData) {
        body["code"] = 2002;
        body["invalid_fields"] = boost::json::array{"title: non zero value required"};
    }
    return json(body, status);
}

FakeAnswer FakeVikunja::listOf(const FakeCall& call, size_t total,
                               const std::function<boost::json::value(size_t)>& element) {
    FakePaging paging{.initialSize = 50, .maximalSize = 50, .linksPages = false, .tellsPages = true};
    return paged(call, paging, total, element);
}

void FakeVikunja::addTaskRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                               std::vector<FakeBodyKey> body,
                               std::function<FakeAnswer(const FakeCall& call, FakeVikunjaTask& task)> answer) {
    add({std::move(method), "tasks/*" + below, std::move(query), std::move(body),
         [this, answer = std::move(answer)](const FakeCall& call) {
             auto found = state.tasks.find(call.number(0));
             return found != state.tasks.end() ? answer(call, found->second) : refusal(404, noTask);
         }});
}

void FakeVikunja::addListRoutes() {
    add({"GET", "projects", pageQuery, {}, [this](const FakeCall& call) {
             // Filters stand among the projects.
             std::vector<FakeVikunjaProject> listed{{-1, "Favorites"}};
             for (const auto& [id, project] : state.projects) {
                 listed.push_back(project);
             }
             return listOf(call, listed.size(), [&](size_t index) { return state.json(listed[index]); });
         }});
    add({"GET",
         "tasks",
         with({{"filter"}, {"sort_by", {"updated"}}, {"order_by", {"desc"}}}),
         {},
         [this](const FakeCall& call) { return listTasks(call); }});
    add({"GET", "notifications", pageQuery, {}, [this](const FakeCall& call) {
             return listOf(call, state.notifications.size(),
                           [&](size_t index) { return state.json(state.notifications[index]); });
         }});
}

void FakeVikunja::addTaskRoutes() {
    add({"PUT",
         "projects/*/tasks",
         {},
         {{"title"}, {"description"}, {"due_date", FakeKind::string, false}},
         [this](const FakeCall& call) { return createTask(call); }});
    addTaskRoute("GET", "", {}, {}, [this](const FakeCall&, FakeVikunjaTask& task) { return json(state.json(task)); });
    addTaskRoute("POST", "", {}, wholeTask(),
                 [this](const FakeCall& call, FakeVikunjaTask& task) { return replaceTask(call, task); });
    addTaskRoute("GET", "/comments", with({{"order_by", {"asc", "desc"}}}), {},
                 [this](const FakeCall& call, FakeVikunjaTask& task) {
                     bool isTurned = call.item("order_by") == "desc";
                     size_t count = task.comments.size();
                     return listOf(call, count, [&](size_t index) {
                         return state.json(task.comments[isTurned ? count - 1 - index : index]);
                     });
                 });
    addTaskRoute("PUT", "/comments", {}, {{"comment"}}, [this](const FakeCall& call, FakeVikunjaTask& task) {
        const FakeComment& made = state.addComment(task.id, state.viewer, call.text("comment").value_or(""), now());
        return json(withNanoseconds(state.json(made)), 201);
    });
}

void FakeVikunja::addLabelRoutes() {
    add({"GET", "labels", pageQuery, {}, [this](const FakeCall& call) {
             return listOf(call, state.labels.size(), [&](size_t index) { return state.json(state.labels[index]); });
         }});
    add({"PUT", "labels", {}, {{"title"}, {"hex_color"}}, [this](const FakeCall& call) {
             std::string title = call.text("title").value_or("");
             if (title.empty()) {
                 return refusal(412, invalidData);
             }
             state.labels.push_back({state.nextID(), title, call.text("hex_color").value_or("")});
             return json(state.json(state.labels.back()), 201);
         }});
    addTaskRoute("POST", "/labels/bulk", {}, {{"labels", FakeKind::objects}},
                 [this](const FakeCall& call, FakeVikunjaTask& task) { return setLabels(call, task); });
}

void FakeVikunja::addRelationRoutes() {
    addTaskRoute(
        "PUT", "/relations", {},
        {{"task_id", FakeKind::number}, {"other_task_id", FakeKind::number}, {"relation_kind", FakeKind::string}},
        [this](const FakeCall& call, FakeVikunjaTask& task) { return addRelation(call, task); });
    addTaskRoute("DELETE", "/relations/parenttask/*", {}, {},
                 [this](const FakeCall& call, FakeVikunjaTask& task) { return removeRelation(call, task); });
}

FakeAnswer FakeVikunja::listTasks(const FakeCall& call) {
    std::optional<std::string> filter = call.item("filter");
    std::optional<int64_t> project = filter ? filteredProject(*filter) : std::nullopt;
    if (filter && !project) {
        return violation("the filter is " + *filter, 400);
    }
    if (project && !state.projects.contains(*project)) {
        return refusal(404, "This project does not exist.");
    }
    std::vector<const FakeVikunjaTask*> found = state.changes(project);
    return listOf(call, found.size(), [&](size_t index) { return state.json(*found[index]); });
}

FakeAnswer FakeVikunja::createTask(const FakeCall& call) {
    auto project = state.projects.find(call.number(0));
    if (project == state.projects.end()) {
        return refusal(404, "This project does not exist.");
    }
    FakeVikunjaTask task{.title = call.text("title").value_or(""),
                         .description = call.text("description").value_or("")};
    if (task.title.empty()) {
        return refusal(412, invalidData);
    }
    if (std::optional<std::string> due = call.text("due_date")) {
        task.dueDate = parseISO8601(*due);
        if (!task.dueDate) {
            return violation("due_date is no date: " + *due);
        }
    }
    const FakeVikunjaTask& made = state.addTask(project->first, std::move(task), state.viewer, now());
    return json(withNanoseconds(state.json(made)), 201);
}

// Labels and relations have their own ways; of all else the body is the task.
FakeAnswer FakeVikunja::replaceTask(const FakeCall& call, FakeVikunjaTask& task) {
    std::optional<std::string> title = call.text("title");
    std::optional<std::string> due = call.text("due_date");
    const boost::json::value* done = call.body.if_contains("done");
    if (!title || !call.text("description") || !done->is_bool() || (!due && !call.body.at("due_date").is_null())) {
        return violation("a member of the task is of a wrong kind");
    }
    if (title->empty()) {
        return refusal(412, invalidData);
    }
    std::optional<Date> dueDate = due ? parseISO8601(*due) : std::nullopt;
    if (due && !dueDate) {
        return violation("due_date is no date: " + *due);
    }
    task.title = *title;
    task.description = *call.text("description");
    task.dueDate = dueDate && vikunjaDate(dueDate) != vikunjaDate({}) ? dueDate : std::nullopt;
    task.isDone = done->as_bool();
    task.priority = call.body.at("priority").as_int64();
    task.repeatAfter = call.body.at("repeat_after").as_int64();
    task.updated = std::chrono::floor<std::chrono::seconds>(now());
    for (auto& member : task.rest) {
        member.value() = call.body.at(member.key());
    }
    if (task.isDone && task.repeatAfter > 0) {
        task.isDone = false;
        while (task.dueDate && *task.dueDate <= now()) {
            task.dueDate = *task.dueDate + static_cast<double>(task.repeatAfter);
        }
    }
    return json(state.json(task, false));
}

FakeAnswer FakeVikunja::setLabels(const FakeCall& call, FakeVikunjaTask& task) {
    std::vector<std::string> titles;
    for (const boost::json::value& element : call.body.at("labels").as_array()) {
        const boost::json::object& named = element.as_object();
        const FakeLabel* label = named.contains("id") ? state.labelByID(named.at("id").as_int64()) : nullptr;
        if (named.size() != 1 || !label) {
            return named.size() != 1 ? violation("a label is more than its id")
                                     : refusal(404, "This label does not exist.");
        }
        if (std::find(titles.begin(), titles.end(), label->name) != titles.end()) {
            return violation("a label is named twice");
        }
        titles.push_back(label->name);
    }
    task.labels = std::move(titles);
    task.updated = std::chrono::floor<std::chrono::seconds>(now());
    return json(call.body, 201);
}

FakeAnswer FakeVikunja::addRelation(const FakeCall& call, FakeVikunjaTask& task) {
    int64_t other = call.body.at("other_task_id").as_int64();
    if (call.body.at("task_id").as_int64() != task.id || call.text("relation_kind") != "parenttask") {
        return violation("the relation isn't one of this task to a parent");
    }
    if (!state.tasks.contains(other)) {
        return refusal(404, noTask);
    }
    if (std::find(task.parents.begin(), task.parents.end(), other) != task.parents.end()) {
        return refusal(409, "The task relation already exists.");
    }
    if (state.isAncestor(task.id, other)) {
        return refusal(409, "This task relation would create a cycle.");
    }
    task.parents.push_back(other);
    task.updated = std::chrono::floor<std::chrono::seconds>(now());
    return json(call.body, 201);
}

FakeAnswer FakeVikunja::removeRelation(const FakeCall& call, FakeVikunjaTask& task) {
    if (std::erase(task.parents, call.number(1)) == 0) {
        return refusal(404, "The task relation does not exist.");
    }
    task.updated = std::chrono::floor<std::chrono::seconds>(now());
    return json(boost::json::object{{"message", "Successfully deleted."}});
}

int64_t FakeVikunja::addProject(const std::string& title, bool isArchived) {
    auto guard = hold();
    int64_t id = state.nextID();
    state.projects[id] = {id, title, isArchived};
    return id;
}

void FakeVikunja::addLabel(const std::string& title, const std::string& color) {
    auto guard = hold();
    state.label(title, color);
}

int64_t FakeVikunja::addTask(int64_t project, FakeVikunjaTask task) {
    auto guard = hold();
    for (const std::string& title : task.labels) {
        state.label(title, "");
    }
    return state.addTask(project, std::move(task), state.otherUser, now()).id;
}

void FakeVikunja::editTask(int64_t id, const std::function<void(FakeVikunjaTask& task)>& change) {
    auto guard = hold();
    FakeVikunjaTask& task = state.task(id);
    change(task);
    task.updated = std::chrono::floor<std::chrono::seconds>(now());
}

void FakeVikunja::addComment(int64_t task, const std::string& body) {
    auto guard = hold();
    state.addComment(task, state.otherUser, body, now());
    state.notify("task.comment", state.task(task), now());
}

void FakeVikunja::removeTask(int64_t id) {
    auto guard = hold();
    state.notify("task.deleted", state.task(id), now());
    state.removeTask(id);
}

void FakeVikunja::notify(const std::string& name, int64_t task) {
    auto guard = hold();
    state.notify(name, state.task(task), now());
}

FakeVikunjaTask FakeVikunja::task(int64_t id) {
    auto guard = hold();
    return state.task(id);
}

std::vector<FakeVikunjaTask> FakeVikunja::tasks(int64_t project) {
    auto guard = hold();
    std::vector<FakeVikunjaTask> found;
    for (const auto& [id, task] : state.tasks) {
        if (task.projectID == project) {
            found.push_back(task);
        }
    }
    return found;
}

std::vector<FakeLabel> FakeVikunja::labels() {
    auto guard = hold();
    return state.labels;
}

void FakeVikunja::setToken(std::string accepted) {
    auto guard = hold();
    token = std::move(accepted);
}

}  // namespace marlet
