#include "TestSupport/BackendContract.h"

namespace marlet {
namespace {

using testing::ElementsAre;

class BackendWriting : public BackendContract {
protected:
    // A task with something in every field, and another one that nobody touches.
    BackendWriting() {
        for (const char* name : {"bug", "garden", "urgent"}) {
            service->addLabel(name, "0e8a16");
        }
        id = service->add(
            {.title = "Water the beans", .notes = "All of them", .labels = {"bug", "garden"}, .assignees = {"grace"}});
        other = service->add({.title = "Sow", .labels = {"garden"}});
        service->addComment(id, "Where?");
        clock->advance(60);
    }

    // Edits the task and holds what the service then has against what it should have, all else unchanged. The answer
    // is what a fetch gives.
    void expectEdit(const std::function<void(TaskItem& item)>& change,
                    const std::function<void(ServerTask& task)>& expected) {
        ServerTask wanted = service->read(id);
        ServerTask untouched = service->read(other);
        expected(wanted);
        TaskItem answer = update(id, change);
        EXPECT_EQ(service->read(id), wanted);
        EXPECT_EQ(service->read(other), untouched);
        TaskItem fetched = fetchOne(id);
        answer = completed(answer, fetched);
        answer.updatedAt = fetched.updatedAt;  // a step behind the edit may have moved it
        EXPECT_EQ(answer, fetched);
    }

    // What a task has that was made with these labels.
    static std::vector<std::string> labelsOfANewTask(const std::vector<std::string>& wanted) {
        return GetParam().abilities.labelsOnCreation ? wanted : std::vector<std::string>();
    }

    std::string id;
    std::string other;
};

class BackendDueDateWriting : public BackendWriting {};
class BackendParentWriting : public BackendWriting {};
class BackendKnownLabels : public BackendWriting {};
using Abilities = ContractCase::Abilities;

INSTANTIATE_TEST_SUITE_P(Services, BackendWriting, testing::ValuesIn(contractServices()), ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendDueDateWriting, testing::ValuesIn(contractServicesWith(&Abilities::dueDates)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendParentWriting, testing::ValuesIn(contractServicesWith(&Abilities::parents)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendKnownLabels,
                         testing::ValuesIn(contractServicesWith(&Abilities::knownLabelsOnly)), ContractCase::nameOf);

const std::string foreignText = "Bohnen gießen \"heute\" \\ 豆に水 🌱 שלום\ttab";

TEST_P(BackendWriting, aCreatedTaskIsTheOneThatIsFetched) {
    TaskItem created =
        run(backend->createTask({.title = "Reap", .notes = "In autumn", .labels = {"garden"}}, service->projectID()));

    TaskItem fetched = fetchOne(created.id);
    EXPECT_EQ(fetched, completed(created, fetched));
    ServerTask kept = service->read(created.id);
    EXPECT_EQ(kept.title, "Reap");
    EXPECT_EQ(kept.notes, "In autumn");
    EXPECT_EQ(kept.labels, labelsOfANewTask({"garden"}));
    EXPECT_FALSE(kept.isCompleted);
    EXPECT_EQ(service->taskCount(), 3u);
}

TEST_P(BackendWriting, aCreateThatIsRefusedCreatesNothing) {
    auto untitled = [&] { return backend->createTask({.title = ""}, service->projectID()); };

    if (GetParam().abilities.refusesInWords) {
        EXPECT_TRUE(failure<BackendError::Rejected>(untitled()));
    } else {
        EXPECT_EQ(failure<BackendError::HTTP>(untitled()), BackendError::HTTP{400});
    }
    EXPECT_EQ(service->taskCount(), 2u);
}

TEST_P(BackendWriting, aNewTitleChangesTheTitleAlone) {
    expectEdit([](TaskItem& item) { item.title = "Water the peas"; },
               [](ServerTask& task) { task.title = "Water the peas"; });
}

TEST_P(BackendWriting, newNotesChangeTheNotesAlone) {
    expectEdit([](TaskItem& item) { item.notes = "Half of them"; },
               [](ServerTask& task) { task.notes = "Half of them"; });
    expectEdit([](TaskItem& item) { item.notes = ""; }, [](ServerTask& task) { task.notes = ""; });
}

TEST_P(BackendWriting, completingAndReopeningChangesTheStateAlone) {
    expectEdit([](TaskItem& item) { item.isCompleted = true; }, [](ServerTask& task) { task.isCompleted = true; });
    expectEdit([](TaskItem& item) { item.isCompleted = false; }, [](ServerTask& task) { task.isCompleted = false; });
}

TEST_P(BackendWriting, labelsAreSetAndCleared) {
    expectEdit(
        [](TaskItem& item) {
            item.labels = {{"urgent", std::nullopt}, {"bug", std::nullopt}};
        },
        [](ServerTask& task) {
            task.labels = {"bug", "urgent"};
        });
    expectEdit([](TaskItem& item) { item.labels.clear(); }, [](ServerTask& task) { task.labels.clear(); });
}

TEST_P(BackendWriting, aNewTaskHasItsLabelsAfterItsFirstEdit) {
    TaskItem created = run(backend->createTask({.title = "Reap", .labels = {"garden"}}, service->projectID()));
    created.labels = {{"garden", std::nullopt}};
    TaskItem edited = run(backend->updateTask(created));

    EXPECT_THAT(labelNames(edited), ElementsAre("garden"));
    EXPECT_THAT(service->read(created.id).labels, ElementsAre("garden"));
}

TEST_P(BackendWriting, anEditWithoutAChangeLeavesEverything) {
    expectEdit([](TaskItem&) {}, [](ServerTask&) {});
}

TEST_P(BackendWriting, severalFieldsChangeAtOnce) {
    expectEdit(
        [](TaskItem& item) {
            item.title = foreignText;
            item.isCompleted = true;
            item.labels = {{"urgent", std::nullopt}};
        },
        [](ServerTask& task) {
            task.title = foreignText;
            task.isCompleted = true;
            task.labels = {"urgent"};
        });
}

TEST_P(BackendWriting, anEditOfATaskThatIsGoneSaysSo) {
    TaskItem item = fetchOne(id);
    service->remove(id);

    EXPECT_TRUE(failure<BackendError::NotFound>(backend->updateTask(item)));
    EXPECT_EQ(service->taskCount(), 1u);
}

TEST_P(BackendWriting, commentsArriveAsTheyWereWritten) {
    TaskComment sent = run(backend->addComment("There", fetchOne(id)));

    EXPECT_THAT(service->comments(id), ElementsAre("Where?", "There"));
    EXPECT_EQ(run(backend->fetchComments(fetchOne(id))).at(1), sent);
    EXPECT_EQ(sent.body, "There");
    EXPECT_EQ(sent.author.value().login, "ada");
}

TEST_P(BackendWriting, textOfAnyScriptSurvivesTheRoundTrip) {
    const std::string notes = foreignText + "\r\n\r\n```\n\"{}\": [1]\n```\n";
    const std::string label = service->strangeLabel();
    service->addLabel(label, "0e8a16");

    TaskItem created =
        run(backend->createTask({.title = foreignText, .notes = notes, .labels = {label}}, service->projectID()));
    TaskComment comment = run(backend->addComment(notes, created));

    EXPECT_EQ(service->read(created.id).title, foreignText);
    EXPECT_EQ(service->read(created.id).notes, service->kept(notes));
    EXPECT_THAT(service->comments(created.id), ElementsAre(service->kept(notes)));
    TaskItem fetched = fetchOne(created.id);
    EXPECT_EQ(fetched.title, foreignText);
    EXPECT_EQ(fetched.notes, service->kept(notes));
    EXPECT_EQ(labelNames(fetched), labelsOfANewTask({label}));
    EXPECT_EQ(comment.body, service->kept(notes));
}

TEST_P(BackendWriting, markupOfEveryKindPassesThrough) {
    const std::string notes =
        "<p>Weiß &amp; <em>matt</em></p><ul data-type=\"taskList\"><li data-checked=\"false\"><p>a</p></li></ul>\n"
        "- [ ] left *undone* `<b>`\n";
    expectEdit([&](TaskItem& item) { item.notes = notes; },
               [&](ServerTask& task) { task.notes = service->kept(notes); });

    EXPECT_EQ(run(backend->addComment(notes, fetchOne(id))).body, service->kept(notes));
}

TEST_P(BackendDueDateWriting, aDueDateIsSetOnCreation) {
    Date due = clock->now() + 500'000;

    TaskItem created = run(backend->createTask({.title = "Reap", .dueDate = due}, service->projectID()));

    EXPECT_EQ(service->read(created.id).dueDate, service->keptOnCreation(due));
    EXPECT_EQ(created.dueDate, service->keptOnCreation(due));
}

TEST_P(BackendDueDateWriting, aDueDateIsSetMovedAndCleared) {
    for (double days : {3.0, 10.0}) {
        Date due = clock->now() + days * 86400;
        expectEdit([&](TaskItem& item) { item.dueDate = due; },
                   [&](ServerTask& task) { task.dueDate = service->keptOnEdit(due); });
    }
    expectEdit([](TaskItem& item) { item.title = "Water the peas"; },
               [](ServerTask& task) { task.title = "Water the peas"; });
    expectEdit([](TaskItem& item) { item.dueDate.reset(); }, [](ServerTask& task) { task.dueDate.reset(); });
}

TEST_P(BackendParentWriting, aParentIsSetMovedAndCleared) {
    service->letHaveParent(id);
    std::string third = service->add({.title = "Garden"});
    service->letHaveChildren(other);
    service->letHaveChildren(third);
    for (const std::string& parent : {other, third}) {
        expectEdit(
            [&](TaskItem& item) {
                item.parent = TaskParent{parent, ""};
            },
            [&](ServerTask& task) { task.parentID = parent; });
    }
    expectEdit([](TaskItem& item) { item.title = "Water the peas"; },
               [](ServerTask& task) { task.title = "Water the peas"; });
    expectEdit([](TaskItem& item) { item.parent.reset(); }, [](ServerTask& task) { task.parentID.reset(); });
}

TEST_P(BackendParentWriting, aParentThatIsRefusedLeavesTheOldOne) {
    service->letHaveParent(id);
    service->letHaveParent(other);
    service->edit(other, [&](ServerTask& task) { task.parentID = id; });
    TaskItem item = fetchOne(id);
    item.parent = TaskParent{other, ""};

    EXPECT_TRUE(failure<BackendError::Rejected>(backend->updateTask(item)));
    EXPECT_FALSE(service->read(id).parentID);
    EXPECT_EQ(service->read(other).parentID, id);
}

TEST_P(BackendKnownLabels, aNewTaskWithAnUnknownLabelIsRefusedAndNotCreated) {
    auto error = failure<BackendError::UnknownLabels>(
        backend->createTask({.title = "Reap", .labels = {"Garden", "garden", "none"}}, service->projectID()));

    ASSERT_TRUE(error);
    EXPECT_THAT(error->names, ElementsAre("Garden", "none"));
    EXPECT_EQ(service->taskCount(), 2u);
}

TEST_P(BackendKnownLabels, anEditWithAnUnknownLabelLeavesTheLabels) {
    TaskItem item = fetchOne(id);
    item.labels.push_back({"none", std::nullopt});

    EXPECT_TRUE(failure<BackendError::UnknownLabels>(backend->updateTask(item)));
    EXPECT_THAT(service->read(id).labels, ElementsAre("bug", "garden"));
}

}  // namespace
}  // namespace marlet
