#include "MarletStore/Snapshots/TaskNames.h"

#include "StoreFixture.h"

namespace marlet {
namespace {

class TaskNamesTest : public testing::Test {
protected:
    std::vector<std::string> titlesNamed(const std::string& name, std::optional<UUID> accountID = std::nullopt,
                                         std::optional<std::string> projectID = std::nullopt) {
        std::vector<std::string> titles;
        for (const TaskSnapshot& task : runToEnd(fixture.store.tasksNamed(name, accountID, projectID))) {
            titles.push_back(task.item.title);
        }
        return titles;
    }

    StoreFixture fixture{BackendKind::jira};
};

using Titles = std::vector<std::string>;

}  // namespace

TEST_F(TaskNamesTest, aTaskIsFoundByItsWholeNumberInAnyCase) {
    TaskItem completed = StoreFixture::item("PROJ-12", noon, "Completed");
    completed.isCompleted = true;
    fixture.applyFull({completed, StoreFixture::item("PROJ-123", noon, "Longer")});

    EXPECT_EQ(titlesNamed("PROJ-12"), Titles({"Completed"}));
    EXPECT_EQ(titlesNamed("proj-12"), Titles({"Completed"}));
    EXPECT_EQ(titlesNamed("proj-1"), Titles());
    EXPECT_EQ(titlesNamed(""), Titles());
}

TEST_F(TaskNamesTest, caseIsIgnoredAsUnicodeHasIt) {
    fixture.applyFull({StoreFixture::item("KEY-1", noon, "Key"), StoreFixture::item("É-1", noon, "Accent")});

    EXPECT_EQ(titlesNamed("\xE2\x84\xAA"
                          "ey-1"),
              Titles({"Key"}));  // the Kelvin sign is a K
    EXPECT_EQ(titlesNamed("É-1"), Titles({"Accent"}));
    EXPECT_EQ(titlesNamed("E-1"), Titles());
}

TEST_F(TaskNamesTest, aNumberEndsWhereItEndsAndNotAtAZeroByte) {
    using namespace std::string_literals;
    fixture.applyFull({StoreFixture::item("12", noon, "Twelve")});
    EXPECT_EQ(titlesNamed("12\0"s), Titles());
    EXPECT_EQ(titlesNamed("12"), Titles({"Twelve"}));
}

TEST_F(TaskNamesTest, aTaskIsFoundByItsLocalIDInAnyCase) {
    fixture.applyFull({StoreFixture::item("1", noon, "One"), StoreFixture::item("2", noon, "Two")});
    UUID two = fixture.snapshot("2").value().localID;
    EXPECT_EQ(titlesNamed(two.text()), Titles({"Two"}));
    EXPECT_EQ(titlesNamed(two.lowercaseText()), Titles({"Two"}));
    EXPECT_EQ(titlesNamed(UUID::random().text()), Titles());
}

TEST_F(TaskNamesTest, aWaitingTaskIsFoundByItsProvisionalNumber) {
    fixture.create("Waiting");
    std::string id = fixture.snapshots().at(0).item.id;
    EXPECT_EQ(titlesNamed(id), Titles({"Waiting"}));
}

TEST_F(TaskNamesTest, namesakesComeInTheOrderOfListsAndFromTheirScopeAlone) {
    fixture.addProject("p2", "Orchard");
    Account other = StoreFixture::makeAccount(BackendKind::gitlab, "Work");
    runToEnd(fixture.store.addAccount(other));
    Project project = fixture.project("p1", "Elsewhere");
    project.accountID = other.id;
    runToEnd(fixture.store.replaceProjects({project}, other.id, noon));
    fixture.applyFull({StoreFixture::item("1", noon, "First")});
    fixture.applyFull({StoreFixture::item("1", noon + 60.0, "Newer")}, "p2");
    FetchedTasks elsewhere = fixture.fetch({StoreFixture::item("1", noon, "Elsewhere")});
    elsewhere.accountID = other.id;
    runToEnd(fixture.store.applyFetchedTasks(elsewhere));

    EXPECT_EQ(titlesNamed("1"), Titles({"Newer", "First", "Elsewhere"}));
    EXPECT_EQ(titlesNamed("1", fixture.account.id), Titles({"Newer", "First"}));
    EXPECT_EQ(titlesNamed("1", fixture.account.id, "p1"), Titles({"First"}));
    EXPECT_EQ(titlesNamed("1", std::nullopt, "p1"), Titles({"First", "Elsewhere"}));
    UUID newer = runToEnd(fixture.store.taskSnapshot(taskKey(fixture.account.id, "p2", "1"))).value().localID;
    EXPECT_EQ(titlesNamed(newer.text(), fixture.account.id, "p1"), Titles());
}

TEST_F(TaskNamesTest, theLookUpWalksNoTable) {
    ModelContext context(MarletSchema::makeInMemoryContainer());
    for (bool inAccount : {false, true}) {
        for (bool inProject : {false, true}) {
            SQLite::Statement plan(context.database(),
                                   "EXPLAIN QUERY PLAN " + rowsNamedStatement(inAccount, inProject));
            std::string text;
            while (plan.executeStep()) {
                text += plan.getColumn(3).getString() + "\n";
            }
            EXPECT_NE(text.find("USING INDEX tasksByNumber (remoteID=?)"), std::string::npos) << text;
            EXPECT_NE(text.find("(localID=?)"), std::string::npos) << text;
            EXPECT_EQ(text.find("SCAN StoredTask"), std::string::npos) << text;
        }
    }
}

}  // namespace marlet
