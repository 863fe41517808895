#include <gmock/gmock.h>

#include "StoreFixture.h"

namespace marlet {
namespace {

using testing::ElementsAre;

StoreError::Kind failure(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const StoreError& error) {
        return error.kind();
    }
    throw std::runtime_error("The operation didn't fail.");
}

TEST(AccountsTest, aNewAccountStartsWithoutMemory) {
    StoreFixture fixture(BackendKind::jira);
    AccountSyncState expected;
    expected.account = fixture.account;
    expected.lastProjectRefresh = noon;
    EXPECT_EQ(fixture.accountState(), expected);
}

TEST(AccountsTest, accountsAreListedAsTheUserSortsNames) {
    StoreFixture fixture;
    for (const char* name : {"work 10", "Work 2", "Árbol", "zoo"}) {
        runToEnd(fixture.store.addAccount(fixture.makeAccount(BackendKind::gitlab, name)));
    }
    std::vector<std::string> names;
    for (const AccountSyncState& state : runToEnd(fixture.store.accounts())) {
        names.push_back(state.account.displayName);
    }
    EXPECT_THAT(names, ElementsAre("Árbol", "Home", "Work 2", "work 10", "zoo"));
}

TEST(AccountsTest, removingAnAccountRemovesAllThatBelongsToItAndNothingElse) {
    DiskStoreFixture disk;
    Account other = disk->makeAccount(BackendKind::gitlab);
    runToEnd(disk->store.addAccount(other));
    Project project = disk->project("p1", "Other");
    project.accountID = other.id;
    runToEnd(disk->store.replaceProjects({project}, other.id, noon));
    runToEnd(disk->store.createTask({}, other.id, "p1", noon));
    disk->applyFull({disk->item("1")});
    disk->track("1");

    runToEnd(disk->store.removeAccount(disk->account.id));

    EXPECT_EQ(runToEnd(disk->store.accounts()).size(), 1U);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM StoredProject"), 1);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM StoredTask"), 1);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM TaskSearch"), 1);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM StoredTimeLog"), 0);
}

TEST(AccountsTest, theMemoryOfChangeChecksReadsBack) {
    StoreFixture fixture;
    UUID id = fixture.account.id;
    runToEnd(fixture.store.setChangeChecks(id, {noon + 1.0, noon + 2.0, noon + 3.0, noon + 4.0}));
    runToEnd(fixture.store.setQuietProbes(5, id));
    runToEnd(fixture.store.setProbeRejected(noon + 6.0, id));
    runToEnd(fixture.store.setHintRejected(noon + 7.0, id));
    runToEnd(fixture.store.setSyncError("No network.", id));

    AccountSyncState state = fixture.accountState();

    EXPECT_EQ(state.lastProbeAt, noon + 1.0);
    EXPECT_EQ(state.probedThrough, noon + 2.0);
    EXPECT_EQ(state.lastHintAt, noon + 3.0);
    EXPECT_EQ(state.hintedThrough, noon + 4.0);
    EXPECT_EQ(state.quietProbes, 5);
    EXPECT_EQ(state.probeRejectedAt, noon + 6.0);
    EXPECT_EQ(state.hintRejectedAt, noon + 7.0);
    EXPECT_EQ(state.syncError, "No network.");
    runToEnd(fixture.store.setProbeRejected(std::nullopt, id));
    runToEnd(fixture.store.setHintRejected(std::nullopt, id));
    runToEnd(fixture.store.setSyncError(std::nullopt, id));
    EXPECT_EQ(fixture.accountState().probeRejectedAt, std::nullopt);
    EXPECT_EQ(fixture.accountState().hintRejectedAt, std::nullopt);
    EXPECT_EQ(fixture.accountState().syncError, std::nullopt);
}

TEST(AccountsTest, aChangeCheckThatIsntGivenStaysAsItWas) {
    StoreFixture fixture;
    UUID id = fixture.account.id;
    runToEnd(fixture.store.setChangeChecks(id, {noon + 1.0, noon + 2.0, noon + 3.0, noon + 4.0}));

    ChangeChecks onlyHint;
    onlyHint.lastHintAt = noon + 30.0;
    runToEnd(fixture.store.setChangeChecks(id, onlyHint));

    AccountSyncState state = fixture.accountState();
    EXPECT_EQ(state.lastProbeAt, noon + 1.0);
    EXPECT_EQ(state.probedThrough, noon + 2.0);
    EXPECT_EQ(state.lastHintAt, noon + 30.0);
    EXPECT_EQ(state.hintedThrough, noon + 4.0);
}

TEST(AccountsTest, onlyJiraHasATypeOfTaskToChoose) {
    for (BackendKind kind :
         {BackendKind::github, BackendKind::gitlab, BackendKind::vikunja, BackendKind::forgejo, BackendKind::local}) {
        StoreFixture fixture(kind);
        try {
            runToEnd(fixture.store.setDefaultTaskType("Bug", fixture.account.id));
            FAIL();
        } catch (const StoreError& error) {
            EXPECT_EQ(error.errorDescription(), "Tasks of this service have no type to choose.");
        }
    }
}

TEST(AccountsTest, aBlankTypeOfTaskRestoresTheDefault) {
    StoreFixture fixture(BackendKind::jira);
    runToEnd(fixture.store.setDefaultTaskType("\n Story\t", fixture.account.id));
    EXPECT_EQ(fixture.accountState().defaultTaskType, "Story");

    runToEnd(fixture.store.setDefaultTaskType("  ", fixture.account.id));

    EXPECT_EQ(fixture.accountState().defaultTaskType, std::nullopt);
    EXPECT_EQ(runToEnd(fixture.store.task(fixture.create("Sow peas")))->typeName, "Task");
    runToEnd(fixture.store.setDefaultTaskType("Story", fixture.account.id));
    runToEnd(fixture.store.setDefaultTaskType(std::nullopt, fixture.account.id));
    EXPECT_EQ(fixture.accountState().defaultTaskType, std::nullopt);
}

TEST(AccountsTest, everySetterTellsThatTheAccountHasGone) {
    StoreFixture fixture;
    TaskStore& store = fixture.store;
    UUID gone = UUID::random();
    std::vector<std::function<void()>> setters{
        [&] { runToEnd(store.removeAccount(gone)); },
        [&] { runToEnd(store.setSyncError("No.", gone)); },
        [&] { runToEnd(store.setAgentDestination("claude", gone)); },
        [&] { runToEnd(store.setDefaultTaskType("Bug", gone)); },
        [&] { runToEnd(store.replaceProjects({}, gone, noon)); },
        [&] { runToEnd(store.setQuietProbes(1, gone)); },
        [&] { runToEnd(store.setChangeChecks(gone, {})); },
        [&] { runToEnd(store.setProbeRejected(noon, gone)); },
        [&] { runToEnd(store.setHintRejected(noon, gone)); },
    };
    for (size_t index = 0; index < setters.size(); ++index) {
        EXPECT_EQ(failure(setters[index]), StoreError::Kind::accountNotFound) << index;
    }
}

TEST(AccountsTest, theDestinationOfAgentsIsKeptPerAccountAndPerProject) {
    DiskStoreFixture disk;
    runToEnd(disk->store.setAgentDestination("claude", disk->account.id));
    runToEnd(disk->store.setAgentDestination("copilot", disk->account.id, "p1"));
    EXPECT_EQ(disk.text("SELECT agentDestinationRaw FROM StoredAccount"), "claude");
    EXPECT_EQ(disk.text("SELECT claudeDestinationRaw FROM StoredProject"), "copilot");
    runToEnd(disk->store.setAgentDestination(std::nullopt, disk->account.id));
    runToEnd(disk->store.setAgentDestination(std::nullopt, disk->account.id, "p1"));
    EXPECT_EQ(disk.number("SELECT agentDestinationRaw IS NULL FROM StoredAccount"), 1);
    EXPECT_EQ(disk.number("SELECT claudeDestinationRaw IS NULL FROM StoredProject"), 1);
}

TEST(AccountsTest, theTextsOfStoreErrors) {
    EXPECT_EQ(StoreError::accountNotFound().errorDescription(), "The account no longer exists.");
    EXPECT_EQ(StoreError::projectNotFound().errorDescription(), "The project no longer exists.");
    EXPECT_EQ(StoreError::taskNotFound().errorDescription(), "The task no longer exists.");
    EXPECT_EQ(StoreError::taskTypesUnsupported().errorDescription(), "Tasks of this service have no type to choose.");
}

TEST(ProjectsTest, everySetterTellsThatTheProjectHasGone) {
    StoreFixture fixture;
    TaskStore& store = fixture.store;
    UUID id = fixture.account.id;
    std::vector<std::function<void()>> setters{
        [&] { runToEnd(store.removeProject(id, "p9")); },
        [&] { runToEnd(store.setAgentDestination("claude", id, "p9")); },
        [&] { runToEnd(store.setCheckoutPath("/home", id, "p9")); },
        [&] { runToEnd(store.setSyncError("No.", id, "p9")); },
        [&] { runToEnd(store.setSubscribed(true, id, "p9")); },
        [&] { runToEnd(store.setSubscribed(false, id, "p9")); },
        [&] { runToEnd(store.setQuietFetches(1, id, "p9")); },
        [&] { runToEnd(store.setActedHint(noon, id, "p9")); },
        [&] { runToEnd(store.setCountChecked(noon, id, "p9")); },
    };
    for (size_t index = 0; index < setters.size(); ++index) {
        EXPECT_EQ(failure(setters[index]), StoreError::Kind::projectNotFound) << index;
    }
}

TEST(ProjectsTest, aRefreshDropsACleanProjectAndKeepsOneWithAPendingTask) {
    StoreFixture fixture;
    fixture.addProject("p2", "Shed");
    fixture.addProject("p3", "Pond");
    fixture.applyFull({fixture.item("1")}, "p2");
    fixture.applyFull({fixture.item("2"), fixture.item("3")}, "p1");
    fixture.rename("2", "Water the peas");
    fixture.applyFull({fixture.item("4")}, "p3");
    std::string timed = taskKey(fixture.account.id, "p3", "4");
    runToEnd(fixture.store.startTimer(timed, noon));

    runToEnd(fixture.store.replaceProjects({fixture.project("p4", "Attic")}, fixture.account.id, noon + 9.0));

    constexpr const char* gone = "This project is no longer available on the server.";
    std::vector<ProjectSnapshot> projects = runToEnd(fixture.store.projectSnapshots(fixture.account.id, false));
    std::vector<std::string> names;
    for (const ProjectSnapshot& project : projects) {
        names.push_back(project.name);
    }
    EXPECT_THAT(names, ElementsAre("Attic", "Garden", "Pond"));
    EXPECT_EQ(fixture.projectSnapshot("p1").syncError, gone);
    EXPECT_EQ(fixture.projectSnapshot("p3").syncError, gone);
    EXPECT_EQ(fixture.projectSnapshot("p4").syncError, std::nullopt);
    EXPECT_FALSE(fixture.projectSnapshot("p4").isSubscribed);
    EXPECT_TRUE(fixture.task("3"));
    EXPECT_FALSE(runToEnd(fixture.store.task(taskKey(fixture.account.id, "p2", "1"))));
    EXPECT_EQ(fixture.accountState().lastProjectRefresh, noon + 9.0);
}

TEST(ProjectsTest, aProjectThatComesBackKeepsItsErrorUntilTheNextFetch) {
    StoreFixture fixture;
    fixture.create("Sow peas");
    runToEnd(fixture.store.replaceProjects({}, fixture.account.id, noon));
    runToEnd(fixture.store.replaceProjects(fixture.listed, fixture.account.id, noon));
    EXPECT_TRUE(fixture.projectSnapshot().syncError);
    fixture.applyFull({});
    EXPECT_FALSE(fixture.projectSnapshot().syncError);
}

TEST(ProjectsTest, aRefreshUpdatesWhatTheServiceSaysAndLeavesTheRest) {
    DiskStoreFixture disk;
    disk->applyFull({disk->item("1")});
    runToEnd(disk->store.setCheckoutPath("/home/ann/garden", disk->account.id, "p1"));
    Project changed = disk->project("p1", "Kitchen garden");
    changed.detail = "Beds and pots";
    changed.webURL = URL::parse("https://example.org/p1");
    changed.cloneURL = URL::parse("https://example.org/p1.git");
    changed.sshCloneURL = "git@example.org:p1.git";
    changed.kind = ProjectKind::board;
    changed.statusOptions = {"To do", "Done"};

    runToEnd(disk->store.replaceProjects({changed}, disk->account.id, noon));

    ProjectSnapshot snapshot = disk->projectSnapshot();
    EXPECT_EQ(snapshot.project, changed);
    EXPECT_EQ(snapshot.name, "Kitchen garden");
    EXPECT_EQ(snapshot.detail, "Beds and pots");
    EXPECT_EQ(snapshot.webURL, changed.webURL);
    EXPECT_TRUE(snapshot.isSubscribed);
    EXPECT_EQ(disk->projectState()->deltaCursor, noon);
    EXPECT_EQ(disk.text("SELECT checkoutPath FROM StoredProject"), "/home/ann/garden");
}

TEST(ProjectsTest, aProjectThatAServiceListsTwiceIsOne) {
    StoreFixture fixture;
    Project twice = fixture.project("p2", "Shed");
    runToEnd(fixture.store.replaceProjects({twice, fixture.project("p2", "Barn")}, fixture.account.id, noon));
    EXPECT_EQ(fixture.projectSnapshot("p2").name, "Barn");
}

TEST(ProjectsTest, unsubscribingKeepsLocalDataAndStartsOver) {
    StoreFixture fixture;
    UUID id = fixture.account.id;
    fixture.applyFull({fixture.item("clean"), fixture.item("timed")});
    fixture.track("timed");
    std::string created = fixture.create("Sow peas");
    runToEnd(fixture.store.setQuietFetches(4, id, "p1"));
    runToEnd(fixture.store.setActedHint(noon, id, "p1"));
    runToEnd(fixture.store.setCountChecked(noon, id, "p1"));
    runToEnd(fixture.store.setSyncError("No network.", id, "p1"));

    runToEnd(fixture.store.setSubscribed(false, id, "p1"));

    EXPECT_FALSE(fixture.projectState());
    EXPECT_FALSE(fixture.task("clean"));
    EXPECT_TRUE(fixture.task("timed"));
    EXPECT_TRUE(runToEnd(fixture.store.task(created)));
    EXPECT_EQ(fixture.projectSnapshot().syncError, std::nullopt);
    runToEnd(fixture.store.setSubscribed(true, id, "p1"));
    EXPECT_EQ(fixture.projectState(), (ProjectSyncState{id, "p1", {}, {}, {}, {}, 0, {}}));
    EXPECT_TRUE(fixture.applyFull({fixture.item("new")}).empty());  // a first sync is no news
}

TEST(ProjectsTest, theMemoryOfASubscribedProjectReadsBack) {
    StoreFixture fixture;
    UUID id = fixture.account.id;
    fixture.addProject("p2", "Shed");
    runToEnd(fixture.store.setSubscribed(false, id, "p2"));
    fixture.applyFull({fixture.item("1", noon + 1.0)});
    runToEnd(fixture.store.setQuietFetches(2, id, "p1"));
    runToEnd(fixture.store.setActedHint(noon + 3.0, id, "p1"));
    runToEnd(fixture.store.setCountChecked(noon + 4.0, id, "p1"));
    EXPECT_THAT(runToEnd(fixture.store.subscribedProjects(id)),
                ElementsAre(ProjectSyncState{id, "p1", noon + 1.0, noon, noon, noon + 4.0, 2, noon + 3.0}));
}

TEST(ProjectsTest, resettingQuietCountsWritesOnlyRowsThatHaveOne) {
    DiskStoreFixture disk;
    disk->addProject("p2", "Shed");
    runToEnd(disk->store.setQuietFetches(2, disk->account.id, "p1"));
    runToEnd(disk->store.setQuietProbes(3, disk->account.id));
    disk.execute("CREATE TABLE Writes (what TEXT)");
    for (const char* table : {"StoredAccount", "StoredProject"}) {
        disk.execute(std::string("CREATE TRIGGER written") + table + " AFTER UPDATE ON " + table +
                     " BEGIN INSERT INTO Writes VALUES (1); END");
    }

    runToEnd(disk->store.resetQuietCounts());
    EXPECT_EQ(disk->accountState().quietProbes, 0);
    EXPECT_EQ(disk->projectState()->quietFetches, 0);
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM Writes"), 2);
    runToEnd(disk->store.resetQuietCounts());
    EXPECT_EQ(disk.number("SELECT COUNT(*) FROM Writes"), 2);
}

TEST(ProjectsTest, theCountToCompareLeavesOutWhatTheServerHasntSeen) {
    StoreFixture fixture;
    TaskItem done = fixture.item("2");
    done.isCompleted = true;
    fixture.applyFull({fixture.item("1"), done, fixture.item("LOCAL-3")});
    fixture.create("Sow peas");
    EXPECT_EQ(runToEnd(fixture.store.remoteTaskCount(fixture.account.id, "p1")), 3);
    EXPECT_EQ(runToEnd(fixture.store.remoteTaskCount(fixture.account.id, "p9")), 0);
}

TEST(ProjectsTest, removingAProjectHasNoRegardToLocalData) {
    StoreFixture fixture;
    fixture.create("Sow peas");
    runToEnd(fixture.store.removeProject(fixture.account.id, "p1"));
    EXPECT_TRUE(fixture.snapshots().empty());
    EXPECT_FALSE(runToEnd(fixture.store.projectSnapshot(projectKey(fixture.account.id, "p1"))));
}

}  // namespace
}  // namespace marlet
