#include "TestSupport/FakeGitLab.h"

#include <algorithm>
#include <chrono>

#include "MarletBase/Text.h"

namespace marlet {
namespace {

const std::string viewer = "ada";
const std::string otherUser = "grace";

// The service keeps thousandths of a second.
Date thousandths(Date date) {
    return std::chrono::floor<std::chrono::milliseconds>(date);
}

std::vector<FakeQueryKey> listQuery(FakeQueryKey which) {
    return {std::move(which),
            {"order_by", {"created_at", "updated_at"}},
            {"sort", {"asc", "desc"}},
            {"with_labels_details", {"true", "false"}},
            {"updated_after"},
            {"per_page"},
            {"page"}};
}

std::vector<std::string> labelNames(const std::string& joined) {
    std::vector<std::string> names;
    for (std::string_view name : pieces(joined, ',')) {
        names.push_back(trimmed(name));
    }
    return names;
}

// What a title must be, in the service's own form of a refusal.
boost::json::value blankTitle() {
    return {{"message", {{"title", boost::json::array{"can't be blank"}}}}};
}

}  // namespace

FakeGitLab::FakeGitLab(TimeSource now, std::string accepted) : FakeService(std::move(now)), token(std::move(accepted)) {
    addRoutes();
}

std::optional<std::string> FakeGitLab::target(const std::string& url) const {
    if (url == root() + "/api/graphql") {
        return "graphql";
    }
    std::string beginning = root() + "/api/v4/";
    return url.starts_with(beginning) ? std::optional(url.substr(beginning.size())) : std::nullopt;
}

std::optional<FakeAnswer> FakeGitLab::refuse(const FakeRequest& request) {
    std::string credentials = request.header("authorization");
    if (!credentials.starts_with("Bearer ")) {
        return violation("no credentials of the form \"Bearer …\"", 401);
    }
    if (credentials != "Bearer " + token) {
        return refusal(401, "401 Unauthorized");
    }
    if (request.header("accept") != "application/json") {
        return violation("Accept is \"" + request.header("accept") + "\"");
    }
    return std::nullopt;
}

FakeAnswer FakeGitLab::refusal(int status, const std::string& message) const {
    return json({{"message", message}}, status);
}

void FakeGitLab::addStandingHeaders(FakeAnswer& answer) {
    answer.headers.emplace_back("Cache-Control", "max-age=0, private, must-revalidate");
    answer.headers.emplace_back("RateLimit-Limit", "2000");
    answer.headers.emplace_back("RateLimit-Remaining", "1999");
}

FakePaging FakeGitLab::paging(size_t total) const {
    return {.initialSize = 20, .tellsTotal = total <= countedLength, .totalName = "X-Total"};
}

void FakeGitLab::addRoutes() {
    add({"GET",
         "projects",
         {{"membership", {"true"}},
          {"archived", {"true", "false"}},
          {"order_by", {"id", "last_activity_at"}},
          {"sort", {"asc", "desc"}},
          {"per_page"},
          {"page"}},
         {},
         [this](const FakeCall& call) { return listProjects(call); }});
    add({"GET", "todos", {{"per_page"}, {"page"}}, {}, [this](const FakeCall& call) { return listTodos(call); }});
    add({"POST", "graphql", {}, {{"query"}, {"variables", FakeKind::object}}, [this](const FakeCall& call) {
             return graphQL(call);
         }});
    addProjectRoute("GET", "issues_statistics", {{"scope", {"all"}}}, {},
                    [](const FakeCall&, FakeGitLabProject& project) {
                        auto all = static_cast<int64_t>(project.issues.size());
                        auto isClosed = [](const auto& entry) { return entry.second.isClosed; };
                        int64_t closed = std::count_if(project.issues.begin(), project.issues.end(), isClosed);
                        boost::json::object counts{{"all", all}, {"closed", closed}, {"opened", all - closed}};
                        return json({{"statistics", {{"counts", counts}}}});
                    });
    addProjectRoute("POST", "issues", {},
                    {{"title"},
                     {"description", FakeKind::string, false},
                     {"labels", FakeKind::string, false},
                     {"due_date", FakeKind::string, false}},
                    [this](const FakeCall& call, FakeGitLabProject& project) { return createIssue(call, project); });
    addItemRoutes("issues", false);
    addItemRoutes("merge_requests", true);
}

void FakeGitLab::addProjectRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                                 std::vector<FakeBodyKey> body, ItemAnswer answer) {
    add({std::move(method), "projects/*/" + below, std::move(query), std::move(body),
         [this, answer = std::move(answer)](const FakeCall& call) {
             auto found = projects.find(call.number(0));
             return found == projects.end() ? refusal(404, "404 Project Not Found") : answer(call, found->second);
         }});
}

void FakeGitLab::addItemRoutes(const std::string& list, bool isMergeRequests) {
    using Answer = std::function<FakeAnswer(const FakeCall& call, FakeGitLabProject& project, FakeGitLabItem& item)>;
    auto onItem = [this, isMergeRequests](Answer answer) -> ItemAnswer {
        return [this, isMergeRequests, answer = std::move(answer)](const FakeCall& call, FakeGitLabProject& project) {
            auto& items = isMergeRequests ? project.mergeRequests : project.issues;
            auto found = items.find(call.number(1));
            return found == items.end() ? refusal(404, "404 Not found") : answer(call, project, found->second);
        };
    };
    FakeQueryKey which = isMergeRequests ? FakeQueryKey{"state", {"all", "opened"}} : FakeQueryKey{"scope", {"all"}};
    addProjectRoute("GET", list, listQuery(which), {},
                    [this, isMergeRequests](const FakeCall& call, FakeGitLabProject& project) {
                        return listItems(call, project, isMergeRequests);
                    });
    addProjectRoute("GET", list + "/*", {}, {}, onItem([this](const FakeCall&, auto& project, auto& item) {
                        return json(shape(project, item, false));
                    }));
    std::vector<FakeBodyKey> edit{{"title", FakeKind::string, false},
                                  {"description", FakeKind::string, false},
                                  {"labels", FakeKind::string, false},
                                  {"state_event", FakeKind::string, false}};
    if (!isMergeRequests) {
        edit.push_back({"due_date", FakeKind::stringOrNull, false});
    }
    addProjectRoute(
        "PUT", list + "/*", {}, std::move(edit),
        onItem([this](const FakeCall& call, auto& project, auto& item) { return changeItem(call, project, item); }));
    std::vector<FakeQueryKey> notesQuery{
        {"order_by", {"created_at", "updated_at"}}, {"sort", {"asc", "desc"}}, {"per_page"}, {"page"}};
    addProjectRoute("GET", list + "/*/notes", std::move(notesQuery), {},
                    onItem([this](const FakeCall& call, auto&, auto& item) { return listNotes(call, item); }));
    addProjectRoute("POST", list + "/*/notes", {}, {{"body"}},
                    onItem([this](const FakeCall& call, auto& project, auto& item) {
                        std::string text = call.text("body").value_or("");
                        if (text.empty()) {
                            return refusal(400, "400 Bad request - Note can't be blank");
                        }
                        return json(shape(item, comment(project, item, text, FakeActor::client)), 201);
                    }));
}

FakeAnswer FakeGitLab::listProjects(const FakeCall& call) {
    std::vector<const FakeGitLabProject*> found;
    for (const auto& [id, project] : projects) {
        if (!project.isArchived || call.item("archived") != "false") {
            found.push_back(&project);
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const FakeGitLabProject* left, const FakeGitLabProject* right) {
        return left->updatedAt > right->updatedAt;
    });
    return paged(call, paging(found.size()), found.size(), [&](size_t index) { return shape(*found[index]); });
}

FakeAnswer FakeGitLab::listTodos(const FakeCall& call) {
    return paged(call, paging(todos.size()), todos.size(),
                 [&](size_t index) { return shape(todos[todos.size() - 1 - index]); });
}

FakeAnswer FakeGitLab::listItems(const FakeCall& call, FakeGitLabProject& project, bool isMergeRequests) {
    if (isMergeRequests && !project.hasMergeRequests) {
        return refusal(403, "403 Forbidden");
    }
    // Left out, it means what the user made himself.
    if (!isMergeRequests && !call.item("scope")) {
        return violation("issues without a scope");
    }
    std::optional<Date> after = parseISO8601(call.item("updated_after").value_or(""));
    if (call.item("updated_after") && !after) {
        return violation("updated_after is no date: " + *call.item("updated_after"));
    }
    std::vector<const FakeGitLabItem*> found;
    for (const auto& [iid, item] : isMergeRequests ? project.mergeRequests : project.issues) {
        bool fits = call.item("state") != "opened" || !(item.isClosed || item.isMerged);
        if (fits && (!after || item.updatedAt >= *after)) {
            found.push_back(&item);
        }
    }
    bool byUpdate = call.item("order_by") == "updated_at";
    bool ascends = call.item("sort") == "asc";
    std::sort(found.begin(), found.end(), [&](const FakeGitLabItem* left, const FakeGitLabItem* right) {
        auto key = [&](const FakeGitLabItem* item) {
            return std::pair(byUpdate ? item->updatedAt : item->createdAt, item->iid);
        };
        return ascends ? key(left) < key(right) : key(right) < key(left);
    });
    bool hasDetails = call.item("with_labels_details") == "true";
    return paged(call, paging(found.size()), found.size(),
                 [&](size_t index) { return shape(project, *found[index], hasDetails); });
}

FakeAnswer FakeGitLab::createIssue(const FakeCall& call, FakeGitLabProject& project) {
    FakeGitLabItem item{.title = call.text("title").value_or(""), .body = call.text("description").value_or("")};
    item.labels = labelNames(call.text("labels").value_or(""));
    item.dueDay = call.text("due_date");
    if (item.dueDay && !parseLocalDay(*item.dueDay)) {
        return violation("due_date is no day: " + *item.dueDay);
    }
    if (item.title.empty()) {
        return json(blankTitle(), 400);
    }
    return json(shape(project, make(project, std::move(item), FakeActor::client), false), 201);
}

FakeAnswer FakeGitLab::changeItem(const FakeCall& call, FakeGitLabProject& project, FakeGitLabItem& item) {
    std::optional<std::string> event = call.text("state_event");
    std::optional<std::string> due = call.text("due_date");
    if (event && *event != "close" && *event != "reopen") {
        return violation("state_event is " + *event);
    }
    if (due && !parseLocalDay(*due)) {
        return violation("due_date is no day: " + *due);
    }
    if (call.text("title") == "") {
        return json(blankTitle(), 400);
    }
    item.title = call.text("title").value_or(item.title);
    item.body = call.text("description").value_or(item.body);
    if (std::optional<std::string> labels = call.text("labels")) {
        item.labels = labelNames(*labels);
    }
    if (event && !item.isMerged) {
        item.isClosed = *event == "close";
    }
    if (call.body.contains("due_date")) {
        item.dueDay = due;
    }
    settle(project, item, FakeActor::client);
    return json(shape(project, item, false));
}

FakeAnswer FakeGitLab::listNotes(const FakeCall& call, FakeGitLabItem& item) {
    bool ascends = call.item("sort") == "asc";
    size_t count = item.comments.size();
    return paged(call, paging(count), count,
                 [&](size_t index) { return shape(item, item.comments[ascends ? index : count - 1 - index]); });
}

FakeGitLabItem& FakeGitLab::itemNamed(FakeGitLabProject& project, const std::string& taskID) {
    return taskID.starts_with('!') ? project.mergeRequests.at(std::stoll(taskID.substr(1)))
                                   : project.issues.at(std::stoll(taskID));
}

FakeUser& FakeGitLab::user(const std::string& login) {
    FakeUser& found = users[login];
    if (found.id == 0) {
        found = {.id = ++lastID, .login = login, .name = login + " " + login};
    }
    return found;
}

// Labels that aren't there are made. Their names differ by case.
const FakeLabel& FakeGitLab::label(FakeGitLabProject& project, const std::string& name) {
    auto found = std::find_if(project.labels.begin(), project.labels.end(),
                              [&](const FakeLabel& candidate) { return candidate.name == name; });
    if (found == project.labels.end()) {
        return project.labels.emplace_back(FakeLabel{.id = ++lastID, .name = name, .color = "6699cc"});
    }
    return *found;
}

FakeGitLabItem& FakeGitLab::make(FakeGitLabProject& project, FakeGitLabItem added, FakeActor actor) {
    auto& items = added.isMergeRequest ? project.mergeRequests : project.issues;
    added.id = ++lastID;
    added.iid = items.empty() ? 1 : items.rbegin()->first + 1;
    added.author = actor == FakeActor::client ? viewer : otherUser;
    added.createdAt = thousandths(now());
    FakeGitLabItem& kept = items[added.iid] = std::move(added);
    settle(project, kept, actor);
    return kept;
}

void FakeGitLab::settle(FakeGitLabProject& project, FakeGitLabItem& item, FakeActor actor) {
    std::sort(item.labels.begin(), item.labels.end());
    item.labels.erase(std::unique(item.labels.begin(), item.labels.end()), item.labels.end());
    for (const std::string& name : item.labels) {
        label(project, name);
    }
    item.updatedAt = project.updatedAt = thousandths(now());
    if (actor == FakeActor::client) {
        return;
    }
    // One todo is pending for each item; a new one takes its place.
    std::erase_if(todos,
                  [&](const FakeTodo& todo) { return todo.projectID == project.id && todo.taskID == item.taskID(); });
    std::string type = item.isMergeRequest ? "MergeRequest" : "Issue";
    todos.push_back({++lastID, project.id, type, item.taskID(), item.updatedAt, item.updatedAt});
}

FakeComment& FakeGitLab::comment(FakeGitLabProject& project, FakeGitLabItem& item, const std::string& body,
                                 FakeActor actor) {
    std::string author = actor == FakeActor::client ? viewer : otherUser;
    FakeComment& made = item.comments.emplace_back(FakeComment{++lastID, author, body, thousandths(now())});
    settle(project, item, actor);
    return made;
}

std::string FakeGitLab::addProject(const std::string& path) {
    auto guard = hold();
    int64_t id = ++lastID;
    projects[id] = {.id = id, .path = path, .updatedAt = thousandths(now())};
    return std::to_string(id);
}

std::string FakeGitLab::addItem(const std::string& projectID, FakeGitLabItem item) {
    auto guard = hold();
    return make(projectNamed(projectID), std::move(item), FakeActor::other).taskID();
}

void FakeGitLab::editItem(const std::string& projectID, const std::string& taskID,
                          const std::function<void(FakeGitLabItem& item)>& change) {
    auto guard = hold();
    FakeGitLabProject& project = projectNamed(projectID);
    FakeGitLabItem& item = itemNamed(project, taskID);
    change(item);
    settle(project, item, FakeActor::other);
}

void FakeGitLab::removeItem(const std::string& projectID, const std::string& taskID) {
    auto guard = hold();
    FakeGitLabProject& project = projectNamed(projectID);
    FakeGitLabItem& item = itemNamed(project, taskID);
    (item.isMergeRequest ? project.mergeRequests : project.issues).erase(item.iid);
}

void FakeGitLab::addLabel(const std::string& projectID, const std::string& name, const std::string& color) {
    auto guard = hold();
    projectNamed(projectID).labels.push_back({.id = ++lastID, .name = name, .color = color});
}

void FakeGitLab::addComment(const std::string& projectID, const std::string& taskID, const std::string& body) {
    auto guard = hold();
    FakeGitLabProject& project = projectNamed(projectID);
    comment(project, itemNamed(project, taskID), body, FakeActor::other);
}

void FakeGitLab::addTodo(int64_t projectID, const std::string& targetType) {
    auto guard = hold();
    Date date = thousandths(now());
    todos.push_back({++lastID, projectID, targetType, "", date, date});
}

FakeGitLabItem FakeGitLab::item(const std::string& projectID, const std::string& taskID) {
    auto guard = hold();
    return itemNamed(projectNamed(projectID), taskID);
}

std::vector<FakeGitLabItem> FakeGitLab::items(const std::string& projectID) {
    auto guard = hold();
    std::vector<FakeGitLabItem> result;
    const FakeGitLabProject& project = projectNamed(projectID);
    for (const auto* list : {&project.issues, &project.mergeRequests}) {
        for (const auto& [iid, item] : *list) {
            result.push_back(item);
        }
    }
    return result;
}

void FakeGitLab::editProject(const std::string& projectID,
                             const std::function<void(FakeGitLabProject& project)>& change) {
    auto guard = hold();
    change(projectNamed(projectID));
}

void FakeGitLab::setToken(std::string accepted) {
    auto guard = hold();
    token = std::move(accepted);
}

void FakeGitLab::setCountedLength(size_t length) {
    auto guard = hold();
    countedLength = length;
}

}  // namespace marlet
