#include <fmt/format.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <chrono>

#include "TestSupport/FakeForge.h"

namespace marlet {
namespace {

constexpr std::string_view notFound = "Not Found";

// An edit keeps the day alone, as the last second of it in the zone of the date that was sent.
std::optional<Date> endOfDay(const std::string& text) {
    std::optional<Date> midnight =
        parseISO8601(text.substr(0, 10) + "T00:00:00" + text.substr(text.find_first_of("Z+", 10)));
    return midnight ? std::optional(*midnight + 86399) : std::nullopt;
}

template <class T>
std::vector<T> elements(const boost::json::value& list) {
    std::vector<T> result;
    for (const boost::json::value& element : list.as_array()) {
        result.push_back(boost::json::value_to<T>(element));
    }
    return result;
}

}  // namespace

void FakeForge::addIssueRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                              std::vector<FakeBodyKey> body,
                              std::function<FakeAnswer(const FakeCall& call, FakeRepository& repository)> answer) {
    auto find = [this, answer](const FakeCall& call, FakeRepository* repository) {
        if (!repository) {
            return refusal(404, isGitHub() ? std::string(notFound) : "The target couldn't be found.");
        }
        if (!repository->hasIssues && isGitHub()) {
            return refusal(410, "Issues has been disabled in this repository.");
        }
        return answer(call, *repository);
    };
    add({method, "repos/*/*" + below, query, body, [this, find](const FakeCall& call) {
             auto found = state.repositories.find(call.repository());
             return find(call, found == state.repositories.end() ? nullptr : &found->second);
         }});
    // Where GitHub's links to further pages lead.
    if (isGitHub() && method == "GET") {
        add({std::move(method), "repositories/*" + below, std::move(query), std::move(body),
             [this, find](const FakeCall& call) {
                 FakeCall named = call;
                 FakeRepository* repository = state.repositoryByID(call.number(0));
                 named.captures[0] = repository ? repository->owner() : "";
                 named.captures.insert(named.captures.begin() + 1, repository ? repository->name() : "");
                 return find(named, repository);
             }});
    }
}

void FakeForge::addIssueRoutes() {
    std::string size = paging().sizeKey;
    std::vector<FakeQueryKey> listQuery{{"state", {"open", "closed", "all"}}, {"since"}, {size}, {"page"}};
    std::vector<FakeBodyKey> draft{{"title"}, {"body", FakeKind::string, false}};
    std::vector<FakeBodyKey> edit{
        {"title", FakeKind::string, false}, {"body", FakeKind::string, false}, {"state", FakeKind::string, false}};
    if (isGitHub()) {
        listQuery.push_back({"sort", {"created", "updated", "comments"}});
        listQuery.push_back({"direction", {"asc", "desc"}});
        listQuery.push_back({"after"});
        draft.push_back({"labels", FakeKind::strings, false});
        edit.push_back({"labels", FakeKind::strings, false});
    } else {
        draft.push_back({"labels", FakeKind::numbers, false});
        draft.push_back({"due_date", FakeKind::string, false});
        edit.push_back({"due_date", FakeKind::string, false});
        edit.push_back({"unset_due_date", FakeKind::boolean, false});
    }
    addIssueRoute("GET", "/issues", listQuery, {},
                  [this](const FakeCall& call, FakeRepository& repository) { return listIssues(call, repository); });
    addIssueRoute("POST", "/issues", {}, draft,
                  [this](const FakeCall& call, FakeRepository& repository) { return createIssue(call, repository); });
    auto onIssue = [this](FakeAnswer (FakeForge::*answer)(const FakeCall&, FakeRepository&)) {
        return [this, answer](const FakeCall& call, FakeRepository& repository) {
            return repository.issues.contains(call.number(2)) ? (this->*answer)(call, repository)
                                                              : refusal(404, std::string(notFound));
        };
    };
    addIssueRoute("GET", "/issues/*", {}, {}, onIssue(&FakeForge::readIssue));
    addIssueRoute("PATCH", "/issues/*", {}, edit, onIssue(&FakeForge::changeIssue));
    addIssueRoute("GET", "/issues/*/comments", {{size}, {"page"}}, {}, onIssue(&FakeForge::listComments));
    addIssueRoute("POST", "/issues/*/comments", {}, {{"body"}}, onIssue(&FakeForge::createComment));
    addIssueRoute("GET", "/labels", {{size}, {"page"}}, {},
                  [this](const FakeCall& call, FakeRepository& repository) { return listLabels(call, repository); });
    if (isGitHub()) {
        addIssueRoute("POST", "/issues/*/sub_issues", {},
                      {{"sub_issue_id", FakeKind::number}, {"replace_parent", FakeKind::boolean, false}},
                      onIssue(&FakeForge::addSubIssue));
        addIssueRoute("DELETE", "/issues/*/sub_issue", {}, {{"sub_issue_id", FakeKind::number}},
                      onIssue(&FakeForge::removeSubIssue));
    } else {
        addIssueRoute("PUT", "/issues/*/labels", {}, {{"labels", FakeKind::numbers}},
                      onIssue(&FakeForge::replaceLabels));
    }
}

FakeAnswer FakeForge::listIssues(const FakeCall& call, FakeRepository& repository) {
    std::optional<Date> since = parseISO8601(call.item("since").value_or(""));
    if (call.item("since") && !since) {
        return violation("since is no date: " + *call.item("since"));
    }
    std::string wanted = call.item("state").value_or("open");
    std::vector<const FakeIssue*> found;
    for (const auto& [number, issue] : repository.issues) {
        bool fits = wanted == "all" || issue.isClosed == (wanted == "closed");
        if (fits && (!since || issue.updatedAt >= *since)) {
            found.push_back(&issue);
        }
    }
    bool byUpdate = call.item("sort") == "updated";
    bool ascends = call.item("direction") == "asc";
    std::sort(found.begin(), found.end(), [&](const FakeIssue* left, const FakeIssue* right) {
        auto key = [&](const FakeIssue* issue) {
            return std::pair(byUpdate ? issue->updatedAt : issue->createdAt, issue->number);
        };
        return ascends ? key(left) < key(right) : key(right) < key(left);
    });
    FakePaging pages = paging();
    pages.usesCursor = isGitHub() && !pagesByNumber;
    pages.linkURL = isGitHub() ? fmt::format("{}/repositories/{}/issues", apiRoot(), repository.id) : "";
    return paged(call, pages, found.size(), [&](size_t index) { return shapes().issue(repository, *found[index]); });
}

FakeAnswer FakeForge::readIssue(const FakeCall& call, FakeRepository& repository) {
    return json(shapes().issue(repository, repository.issues.at(call.number(2))));
}

// GitHub makes labels that aren't there. Forgejo passes over ids that aren't there.
std::vector<std::string> FakeForge::labelNames(const FakeCall& call, FakeRepository& repository) {
    const boost::json::value& given = call.body.at("labels");
    if (isGitHub()) {
        return elements<std::string>(given);
    }
    std::vector<std::string> names;
    for (int64_t id : elements<int64_t>(given)) {
        auto found = std::find_if(repository.labels.begin(), repository.labels.end(),
                                  [&](const FakeLabel& label) { return label.id == id; });
        if (found != repository.labels.end()) {
            names.push_back(found->name);
        }
    }
    return names;
}

FakeAnswer FakeForge::listLabels(const FakeCall& call, FakeRepository& repository) {
    std::vector<FakeLabel> own;
    std::copy_if(repository.labels.begin(), repository.labels.end(), std::back_inserter(own),
                 [](const FakeLabel& label) { return !label.isOrganizations; });
    return paged(call, paging(), own.size(), [&](size_t index) { return shapes().label(repository, own[index]); });
}

FakeAnswer FakeForge::createIssue(const FakeCall& call, FakeRepository& repository) {
    FakeIssue issue{.title = call.text("title").value_or(""), .body = call.text("body").value_or("")};
    if (issue.title.empty()) {
        return refusal(422, isGitHub() ? "Validation Failed" : "[Title]: Required");
    }
    if (call.body.contains("labels")) {
        issue.labels = labelNames(call, repository);
    }
    if (std::optional<std::string> due = call.text("due_date")) {
        issue.dueDate = parseISO8601(*due);
        if (!issue.dueDate) {
            return violation("due_date is no date: " + *due);
        }
    }
    const FakeIssue& made = state.addIssue(repository.fullName, std::move(issue), FakeActor::client, now());
    return json(shapes().issue(repository, made), 201);
}

FakeAnswer FakeForge::changeIssue(const FakeCall& call, FakeRepository& repository) {
    std::optional<std::string> title = call.text("title");
    std::optional<std::string> wanted = call.text("state");
    std::optional<std::string> due = call.text("due_date");
    const boost::json::value* unset = call.body.if_contains("unset_due_date");
    if (title && title->empty()) {
        return refusal(422, isGitHub() ? "Validation Failed" : "[Title]: Required");
    }
    if (wanted && *wanted != "open" && *wanted != "closed") {
        return violation("state is " + *wanted);
    }
    if (due && (unset || !endOfDay(*due))) {
        return violation(unset ? "due_date is set and unset" : "due_date is no date: " + *due);
    }
    auto change = [&](FakeIssue& issue) {
        issue.title = title.value_or(issue.title);
        issue.body = call.text("body").value_or(issue.body);
        issue.isClosed = wanted ? *wanted == "closed" : issue.isClosed;
        if (call.body.contains("labels")) {
            issue.labels = labelNames(call, repository);
        }
        if (due) {
            issue.dueDate = endOfDay(*due);
        } else if (unset && unset->as_bool()) {
            issue.dueDate.reset();
        }
    };
    const FakeIssue& edited = state.editIssue(repository.fullName, call.number(2), change, FakeActor::client, now());
    return json(shapes().issue(repository, edited), isGitHub() ? 200 : 201);
}

FakeAnswer FakeForge::replaceLabels(const FakeCall& call, FakeRepository& repository) {
    auto change = [&](FakeIssue& issue) { issue.labels = labelNames(call, repository); };
    const FakeIssue& edited = state.editIssue(repository.fullName, call.number(2), change, FakeActor::client, now());
    return json(shapes().issue(repository, edited).at("labels"));
}

// Forgejo's comments never come in pages.
FakeAnswer FakeForge::listComments(const FakeCall& call, FakeRepository& repository) {
    const FakeIssue& issue = repository.issues.at(call.number(2));
    FakePaging pages = paging();
    if (!isGitHub()) {
        pages.sizeKey.clear();
        pages.initialSize = pages.maximalSize = std::max<size_t>(issue.comments.size(), 1);
    }
    return paged(call, pages, issue.comments.size(),
                 [&](size_t index) { return shapes().comment(repository, issue, issue.comments[index]); });
}

FakeAnswer FakeForge::createComment(const FakeCall& call, FakeRepository& repository) {
    std::string text = call.text("body").value_or("");
    if (text.empty()) {
        return refusal(422, isGitHub() ? "Validation Failed" : "[Body]: Required");
    }
    int64_t number = call.number(2);
    const FakeComment& made = state.addComment(repository.fullName, number, text, FakeActor::client, now());
    return json(shapes().comment(repository, repository.issues.at(number), made), 201);
}

FakeAnswer FakeForge::addSubIssue(const FakeCall& call, FakeRepository& repository) {
    std::optional<FakeIssuePlace> place = state.find(call.body.at("sub_issue_id").as_int64());
    FakeIssuePlace parent{repository.fullName, call.number(2)};
    if (!place) {
        return refusal(404, std::string(notFound));
    }
    const FakeIssue& child = state.issue(place->repository, place->number);
    const boost::json::value* replaces = call.body.if_contains("replace_parent");
    if (child.isPullRequest || repository.issues.at(parent.number).isPullRequest) {
        return refusal(422, "A pull request can't be a sub-issue or have one.");
    }
    if (child.parent && !(replaces && replaces->as_bool())) {
        return refusal(422,
                       "An error occurred while adding the sub-issue to the parent issue. Sub issue may only "
                       "have one parent");
    }
    for (std::optional<FakeIssuePlace> above = parent; above;
         above = state.issue(above->repository, above->number).parent) {
        if (above == place) {
            return refusal(422, "Issue can't be its own ancestor.");
        }
    }
    auto change = [&](FakeIssue& issue) { issue.parent = parent; };
    state.editIssue(place->repository, place->number, change, FakeActor::client, now());
    return json(shapes().issue(repository, repository.issues.at(parent.number)), 201);
}

FakeAnswer FakeForge::removeSubIssue(const FakeCall& call, FakeRepository& repository) {
    std::optional<FakeIssuePlace> place = state.find(call.body.at("sub_issue_id").as_int64());
    FakeIssuePlace parent{repository.fullName, call.number(2)};
    if (!place || state.issue(place->repository, place->number).parent != parent) {
        return refusal(404, std::string(notFound));
    }
    auto change = [&](FakeIssue& issue) { issue.parent.reset(); };
    state.editIssue(place->repository, place->number, change, FakeActor::client, now());
    return json(shapes().issue(repository, repository.issues.at(parent.number)));
}

}  // namespace marlet
