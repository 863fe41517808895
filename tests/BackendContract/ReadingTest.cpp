#include <boost/json/parse.hpp>

#include "TestSupport/BackendContract.h"

namespace marlet {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class BackendReading : public BackendContract {};
class BackendDueDateReading : public BackendContract {};
class BackendParentReading : public BackendContract {};
class BackendCounting : public BackendContract {};
class BackendHinting : public BackendContract {};
class BackendProbing : public BackendContract {
protected:
    std::optional<std::map<std::string, Date>> probe(Date since) {
        return run(dynamic_cast<AccountChangeProbing&>(*backend).latestTaskUpdates(since));
    }
};
using Abilities = ContractCase::Abilities;

INSTANTIATE_TEST_SUITE_P(Services, BackendReading, testing::ValuesIn(contractServices()), ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendDueDateReading, testing::ValuesIn(contractServicesWith(&Abilities::dueDates)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendParentReading, testing::ValuesIn(contractServicesWith(&Abilities::parents)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendCounting, testing::ValuesIn(contractServicesWith(&Abilities::counts)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendHinting, testing::ValuesIn(contractServicesWith(&Abilities::hints)),
                         ContractCase::nameOf);
INSTANTIATE_TEST_SUITE_P(Services, BackendProbing, testing::ValuesIn(contractServicesWith(&Abilities::probes)),
                         ContractCase::nameOf);

TEST_P(BackendReading, theProjectIsListedOnce) {
    std::vector<std::string> ids;
    for (const Project& project : run(backend->fetchProjects())) {
        ids.push_back(project.id);
        EXPECT_EQ(project.accountID, backend->account().id);
        EXPECT_THAT(project.name, Not(IsEmpty()));
    }

    EXPECT_THAT(ids, ElementsAre(service->projectID()));
}

TEST_P(BackendReading, anEmptyProjectGivesNoTasks) {
    EXPECT_THAT(fetch(), IsEmpty());
}

TEST_P(BackendReading, everyFieldOfATaskIsRead) {
    service->addLabel("garden", "0e8a16");
    std::string id = service->add({.title = "Water the beans",
                                   .notes = "All *of* them",
                                   .isCompleted = true,
                                   .labels = {"garden"},
                                   .assignees = {"grace"}});
    Date created = clock->now();
    clock->advance(600);
    service->edit(id, [](ServerTask& task) { task.notes = "Half of them"; });

    TaskItem item = fetchOne(id);

    EXPECT_EQ(item.projectID, service->projectID());
    EXPECT_EQ(item.title, "Water the beans");
    EXPECT_EQ(item.notes, "Half of them");
    EXPECT_TRUE(item.isCompleted);
    bool hasColors = GetParam().abilities.labelColors;
    EXPECT_THAT(item.labels, ElementsAre(TaskLabel{"garden", hasColors ? std::optional("0e8a16") : std::nullopt}));
    ASSERT_EQ(item.assignees.size(), 1u);
    EXPECT_EQ(item.assignees[0].login, "grace");
    EXPECT_EQ(item.createdAt, created);
    EXPECT_EQ(item.updatedAt, created + 600);
    EXPECT_EQ(item.milestone ? item.milestone->title : "", GetParam().abilities.milestones ? "Spring" : "");
    EXPECT_THAT(item.webURL.value().text(), HasSubstr(id));
    EXPECT_FALSE(item.dueDate || item.parent);
}

TEST_P(BackendReading, aTaskWithNothingButATitleIsRead) {
    std::string id = service->add({.title = "Sow"});

    TaskItem item = fetchOne(id);

    EXPECT_EQ(item.notes, "");
    EXPECT_FALSE(item.isCompleted);
    EXPECT_THAT(item.labels, IsEmpty());
    EXPECT_THAT(item.assignees, IsEmpty());
}

TEST_P(BackendDueDateReading, theDueDateIsRead) {
    Date due = clock->now() + 100'000;
    std::string id = service->add({.title = "Sow", .dueDate = due});

    EXPECT_EQ(fetchOne(id).dueDate, service->keptOnCreation(due));
}

TEST_P(BackendParentReading, theParentIsReadWithItsTitle) {
    std::string parent = service->add({.title = "Garden"});
    std::string child = service->add({.title = "Sow"});
    service->letHaveParent(child);
    service->letHaveChildren(parent);
    service->edit(child, [&](ServerTask& task) { task.parentID = parent; });

    EXPECT_EQ(fetchOne(child).parent, (TaskParent{parent, "Garden"}));
    EXPECT_FALSE(fetchOne(parent).parent);
}

TEST_P(BackendReading, allPagesOfAListAreRead) {
    std::vector<std::string> ids;
    for (size_t count = 0; count < 2 * service->pageSize() + 3; ++count) {
        ids.push_back(service->add({.title = "Task " + std::to_string(count)}));
        clock->advance(1);
    }
    std::sort(ids.begin(), ids.end());
    service->service().clearLog();

    EXPECT_EQ(taskIDs(fetch()), ids);
    EXPECT_EQ(service->service().count("GET"), 2u + service->firstRequests());
}

TEST_P(BackendReading, theItemLimitCutsAFullFetchAndNoOther) {
    backend = service->makeBackend(4);
    for (int count = 0; count < 6; ++count) {
        service->add({.title = "Task"});
    }

    EXPECT_EQ(fetch().size(), 4u);
    EXPECT_EQ(fetch(clock->now() - 60).size(), 6u);
}

TEST_P(BackendReading, whatChangedSinceADateIsGivenAndNothingElse) {
    std::string changed = service->add({.title = "Sow"});
    service->add({.title = "Reap"});
    clock->advance(service->margin() + 60);
    Date since = clock->now();
    clock->advance(60);
    service->edit(changed, [](ServerTask& task) { task.title = "Sow again"; });
    std::string added = service->add({.title = "Eat"});
    std::vector<std::string> expected{changed, added};
    std::sort(expected.begin(), expected.end());

    EXPECT_EQ(taskIDs(fetch(since)), expected);
    clock->advance(service->margin());
    EXPECT_THAT(fetch(clock->now() + 1), IsEmpty());
}

TEST_P(BackendReading, aQuietSecondFetchIsAnsweredBy304sAlone) {
    for (size_t count = 0; count < service->pageSize() + 3; ++count) {
        service->add({.title = "Task"});
    }
    std::vector<TaskItem> first = fetch();
    run(backend->fetchProjects());
    service->service().takeLines();

    std::vector<TaskItem> second = fetch();
    run(backend->fetchProjects());

    EXPECT_EQ(second, first);
    if (GetParam().abilities.entityTags) {
        EXPECT_THAT(service->service().takeLines(), Each(EndsWith(" -> 304")));
    }
}

TEST_P(BackendReading, aChangeAmidCachedPagesIsSeen) {
    std::string id = service->add({.title = "Sow"});
    service->add({.title = "Reap"});
    fetch();
    clock->advance(60);
    service->edit(id, [](ServerTask& task) { task.isCompleted = true; });

    EXPECT_TRUE(fetchOne(id).isCompleted);
}

TEST_P(BackendReading, theRawTaskIsTheServicesOwnAnswer) {
    std::string id = service->add({.title = "Sow"});
    auto& reading = dynamic_cast<RawTaskReading&>(*backend);

    std::string bytes = run(reading.rawTask(fetchOne(id)));

    EXPECT_EQ(service->titleIn(boost::json::parse(bytes)), "Sow");
}

TEST_P(BackendReading, commentsOfOthersAreRead) {
    std::string id = service->add({.title = "Sow"});
    EXPECT_THAT(run(backend->fetchComments(fetchOne(id))), IsEmpty());
    service->addComment(id, "Where?");
    service->addComment(id, "There");

    std::vector<TaskComment> comments = run(backend->fetchComments(fetchOne(id)));

    ASSERT_EQ(comments.size(), 2u);
    EXPECT_EQ(comments[0].body, "Where?");
    EXPECT_EQ(comments[1].body, "There");
    EXPECT_EQ(comments[0].author.value().login, "grace");
    EXPECT_EQ(comments[0].createdAt, clock->now());
}

TEST_P(BackendCounting, theTasksAreCounted) {
    auto& counting = dynamic_cast<TaskCounting&>(*backend);
    EXPECT_EQ(run(counting.taskCount(service->projectID())), 0);
    for (int count = 0; count < 3; ++count) {
        service->add({.title = "Task", .isCompleted = count == 1});
        EXPECT_EQ(run(counting.taskCount(service->projectID())), count + 1);
    }
}

TEST_P(BackendHinting, aCommentByAnotherUserIsHintedAtFromItsDateOn) {
    auto& hinting = dynamic_cast<ChangeHinting&>(*backend);
    ASSERT_TRUE(hinting.providesChangeHints());
    std::string id = service->add({.title = "Sow"});
    clock->advance(service->margin() + 600);
    Date since = clock->now();
    EXPECT_THAT(run(hinting.notifiedTaskUpdates(since)), IsEmpty());
    clock->advance(60);
    service->addComment(id, "Where?");

    ChangeHints hints = run(hinting.notifiedTaskUpdates(since));

    EXPECT_EQ(hints, (ChangeHints{{service->projectID(), ChangeHint{clock->now(), std::nullopt}}}));
    clock->advance(service->margin());
    EXPECT_THAT(run(hinting.notifiedTaskUpdates(clock->now() + 1)), IsEmpty());
}

TEST_P(BackendHinting, anEditOfOnesOwnIsNoHintWhereTheServiceCanTell) {
    auto& hinting = dynamic_cast<ChangeHinting&>(*backend);
    std::string id = service->add({.title = "Sow"});
    clock->advance(service->margin() + 600);
    Date since = clock->now();
    update(id, [](TaskItem& item) { item.title = "Sow again"; });

    EXPECT_EQ(run(hinting.notifiedTaskUpdates(since)).empty(), !GetParam().abilities.hintsOwnEdits);
}

TEST_P(BackendProbing, aProbeTellsTheLatestChangeSinceADateAndNothingElse) {
    std::string id = service->add({.title = "Sow"});
    service->add({.title = "Reap"});
    clock->advance(600);
    Date since = clock->now();
    EXPECT_EQ(probe(since), (std::map<std::string, Date>()));
    for (const char* title : {"Sow again", "Sow once more"}) {
        clock->advance(60);
        service->edit(id, [&](ServerTask& task) { task.title = title; });
    }

    EXPECT_EQ(probe(since), (std::map<std::string, Date>{{service->projectID(), clock->now()}}));
    EXPECT_EQ(probe(clock->now() + 1), (std::map<std::string, Date>()));
}

TEST_P(BackendProbing, ofTooManyChangesAProbeTellsNothing) {
    for (int count = 0; count < 300; ++count) {
        service->add({.title = "Task"});
    }

    EXPECT_EQ(probe(clock->now() - 60), std::nullopt);
}

}  // namespace
}  // namespace marlet
