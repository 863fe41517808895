// One table sorts the failures of all requests: by what is tried here at each place that it serves.
#include "FailureCases.h"
#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class ErrorSortingTest : public testing::TestWithParam<FailureCase> {
protected:
    const FailureCase& failure() const { return GetParam(); }

    std::optional<std::string> accountMessage() const {
        return failure().isNarrow ? std::nullopt : std::optional(failure().message);
    }
};

INSTANTIATE_TEST_SUITE_P(Failures, ErrorSortingTest, testing::ValuesIn(failureCases()), [](const auto& tested) {
    std::string name = tested.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

TEST_P(ErrorSortingTest, aRefusedTaskSaysSoAndAnyOtherFailureOfAPushEndsTheAccountsPass) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1", .title = "Beans"});
    service.add("p", {.id = "2", .title = "Peas"});
    setup.sync(service);
    setup.advance(180);
    setup.rename(service, "1", "Broad beans");
    setup.advance(1);
    setup.rename(service, "2", "Sugar peas");
    service.fail("updateTask 1", failure().error);
    service.takeCalls();

    setup.tick();

    TaskSnapshot refused = setup.snapshot(service, "1").value();
    EXPECT_EQ(refused.pendingOperation, PendingOperation::update);
    EXPECT_EQ(setup.account(service).syncError, accountMessage());
    if (failure().isNarrow) {
        EXPECT_EQ(refused.pushError, failure().message);
        EXPECT_THAT(service.backend->calls,
                    ElementsAre("updateTask 1", "updateTask 2", StartsWith("fetchTasks p since")));
    } else {
        EXPECT_EQ(refused.pushError, std::nullopt);
        EXPECT_EQ(setup.snapshot(service, "2")->pendingOperation, PendingOperation::update);
        EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 1"));
    }
}

TEST_P(ErrorSortingTest, aRefusedProjectSaysSoAndAnyOtherFailureOfAFetchEndsTheAccountsPass) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b"});
    service.fail("fetchTasks a", failure().error);

    setup.tick();

    EXPECT_EQ(setup.account(service).syncError, accountMessage());
    if (failure().isNarrow) {
        EXPECT_EQ(setup.projectError(service, "a"), failure().message);
        EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks a full", "fetchTasks b full"));
    } else {
        EXPECT_EQ(setup.projectError(service, "a"), std::nullopt);
        EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks a full"));
    }
}

TEST_P(ErrorSortingTest, aRefusedCountProvesNothingAndAnyOtherFailureOfItEndsTheAccountsPass) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {.counting = true}, {"p"});
    service.fail("taskCount", failure().error);

    setup.tickAfter(7200);

    EXPECT_EQ(setup.account(service).syncError, accountMessage());
    if (failure().isNarrow) {
        EXPECT_THAT(service.backend->calls, ElementsAre("taskCount p", "fetchTasks p full"));
    } else {
        EXPECT_THAT(service.backend->calls, ElementsAre("taskCount p"));
    }
}

TEST_P(ErrorSortingTest, refusedHintsAreSwitchedOffInSilenceAndAnyOtherFailureOfThemEndsTheAccountsPass) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {.hinting = true}, {"p"});
    service.fail("notifiedTaskUpdates", failure().error);

    setup.tickAfter(180);

    EXPECT_EQ(setup.account(service).syncError, accountMessage());
    EXPECT_EQ(setup.projectError(service), std::nullopt);
    if (failure().isNarrow) {
        EXPECT_EQ(setup.account(service).hintRejectedAt, setup.clock.now());
        EXPECT_THAT(service.backend->calls, Contains("fetchTasks p full"));
    } else {
        EXPECT_EQ(setup.account(service).hintRejectedAt, std::nullopt);
        EXPECT_THAT(service.backend->calls, Not(Contains(StartsWith("fetchTasks"))));
    }
}

TEST_P(ErrorSortingTest, aRefusedProbeIsSwitchedOffInSilenceAndAnyOtherFailureOfItEndsTheAccountsPass) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {.probing = true}, {"p"});
    service.fail("latestTaskUpdates", failure().error);

    setup.tickAfter(180);

    EXPECT_EQ(setup.account(service).syncError, accountMessage());
    EXPECT_EQ(setup.account(service).probeRejectedAt,
              failure().isNarrow ? std::optional(setup.clock.now()) : std::nullopt);
    EXPECT_THAT(service.backend->calls, ElementsAre(StartsWith("latestTaskUpdates since")));
}

TEST_P(ErrorSortingTest, aBackendThatCannotBeMadeIsTheAccountsFailure) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    setup.providerFailures[service.id()] = failure().error;

    setup.tick();

    EXPECT_EQ(setup.account(service).syncError, failure().message);
    EXPECT_THAT(service.backend->calls, IsEmpty());
}

TEST_P(ErrorSortingTest, aProjectListThatCannotBeReadIsTheAccountsFailure) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"p"});
    service.fail("fetchProjects", failure().error);

    setup.tickAfter(86400);

    EXPECT_EQ(setup.account(service).syncError, failure().message);
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchProjects"));
}

}  // namespace
}  // namespace marlet
