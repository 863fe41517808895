// What a day without changes costs an account of fifty projects, against polling each of them each delta interval.
#include <fmt/format.h>

#include <iostream>

#include "SyncScenario.h"

namespace marlet {
namespace {

constexpr double day = 86400;
constexpr int projectCount = 50;

struct DayCase {
    std::string name;
    Capabilities capabilities;
    bool isRelaxed = false;
    double bound = 0;  // of what polling costs

    friend void PrintTo(const DayCase& tested, std::ostream* stream) { *stream << tested.name; }
};

class QuietDayTest : public testing::TestWithParam<DayCase> {};

INSTANTIATE_TEST_SUITE_P(Services, QuietDayTest,
                         testing::Values(DayCase{"hints", {.counting = true, .hinting = true}, false, 0.15},
                                         DayCase{"hintsRelaxed", {.counting = true, .hinting = true}, true, 0.04},
                                         DayCase{"probes", {true, true, true}, false, 0.03},
                                         DayCase{"probesRelaxed", {true, true, true}, true, 0.01}),
                         [](const auto& tested) { return tested.param.name; });

// Every interval is a whole number of these ticks, so the requests are those of shorter ones at half the work.
SyncPolicy withAMinutesTicks() {
    SyncPolicy policy;
    policy.tickInterval = std::chrono::duration<double>(60);
    return policy;
}

TEST_P(QuietDayTest, costsASmallShareOfPolling) {
    SyncSetup setup(withAMinutesTicks());
    std::vector<std::string> projectIDs;
    for (int number = 0; number < projectCount; ++number) {
        projectIDs.push_back(std::to_string(number));
    }
    RemoteService& service = setup.addAccount("Home", GetParam().capabilities, projectIDs);
    for (const std::string& projectID : projectIDs) {
        service.add(projectID, {.id = "1"});
    }
    setup.run(setup.engine->setRelaxed(GetParam().isRelaxed));
    setup.sync(service);
    setup.runFor(day / 4);  // finds out how quiet it is
    service.takeCalls();

    setup.runFor(day);

    double polling = projectCount * day / setup.policy.deltaInterval;
    size_t requests = service.backend->calls.size();
    size_t full = 0;
    for (const std::string& call : service.backend->calls) {
        full += call.ends_with(" full") ? 1 : 0;
    }
    std::cout << fmt::format(
        "{}: {} requests, {:.2f} % of polling: {} delta, {} full, {} counts, {} hints, {} probes, {} lists\n",
        GetParam().name, requests, 100 * static_cast<double>(requests) / polling,
        service.countCalls("fetchTasks") - full, full, service.countCalls("taskCount"),
        service.countCalls("notifiedTaskUpdates"), service.countCalls("latestTaskUpdates"),
        service.countCalls("fetchProjects"));
    EXPECT_LT(static_cast<double>(requests), GetParam().bound * polling);
    EXPECT_LE(service.countCalls("fetchProjects"), 1u);
}

}  // namespace
}  // namespace marlet
