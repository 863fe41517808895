#include "MarletBase/Database.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "TestSupport/FailingFileSystem.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using testing::HasSubstr;

const DatabaseSchema things{"Things", 3, "CREATE TABLE Thing (id INTEGER PRIMARY KEY, name TEXT NOT NULL) STRICT"};

class DatabaseTest : public testing::Test {
protected:
    std::filesystem::path file() const { return folder.path() / "Things.sqlite"; }

    // Opens the database, and closes it again.
    void open() { ModelContext context(ModelContainer::onDisk(things, folder.path())); }

    std::string failure(const std::string& vfs = {}) {
        try {
            ModelContainer::onDisk(things, folder.path(), vfs);
        } catch (const DatabaseError& error) {
            return error.errorDescription();
        }
        return "none";
    }

    // The folder's files with their bytes.
    std::map<std::string, std::string> bytes() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            std::ostringstream text;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            found[entry.path().filename().string()] = text.str();
        }
        return found;
    }

    // Refuses to open what `damage` has made of the file, and leaves every byte of it.
    std::string refusalAfter(const std::function<void()>& damage) {
        damage();
        auto before = bytes();
        std::string text = failure();
        EXPECT_TRUE(bytes() == before);
        return text;
    }

    void change(const std::string& sql) { SQLite::Database(file().string(), SQLite::OPEN_READWRITE).exec(sql); }

    TemporaryFolder folder;
};

int64_t count(ModelContext& context) {
    SQLite::Statement& statement = context.statement("SELECT COUNT(*) FROM Thing");
    statement.executeStep();
    int64_t found = statement.getColumn(0).getInt64();
    statement.reset();
    return found;
}

void add(ModelContext& context, const std::string& name) {
    SQLite::Statement& statement = context.statement("INSERT INTO Thing (name) VALUES (?)");
    statement.bind(1, name);
    statement.exec();
}

TEST_F(DatabaseTest, whatWasWrittenIsThereWhenItIsOpenedAgain) {
    {
        ModelContext context(ModelContainer::onDisk(things, folder.path()));
        context.transaction([&] { add(context, "one"); });
    }
    ModelContext context(ModelContainer::onDisk(things, folder.path()));
    EXPECT_EQ(count(context), 1);
    EXPECT_EQ(context.database().execAndGet("PRAGMA user_version").getInt(), 3);
    EXPECT_EQ(context.database().execAndGet("PRAGMA journal_mode").getString(), "wal");
    EXPECT_EQ(context.database().execAndGet("PRAGMA synchronous").getInt(), 2);
    EXPECT_EQ(context.database().execAndGet("PRAGMA foreign_keys").getInt(), 1);
}

TEST_F(DatabaseTest, aNewerVersionIsRefusedAndLeftAsItIs) {
    open();
    std::string text = refusalAfter([&] { change("PRAGMA user_version = 4"); });
    EXPECT_EQ(text, "The Things database " + file().string() +
                        " was written by a newer version of Marlet (its format is 4, this version reads up to 3). "
                        "Update Marlet, or choose another data folder.");
}

TEST_F(DatabaseTest, aNewerVersionIsRefusedAlsoWhenOnlyTheLogTellsIt) {
    TemporaryFolder original;
    ModelContext newer(ModelContainer::onDisk(things, original.path()));
    newer.database().exec("PRAGMA user_version = 4");

    for (const char* part : {"Things.sqlite", "Things.sqlite-wal"}) {
        std::filesystem::copy_file(original.path() / part, folder.path() / part);
    }
    auto before = bytes();
    ASSERT_FALSE(before.at("Things.sqlite-wal").empty());

    EXPECT_THAT(failure(), HasSubstr("was written by a newer version of Marlet"));

    // The log's index, which reading a log makes, holds nothing of its own.
    auto after = bytes();
    after.erase("Things.sqlite-shm");
    EXPECT_TRUE(after == before);
}

TEST_F(DatabaseTest, aDamagedFileIsRefusedAndLeftAsItIs) {
    open();
    std::string good = bytes().at("Things.sqlite");
    std::string expected = "The Things database " + file().string() +
                           " is damaged. It was left as it is. Move it away to start with an empty one, or put a "
                           "backup in its place.";
    for (const std::string& damaged : {std::string("no database"), std::string(8192, '\0'), std::string(100'000, 'x'),
                                       good.substr(0, good.size() / 2), good.substr(0, 100)}) {
        std::string text = refusalAfter([&] { std::ofstream(file(), std::ios::binary | std::ios::trunc) << damaged; });
        EXPECT_EQ(text, expected) << damaged.size();
    }
}

TEST_F(DatabaseTest, anotherProgramsDatabaseIsRefusedAndLeftAsItIs) {
    for (int version : {0, 1, 3, 9}) {
        std::filesystem::remove(file());
        std::string text = refusalAfter([&] {
            SQLite::Database other(file().string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
            other.exec("CREATE TABLE Note (text TEXT)");
            other.exec("PRAGMA user_version = " + std::to_string(version));
        });
        EXPECT_EQ(text, "The file " + file().string() +
                            " is a database, but not one of Marlet's. Move it away, or choose another data folder.");
    }
}

TEST_F(DatabaseTest, aFolderThatCantBeWrittenIsTold) {
    FailingFileSystem files;
    for (int code : {SQLITE_CANTOPEN, SQLITE_READONLY, SQLITE_PERM}) {
        files.refuseOpening(code);
        EXPECT_EQ(failure(files.name()), "The Things database " + file().string() +
                                             " can't be opened for writing. Check the permissions of its folder.");
    }
    files.heal();
    EXPECT_EQ(failure(files.name()), "none");

    DatabaseSchema elsewhere = things;
    EXPECT_THROW(ModelContainer::onDisk(elsewhere, folder.path() / "missing"), DatabaseError);
}

TEST_F(DatabaseTest, aFullDiskIsToldAndTheNextAttemptStartsAnew) {
    FailingFileSystem files;
    int attempts = 0;
    for (bool isOpened = false; !isOpened; ++attempts) {
        std::filesystem::remove(file());
        files.failAfter(attempts, SQLITE_FULL);
        std::string text = failure(files.name());
        isOpened = text == "none";
        if (!isOpened) {
            EXPECT_EQ(text, "There is no space left for the Things database " + file().string() +
                                ". Make room and try again.");
        }
        files.heal();
        EXPECT_EQ(failure(files.name()), "none");
        ModelContext context(ModelContainer::onDisk(things, folder.path(), files.name()));
        EXPECT_EQ(count(context), 0);
        ASSERT_LT(attempts, 100);
    }
    EXPECT_GT(attempts, 3);
}

TEST_F(DatabaseTest, allItsFilesAreTheUsersAloneWhateverTheUmask) {
    mode_t usual = ::umask(0);
    {
        ModelContext context(ModelContainer::onDisk(things, folder.path()));
        context.transaction([&] { add(context, "one"); });
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            struct stat status {};
            ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 0777, 0600U) << entry.path();
            ++files;
        }
        EXPECT_EQ(files, 3);  // the database, its log and the log's index
    }
    ::umask(usual);
}

TEST_F(DatabaseTest, aFileThatOthersCouldReadIsClosedToThem) {
    open();
    ::chmod(file().c_str(), 0644);
    open();
    struct stat status {};
    ASSERT_EQ(::stat(file().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(DatabaseTest, theLogOfABackupThatOthersCouldReadIsClosedToThem) {
    TemporaryFolder original;
    {
        ModelContext context(ModelContainer::onDisk(things, original.path()));
        context.transaction([&] { add(context, "one"); });
        for (const char* part : {"Things.sqlite", "Things.sqlite-wal"}) {
            std::filesystem::copy_file(original.path() / part, folder.path() / part);
            ::chmod((folder.path() / part).c_str(), 0644);
        }
    }
    ModelContext context(ModelContainer::onDisk(things, folder.path()));
    EXPECT_EQ(count(context), 1);
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600)) << entry.path();
    }
}

// Whether another process finds a lock on the file: the one that says that somebody works with its log.
bool isLockedForOthers(const std::filesystem::path& file) {
    pid_t child = ::fork();
    if (child == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        int descriptor = ::open(file.c_str(), O_RDWR);
        bool isLocked = ::fcntl(descriptor, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
        ::_exit(isLocked ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
}

TEST_F(DatabaseTest, openingItAgainInOneProcessKeepsTheLocksOfTheFirst) {
    ModelContext first(ModelContainer::onDisk(things, folder.path()));
    first.transaction([&] { add(first, "one"); });
    open();
    EXPECT_TRUE(isLockedForOthers(file()));
}

// The superuser may write everything, so the test becomes another user for a while.
class OrdinaryUser {
public:
    OrdinaryUser() {
        if (::geteuid() == 0) {
            EXPECT_EQ(::seteuid(65534), 0);
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(::getuid()), 0); }
};

TEST_F(DatabaseTest, aFileThatCantBeWrittenIsToldAndLeftAsItIs) {
    open();
    for (auto [fileMode, folderMode] : {std::pair{0444, 0777}, {0666, 0555}}) {
        ::chmod(file().c_str(), static_cast<mode_t>(fileMode));
        ::chmod(folder.path().c_str(), static_cast<mode_t>(folderMode));

        std::string text = [this] {
            OrdinaryUser user;
            return refusalAfter([] {});
        }();

        EXPECT_EQ(text, "The Things database " + file().string() +
                            " can't be opened for writing. Check the permissions of its folder.");
        EXPECT_EQ(std::filesystem::status(file()).permissions(), std::filesystem::perms(fileMode));
    }
    ::chmod(folder.path().c_str(), 0700);
}

TEST_F(DatabaseTest, manyThatCreateItAtOnceGetOneDatabase) {
    constexpr int count = 8;
    std::vector<std::string> outcomes(count);
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < count; ++index) {
            threads.emplace_back([this, &outcome = outcomes[static_cast<size_t>(index)]] {
                try {
                    ModelContext context(ModelContainer::onDisk(things, folder.path()));
                    context.transaction([&] { add(context, "one"); });
                    outcome = "written";
                } catch (const std::exception& error) {
                    outcome = error.what();
                }
            });
        }
    }
    EXPECT_THAT(outcomes, testing::Each("written"));
    ModelContext context(ModelContainer::onDisk(things, folder.path()));
    EXPECT_EQ(marlet::count(context), count);
}

TEST(ModelContextTest, aBodyThatThrowsLeavesNothing) {
    ModelContext context(ModelContainer::inMemory(things));
    auto failing = [&] {
        add(context, "one");
        throw std::runtime_error("half way");
    };
    EXPECT_THROW(context.transaction(failing), std::runtime_error);
    EXPECT_EQ(count(context), 0);
    context.transaction([&] { add(context, "two"); });
    EXPECT_EQ(count(context), 1);
}

TEST(ModelContextTest, aTransactionInsideATransactionIsPartOfIt) {
    ModelContext context(ModelContainer::inMemory(things));
    auto outer = [&] {
        context.transaction([&] { add(context, "one"); });
        throw std::runtime_error("later");
    };
    EXPECT_THROW(context.transaction(outer), std::runtime_error);
    EXPECT_EQ(count(context), 0);
}

TEST(ModelContextTest, aStatementLeftHalfWayDoesntHoldUpTheCommit) {
    ModelContext context(ModelContainer::inMemory(things));
    context.transaction([&] {
        add(context, "one");
        add(context, "two");
        context.statement("SELECT name FROM Thing").executeStep();
    });
    EXPECT_EQ(count(context), 2);
}

TEST(ModelContextTest, readersSeeOneStateWhileAnotherWrites) {
    TemporaryFolder folder;
    ModelContext reader(ModelContainer::onDisk(things, folder.path()));
    ModelContext writer(ModelContainer::onDisk(things, folder.path()));
    reader.reading([&] {
        EXPECT_EQ(count(reader), 0);
        writer.transaction([&] { add(writer, "one"); });
        EXPECT_EQ(count(reader), 0);
    });
    EXPECT_EQ(count(reader), 1);
}

}  // namespace
}  // namespace marlet
