#include <algorithm>

#include "MarletBase/Date.h"
#include "TestSupport/FakeJira.h"

namespace marlet {
namespace {

const std::string viewer = "ada";
constexpr std::string_view gone = "Issue does not exist or you do not have permission to see it.";
constexpr std::string_view offScreen = "It is not on the appropriate screen, or unknown.";

std::optional<std::string> textIn(const boost::json::value& value) {
    return value.is_string() ? std::optional<std::string>(value.get_string().c_str()) : std::nullopt;
}

// The text under a key of an object; no value for anything else.
std::optional<std::string> textUnder(const boost::json::value& value, std::string_view key) {
    const boost::json::object* object = value.if_object();
    const boost::json::value* found = object && object->size() == 1 ? object->if_contains(key) : nullptr;
    return found ? textIn(*found) : std::nullopt;
}

bool isNullOrText(const boost::json::value& value) {
    return value.is_null() || value.is_string();
}

}  // namespace

void FakeJira::addIssueRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                             std::vector<FakeBodyKey> body, IssueAnswer answer) {
    add({std::move(method), "issue/*" + below, std::move(query), std::move(body),
         [this, answer = std::move(answer)](const FakeCall& call) {
             FakeJiraIssue* issue = find(call.captures.at(0));
             return issue ? answer(call, *issue) : refusal(404, std::string(gone));
         }});
}

void FakeJira::addIssueRoutes() {
    add({"POST", "issue", {}, {{"fields", FakeKind::object}}, [this](const FakeCall& call) {
             return createIssue(call);
         }});
    addIssueRoute("GET", "", {{"fields"}, {"expand", {"names"}}}, {}, [this](const FakeCall& call, auto& issue) {
        return json(shape(issue, call.item("fields").value_or("*all")));
    });
    addIssueRoute("PUT", "", {}, {{"fields", FakeKind::object}},
                  [this](const FakeCall& call, FakeJiraIssue& issue) { return editIssue(call, issue); });
    addIssueRoute("GET", "/editmeta", {}, {},
                  [this](const FakeCall&, FakeJiraIssue& issue) { return json(editMetaShape(issue)); });
    addIssueRoute("GET", "/transitions", {{"expand", {"transitions.fields"}}}, {},
                  [this](const FakeCall&, FakeJiraIssue& issue) {
                      boost::json::array list;
                      for (const FakeJiraTransition& transition : transitionsOf(issue)) {
                          list.push_back(shape(transition));
                      }
                      return json({{"expand", "transitions"}, {"transitions", std::move(list)}});
                  });
    addIssueRoute("POST", "/transitions", {}, {{"transition", FakeKind::object}, {"fields", FakeKind::object, false}},
                  [this](const FakeCall& call, FakeJiraIssue& issue) { return runTransition(call, issue); });
    addIssueRoute("GET", "/comment", {{"orderBy", {"created"}}, {"startAt"}, {"maxResults"}}, {},
                  [this](const FakeCall& call, FakeJiraIssue& issue) {
                      size_t start = std::stoul(call.item("startAt").value_or("0"));
                      size_t size = std::stoul(call.item("maxResults").value_or("50"));
                      boost::json::array page;
                      for (size_t index = start; index < std::min(start + size, issue.comments.size()); ++index) {
                          page.push_back(shape(issue.comments[index]));
                      }
                      return json({{"startAt", start},
                                   {"maxResults", size},
                                   {"total", issue.comments.size()},
                                   {"comments", std::move(page)}});
                  });
    addIssueRoute("POST", "/comment", {}, {{"body"}}, [this](const FakeCall& call, FakeJiraIssue& issue) {
        std::string text = call.text("body").value_or("");
        if (text.empty()) {
            return fieldRefusal("comment", "Comment body can not be empty!");
        }
        comment(issue, text, viewer);
        return json(shape(issue.comments.back()), 201);
    });
}

FakeAnswer FakeJira::createIssue(const FakeCall& call) {
    Fields fields = call.body.at("fields").get_object();
    auto idUnder = [&](std::string_view name) {
        const boost::json::value* found = fields.if_contains(name);
        std::optional<std::string> id = found ? textUnder(*found, "id") : std::nullopt;
        fields.erase(name);
        return id.value_or("");
    };
    std::string projectID = idUnder("project");
    std::string typeID = idUnder("issuetype");
    auto project = std::find_if(projects.begin(), projects.end(),
                                [&](const auto& entry) { return std::to_string(entry.first) == projectID; });
    if (project == projects.end()) {
        return fieldRefusal("project", "valid project is required");
    }
    const std::vector<FakeJiraType>& types = project->second.types;
    auto type = std::find_if(types.begin(), types.end(), [&](const auto& known) { return known.id == typeID; });
    if (type == types.end() || type->isSubTask()) {
        return fieldRefusal("issuetype", "The issue type selected is invalid.");
    }
    FakeJiraIssue draft{.summary = "", .type = type->name};
    draft.projectID = project->first;
    for (const auto& field : fields) {
        if (std::optional<FakeAnswer> wrong = setField(draft, field.key(), field.value())) {
            return *wrong;
        }
    }
    if (draft.summary.empty()) {
        return fieldRefusal("summary", "You must specify a summary of the issue.");
    }
    const FakeJiraIssue& made = make(project->second, std::move(draft), viewer);
    return json({{"id", std::to_string(made.id)},
                 {"key", made.key},
                 {"self", root() + "/rest/api/2/issue/" + std::to_string(made.id)}},
                201);
}

FakeAnswer FakeJira::editIssue(const FakeCall& call, FakeJiraIssue& issue) {
    FakeJiraIssue edited = issue;
    for (const auto& field : call.body.at("fields").get_object()) {
        if (std::optional<FakeAnswer> wrong = setField(edited, field.key(), field.value())) {
            return *wrong;
        }
    }
    edited.updatedAt = std::chrono::floor<std::chrono::milliseconds>(now());
    issue = std::move(edited);
    return {.status = 204};
}

std::optional<FakeAnswer> FakeJira::setField(FakeJiraIssue& issue, const std::string& name,
                                             const boost::json::value& value) {
    if (name == "summary") {
        issue.summary = textIn(value).value_or("");
        return issue.summary.empty() ? std::optional(fieldRefusal(name, "You must specify a summary of the issue."))
                                     : std::nullopt;
    }
    if (name == "description" && value.is_string()) {
        issue.description = *textIn(value);
        return std::nullopt;
    }
    if (name == "labels" && value.is_array()) {
        issue.labels.clear();
        for (const boost::json::value& label : value.get_array()) {
            std::string text = textIn(label).value_or(" ");
            if (text.empty() || text.find(' ') != std::string::npos) {
                return fieldRefusal(name, "The label '" + text + "' contains spaces which is invalid.");
            }
            issue.labels.push_back(text);
        }
        return std::nullopt;
    }
    if (name == "duedate" && isNullOrText(value)) {
        issue.dueDay = textIn(value);
        bool isDay = !issue.dueDay || parseLocalDay(*issue.dueDay);
        return isDay ? std::nullopt : std::optional(violation("duedate is no day: " + *issue.dueDay, 400));
    }
    bool isParent = isCloud() ? name == "parent" : hasBoards && name == epicLinkField;
    if (isParent) {
        return setParent(issue, value, name);
    }
    bool isPoints = hasBoards && name == pointsField && projectOf(issue).hasPointsOnScreen;
    if (isPoints && (value.is_null() || value.is_number())) {
        issue.points = value.is_null() ? std::nullopt : std::optional(value.to_number<double>());
        return std::nullopt;
    }
    std::string problem = "Field '" + name + "' cannot be set. " + std::string(offScreen);
    violation(problem, 400);
    return fieldRefusal(name, problem);
}

std::optional<FakeAnswer> FakeJira::setParent(FakeJiraIssue& issue, const boost::json::value& value,
                                              const std::string& field) {
    if (value.is_null()) {
        issue.parent.reset();
        return std::nullopt;
    }
    std::optional<std::string> key = isCloud() ? textUnder(value, "key") : textIn(value);
    if (!key) {
        violation(field + " is of a wrong kind", 400);
        return fieldRefusal(field, "data was not an object");
    }
    FakeJiraIssue* parent = find(*key);
    if (!parent) {
        return fieldRefusal(field, "Could not find issue by id or key.");
    }
    bool isAbove = typeOf(*parent).level == typeOf(issue).level + 1;
    for (FakeJiraIssue* above = parent; isAbove && above; above = above->parent ? find(*above->parent) : nullptr) {
        isAbove = above->key != issue.key;
    }
    if (!isAbove) {
        return fieldRefusal(field, "Given parent issue does not belong to appropriate hierarchy.");
    }
    issue.parent = key;
    return std::nullopt;
}

std::vector<FakeJiraTransition> FakeJira::transitionsOf(FakeJiraIssue& issue) {
    std::vector<FakeJiraTransition> open;
    for (const FakeJiraTransition& transition : projectOf(issue).workflow) {
        if (transition.from.empty() || transition.from == issue.status) {
            open.push_back(transition);
        }
    }
    return open;
}

FakeAnswer FakeJira::runTransition(const FakeCall& call, FakeJiraIssue& issue) {
    std::string id = textUnder(call.body.at("transition"), "id").value_or("");
    std::vector<FakeJiraTransition> open = transitionsOf(issue);
    auto chosen = std::find_if(open.begin(), open.end(), [&](const auto& known) { return known.id == id; });
    if (chosen == open.end()) {
        return refusal(400,
                       "It seems that you have tried to perform a workflow operation that is not valid for the "
                       "current state of this issue.");
    }
    const boost::json::value* fields = call.body.if_contains("fields");
    bool isScreen = !chosen->resolutions.empty();
    if (!isScreen && fields) {
        violation("fields for a transition without a screen", 400);
        return fieldRefusal("resolution", "Field 'resolution' cannot be set. " + std::string(offScreen));
    }
    std::optional<std::string> resolution;
    if (isScreen) {
        const boost::json::value* given = fields ? fields->get_object().if_contains("resolution") : nullptr;
        resolution = given ? textUnder(*given, "id") : std::nullopt;
        bool isKnown = std::any_of(chosen->resolutions.begin(), chosen->resolutions.end(),
                                   [&](const FakeJiraResolution& known) { return known.id == resolution; });
        if (!isKnown) {
            return fieldRefusal("resolution", "Resolution is required.");
        }
    }
    issue.status = chosen->to;
    issue.resolution = resolution;
    issue.updatedAt = std::chrono::floor<std::chrono::milliseconds>(now());
    return {.status = 204};
}

}  // namespace marlet
