// What a day without changes costs an account of fifty projects, request by request and byte by byte, against
// polling the list of each of them each delta interval.
#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "SyncedForge.h"
#include "SyncedGitLab.h"
#include "SyncedJira.h"
#include "SyncedVikunja.h"

namespace marlet {
namespace {

constexpr double day = 86400;
constexpr int hoursOfADay = 24;
constexpr int projectCount = 50;
constexpr int tasksPerProject = 10;

struct DayCase {
    std::string name;
    std::function<std::unique_ptr<SyncedAccount>(SyncPolicy policy)> make;
    bool isRelaxed = false;
    double bound = 0;  // of the requests that polling takes
    bool offersETags = true;
    bool givesHints = true;
    bool hintsSinceADate = true;  // each time another request, which is never answered by 304
    double lists = 1;             // that polling reads of each project

    friend void PrintTo(const DayCase& tested, std::ostream* stream) { *stream << tested.name; }
};

class ServiceQuietDayTest : public testing::TestWithParam<DayCase> {};

auto forge(FakeForgeKind kind, const std::string& token) {
    return [=](SyncPolicy policy) { return std::make_unique<SyncedForge>(kind, token, policy); };
}
const auto gitHub = forge(FakeForgeKind::github, "ghp_secret");
const auto gitHubWithoutHints = forge(FakeForgeKind::github, "github_pat_secret");
const auto forgejo = forge(FakeForgeKind::forgejo, "secret");
const auto gitLab = [](SyncPolicy policy) { return std::make_unique<SyncedGitLab>(policy); };
const auto vikunja = [](SyncPolicy policy) { return std::make_unique<SyncedVikunja>(policy); };

auto jira(FakeJiraKind kind) {
    return [=](SyncPolicy policy) { return std::make_unique<SyncedJira>(kind, policy); };
}
const auto jiraCloud = jira(FakeJiraKind::cloud);
const auto jiraServer = jira(FakeJiraKind::server);

const DayCase days[] = {{"gitHubWithHints", gitHub, false, 0.15},
                        {"gitHubWithHintsRelaxed", gitHub, true, 0.04},
                        {"gitHubWithoutHints", gitHubWithoutHints, false, 0.15, true, false},
                        {"gitHubWithoutHintsRelaxed", gitHubWithoutHints, true, 0.04, true, false},
                        {"forgejo", forgejo, false, 0.15},
                        {"forgejoRelaxed", forgejo, true, 0.04},
                        {"forgejoWithoutETags", forgejo, false, 0.15, false},
                        {"gitLab", gitLab, false, 0.15, true, true, false, 2},
                        {"gitLabRelaxed", gitLab, true, 0.04, true, true, false, 2},
                        {"vikunja", vikunja, false, 0.03, true, true, false},
                        {"vikunjaRelaxed", vikunja, true, 0.01, true, true, false},
                        {"vikunjaWithoutETags", vikunja, false, 0.03, false, true, false},
                        {"jiraCloud", jiraCloud, false, 0.15, false},
                        {"jiraCloudRelaxed", jiraCloud, true, 0.04, false},
                        {"jiraServer", jiraServer, false, 0.15, false}};

INSTANTIATE_TEST_SUITE_P(Services, ServiceQuietDayTest, testing::ValuesIn(days),
                         [](const auto& tested) { return tested.param.name; });

struct DayReport {
    std::map<std::string, size_t> kinds;
    size_t requests = 0;
    size_t unchanged = 0;         // answered 304
    size_t changedElsewhere = 0;  // not 304, and no hint
    size_t bytes = 0;
    std::vector<size_t> perHour = std::vector<size_t>(hoursOfADay, 0);
};

std::string kindOf(const std::string& request) {
    auto contains = [&](std::string_view text) { return request.find(text) != std::string::npos; };
    if (contains("/notifications") || contains("/todos") || contains("currentUser")) {
        return "hint";
    }
    if (contains("/tasks?sort_by")) {
        return "probe";
    }
    if (contains("/issues_statistics") || contains("approximate-count") || contains("maxResults=0")) {
        return "count";
    }
    if (contains("/search?jql") || contains("/search/jql")) {
        return contains("AND%20updated") ? "delta" : "full";
    }
    if (!contains("/issues?") && !contains("/merge_requests?") && !contains("/tasks?")) {
        return "list";
    }
    if (contains("since=") || contains("updated_after=")) {
        return "delta";
    }
    return contains("_page=100") || contains("=50") ? "full" : "count";
}

DayReport report(const std::vector<FakeLogEntry>& log, Date start) {
    DayReport result;
    for (const FakeLogEntry& entry : log) {
        std::string kind = kindOf(entry.request);
        bool isUnchanged = entry.status == 304;
        ++result.kinds[kind];
        ++result.requests;
        result.bytes += entry.answered;
        result.unchanged += isUnchanged ? 1 : 0;
        result.changedElsewhere += isUnchanged || kind == "hint" ? 0 : 1;
        auto hour = static_cast<size_t>(secondsBetween(start, entry.at) / 3600);
        ++result.perHour[std::min<size_t>(hour, hoursOfADay - 1)];
    }
    return result;
}

void print(const DayCase& tested, DayReport found, double polling, double pollingBytes) {
    auto [least, most] = std::minmax_element(found.perHour.begin(), found.perHour.end());
    std::cout << fmt::format(
        "{}: {} requests, {:.1f} % of polling, {} to {} an hour: {} delta, {} full, {} counts, {} hints, {} probes, {} "
        "lists; "
        "{:.1f} % 304; {} bytes, {:.3f} % of polling\n",
        tested.name, found.requests, 100 * static_cast<double>(found.requests) / polling, *least, *most,
        found.kinds["delta"], found.kinds["full"], found.kinds["count"], found.kinds["hint"], found.kinds["probe"],
        found.kinds["list"], 100 * static_cast<double>(found.unchanged) / static_cast<double>(found.requests),
        found.bytes, 100 * static_cast<double>(found.bytes) / pollingBytes);
}

TEST_P(ServiceQuietDayTest, costsASmallShareOfPolling) {
    // Every interval is a whole number of these ticks, so the requests are those of shorter ones at half the work.
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(60);
    std::unique_ptr<SyncedAccount> owned = GetParam().make(policy);
    SyncedAccount& scene = *owned;
    scene.service().setOffersETags(GetParam().offersETags);
    for (int number = 0; number < projectCount; ++number) {
        scene.addProject(fmt::format("owner/project{}", number), tasksPerProject);
    }
    scene.clock->advance(day);  // nothing is as new as the account
    scene.subscribe();
    scene.run(scene.engine->setRelaxed(GetParam().isRelaxed));
    scene.sync();
    double pollingBytes = 0;
    for (const FakeLogEntry& entry : scene.service().log()) {
        bool isList = kindOf(entry.request) == "full";
        pollingBytes += isList ? static_cast<double>(entry.answered) * day / policy.deltaInterval : 0;
    }
    scene.runFor(day / 2);  // finds out how quiet it is, and asks everything once
    scene.service().clearLog();
    Date start = scene.clock->now();

    scene.runFor(day);

    double polling = GetParam().lists * projectCount * day / policy.deltaInterval;
    DayReport found = report(scene.service().log(), start);
    print(GetParam(), found, polling, pollingBytes);
    EXPECT_LT(static_cast<double>(found.requests), GetParam().bound * polling);
    EXPECT_NE(found.kinds["delta"] > 0, found.kinds["probe"] > 0) << "a probe answers for the deltas";
    EXPECT_EQ(found.kinds["hint"] > 0, GetParam().givesHints);
    EXPECT_LE(found.kinds["list"], 4u);
    // Hints ask since another date each time, and the answer says "nothing" in two bytes.
    EXPECT_EQ(found.changedElsewhere == 0, GetParam().offersETags);
    size_t answers = GetParam().hintsSinceADate ? found.kinds["hint"] : 0;
    EXPECT_EQ(found.unchanged, GetParam().offersETags ? found.requests - answers : 0);
    EXPECT_LT(static_cast<double>(found.bytes), (GetParam().offersETags ? 0.001 : 0.15) * pollingBytes);
    EXPECT_THAT(scene.service().violations(), testing::IsEmpty());
    EXPECT_EQ(scene.accountError(), "");
}

}  // namespace
}  // namespace marlet
