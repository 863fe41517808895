// What reading a page of a service's answer costs beside the JSON parser alone.
#include <fmt/format.h>

#include <boost/json/parse.hpp>

#include "ForgeBackend/ForgeTaskBackend.h"
#include "Measure.h"

namespace marlet {
namespace {

constexpr int issuesPerPage = 100;
constexpr const char* api = "https://api.example.com";

// A user as GitHub sends one in every place of an answer: twenty fields, of which a task takes three.
std::string userJSON(int number) {
    std::string login = fmt::format("gardener-{}", number);
    std::string links;
    for (const char* name : {"followers", "gists", "starred", "subscriptions", "organizations", "repos", "events",
                             "received_events", "following"}) {
        links += fmt::format(R"("{}_url":"{}/users/{}/{}",)", name, api, login, name);
    }
    return fmt::format(
        R"({{"login":"{0}","id":{1},"node_id":"U_kgDO{1}","avatar_url":"https://pictures.example.com/u/{1}?v=4",)"
        R"("gravatar_id":"","url":"{2}/users/{0}","html_url":"https://www.example.com/{0}",{3})"
        R"("type":"User","user_view_type":"public","site_admin":false}})",
        login, 580'000 + number, api, links);
}

std::string labelJSON(int number) {
    return fmt::format(
        R"({{"id":{0},"node_id":"LA_kwDO{0}","url":"{1}/repos/bench/garden/labels/bed-{0}","name":"bed {0}",)"
        R"("color":"d73a4a","default":false,"description":"What grows in bed {0}"}})",
        2'080'459 + number, api);
}

std::string milestoneJSON() {
    return fmt::format(
        R"({{"url":"{0}/repos/bench/garden/milestones/3","html_url":"https://www.example.com/bench/garden/milestone/3",)"
        R"("labels_url":"{0}/repos/bench/garden/milestones/3/labels","id":1002604,"node_id":"MI_kwDO3","number":3,)"
        R"("title":"Spring","description":"Before the last frost","creator":{1},"open_issues":4,"closed_issues":8,)"
        R"("state":"open","created_at":"2026-01-10T20:09:31Z","updated_at":"2026-03-03T18:58:10Z",)"
        R"("due_on":"2026-05-01T07:00:00Z","closed_at":null}})",
        api, userJSON(1));
}

std::string reactionsJSON(int number) {
    return fmt::format(
        R"({{"url":"{}/repos/bench/garden/issues/{}/reactions","total_count":1,"+1":1,"-1":0,"laugh":0,"hooray":0,)"
        R"("confused":0,"heart":0,"rocket":0,"eyes":0}})",
        api, number);
}

// What people write: a page of plain lines with the odd escape and letters beyond ASCII.
std::string bodyJSON(int number) {
    std::string text;
    for (int line = 0; line < 12; ++line) {
        text +=
            fmt::format(R"(- [ ] Bed {}: loosen the soil, \"sow\" early peas and cover with fleece — früh genug\r\n)",
                        number + line);
    }
    return text;
}

std::string issueJSON(int number) {
    std::string own = fmt::format("{}/repos/bench/garden/issues/{}", api, number);
    std::string assignees = userJSON(number) + (number % 3 == 0 ? "," + userJSON(number + 1) : "");
    return fmt::format(
        R"({{"url":"{0}","repository_url":"{1}/repos/bench/garden","labels_url":"{0}/labels{{/name}}",)"
        R"("comments_url":"{0}/comments","events_url":"{0}/events",)"
        R"("html_url":"https://www.example.com/bench/garden/issues/{2}","id":{3},"node_id":"I_kwDO{3}","number":{2},)"
        R"("title":"Prepare bed {2} for the early peas","user":{4},"labels":[{5},{6}],"state":"{7}","locked":false,)"
        R"("assignees":[{8}],"milestone":{9},"comments":{2},"created_at":"2026-03-01T10:00:00Z",)"
        R"("updated_at":"2026-03-14T09:26:53Z","closed_at":null,"assignee":{4},"author_association":"MEMBER",)"
        R"("type":{{"id":5,"node_id":"IT_kwDO5","name":"Task","description":"A piece of work","color":"yellow",)"
        R"("created_at":"2025-01-25T18:38:46Z","updated_at":"2025-02-26T08:01:14Z","is_enabled":true}},)"
        R"("active_lock_reason":null,"sub_issues_summary":{{"total":0,"completed":0,"percent_completed":0}},)"
        R"("issue_dependencies_summary":{{"blocked_by":0,"total_blocked_by":0,"blocking":0,"total_blocking":0}},)"
        R"("body":"{10}","closed_by":null,"reactions":{11},"timeline_url":"{0}/timeline",)"
        R"("performed_via_github_app":null,"state_reason":null,"pinned_comment":null,"issue_field_values":[]}})",
        own, api, number, 2'811'000'000 + number, userJSON(number), labelJSON(number), labelJSON(7),
        number % 4 == 0 ? "closed" : "open", assignees, milestoneJSON(), bodyJSON(number), reactionsJSON(number));
}

std::string pageJSON() {
    std::string page;
    for (int number = 1; number <= issuesPerPage; ++number) {
        page += (number > 1 ? "," : "[") + issueJSON(number);
    }
    return page + "]";
}

// One page for every request, with the tag that makes the client keep it.
class PageServer final : public HTTPTransport {
public:
    explicit PageServer(std::string ownPage) : page(std::move(ownPage)) {}

    Async<TransportAnswer> send(URLRequest) override { co_return TransportAnswer{200, {{"ETag", "W/\"1\""}}, page}; }

private:
    std::string page;
};

// One page of the first fetch of a repository: all fields that GitHub sends, 100 issues to a page.
void decodePageOfIssues(benchmark::State& state) {
    const std::string page = pageJSON();
    Account account{UUID::random(), BackendKind::github, "", URL::parse("https://github.com").value()};
    ForgeTaskBackend backend(account, "token", std::make_shared<PageServer>(page), 1000,
                             std::make_shared<SystemClock>());
    size_t taskCount = 0;
    auto own = [&] {
        return secondsFor([&] { taskCount = runToEnd(backend.fetchTasks("bench/garden", std::nullopt)).size(); });
    };
    auto parser = [&] { return secondsFor([&] { benchmark::DoNotOptimize(boost::json::parse(page)); }); };
    measureAgainst(state, own, parser, "ratioToDOM");
    if (taskCount != issuesPerPage) {
        state.SkipWithError("The page wasn't read whole.");
    }
    state.counters["bytes"] = static_cast<double>(page.size());
}
BENCHMARK(decodePageOfIssues)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

}  // namespace
}  // namespace marlet
