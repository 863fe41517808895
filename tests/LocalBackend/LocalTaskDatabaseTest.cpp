#include "LocalBackend/LocalTaskDatabase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "LocalTaskFixture.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

std::vector<std::string> names(const std::vector<Project>& projects) {
    std::vector<std::string> result;
    result.reserve(projects.size());
    for (const Project& project : projects) {
        result.push_back(project.name);
    }
    return result;
}

TEST(LocalTaskDatabaseTest, aNewProjectIsAnEmptyListWithALowerCaseIdentity) {
    LocalTaskFixture local;

    const Project& project = local.project;
    EXPECT_EQ(project.name, "Garden");
    EXPECT_EQ(project.accountID, local.accountID);
    EXPECT_EQ(project.detail, "");
    EXPECT_EQ(project.kind, ProjectKind::list);
    EXPECT_TRUE(project.statusOptions.empty());
    EXPECT_FALSE(project.webURL || project.cloneURL || project.sshCloneURL);
    ASSERT_TRUE(UUID::parse(project.id));
    EXPECT_EQ(project.id, UUID::parse(project.id)->lowercaseText());
    EXPECT_TRUE(local.tasks().empty());
}

TEST(LocalTaskDatabaseTest, anAccountSeesItsOwnProjectsInTheOrderOfTheirMaking) {
    LocalTaskFixture local;
    UUID other = UUID::random();
    local.run(local.database->createProject("Attic", local.accountID, noon + 1));
    local.run(local.database->createProject("Elsewhere", other, noon + 2));

    EXPECT_EQ(names(local.run(local.database->projects(local.accountID))),
              (std::vector<std::string>{"Garden", "Attic"}));
    EXPECT_EQ(names(local.run(local.database->projects(other))), std::vector<std::string>{"Elsewhere"});
    EXPECT_TRUE(local.run(local.database->projects(UUID::random())).empty());
}

TEST(LocalTaskDatabaseTest, renamingAProjectChangesItsNameAlone) {
    LocalTaskFixture local;
    local.create("Water the beans");

    local.run(local.database->renameProject(local.project.id, "Allotment", local.accountID));

    Project expected = local.project;
    expected.name = "Allotment";
    EXPECT_EQ(local.run(local.database->projects(local.accountID)), std::vector<Project>{expected});
    EXPECT_EQ(local.tasks().size(), 1U);
}

TEST(LocalTaskDatabaseTest, aProjectThatHasGoneIsNotFound) {
    LocalTaskFixture local;
    LocalTaskDatabase& database = *local.database;
    local.run(database.deleteProject(local.project.id, local.accountID));
    auto errorOf = [&](auto operation) { return backendErrorOf([&] { local.run(operation()); }); };

    EXPECT_EQ(errorOf([&] { return database.deleteProject(local.project.id, local.accountID); }),
              BackendError::notFound());
    EXPECT_EQ(errorOf([&] { return database.renameProject(local.project.id, "x", local.accountID); }),
              BackendError::notFound());
    EXPECT_EQ(errorOf([&] { return database.tasks(local.accountID, local.project.id, std::nullopt); }),
              BackendError::notFound());
    EXPECT_EQ(errorOf([&] { return database.createTask({}, local.accountID, local.project.id, noon); }),
              BackendError::notFound());
}

TEST(LocalTaskDatabaseTest, aProjectOfAnotherAccountIsNotFound) {
    LocalTaskFixture local;
    UUID other = UUID::random();

    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->deleteProject(local.project.id, other)); }),
              BackendError::notFound());
    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->tasks(other, local.project.id, std::nullopt)); }),
              BackendError::notFound());
    EXPECT_EQ(local.run(local.database->projects(local.accountID)).size(), 1U);
}

TEST(LocalTaskDatabaseTest, aDeletedProjectTakesItsTasksAndTheirCommentsWithIt) {
    LocalTaskFixture local;
    TaskItem task = local.create("Water the beans");
    local.run(local.database->addComment("Twice", local.accountID, task, noon));

    local.run(local.database->deleteProject(local.project.id, local.accountID));

    EXPECT_EQ(backendErrorOf([&] { local.task(task.id); }), BackendError::notFound());
    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->comments(local.accountID, task)); }),
              BackendError::notFound());
}

TEST(LocalTaskDatabaseTest, removingAnAccountTakesAllItsProjectsAndNoOthers) {
    LocalTaskFixture local;
    UUID other = UUID::random();
    local.run(local.database->createProject("Attic", local.accountID, noon));
    local.run(local.database->createProject("Elsewhere", other, noon));
    local.create("Water the beans");

    local.run(local.database->removeAccount(local.accountID));

    EXPECT_TRUE(local.run(local.database->projects(local.accountID)).empty());
    EXPECT_EQ(local.run(local.database->projects(other)).size(), 1U);
}

TEST(LocalTaskDatabaseTest, removingAnAccountWithoutProjectsDoesNothing) {
    LocalTaskFixture local;

    local.run(local.database->removeAccount(UUID::random()));

    EXPECT_EQ(local.run(local.database->projects(local.accountID)).size(), 1U);
}

TEST(LocalTaskDatabaseTest, commentsComeOldestFirstAndWithoutAnAuthor) {
    LocalTaskFixture local;
    TaskItem task = local.create("Water the beans");
    TaskItem other = local.create("Paint the fence");
    TaskComment second = local.run(local.database->addComment("Second", local.accountID, task, noon + 20));
    TaskComment first = local.run(local.database->addComment("First", local.accountID, task, noon + 10));
    TaskComment third = local.run(local.database->addComment("Third", local.accountID, task, noon + 20));
    local.run(local.database->addComment("Elsewhere", local.accountID, other, noon));

    EXPECT_EQ(local.run(local.database->comments(local.accountID, task)),
              (std::vector<TaskComment>{first, second, third}));
    EXPECT_FALSE(first.author);
    EXPECT_EQ(first.body, "First");
    EXPECT_EQ(first.createdAt, noon + 10);
    EXPECT_FALSE(first.updatedAt);
    EXPECT_TRUE(UUID::parse(first.id));
}

TEST(LocalTaskDatabaseTest, commentsOfATaskThatHasGoneAreNotFound) {
    LocalTaskFixture local;
    TaskItem task = local.create("Water the beans");
    local.remove(task);

    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->comments(local.accountID, task)); }),
              BackendError::notFound());
    EXPECT_EQ(backendErrorOf([&] { local.run(local.database->addComment("x", local.accountID, task, noon)); }),
              BackendError::notFound());
}

TEST(LocalTaskDatabaseTest, everythingIsThereAgainAfterARestart) {
    TemporaryFolder folder;
    LocalTaskFixture local(std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeContainer(folder.path())));
    TaskItem bed = local.create("Dig the bed");
    TaskItem beans = local.createBelow("Sow the beans", bed);
    TaskItem dug = bed;
    dug.isCompleted = true;
    dug.priority = 2;
    dug.dueDate = noon + 0.125;
    dug.labels = {{"spring", std::nullopt}, {"\"quoted\", ünïcode", std::nullopt}};
    dug.notes = std::string("Two spades deep\0, and a line\n", 29);
    dug = local.update(dug);
    TaskComment comment = local.run(local.database->addComment("Rain first", local.accountID, beans, noon));

    local.database.reset();
    local.database = std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeContainer(folder.path()));

    EXPECT_EQ(local.tasks(), (std::vector<TaskItem>{dug, beans}));
    EXPECT_EQ(local.run(local.database->comments(local.accountID, beans)), std::vector<TaskComment>{comment});
    EXPECT_EQ(local.create("Stake the beans").id, "3");
}

TEST(LocalTaskDatabaseTest, theFileIsCalledLocalTasksAndIsTheUsersAlone) {
    TemporaryFolder folder;
    LocalTaskDatabase database(LocalTaskSchema::makeContainer(folder.path()));

    struct stat status {};
    ASSERT_EQ(::stat((folder.path() / "LocalTasks.sqlite").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

// Another handle on the database file, to look at it or to damage it.
class DatabaseFile {
public:
    explicit DatabaseFile(const TemporaryFolder& folder)
        : database((folder.path() / "LocalTasks.sqlite").string(), SQLite::OPEN_READWRITE) {}

    void execute(const std::string& sql) { database.exec(sql); }

private:
    SQLite::Database database;
};

TEST(LocalTaskDatabaseTest, aSaveThatFailsKeepsNothingOfTheChange) {
    TemporaryFolder folder;
    LocalTaskFixture local(std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeContainer(folder.path())));
    TaskItem bed = local.create("Dig the bed");
    TaskItem beans = local.createBelow("Sow the beans", bed);
    DatabaseFile(folder).execute(
        "CREATE TRIGGER refuse BEFORE INSERT ON LocalTaskRecord BEGIN SELECT RAISE(ABORT, 'no space'); END;"
        "CREATE TRIGGER keep BEFORE DELETE ON LocalTaskRecord BEGIN SELECT RAISE(ABORT, 'no space'); END;");

    EXPECT_THROW(local.create("Stake the beans"), SQLite::Exception);
    EXPECT_THROW(local.remove(bed), SQLite::Exception);

    EXPECT_EQ(local.tasks(), (std::vector<TaskItem>{bed, beans}));
    DatabaseFile(folder).execute("DROP TRIGGER refuse");
    EXPECT_EQ(local.create("Stake the beans").id, "3");
}

TEST(LocalTaskDatabaseTest, aCycleThatIsAlreadyThereEndsTheWalkAndCanBeUndone) {
    TemporaryFolder folder;
    LocalTaskFixture local(std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeContainer(folder.path())));
    local.create("Hen");
    local.create("Egg");
    TaskItem farmer = local.create("Farmer");
    DatabaseFile(folder).execute("UPDATE LocalTaskRecord SET parentNumber = 3 - number WHERE number < 3");

    EXPECT_EQ(local.moveBelow(farmer, "1").parent, (TaskParent{"1", "Hen"}));
    TaskItem hen = local.task("1");
    EXPECT_EQ(hen.parent, (TaskParent{"2", "Egg"}));
    hen.parent.reset();
    EXPECT_EQ(local.update(hen).parent, std::nullopt);
}

TEST(LocalTaskDatabaseTest, aParentThatIsMissingFromADamagedDatabaseReadsAsNone) {
    TemporaryFolder folder;
    LocalTaskFixture local(std::make_shared<LocalTaskDatabase>(LocalTaskSchema::makeContainer(folder.path())));
    local.create("Sow the beans");
    DatabaseFile(folder).execute("UPDATE LocalTaskRecord SET parentNumber = 99");

    EXPECT_EQ(local.tasks().at(0).parent, std::nullopt);
}

}  // namespace
}  // namespace marlet
