#include "FailureCases.h"
#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> tenProjects() {
    return {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
}

Async<void> nothing() {
    co_return;
}

TEST(FetchPassTest, aFirstPassFetchesEveryProjectInFullAndTellsNothing) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1", .title = "Beans"});
    int told = 0;
    setup.run(setup.engine->setChangeHandler([&](std::vector<RemoteChange>) {
        ++told;
        return nothing();
    }));

    setup.tick();

    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p full"));
    EXPECT_THAT(setup.snapshots(service), SizeIs(1));
    EXPECT_EQ(setup.project(service).lastFullSyncAt, setup.clock.now());
    EXPECT_EQ(setup.project(service).lastSyncedAt, setup.clock.now());
    EXPECT_EQ(setup.project(service).quietFetches, 0);
    EXPECT_EQ(told, 0);
}

TEST(FetchPassTest, aDeltaFetchAsksFromTheCursorWithNoOverlap) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    setup.sync(service);
    service.takeCalls();

    setup.tickAfter(180);

    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p since 1800000000"));
}

TEST(FetchPassTest, aDeltaFetchOfAProjectWithoutACursorIsAFullFetch) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"empty"});

    setup.tickAfter(180);

    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks empty full"));
    EXPECT_EQ(setup.project(service, "empty").lastFullSyncAt, setup.clock.now());
}

TEST(FetchPassTest, theNinthFetchUsesUpTheBudgetAndTheTenthProjectWaitsForTheNextTick) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, tenProjects());

    setup.tick();
    EXPECT_THAT(service.takeCalls(), SizeIs(9));
    setup.tickAfter(30);

    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchTasks j full"));
}

TEST(FetchPassTest, theBudgetIsOneForAllAccountsInTheOrderOfTheirNames) {
    SyncSetup setup;
    RemoteService& last = setup.addAccount("Task 10", {}, {"a", "b", "c", "d", "e"});
    RemoteService& first = setup.addAccount("task 2", {}, {"a", "b", "c", "d", "e", "f"});

    setup.tick();

    EXPECT_THAT(first.takeCalls(), SizeIs(6));
    EXPECT_THAT(last.takeCalls(), SizeIs(3));
    setup.tickAfter(30);
    EXPECT_THAT(last.takeCalls(), ElementsAre("fetchTasks d full", "fetchTasks e full"));
}

TEST(FetchPassTest, anExplicitPassHasNoBudget) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, tenProjects());
    setup.sync(service);
    EXPECT_THAT(service.backend->calls, SizeIs(10));
}

TEST(FetchPassTest, itTellsWhichProjectOfHowManyItIsAt) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b", "c"});
    Latch latch = service.hold("fetchTasks b");
    EXPECT_EQ(setup.run(setup.engine->progress()), std::nullopt);

    auto pass =
        setup.loop.start(setup.engine->syncNow(service.id(), std::nullopt, SyncEngine::Mode::full, setup.clock.now()));
    setup.loop.runUntil([&] { return latch.isReached(); });
    EXPECT_EQ(setup.run(setup.engine->progress()), (SyncProgress{service.id(), "b", 2, 3}));

    service.fail("fetchTasks c", BackendError::unauthorized());
    latch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });
    EXPECT_EQ(setup.run(setup.engine->progress()), std::nullopt);
}

TEST(FetchPassTest, anExplicitPassFetchesInItsModeWhateverIsDue) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {true, true, true}, {"p"});
    service.add("p", {.id = "1"});
    setup.sync(service);
    service.takeCalls();

    setup.sync(service, SyncEngine::Mode::delta);
    setup.sync(service, SyncEngine::Mode::full);

    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks p since 1800000000", "fetchTasks p full"));
}

TEST(FetchPassTest, anExplicitPassMayBeForOneAccountOrForAll) {
    SyncSetup setup;
    RemoteService& home = setup.addAccount("Home", {}, {"p"});
    RemoteService& work = setup.addAccount("Work", {}, {"p"});

    setup.sync(home);
    EXPECT_THAT(work.backend->calls, IsEmpty());
    setup.run(setup.engine->syncNow(std::nullopt, std::nullopt, SyncEngine::Mode::full, setup.clock.now()));

    EXPECT_THAT(home.backend->calls, SizeIs(2));
    EXPECT_THAT(work.backend->calls, SizeIs(1));
}

TEST(FetchPassTest, anExplicitPassForOneProjectFetchesThatOne) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b", "c"});
    setup.run(setup.engine->syncNow(service.id(), "b", SyncEngine::Mode::delta, setup.clock.now()));
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks b full"));
}

TEST(FetchPassTest, aPassForAProjectThatIsNotSubscribedFetchesNothingButPushesAndRefreshesTheList) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.addProject("other");
    setup.sync(service);
    setup.rename(service, "1", "Beans");
    setup.advance(86400);
    service.takeCalls();

    setup.run(setup.engine->syncNow(service.id(), "other", SyncEngine::Mode::full, setup.clock.now()));

    EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 1", "fetchProjects"));
}

TEST(FetchPassTest, aProjectListThatWasNeverReadOrIsADayOldIsReadAgainRelaxedOrNot) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {});
    setup.run(setup.engine->setRelaxed(true));
    Account fresh{UUID::random(), BackendKind::gitlab, "New", service.account().baseURL};
    setup.run(setup.store.addAccount(fresh));
    RemoteService& never =
        *setup.services.emplace_back(std::make_unique<RemoteService>(fresh, Capabilities{}, setup.clock));

    setup.tick();
    EXPECT_THAT(service.takeCalls(), IsEmpty());
    EXPECT_THAT(never.takeCalls(), ElementsAre("fetchProjects"));

    setup.tickAfter(86400 - 30);
    EXPECT_THAT(service.takeCalls(), IsEmpty());
    setup.tickAfter(30);
    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchProjects"));
    EXPECT_EQ(setup.account(service).lastProjectRefresh, setup.clock.now());
}

TEST(FetchPassTest, aFullFetchThatFillsTheLimitCountsAsFullAndDeletesNothing) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.add("p", {.id = "2"});
    service.add("p", {.id = "3"});
    setup.sync(service);
    service.backend->limit = 2;
    setup.advance(60);

    setup.sync(service);

    EXPECT_THAT(setup.snapshots(service), SizeIs(3));
    EXPECT_EQ(setup.project(service).lastFullSyncAt, setup.clock.now());
}

TEST(FetchPassTest, aFullFetchBelowTheLimitDeletesWhatTheServerNoLongerHas) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.add("p", {.id = "2"});
    setup.sync(service);
    service.remove("p", "1");
    service.backend->limit = 2;

    setup.sync(service);

    EXPECT_THAT(setup.snapshots(service), SizeIs(1));
}

TEST(FetchPassTest, aDeltaFetchThatFillsTheLimitIsNoFullFetch) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    setup.sync(service);
    Date fullSync = setup.clock.now();
    service.backend->limit = 1;

    setup.tickAfter(180);

    EXPECT_EQ(setup.project(service).lastFullSyncAt, fullSync);
    EXPECT_EQ(setup.project(service).lastSyncedAt, setup.clock.now());
}

TEST(FetchPassTest, a404OnOneProjectSetsItsErrorAndTheOthersAreFetchedUntilItSucceedsAgain) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b"});
    service.fail("fetchTasks a", BackendError::notFound());

    setup.tick();
    EXPECT_EQ(setup.projectError(service, "a"), "Not found on the server.");
    EXPECT_EQ(setup.project(service, "b").lastSyncedAt, setup.clock.now());
    EXPECT_EQ(setup.account(service).syncError, std::nullopt);

    service.recover();
    setup.tickAfter(30);
    EXPECT_EQ(setup.projectError(service, "a"), std::nullopt);
}

TEST(FetchPassTest, a401EndsTheAccountsPassTheOtherAccountsGoOnAndTheNextTickTriesAgain) {
    SyncSetup setup;
    RemoteService& home = setup.addAccount("Home", {}, {"a", "b"});
    RemoteService& work = setup.addAccount("Work", {}, {"p"});
    home.fail("fetchTasks", BackendError::unauthorized());

    setup.tick();
    EXPECT_THAT(home.takeCalls(), ElementsAre("fetchTasks a full"));
    EXPECT_THAT(work.takeCalls(), ElementsAre("fetchTasks p full"));
    EXPECT_EQ(setup.account(home).syncError, "The server rejected the access token.");

    home.recover();
    setup.tickAfter(30);
    EXPECT_THAT(home.takeCalls(), ElementsAre("fetchTasks a full", "fetchTasks b full"));
    EXPECT_EQ(setup.account(home).syncError, std::nullopt);
}

TEST(FetchPassTest, aProjectThatGoesDuringItsFetchIsTheAccountsFailure) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b"});
    Latch fetch = service.hold("fetchTasks a");
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.store.removeProject(service.id(), "a"));
    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_EQ(setup.account(service).syncError, "The project no longer exists.");
    EXPECT_THAT(service.backend->calls, ElementsAre("fetchTasks a full"));
}

TEST(FetchPassTest, anAccountThatGoesDuringItsPassEndsItInSilence) {
    SyncSetup setup;
    RemoteService& home = setup.addAccount("Home", {}, {"p"});
    RemoteService& work = setup.addAccount("Work", {}, {"p"});
    Latch fetch = home.hold("fetchTasks");
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.store.removeAccount(home.id()));
    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_FALSE(pass->error);
    EXPECT_THAT(work.backend->calls, ElementsAre("fetchTasks p full"));
}

TEST(FetchPassTest, aSubscriptionChangedDuringAPassTakesEffectOnTheNextOne) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"a", "b"});
    setup.run(setup.store.setSubscribed(false, service.id(), "b"));
    Latch fetch = service.hold("fetchTasks a");
    auto pass = setup.loop.start(setup.engine->tick(setup.clock.now()));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.run(setup.store.setSubscribed(true, service.id(), "b"));
    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });
    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchTasks a full"));

    setup.tickAfter(30);
    EXPECT_THAT(service.takeCalls(), ElementsAre("fetchTasks b full"));
}

TEST(FetchPassTest, thePassUsesItsOwnDateThroughoutHoweverLongItTakes) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    Latch fetch = service.hold("fetchTasks");
    Date begun = setup.clock.now();
    auto pass = setup.loop.start(setup.engine->tick(begun));
    setup.loop.runUntil([&] { return fetch.isReached(); });

    setup.advance(100);
    fetch.open();
    setup.loop.runUntil([&] { return pass->isFinished; });

    EXPECT_EQ(setup.project(service).lastSyncedAt, begun);
}

TEST(RefreshProjectsTest, theListIsTakenAndTheAccountsErrorCleared) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.addProject("new");
    setup.run(setup.store.setSyncError("Out of order.", service.id()));
    setup.advance(60);

    setup.run(setup.engine->refreshProjects(service.id(), setup.clock.now()));

    EXPECT_THAT(setup.run(setup.store.projectSnapshots(service.id(), false)), SizeIs(2));
    EXPECT_EQ(setup.account(service).lastProjectRefresh, setup.clock.now());
    EXPECT_EQ(setup.account(service).syncError, std::nullopt);
}

TEST(RefreshProjectsTest, aFailureIsKeptOnTheAccountAndThrown) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.fail("fetchProjects", BackendError::http(502));

    EXPECT_THROW(setup.run(setup.engine->refreshProjects(service.id(), setup.clock.now())), BackendError);

    EXPECT_EQ(setup.account(service).syncError, "The server responded with HTTP 502.");
}

TEST(RefreshProjectsTest, anAccountThatIsNotThereIsThrown) {
    SyncSetup setup;
    EXPECT_THROW(setup.run(setup.engine->refreshProjects(UUID::random(), setup.clock.now())), StoreError);
}

}  // namespace
}  // namespace marlet
