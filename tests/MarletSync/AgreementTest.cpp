// Random edits on both sides, failures, lost answers and restarts: in the end both sides hold the same, and no edit
// that the store acknowledged is lost unless a later one took its place.
#include <random>
#include <set>

#include "SyncScenario.h"

namespace marlet {
namespace {

const std::vector<std::string> projectIDs = {"a", "b"};

// One random history. Every title is given once, so a title tells which edit it comes from.
class History {
public:
    explicit History(uint64_t seed)
        : random(seed), remote(setup.addAccount("Home", {seed % 2 == 0, seed % 3 == 0, seed % 5 < 2}, projectIDs)) {
        remote.takesLabelsOnCreation = seed % 7 != 0;
        noteWhatTheServerSees();
        remote.beforeRequest = [this](std::string call) { return interfere(this, std::move(call)); };
    }

    void live(int steps) {
        for (int step = 0; step < steps; ++step) {
            act();
        }
    }
    // The failures stop, and refused edits are tried again.
    void calmDown() {
        remote.recover();
        losesAnswers = false;
        interferes = false;
        for (const TaskSnapshot& pending : setup.run(setup.store.pendingSnapshots(remote.id()))) {
            setup.run(setup.store.retryPush(pending.key));
        }
    }
    void settleByFullPasses() {
        for (int pass = 0; pass < 3; ++pass) {
            setup.advance(60);
            setup.sync(remote, SyncEngine::Mode::full);
        }
    }
    // Long enough for blocks, rejections and agreeing counts to run out.
    void settleByTicks() {
        for (double passed = 0; passed < 3 * 86400; passed += 14400) {
            setup.tickAfter(14400);
        }
    }

    void expectAgreement() {
        for (const std::string& projectID : projectIDs) {
            expectAgreementIn(projectID);
        }
    }
    void expectNoEditLost() {
        for (const auto& [localID, title] : lastEdits) {
            std::optional<TaskSnapshot> row = setup.run(setup.store.taskSnapshot(localID));
            bool waitsHere = row && row->pendingOperation && row->item.title == title;
            EXPECT_TRUE(seenByServer.contains(title) || waitsHere) << title;
        }
    }
    void expectEachCreationOnce() { EXPECT_EQ(creationsThere, creationsHere); }

private:
    size_t below(size_t bound) { return random() % bound; }
    std::string newTitle(const std::string& origin) { return origin + std::to_string(++titles); }
    const std::string& anyProject() { return projectIDs[below(projectIDs.size())]; }

    void act() {
        switch (below(12)) {
            case 0:
            case 1:
                return editHere();
            case 2:
                return createHere();
            case 3:
            case 4:
                return editThere();
            case 5:
                remote.add(anyProject(), {.title = newTitle("There ")});
                return;
            case 6:
                return removeThere();
            case 7:
                return setup.tickAfter(static_cast<double>(30 * (1 + below(60))));
            case 8:
                setup.advance(static_cast<double>(below(60)));
                return setup.sync(remote, below(3) == 0 ? SyncEngine::Mode::full : SyncEngine::Mode::delta);
            case 9:
                return changeTheWeather();
            case 10:
                return setup.push(remote);
            default:
                return setup.restart();
        }
    }

    void editHere() {
        std::vector<TaskSnapshot> rows = setup.snapshots(remote, anyProject());
        if (!rows.empty()) {
            const TaskSnapshot& row = rows[below(rows.size())];
            std::string title = newTitle("Here ");
            setup.run(setup.store.editTask(row.key, setup.clock.now(), [&](TaskItem& item) { item.title = title; }));
            lastEdits[row.localID] = title;
        }
    }

    void createHere() {
        TaskDraft draft{.title = newTitle("New ")};
        draft.labels.resize(below(3));
        for (size_t index = 0; index < draft.labels.size(); ++index) {
            draft.labels[index] = "label " + std::to_string(index);
        }
        std::string title = draft.title;
        std::string key =
            setup.run(setup.store.createTask(std::move(draft), remote.id(), anyProject(), setup.clock.now()));
        lastEdits[setup.run(setup.store.taskSnapshot(key))->localID] = title;
        ++creationsHere;
    }

    std::optional<TaskItem> anyTaskThere(const std::string& projectID) {
        std::vector<TaskItem> tasks = remote.tasks(projectID);
        return tasks.empty() ? std::nullopt : std::optional(tasks[below(tasks.size())]);
    }

    void editThere() {
        setup.advance(1);
        const std::string& projectID = anyProject();
        if (std::optional<TaskItem> task = anyTaskThere(projectID)) {
            std::string title = newTitle("There ");
            remote.change(projectID, task->id, [&](TaskItem& item) { item.title = title; });
        }
    }

    void removeThere() {
        setup.advance(1);
        const std::string& projectID = anyProject();
        if (std::optional<TaskItem> task = anyTaskThere(projectID)) {
            remote.remove(projectID, task->id);
        }
    }

    void changeTheWeather() {
        static const std::vector<std::string> requests = {"updateTask", "createTask",  "fetchTasks a",
                                                          "fetchTasks", "taskCount",   "notifiedTaskUpdates",
                                                          "latestTask", "fetchProject"};
        const std::vector<BackendError> errors = {
            BackendError::http(500),        BackendError::http(403),       BackendError::unauthorized(),
            BackendError::notFound(),       BackendError::rejected("No."), BackendError::rateLimited(std::nullopt),
            BackendError::invalidResponse()};
        remote.recover();
        losesAnswers = below(3) == 0;
        interferes = below(2) == 0;
        if (below(2) == 0) {
            remote.fail(requests[below(requests.size())], errors[below(errors.size())]);
        }
    }

    void noteWhatTheServerSees() {
        auto take = remote.backend->onUpdateTask;
        remote.backend->onUpdateTask = [this, take](TaskItem item) {
            TaskItem taken = take(std::move(item));
            seenByServer.insert(taken.title);
            if (losesAnswers && below(2) == 0) {
                throw BackendError::http(504);
            }
            return taken;
        };
        auto create = remote.backend->onCreateTask;
        remote.backend->onCreateTask = [this, create](TaskDraft draft, std::string projectID) {
            TaskItem created = create(std::move(draft), std::move(projectID));
            seenByServer.insert(created.title);
            ++creationsThere;
            return created;
        };
    }

    // Now and then the user edits just while a push is on its way.
    static Async<void> interfere(History* history, std::string call) {
        bool isPush = call.starts_with("updateTask") || call.starts_with("createTask");
        if (!isPush || !history->interferes) {
            co_return;
        }
        std::vector<TaskSnapshot> rows = co_await history->setup.store.pendingSnapshots(history->remote.id());
        if (rows.empty()) {
            co_return;
        }
        const TaskSnapshot& row = rows[history->below(rows.size())];
        std::string title = history->newTitle("Meanwhile ");
        co_await history->setup.store.editTask(row.key, history->setup.clock.now(),
                                               [title](TaskItem& item) { item.title = title; });
        history->lastEdits[row.localID] = title;
    }

    void expectAgreementIn(const std::string& projectID) {
        std::set<std::string> here;
        for (const TaskSnapshot& row : setup.snapshots(remote, projectID)) {
            here.insert(row.item.id);
            std::optional<TaskItem> there = remote.find(projectID, row.item.id);
            if (row.pendingOperation) {
                // The one disagreement that stays: an edit of a task that the server deleted, which says so.
                EXPECT_EQ(there, std::nullopt) << row.key;
                EXPECT_EQ(row.pushError, "Not found on the server.") << row.key;
            } else {
                EXPECT_EQ(there, row.item) << row.item.title;
            }
        }
        for (const TaskItem& task : remote.tasks(projectID)) {
            EXPECT_TRUE(here.contains(task.id)) << task.title;
        }
    }

    SyncSetup setup;
    std::mt19937_64 random;
    RemoteService& remote;
    std::map<UUID, std::string> lastEdits;
    std::set<std::string> seenByServer;
    int titles = 0;
    int creationsHere = 0;
    int creationsThere = 0;
    bool losesAnswers = false;
    bool interferes = false;
};

class AgreementTest : public testing::TestWithParam<uint64_t> {};
INSTANTIATE_TEST_SUITE_P(Seeds, AgreementTest, testing::Range<uint64_t>(1, 61));

void expectAgreementAndNoLoss(History& history) {
    history.expectAgreement();
    history.expectNoEditLost();
    history.expectEachCreationOnce();
}

TEST_P(AgreementTest, afterFullPassesBothSidesAgreeAndNoEditIsLost) {
    History history(GetParam());
    history.live(60);
    history.calmDown();
    history.settleByFullPasses();
    expectAgreementAndNoLoss(history);
}

TEST_P(AgreementTest, timeAloneBringsBothSidesToAgreeAndNoEditIsLost) {
    History history(GetParam() + 1000);
    history.live(60);
    history.calmDown();
    history.settleByTicks();
    expectAgreementAndNoLoss(history);
}

}  // namespace
}  // namespace marlet
