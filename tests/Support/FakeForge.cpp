#include "TestSupport/FakeForge.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/serialize.hpp>

namespace marlet {
namespace {

constexpr std::string_view gitHubMediaType = "application/vnd.github+json";
constexpr std::string_view gitHubVersion = "2022-11-28";
constexpr std::string_view fineGrainedToken = "github_pat_";
constexpr size_t largestNotificationPage = 50;

}  // namespace

FakeForge::FakeForge(FakeForgeKind kind, TimeSource now, std::string accepted)
    : FakeService(std::move(now)), state(kind == FakeForgeKind::github), token(std::move(accepted)) {
    addAccountRoutes();
    addIssueRoutes();
    if (isGitHub()) {
        addBoardRoutes();
    }
}

std::string FakeForge::apiRoot() const {
    if (!isGitHub()) {
        return root() + "/api/v1";
    }
    return root() == "https://github.com" ? "https://api.github.com" : root() + "/api/v3";
}

std::string FakeForge::graphQLURL() const {
    return root() == "https://github.com" ? "https://api.github.com/graphql" : root() + "/api/graphql";
}

std::optional<std::string> FakeForge::target(const std::string& url) const {
    if (isGitHub() && url == graphQLURL()) {
        return "graphql";
    }
    std::string beginning = apiRoot() + "/";
    return url.starts_with(beginning) ? std::optional(url.substr(beginning.size())) : std::nullopt;
}

std::optional<FakeAnswer> FakeForge::refuse(const FakeRequest& request) {
    if (isGitHub() && request.header("user-agent").empty()) {
        return violation("Please make sure your request has a User-Agent header", 403);
    }
    std::string credentials = request.header("authorization");
    std::string scheme = isGitHub() ? "Bearer " : "token ";
    if (!credentials.starts_with(scheme)) {
        return violation("no credentials of the form \"" + scheme + "…\"", 401);
    }
    if (credentials != scheme + token) {
        return refusal(401, isGitHub() ? "Bad credentials" : "user does not exist [uid: 0, name: ]");
    }
    std::string_view wanted = isGitHub() ? gitHubMediaType : "application/json";
    if (request.header("accept") != wanted) {
        return violation("Accept is \"" + request.header("accept") + "\"");
    }
    if (isGitHub() && request.header("x-github-api-version") != gitHubVersion) {
        return violation("X-GitHub-Api-Version is \"" + request.header("x-github-api-version") + "\"");
    }
    if (isGitHub() && usedThisHour >= hourlyLimit && now() < hourEnds) {
        return refusal(403, "API rate limit exceeded for user ID 1.");
    }
    return std::nullopt;
}

FakeAnswer FakeForge::refusal(int status, const std::string& message) const {
    boost::json::object body{{"message", message}};
    if (isGitHub()) {
        body["documentation_url"] = "https://docs.example.com/rest";
        body["status"] = std::to_string(status);
    } else {
        body["url"] = root() + "/api/swagger";
    }
    return json(body, status);
}

void FakeForge::addStandingHeaders(FakeAnswer& answer) {
    if (!isGitHub()) {
        answer.headers.emplace_back("Cache-Control", "max-age=0, private, must-revalidate, no-transform");
        return;
    }
    if (now() >= hourEnds) {
        hourEnds = now() + 3600;
        usedThisHour = 0;
    }
    usedThisHour += answer.status == 304 || answer.status == 401 ? 0 : 1;
    int remaining = std::max(hourlyLimit - usedThisHour, 0);
    auto addUnlessGiven = [&](const std::string& name, const std::string& value) {
        if (answer.header(name).empty()) {
            answer.headers.emplace_back(name, value);
        }
    };
    addUnlessGiven("X-RateLimit-Limit", std::to_string(hourlyLimit));
    addUnlessGiven("X-RateLimit-Remaining", std::to_string(remaining));
    addUnlessGiven("X-RateLimit-Used", std::to_string(usedThisHour));
    addUnlessGiven("X-RateLimit-Reset", fmt::format("{:.0f}", secondsSince1970(hourEnds)));
    addUnlessGiven("X-RateLimit-Resource", "core");
}

FakePaging FakeForge::paging() const {
    if (isGitHub()) {
        return {};
    }
    return {.sizeKey = "limit", .initialSize = 30, .maximalSize = 50, .tellsTotal = true, .linkSeparator = ","};
}

void FakeForge::addAccountRoutes() {
    std::vector<FakeQueryKey> repositoryQuery{{paging().sizeKey}, {"page"}};
    if (isGitHub()) {
        repositoryQuery.push_back({"sort", {"created", "updated", "pushed", "full_name"}});
    }
    add({"GET", "user/repos", repositoryQuery, {}, [this](const FakeCall& call) {
             std::vector<std::string> names;
             std::copy_if(state.repositoryOrder.begin(), state.repositoryOrder.end(), std::back_inserter(names),
                          [&](const std::string& name) { return state.repository(name).isListedAsOwn; });
             FakeAnswer answer = listRepositories(call, names);
             if (state.hiddenOrganizations > 0) {
                 std::string ids = "21";
                 for (int number = 1; number < state.hiddenOrganizations; ++number) {
                     ids += fmt::format(",{}", 21 + number);
                 }
                 answer.headers.emplace_back("X-GitHub-SSO", "partial-results; organizations=" + ids);
             }
             return answer;
         }});
    add({"GET",
         "notifications",
         {{"all", {"true", "false"}}, {"since"}, {paging().sizeKey}, {"page"}},
         {},
         [this](const FakeCall& call) { return listNotifications(call); }});
    if (!isGitHub()) {
        return;
    }
    add({"GET", "user/orgs", {{"per_page"}, {"page"}}, {}, [this](const FakeCall& call) {
             return paged(call, paging(), state.organizations.size(),
                          [&](size_t index) { return shapes().organization(state.organizations[index]); });
         }});
    repositoryQuery.push_back({"type", {"all", "public", "private", "forks", "sources", "member"}});
    add({"GET", "orgs/*/repos", repositoryQuery, {}, [this](const FakeCall& call) {
             const std::string& login = call.captures[0];
             if (std::find(state.organizations.begin(), state.organizations.end(), login) ==
                 state.organizations.end()) {
                 return refusal(404, "Not Found");
             }
             std::vector<std::string> names;
             std::copy_if(state.repositoryOrder.begin(), state.repositoryOrder.end(), std::back_inserter(names),
                          [&](const std::string& name) { return name.starts_with(login + "/"); });
             return listRepositories(call, names);
         }});
}

FakeAnswer FakeForge::listRepositories(const FakeCall& call, const std::vector<std::string>& names) {
    std::vector<const FakeRepository*> listed;
    for (const std::string& name : names) {
        listed.push_back(&state.repository(name));
    }
    if (call.item("sort") == "updated") {
        std::stable_sort(listed.begin(), listed.end(), [](const FakeRepository* left, const FakeRepository* right) {
            return left->updatedAt > right->updatedAt;
        });
    }
    return paged(call, paging(), listed.size(), [&](size_t index) { return shapes().repository(*listed[index]); });
}

FakeAnswer FakeForge::listNotifications(const FakeCall& call) {
    if (token.starts_with(fineGrainedToken)) {
        return refusal(403, "Resource not accessible by personal access token");
    }
    std::optional<Date> since = parseISO8601(call.item("since").value_or(""));
    if (call.item("since") && !since) {
        return violation("since is no date: " + *call.item("since"));
    }
    std::vector<const FakeNotification*> found;
    for (const FakeNotification& notification : state.notifications) {
        if (!since || notification.updatedAt >= *since) {
            found.push_back(&notification);
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const FakeNotification* left, const FakeNotification* right) {
        return left->updatedAt > right->updatedAt;
    });
    FakePaging pages = paging();
    pages.maximalSize = largestNotificationPage;
    pages.linksPages = isGitHub();
    FakeAnswer answer =
        paged(call, pages, found.size(), [&](size_t index) { return shapes().notification(*found[index]); });
    if (isGitHub()) {
        answer.headers.emplace_back("X-Poll-Interval", "60");
    }
    return answer;
}

void FakeForge::addRepository(FakeRepository repository) {
    auto guard = hold();
    state.addRepository(std::move(repository), now());
}

void FakeForge::addOrganization(const std::string& login) {
    auto guard = hold();
    state.organizations.push_back(login);
}

void FakeForge::addLabel(const std::string& repository, const std::string& name, const std::string& color) {
    auto guard = hold();
    state.label(state.repository(repository), name, color);
}

int64_t FakeForge::addIssue(const std::string& repository, FakeIssue issue) {
    auto guard = hold();
    return state.addIssue(repository, std::move(issue), FakeActor::other, now()).number;
}

void FakeForge::editIssue(const std::string& repository, int64_t number,
                          const std::function<void(FakeIssue& issue)>& change) {
    auto guard = hold();
    state.editIssue(repository, number, change, FakeActor::other, now());
}

void FakeForge::addComment(const std::string& repository, int64_t number, const std::string& body) {
    auto guard = hold();
    state.addComment(repository, number, body, FakeActor::other, now());
}

void FakeForge::removeIssue(const std::string& repository, int64_t number) {
    auto guard = hold();
    state.removeIssue(repository, number);
}

void FakeForge::notify(const std::string& repository, const std::string& subjectType, const std::string& title) {
    auto guard = hold();
    state.notify(repository, subjectType, title, now());
}

FakeIssue FakeForge::issue(const std::string& repository, int64_t number) {
    auto guard = hold();
    return state.issue(repository, number);
}

std::vector<FakeIssue> FakeForge::issues(const std::string& repository) {
    auto guard = hold();
    std::vector<FakeIssue> result;
    for (const auto& [number, issue] : state.repository(repository).issues) {
        result.push_back(issue);
    }
    return result;
}

void FakeForge::with(const std::function<void(FakeForgeState& state)>& body) {
    auto guard = hold();
    body(state);
}

void FakeForge::setToken(std::string accepted) {
    auto guard = hold();
    token = std::move(accepted);
}

void FakeForge::setPagesByNumber(bool byNumber) {
    auto guard = hold();
    pagesByNumber = byNumber;
}

void FakeForge::setHourlyLimit(int requests) {
    auto guard = hold();
    hourlyLimit = requests;
}

}  // namespace marlet
