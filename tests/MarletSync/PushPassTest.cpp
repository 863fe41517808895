#include "SyncScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST(PushPassTest, inOnePassThePushRunsFirstAndTheFetchedTaskFindsACleanRow) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1", .title = "Beans", .notes = "Old"});
    setup.sync(service);
    setup.advance(180);
    setup.rename(service, "1", "Peas");
    service.takeCalls();
    // Someone adds a note on the server after our push and before our fetch.
    service.backend->onUpdateTask = [&](const TaskItem& item) {
        service.change("p", item.id, [&](TaskItem& stored) { stored.title = item.title; });
        TaskItem answered = service.find("p", item.id).value();
        service.change("p", item.id, [](TaskItem& stored) { stored.notes = "New"; });
        return answered;
    };

    setup.tick();

    EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 1", StartsWith("fetchTasks p since")));
    TaskSnapshot task = setup.snapshot(service, "1").value();
    EXPECT_EQ(task.pendingOperation, std::nullopt);
    EXPECT_EQ(task.item.title, "Peas");
    EXPECT_EQ(task.item.notes, "New");
}

TEST(PushPassTest, theOldestChangeGoesFirst) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.add("p", {.id = "2"});
    setup.sync(service);
    service.takeCalls();
    setup.rename(service, "2", "First");
    setup.advance(1);
    setup.rename(service, "1", "Second");

    setup.push(service);

    EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 2", "updateTask 1"));
}

TEST(PushPassTest, aNewTaskGoesOutAsADraftWithAllThatADraftHolds) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    TaskDraft draft{"Plant", "Two rows", dateFromSeconds(1'900'000'000), {"garden", "spring"}, "Chore"};
    std::string key = setup.run(setup.store.createTask(draft, service.id(), "p", setup.clock.now()));
    draft.originID = setup.run(setup.store.task(key)).value().id;
    std::optional<TaskDraft> sent;
    std::string sentTo;
    auto create = service.backend->onCreateTask;
    service.backend->onCreateTask = [&](TaskDraft given, std::string projectID) {
        sent = given;
        sentTo = projectID;
        return create(std::move(given), std::move(projectID));
    };

    setup.push(service);

    EXPECT_EQ(sent, draft);
    EXPECT_EQ(sentTo, "p");
    TaskSnapshot task = setup.snapshot(service, "101").value();
    EXPECT_EQ(task.pendingOperation, std::nullopt);
    EXPECT_EQ(task.item.title, "Plant");
}

TEST(PushPassTest, a403MarksThatTaskOnlyAndTheNextPushGoesOn) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.add("p", {.id = "2"});
    setup.sync(service);
    setup.rename(service, "1", "Beans");
    setup.advance(1);
    setup.rename(service, "2", "Peas");
    service.fail("updateTask 1", BackendError::http(403));

    setup.push(service);

    EXPECT_EQ(setup.snapshot(service, "1")->pushError, "The server responded with HTTP 403.");
    EXPECT_EQ(setup.snapshot(service, "2")->pendingOperation, std::nullopt);
    EXPECT_EQ(service.find("p", "2")->title, "Peas");
    EXPECT_EQ(setup.account(service).syncError, std::nullopt);
}

TEST(PushPassTest, a500StopsThePushesAndNothingIsFetched) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    service.add("p", {.id = "1"});
    service.add("p", {.id = "2"});
    setup.sync(service);
    setup.advance(7200);
    setup.rename(service, "1", "Beans");
    setup.advance(1);
    setup.rename(service, "2", "Peas");
    service.takeCalls();
    service.fail("updateTask 1", BackendError::http(500));

    setup.tick();

    EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 1"));
    EXPECT_EQ(setup.snapshot(service, "1")->pushError, std::nullopt);
    EXPECT_EQ(setup.account(service).syncError, "The server responded with HTTP 500.");
    service.recover();
    setup.tickAfter(30);
    EXPECT_EQ(service.find("p", "1")->title, "Beans");
    EXPECT_EQ(service.find("p", "2")->title, "Peas");
}

TEST(PushPassTest, pushNowSendsAndFetchesNothing) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {true, true, true}, {"p"});
    service.add("p", {.id = "1"});
    setup.sync(service);
    setup.advance(86400);
    setup.rename(service, "1", "Beans");
    service.takeCalls();

    setup.push(service);

    EXPECT_THAT(service.backend->calls, ElementsAre("updateTask 1"));
}

TEST(PushPassTest, pushNowKeepsAnAccountFailureOnTheAccountAndThrowsNothing) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    setup.providerFailures[service.id()] = std::make_exception_ptr(BackendError::unauthorized());

    setup.push(service);

    EXPECT_EQ(setup.account(service).syncError, "The server rejected the access token.");
}

TEST(PushPassTest, pushNowThatSucceedsLeavesTheAccountsErrorToTheNextPass) {
    SyncSetup setup;
    RemoteService& service = setup.addSyncedAccount("Home", {}, {"p"});
    setup.run(setup.store.setSyncError("Out of order.", service.id()));

    setup.push(service);
    EXPECT_EQ(setup.account(service).syncError, "Out of order.");

    setup.tick();
    EXPECT_EQ(setup.account(service).syncError, std::nullopt);
}

TEST(PushPassTest, pushNowForAnAccountThatHasGoneDoesNothing) {
    SyncSetup setup;
    RemoteService& service = setup.addAccount("Home", {}, {"p"});
    setup.run(setup.store.removeAccount(service.id()));

    setup.push(service);

    EXPECT_EQ(setup.providerCalls, 0);
    EXPECT_THAT(service.backend->calls, IsEmpty());
}

TEST(PushPassTest, anotherAccountsChangesStay) {
    SyncSetup setup;
    RemoteService& home = setup.addAccount("Home", {}, {"p"});
    RemoteService& work = setup.addAccount("Work", {}, {"p"});
    setup.run(setup.store.createTask({.title = "Plant"}, work.id(), "p", setup.clock.now()));

    setup.push(home);

    EXPECT_THAT(work.backend->calls, IsEmpty());
}

}  // namespace
}  // namespace marlet
