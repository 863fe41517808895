#include "TestSupport/FakeJira.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "MarletBase/Base64.h"

namespace marlet {
namespace {

const std::string viewer = "ada";
const std::string otherUser = "grace";
constexpr std::string_view loginHeader = "X-Seraph-LoginReason";
constexpr std::string_view countTarget = "rest/api/3/search/approximate-count";
constexpr size_t maximalPage = 100;

// The service keeps thousandths of a second.
Date thousandths(Date date) {
    return std::chrono::floor<std::chrono::milliseconds>(date);
}

std::string credentialsFor(const std::string& token) {
    return token.find(':') == std::string::npos ? "Bearer " + token : "Basic " + base64(token);
}

std::vector<FakeJiraTransition> plainWorkflow() {
    std::vector<FakeJiraResolution> resolutions{{"10700", "Won't Do"}, {"10701", "Done"}};
    return {{"11", "To Do", "In Progress"},       {"21", "In Progress", "To Do"},
            {"31", "To Do", "Done", resolutions}, {"32", "In Progress", "Done", resolutions},
            {"41", "Done", "In Progress"},        {"42", "Done", "To Do"}};
}

size_t numberOr(const std::optional<std::string>& text, size_t otherwise) {
    return text && !text->empty() && text->find_first_not_of("0123456789") == std::string::npos ? std::stoul(*text)
                                                                                                : otherwise;
}

}  // namespace

const std::string FakeJira::pointsField = "customfield_10016";
const std::string FakeJira::epicLinkField = "customfield_10014";

FakeJira::FakeJira(FakeJiraKind chosen, TimeSource now, std::string accepted)
    : FakeService(std::move(now)), kind(chosen), token(std::move(accepted)) {
    setOffersETags(false);
    addListRoutes();
    addIssueRoutes();
}

std::optional<std::string> FakeJira::target(const std::string& url) const {
    if (isCloud() && url == root() + "/" + std::string(countTarget)) {
        return std::string(countTarget);
    }
    std::string beginning = root() + "/rest/api/2/";
    return url.starts_with(beginning) ? std::optional(url.substr(beginning.size())) : std::nullopt;
}

std::optional<FakeAnswer> FakeJira::refuse(const FakeRequest& request) {
    std::string credentials = request.header("authorization");
    if (!credentials.starts_with("Basic ") && !credentials.starts_with("Bearer ")) {
        return violation("no credentials of the form \"Basic …\" or \"Bearer …\"", 401);
    }
    if (request.header("accept") != "application/json") {
        return violation("Accept is \"" + request.header("accept") + "\"");
    }
    if (credentials == credentialsFor(token)) {
        return std::nullopt;
    }
    FakeAnswer answer;
    if (isCloud()) {
        std::string path = target(request.url).value_or("");
        answer = answerToStranger(path.substr(0, path.find('?')));
    } else {
        answer = {.status = 401, .headers = {{"Content-Type", "text/html"}}, .body = "<html>Unauthorized (401)</html>"};
    }
    answer.headers.emplace_back(loginHeader, "AUTHENTICATED_FAILED");
    return answer;
}

FakeAnswer FakeJira::answerToStranger(const std::string& target) const {
    if (target == "serverInfo") {
        return json({{"deploymentType", "Cloud"}, {"version", "1001.0.0-SNAPSHOT"}});
    }
    if (target == "field") {
        return json(boost::json::array());
    }
    if (target == "project/search") {
        return json({{"values", boost::json::array()}, {"total", 0}, {"isLast", true}});
    }
    if (target == "search/jql") {
        return json({{"issues", boost::json::array()}, {"isLast", true}});
    }
    if (target == countTarget) {
        return json({{"count", 0}});
    }
    return refusal(404, "Issue does not exist or you do not have permission to see it.");
}

FakeAnswer FakeJira::refusal(int status, const std::string& message) const {
    return json({{"errorMessages", boost::json::array{message}}, {"errors", boost::json::object()}}, status);
}

FakeAnswer FakeJira::fieldRefusal(const std::string& field, const std::string& message) {
    boost::json::object errors{{field, message}};
    return json({{"errorMessages", boost::json::array()}, {"errors", errors}}, 400);
}

void FakeJira::addStandingHeaders(FakeAnswer& answer) {
    if (!isCloud() && answer.header(loginHeader).empty()) {
        answer.headers.emplace_back(loginHeader, "OK");
    }
    answer.headers.emplace_back("X-RateLimit-Limit", "350");
    answer.headers.emplace_back("X-RateLimit-NearLimit", "false");
}

void FakeJira::addListRoutes() {
    add({"GET", "serverInfo", {}, {}, [this](const FakeCall&) {
             return json({{"baseUrl", root()},
                          {"version", isCloud() ? "1001.0.0-SNAPSHOT" : "9.12.4"},
                          {"deploymentType", isCloud() ? "Cloud" : "Server"},
                          {"buildNumber", 100417},
                          {"serverTitle", "Jira"}});
         }});
    add({"GET", "field", {}, {}, [this](const FakeCall&) { return json(fieldShapes()); }});
    std::vector<FakeQueryKey> searching{{"jql"}, {"fields"}, {"maxResults"}};
    if (isCloud()) {
        add({"GET", "project/search", {{"startAt"}, {"maxResults"}}, {}, [this](const FakeCall& call) {
                 return listProjects(call);
             }});
        searching.push_back({"nextPageToken"});
        add({"GET", "search/jql", searching, {}, [this](const FakeCall& call) { return search(call); }});
        add({"POST", std::string(countTarget), {}, {{"jql"}}, [this](const FakeCall& call) {
                 return approximateCount(call);
             }});
    } else {
        add({"GET", "project", {}, {}, [this](const FakeCall& call) { return listProjects(call); }});
        searching.push_back({"startAt"});
        add({"GET", "search", searching, {}, [this](const FakeCall& call) { return search(call); }});
    }
    add({"GET", "project/*", {}, {}, [this](const FakeCall& call) {
             auto found = projects.find(call.number(0));
             return found == projects.end()
                        ? refusal(404, "No project could be found with id '" + call.captures[0] + "'.")
                        : json(shape(found->second, true));
         }});
}

FakeAnswer FakeJira::listProjects(const FakeCall& call) {
    boost::json::array all;
    for (const auto& [id, project] : projects) {
        all.push_back(shape(project, false));
    }
    if (!isCloud()) {
        return json(all);
    }
    size_t start = numberOr(call.item("startAt"), 0);
    size_t size = std::min(numberOr(call.item("maxResults"), 50), maximalPage);
    size_t end = std::min(start + size, all.size());
    boost::json::array page;
    for (size_t index = start; index < end; ++index) {
        page.push_back(all[index]);
    }
    return json({{"startAt", start},
                 {"maxResults", size},
                 {"total", all.size()},
                 {"isLast", end == all.size()},
                 {"values", std::move(page)}});
}

bool FakeJira::fits(const FakeJiraIssue& issue, const FakeJiraQuery& query) const {
    bool isUsers = issue.isWatched || issue.author == viewer || issue.assignee == viewer;
    return (!query.project || *query.project == std::to_string(issue.projectID)) &&
           (!query.updatedWithinMinutes || issue.updatedAt >= now() - 60.0 * *query.updatedWithinMinutes) &&
           (!query.isAboutUser || isUsers) &&
           (!query.keys || std::find(query.keys->begin(), query.keys->end(), issue.key) != query.keys->end());
}

std::optional<FakeAnswer> FakeJira::select(const std::string& jql, std::vector<const FakeJiraIssue*>& found) {
    std::optional<FakeJiraQuery> query = FakeJiraQuery::parse(jql);
    if (!query) {
        return violation("a query that isn't understood: " + jql, 400);
    }
    if (query->project && !projects.contains(std::stoll(*query->project))) {
        return refusal(400, fmt::format("The value '{}' does not exist for the field 'project'.", *query->project));
    }
    for (const std::string& key : query->keys.value_or(std::vector<std::string>())) {
        if (!find(key)) {
            return refusal(400, fmt::format("An issue with key '{}' does not exist for field 'key'.", key));
        }
    }
    for (const FakeJiraIssue& issue : allIssues) {
        if (fits(issue, *query)) {
            found.push_back(&issue);
        }
    }
    std::stable_sort(found.begin(), found.end(), [&](const FakeJiraIssue* left, const FakeJiraIssue* right) {
        return query->isNewestFirst ? left->updatedAt > right->updatedAt : left->id > right->id;
    });
    return std::nullopt;
}

FakeAnswer FakeJira::search(const FakeCall& call) {
    std::vector<const FakeJiraIssue*> found;
    if (std::optional<FakeAnswer> wrong = select(call.item("jql").value_or(""), found)) {
        return *wrong;
    }
    // A token is nothing that a client could make up.
    constexpr std::string_view tokenBeginning = "Ch0j/";
    std::optional<std::string> page = call.item("nextPageToken");
    if (page && !page->starts_with(tokenBeginning)) {
        return violation("a token that was never given: " + *page, 400);
    }
    size_t start = page ? std::stoul(page->substr(tokenBeginning.size())) : numberOr(call.item("startAt"), 0);
    size_t size = std::min(numberOr(call.item("maxResults"), 50), maximalPage);
    size_t end = std::min(start + size, found.size());
    boost::json::array issues;
    for (size_t index = start; index < end; ++index) {
        issues.push_back(shape(*found[index], call.item("fields").value_or("id")));
    }
    boost::json::object answer{{"issues", std::move(issues)}};
    if (!isCloud()) {
        answer["startAt"] = start;
        answer["maxResults"] = size;
        answer["total"] = found.size();
        return json(answer);
    }
    answer["isLast"] = end == found.size();
    if (end < found.size()) {
        answer["nextPageToken"] = std::string(tokenBeginning) + std::to_string(end);
    }
    return json(answer);
}

FakeAnswer FakeJira::approximateCount(const FakeCall& call) {
    std::vector<const FakeJiraIssue*> found;
    std::optional<FakeAnswer> wrong = select(call.text("jql").value_or(""), found);
    return wrong ? *wrong : json({{"count", found.size()}});
}

const FakeJiraType& FakeJira::typeOf(const FakeJiraIssue& issue) const {
    const std::vector<FakeJiraType>& types = projects.at(issue.projectID).types;
    auto found = std::find_if(types.begin(), types.end(), [&](const auto& type) { return type.name == issue.type; });
    if (found == types.end()) {
        throw std::out_of_range("The project has no type " + issue.type);
    }
    return *found;
}

FakeJiraIssue* FakeJira::find(const std::string& key) {
    auto found = std::find_if(allIssues.begin(), allIssues.end(), [&](const auto& issue) { return issue.key == key; });
    return found == allIssues.end() ? nullptr : &*found;
}

FakeJiraIssue& FakeJira::make(FakeJiraProject& project, FakeJiraIssue added, const std::string& author) {
    added.id = ++lastID;
    added.projectID = project.id;
    added.key = fmt::format("{}-{}", project.key, ++project.lastNumber);
    added.author = author;
    added.createdAt = added.updatedAt = thousandths(now());
    return allIssues.emplace_back(std::move(added));
}

void FakeJira::comment(FakeJiraIssue& issue, const std::string& body, const std::string& author) {
    issue.comments.push_back({++lastID, author, body, thousandths(now())});
    issue.updatedAt = thousandths(now());
}

std::string FakeJira::addProject(const std::string& key, const std::string& name) {
    std::unique_lock<std::mutex> guard = hold();
    FakeJiraProject project{.id = ++lastID, .key = key, .name = name};
    project.types = {{"10500", "Epic", 1}, {"10501", "Task", 0}, {"10502", "Bug", 0}, {"10503", "Sub-task", -1}};
    project.workflow = plainWorkflow();
    int64_t id = project.id;
    projects[id] = std::move(project);
    return std::to_string(id);
}

std::string FakeJira::addIssue(const std::string& projectID, FakeJiraIssue issue) {
    std::unique_lock<std::mutex> guard = hold();
    return make(projects.at(std::stoll(projectID)), std::move(issue), otherUser).key;
}

void FakeJira::editIssue(const std::string& key, const std::function<void(FakeJiraIssue& issue)>& change) {
    std::unique_lock<std::mutex> guard = hold();
    FakeJiraIssue* edited = find(key);
    if (!edited) {
        throw std::out_of_range("There is no issue " + key);
    }
    change(*edited);
    edited->updatedAt = thousandths(now());
}

void FakeJira::removeIssue(const std::string& key) {
    std::unique_lock<std::mutex> guard = hold();
    std::erase_if(allIssues, [&](const FakeJiraIssue& issue) { return issue.key == key; });
}

void FakeJira::addComment(const std::string& key, const std::string& body) {
    editIssue(key, [&](FakeJiraIssue& issue) { comment(issue, body, otherUser); });
}

void FakeJira::editProject(const std::string& projectID, const std::function<void(FakeJiraProject& project)>& change) {
    std::unique_lock<std::mutex> guard = hold();
    change(projects.at(std::stoll(projectID)));
}

FakeJiraIssue FakeJira::issue(const std::string& key) {
    std::unique_lock<std::mutex> guard = hold();
    FakeJiraIssue* found = find(key);
    if (!found) {
        throw std::out_of_range("There is no issue " + key);
    }
    return *found;
}

std::vector<FakeJiraIssue> FakeJira::issues(const std::string& projectID) {
    std::unique_lock<std::mutex> guard = hold();
    std::vector<FakeJiraIssue> found;
    std::copy_if(allIssues.begin(), allIssues.end(), std::back_inserter(found),
                 [&](const FakeJiraIssue& issue) { return std::to_string(issue.projectID) == projectID; });
    return found;
}

void FakeJira::setToken(std::string accepted) {
    std::unique_lock<std::mutex> guard = hold();
    token = std::move(accepted);
}

void FakeJira::setHasBoards(bool has) {
    std::unique_lock<std::mutex> guard = hold();
    hasBoards = has;
}

}  // namespace marlet
