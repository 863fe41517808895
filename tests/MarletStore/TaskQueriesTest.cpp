#include <gmock/gmock.h>

#include "MarletStore/Snapshots/TaskQueries.h"
#include "StoreFixture.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TaskQuery textQuery(const std::string& text) {
    TaskQuery query;
    query.text = text;
    return query;
}

TaskItem completed(TaskItem item) {
    item.isCompleted = true;
    return item;
}

TEST(TaskQueriesTest, tasksAreListedNewestFirstAndThoseWithoutADateLast) {
    StoreFixture fixture;
    TaskItem onlyCreated = fixture.item("created", std::nullopt);
    onlyCreated.createdAt = noon + 2.0;
    fixture.applyFull({fixture.item("none", std::nullopt), fixture.item("old", noon), onlyCreated,
                       fixture.item("new", noon + 5.0), fixture.item("none too", std::nullopt)});
    EXPECT_THAT(fixture.ids(), ElementsAre("new", "created", "old", "none", "none too"));
}

TEST(TaskQueriesTest, tasksOfEqualDatesStayInRowOrderWithCompletedOnesAmongThem) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1"), completed(fixture.item("2")), fixture.item("3"),
                       completed(fixture.item("4", noon + 1.0)), fixture.item("5")});
    TaskQuery all;
    all.includeCompleted = true;
    EXPECT_THAT(fixture.ids(all), ElementsAre("4", "1", "2", "3", "5"));
    EXPECT_THAT(fixture.ids(), ElementsAre("1", "3", "5"));
    all.limit = 3;
    EXPECT_THAT(fixture.ids(all), ElementsAre("4", "1", "2"));
}

TEST(TaskQueriesTest, aLimitOfZeroOrLessFindsNothing) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    for (int64_t limit : {0, -1}) {
        for (const char* parent : {"", "7"}) {
            TaskQuery query;
            query.limit = limit;
            query.parentID = *parent ? std::optional<std::string>(parent) : std::nullopt;
            EXPECT_THAT(fixture.ids(query), IsEmpty());
        }
    }
}

TEST(TaskQueriesTest, anUnsubscribedProjectsTasksAreListedLikeAllOthers) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("timed")});
    fixture.track("timed");
    runToEnd(fixture.store.setSubscribed(false, fixture.account.id, "p1"));
    EXPECT_THAT(fixture.ids(), ElementsAre("timed"));
}

TEST(TaskQueriesTest, accountAndProjectNarrowTheList) {
    StoreFixture fixture;
    fixture.addProject("p2", "Shed");
    fixture.applyFull({fixture.item("1")});
    fixture.applyFull({fixture.item("2", noon - 1.0)}, "p2");
    TaskQuery query;
    query.accountID = fixture.account.id;
    EXPECT_THAT(fixture.ids(query), ElementsAre("1", "2"));
    query.projectID = "p2";
    EXPECT_THAT(fixture.ids(query), ElementsAre("2"));
    query.accountID.reset();  // a project without its account narrows nothing
    EXPECT_THAT(fixture.ids(query), ElementsAre("1", "2"));
    query.accountID = UUID::random();
    EXPECT_THAT(fixture.ids(query), IsEmpty());
    query.parentID = "7";
    EXPECT_THAT(fixture.ids(query), IsEmpty());
}

TEST(TaskQueriesTest, theListsHoldWhatTheyAreNamedAfter) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("next"), fixture.item("starred"), fixture.item("viewed"),
                       fixture.item("undated", std::nullopt), completed(fixture.item("done"))});
    for (const char* id : {"next", "starred", "viewed"}) {
        runToEnd(fixture.store.markViewed(fixture.key(id), noon));
    }
    runToEnd(fixture.store.setNext(true, fixture.key("next")));
    runToEnd(fixture.store.setStarred(true, fixture.key("starred")));
    runToEnd(fixture.store.setStarred(true, fixture.key("done")));
    auto ids = [&](TaskList list, bool includeCompleted) {
        TaskQuery query;
        query.list = list;
        query.includeCompleted = includeCompleted;
        return fixture.ids(query);
    };
    EXPECT_THAT(ids(TaskList::next, true), ElementsAre("next"));
    EXPECT_THAT(ids(TaskList::starred, false), ElementsAre("starred"));
    EXPECT_THAT(ids(TaskList::starred, true), ElementsAre("starred", "done"));
    EXPECT_THAT(ids(TaskList::updated, false), IsEmpty());
    EXPECT_THAT(ids(TaskList::updated, true), ElementsAre("done"));
    EXPECT_THAT(ids(TaskList::timing, true), IsEmpty());
}

TEST(TaskQueriesTest, timedTasksAreListedByTheirLastStart) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1", noon + 9.0), fixture.item("2"), fixture.item("3")});
    runToEnd(fixture.store.startTimer(fixture.key("1"), noon + 1.0));
    runToEnd(fixture.store.startTimer(fixture.key("3"), noon + 2.0));
    TaskQuery query;
    query.list = TaskList::timing;
    EXPECT_THAT(fixture.ids(query), ElementsAre("3", "1"));
}

TEST(TaskQueriesTest, canHaveChildrenIsAFilterOfItsOwn) {
    StoreFixture fixture;
    TaskItem epic = fixture.item("epic");
    epic.canHaveChildren = true;
    fixture.applyFull({epic, fixture.item("story")});
    TaskQuery query;
    query.canHaveChildren = true;
    EXPECT_THAT(fixture.ids(query), ElementsAre("epic"));
    query.canHaveChildren = false;
    EXPECT_THAT(fixture.ids(query), ElementsAre("story"));
}

TEST(TaskQueriesTest, textIsFoundInTitleNotesAndLabelsWithoutRegardToCaseAndAccents) {
    StoreFixture fixture;
    TaskItem notes = fixture.item("notes", noon, "Dig");
    notes.notes = "Near the ROSÉS";
    TaskItem label = fixture.item("label", noon, "Dig");
    label.labels = {{"other", {}}, {"Rosés", {}}};
    fixture.applyFull({fixture.item("title", noon, "Prune roses"), notes, label, fixture.item("no", noon, "Dig")});
    EXPECT_THAT(fixture.ids(textQuery("roses")), ElementsAre("title", "notes", "label"));
    EXPECT_THAT(fixture.ids(textQuery("  rÓSES\n")), ElementsAre("title", "notes", "label"));
    EXPECT_THAT(fixture.ids(textQuery("rosesdig")), IsEmpty());
}

TEST(TaskQueriesTest, noMatchSpansTwoFields) {
    StoreFixture fixture;
    TaskItem task = fixture.item("17", noon, "beans");
    task.notes = "peas";
    task.labels = {{"oak", {}}, {"ash", {}}};
    fixture.applyFull({task});
    for (const char* text : {"beanspeas", "peasoak", "oakash", "17beans", "beans peas"}) {
        EXPECT_THAT(fixture.ids(textQuery(text)), IsEmpty()) << text;
    }
}

TEST(TaskQueriesTest, aTextOfBlanksFiltersNothing) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("1")});
    EXPECT_THAT(fixture.ids(textQuery(" \t\n\xC2\xA0")), ElementsAre("1"));
}

TEST(TaskQueriesTest, aWholeIdIsFoundAndAPartOfItIsnt) {
    StoreFixture fixture;
    fixture.applyFull({fixture.item("123"), fixture.item("ABC-7")});
    EXPECT_THAT(fixture.ids(textQuery("123")), ElementsAre("123"));
    EXPECT_THAT(fixture.ids(textQuery(" ABC-7 ")), ElementsAre("ABC-7"));
    EXPECT_THAT(fixture.ids(textQuery("12")), IsEmpty());
    EXPECT_THAT(fixture.ids(textQuery("abc-7")), IsEmpty());
}

TEST(TaskQueriesTest, searchFollowsEditsAndServerNames) {
    StoreFixture fixture;
    std::string key = fixture.create("Sow peas");
    runToEnd(fixture.store.editTask(key, noon, [](TaskItem& task) { task.notes = "By the wall"; }));
    EXPECT_EQ(fixture.ids(textQuery("wall")).size(), 1U);
    runToEnd(fixture.store.completePush(key, 1, fixture.item("77", noon, "Sow oats")));
    EXPECT_THAT(fixture.ids(textQuery("wall")), IsEmpty());
    EXPECT_THAT(fixture.ids(textQuery("oats")), ElementsAre("77"));
    EXPECT_THAT(fixture.ids(textQuery("77")), ElementsAre("77"));
    fixture.applyFull({fixture.item("77", noon, "Sow rye")});
    EXPECT_THAT(fixture.ids(textQuery("rye")), ElementsAre("77"));
}

TEST(TaskQueriesTest, textJoinsWithEveryOtherFilter) {
    StoreFixture fixture;
    fixture.addProject("p2", "Shed");
    TaskItem child = fixture.item("child", noon + 1.0, "Water the child");
    child.parent = TaskParent{"7", ""};
    fixture.applyFull({fixture.item("open"), completed(fixture.item("done")), child});
    fixture.applyFull({fixture.item("other")}, "p2");
    runToEnd(fixture.store.setNext(true, fixture.key("open")));
    TaskQuery query = textQuery("water");
    query.accountID = fixture.account.id;
    EXPECT_THAT(fixture.ids(query), ElementsAre("child", "open", "other"));
    query.limit = 2;
    EXPECT_THAT(fixture.ids(query), ElementsAre("child", "open"));
    query.projectID = "p1";
    query.limit = 50;
    EXPECT_THAT(fixture.ids(query), ElementsAre("child", "open"));
    query.includeCompleted = true;
    EXPECT_THAT(fixture.ids(query), ElementsAre("child", "open", "done"));
    query.list = TaskList::next;
    EXPECT_THAT(fixture.ids(query), ElementsAre("open"));
    query.list.reset();
    query.parentID = "7";
    EXPECT_THAT(fixture.ids(query), ElementsAre("child"));
    query.text = "peas";
    EXPECT_THAT(fixture.ids(query), IsEmpty());
}

// Children of task 7 of p1: in p1 by its plain id, in p2 by the plain id or with the project in front.
std::vector<std::string> childrenOfSeven(BackendKind kind, bool namesProject, bool namesAccount = true) {
    StoreFixture fixture(kind);
    fixture.addProject("p2", "Shed");
    auto child = [&](const std::string& id, const std::string& parent) {
        TaskItem item = fixture.item(id);
        item.parent = TaskParent{parent, ""};
        return item;
    };
    fixture.applyFull({child("here", "7"), child("here qualified", "p1#7"), child("else", "8"), fixture.item("none")});
    fixture.applyFull({child("there", "7"), child("there qualified", "p1#7")}, "p2");
    TaskQuery query;
    query.parentID = "7";
    query.projectID = namesProject ? std::optional<std::string>("p1") : std::nullopt;
    query.accountID = namesAccount ? std::optional(fixture.account.id) : std::nullopt;
    return fixture.ids(query);
}

TEST(TaskQueriesTest, childrenOnGitHubMayLieInOtherRepositories) {
    EXPECT_THAT(childrenOfSeven(BackendKind::github, true), ElementsAre("here", "there qualified"));
    EXPECT_THAT(childrenOfSeven(BackendKind::github, false), ElementsAre("here", "there"));
    EXPECT_THAT(childrenOfSeven(BackendKind::github, true, false), ElementsAre("here", "there qualified"));
}

TEST(TaskQueriesTest, childrenOnVikunjaMayLieInOtherProjects) {
    EXPECT_THAT(childrenOfSeven(BackendKind::vikunja, true), ElementsAre("here", "there"));
}

TEST(TaskQueriesTest, childrenOnGitLabLieInTheProject) {
    EXPECT_THAT(childrenOfSeven(BackendKind::gitlab, true), ElementsAre("here"));
    EXPECT_THAT(childrenOfSeven(BackendKind::gitlab, false), ElementsAre("here", "there"));
    EXPECT_THAT(childrenOfSeven(BackendKind::gitlab, true, false), ElementsAre("here", "there"));
}

TEST(TaskQueriesTest, childrenAreLimitedAndFiltered) {
    StoreFixture fixture;
    std::vector<TaskItem> children;
    for (int number = 0; number < 5; ++number) {
        TaskItem child = fixture.item(std::to_string(number), noon + number);
        child.parent = TaskParent{"7", ""};
        child.isCompleted = number == 4;
        children.push_back(child);
    }
    fixture.applyFull(children);
    TaskQuery query;
    query.parentID = "7";
    query.limit = 2;
    EXPECT_THAT(fixture.ids(query), ElementsAre("3", "2"));
    query.includeCompleted = true;
    EXPECT_THAT(fixture.ids(query), ElementsAre("4", "3"));
}

// What SQLite says it does: an index named, and no sorting or scanning of tasks.
std::string plan(const TaskQuery& query, bool hasText) {
    DiskStoreFixture disk;
    SQLite::Database database(disk.file().string(), SQLite::OPEN_READONLY);
    database.createFunction("taskTextMatches", 3, true, nullptr, [](sqlite3_context*, int, sqlite3_value**) {});
    SQLite::Statement explained(database, "EXPLAIN QUERY PLAN " + taskRowsStatement(query, hasText));
    std::string text;
    while (explained.executeStep()) {
        text += explained.getColumn(3).getString() + "\n";
    }
    return text;
}

TEST(TaskQueryPlansTest, everyListIsReadInTheOrderOfAnIndex) {
    struct Case {
        std::optional<TaskList> list;
        bool hasAccount;
        bool hasProject;
        const char* index;
    };
    for (const Case& one :
         {Case{{}, false, false, "tasksByDate"}, Case{{}, true, false, "tasksInAccount"},
          Case{{}, true, true, "tasksInProject"}, Case{TaskList::next, false, false, "nextTasks"},
          Case{TaskList::starred, true, false, "starredTasks"}, Case{TaskList::updated, false, false, "unreadTasks"},
          Case{TaskList::updated, true, true, "tasksInProject"},
          Case{TaskList::timing, false, false, "startedTasks"}}) {
        for (bool includeCompleted : {false, true}) {
            TaskQuery query;
            query.list = one.list;
            query.accountID = one.hasAccount ? std::optional(UUID()) : std::nullopt;
            query.projectID = one.hasProject ? std::optional<std::string>("p1") : std::nullopt;
            query.includeCompleted = includeCompleted;
            std::string text = plan(query, false);
            EXPECT_THAT(text, HasSubstr(std::string("INDEX ") + one.index + " ("));
            EXPECT_THAT(text, Not(HasSubstr("TEMP B-TREE")));
            EXPECT_THAT(text, Not(HasSubstr("SCAN StoredTask")));
        }
    }
}

TEST(TaskQueryPlansTest, aTextIsSearchedInOnePassOverTheTextsAlone) {
    std::string text = plan({}, true);
    EXPECT_THAT(text, HasSubstr("SCAN TaskSearch"));
    EXPECT_THAT(text, HasSubstr("SEARCH StoredTask USING INTEGER PRIMARY KEY"));
}

}  // namespace
}  // namespace marlet
