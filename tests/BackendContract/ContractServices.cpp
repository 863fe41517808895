// The services that keep the contract.
#include "ForgeUnderTest.h"
#include "GitLabUnderTest.h"
#include "JiraUnderTest.h"
#include "VikunjaUnderTest.h"

namespace marlet {

std::vector<ContractCase> contractServices() {
    auto gitHub = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<ForgeUnderTest>(FakeForgeKind::github, std::move(clock));
    };
    // As its enterprise servers page.
    auto gitHubByNumber = [](std::shared_ptr<VirtualClock> clock) {
        auto service = std::make_unique<ForgeUnderTest>(FakeForgeKind::github, std::move(clock));
        service->forge.setPagesByNumber(true);
        return service;
    };
    auto forgejo = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<ForgeUnderTest>(FakeForgeKind::forgejo, std::move(clock));
    };
    auto gitLab = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<GitLabUnderTest>(std::move(clock));
    };
    auto vikunja = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<VikunjaUnderTest>(std::move(clock));
    };
    auto jiraCloud = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<JiraUnderTest>(FakeJiraKind::cloud, std::move(clock));
    };
    auto jiraServer = [](std::shared_ptr<VirtualClock> clock) {
        return std::make_unique<JiraUnderTest>(FakeJiraKind::server, std::move(clock));
    };
    const ContractCase::Abilities jira{.dueDates = true,
                                       .parents = true,
                                       .counts = true,
                                       .hints = true,
                                       .milestones = true,
                                       .labelsOnCreation = true,
                                       .labelColors = false,
                                       .entityTags = false,
                                       .hintsOwnEdits = true};
    return {{"GitHub", {.parents = true, .hints = true, .milestones = true, .labelsOnCreation = true}, gitHub},
            {"GitHubPagedByNumber",
             {.parents = true, .counts = true, .hints = true, .milestones = true, .labelsOnCreation = true},
             gitHubByNumber},
            {"Forgejo",
             {.dueDates = true,
              .knownLabelsOnly = true,
              .counts = true,
              .hints = true,
              .milestones = true,
              .labelsOnCreation = true},
             forgejo},
            {"GitLab",
             {.dueDates = true,
              .parents = true,
              .counts = true,
              .hints = true,
              .milestones = true,
              .labelsOnCreation = true,
              .coloredAnswers = false,
              .refusesInWords = false},
             gitLab},
            {"Vikunja", {.dueDates = true, .parents = true, .counts = true, .hints = true, .probes = true}, vikunja},
            {"JiraCloud", jira, jiraCloud},
            {"JiraServer", jira, jiraServer}};
}

}  // namespace marlet
