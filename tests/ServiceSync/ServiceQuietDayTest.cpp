// What a day without changes costs an account of fifty repositories, request by request and byte by byte, against
// polling the list of each of them each delta interval.
#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "SyncedForge.h"

namespace marlet {
namespace {

constexpr double day = 86400;
constexpr int hoursOfADay = 24;
constexpr int repositoryCount = 50;
constexpr int issuesPerRepository = 10;

struct DayCase {
    std::string name;
    FakeForgeKind kind = FakeForgeKind::github;
    std::string token;
    bool isRelaxed = false;
    double bound = 0;  // of the requests that polling takes
    bool offersETags = true;

    friend void PrintTo(const DayCase& tested, std::ostream* stream) { *stream << tested.name; }
};

class ForgeQuietDayTest : public testing::TestWithParam<DayCase> {};

const DayCase days[] = {{"gitHubWithHints", FakeForgeKind::github, "ghp_secret", false, 0.15},
                        {"gitHubWithHintsRelaxed", FakeForgeKind::github, "ghp_secret", true, 0.04},
                        {"gitHubWithoutHints", FakeForgeKind::github, "github_pat_secret", false, 0.15},
                        {"gitHubWithoutHintsRelaxed", FakeForgeKind::github, "github_pat_secret", true, 0.04},
                        {"forgejo", FakeForgeKind::forgejo, "secret", false, 0.15},
                        {"forgejoRelaxed", FakeForgeKind::forgejo, "secret", true, 0.04},
                        {"forgejoWithoutETags", FakeForgeKind::forgejo, "secret", false, 0.15, false}};

INSTANTIATE_TEST_SUITE_P(Services, ForgeQuietDayTest, testing::ValuesIn(days),
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
    if (contains("/notifications")) {
        return "hint";
    }
    if (!contains("/issues?")) {
        return "list";
    }
    if (contains("since=")) {
        return "delta";
    }
    return contains("_page=100") || contains("limit=50") ? "full" : "count";
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
        "{}: {} requests, {:.1f} % of polling, {} to {} an hour: {} delta, {} full, {} counts, {} hints, {} lists; "
        "{:.1f} % 304; {} bytes, {:.3f} % of polling\n",
        tested.name, found.requests, 100 * static_cast<double>(found.requests) / polling, *least, *most,
        found.kinds["delta"], found.kinds["full"], found.kinds["count"], found.kinds["hint"], found.kinds["list"],
        100 * static_cast<double>(found.unchanged) / static_cast<double>(found.requests), found.bytes,
        100 * static_cast<double>(found.bytes) / pollingBytes);
}

TEST_P(ForgeQuietDayTest, costsASmallShareOfPolling) {
    // Every interval is a whole number of these ticks, so the requests are those of shorter ones at half the work.
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(60);
    SyncedForge scene(GetParam().kind, GetParam().token, policy);
    scene.forge.setOffersETags(GetParam().offersETags);
    for (int number = 0; number < repositoryCount; ++number) {
        scene.addRepository(fmt::format("owner/repository{}", number), issuesPerRepository);
    }
    scene.subscribe();
    scene.run(scene.engine->setRelaxed(GetParam().isRelaxed));
    scene.sync();
    double pollingBytes = 0;
    for (const FakeLogEntry& entry : scene.forge.log()) {
        bool isList = entry.request.find("/issues?") != std::string::npos;
        pollingBytes += isList ? static_cast<double>(entry.answered) * day / policy.deltaInterval : 0;
    }
    scene.runFor(day / 2);  // finds out how quiet it is, and asks everything once
    scene.forge.clearLog();
    Date start = scene.clock->now();

    scene.runFor(day);

    double polling = repositoryCount * day / policy.deltaInterval;
    DayReport found = report(scene.forge.log(), start);
    print(GetParam(), found, polling, pollingBytes);
    EXPECT_LT(static_cast<double>(found.requests), GetParam().bound * polling);
    EXPECT_GT(found.kinds["delta"], 0u);
    EXPECT_EQ(found.kinds["hint"] > 0, GetParam().token != "github_pat_secret");
    EXPECT_LE(found.kinds["list"], 4u);
    // Hints ask since another date each time, and the answer says "nothing" in two bytes.
    EXPECT_EQ(found.changedElsewhere == 0, GetParam().offersETags);
    EXPECT_EQ(found.unchanged, GetParam().offersETags ? found.requests - found.kinds["hint"] : 0);
    EXPECT_LT(static_cast<double>(found.bytes), (GetParam().offersETags ? 0.001 : 0.15) * pollingBytes);
    EXPECT_THAT(scene.forge.violations(), testing::IsEmpty());
    EXPECT_EQ(scene.accountError(), "");
}

}  // namespace
}  // namespace marlet
