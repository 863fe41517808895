#include "MarletBase/Database.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace marlet {
namespace {

constexpr int busyTimeoutMilliseconds = 10'000;

// Of a new database. A pass over all rows costs a third less than with SQLite's 4,096, and a small change not yet more.
constexpr int pageSize = 8192;

// What the log keeps of the disk after a large transaction.
constexpr int keptLogBytes = 16 * 1024 * 1024;

// "Marl": what SQLite's application_id says of every database of ours.
constexpr int applicationID = 0x4D61726C;

// What a write-ahead log and its index need at least.
constexpr std::uintmax_t leastSpace = std::uintmax_t{64} << 10;

// SQLite reports a disk that has no room for the file beside the database as a failing one.
bool isDiskFull(const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::space_info space = std::filesystem::space(file.parent_path(), error);
    return !error && space.available < leastSpace;
}

std::string readOnlyReason(const std::string& name, const std::filesystem::path& file) {
    return fmt::format("The {} database {} can't be opened for writing. Check the permissions of its folder.", name,
                       file.string());
}

std::string damagedReason(const std::string& name, const std::filesystem::path& file) {
    return fmt::format(
        "The {} database {} is damaged. It was left as it is. Move it away to start with an empty one, or put "
        "a backup in its place.",
        name, file.string());
}

std::string reason(const SQLite::Exception& error, const std::string& name, const std::filesystem::path& file) {
    int code = error.getErrorCode();
    switch (code == SQLITE_IOERR && isDiskFull(file) ? SQLITE_FULL : code) {
        case SQLITE_NOTADB:
        case SQLITE_CORRUPT:
            return damagedReason(name, file);
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_CANTOPEN:
            return readOnlyReason(name, file);
        case SQLITE_FULL:
            return fmt::format("There is no space left for the {} database {}. Make room and try again.", name,
                               file.string());
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return fmt::format("The {} database {} is in use by another process. End it and try again.", name,
                               file.string());
        default:
            return fmt::format("The {} database {} can't be used: {}.", name, file.string(), error.what());
    }
}

int userVersion(SQLite::Database& database) {
    return database.execAndGet("PRAGMA user_version").getInt();
}

bool isEmpty(SQLite::Database& database) {
    return database.execAndGet("SELECT COUNT(*) FROM sqlite_master").getInt() == 0;
}

void refuseNewerVersion(int version, const DatabaseSchema& schema, const std::filesystem::path& file) {
    if (version > schema.version) {
        throw DatabaseError(
            fmt::format("The {} database {} was written by a newer version of Marlet (its format is {}, this version "
                        "reads up to {}). Update Marlet, or choose another data folder.",
                        schema.name, file.string(), version, schema.version));
    }
}

void configure(SQLite::Database& database) {
    database.setBusyTimeout(busyTimeoutMilliseconds);
    database.exec(fmt::format("PRAGMA page_size = {}", pageSize));
    database.exec("PRAGMA foreign_keys = ON");
    // An acknowledged change survives a power cut.
    database.exec("PRAGMA synchronous = FULL");
    database.exec("PRAGMA temp_store = MEMORY");
    database.exec(fmt::format("PRAGMA journal_size_limit = {}", keptLogBytes));
}

void create(SQLite::Database& database, const DatabaseSchema& schema) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    // Another process may have made it since we looked.
    if (userVersion(database) == 0) {
        database.exec(schema.statements);
        database.exec(fmt::format("PRAGMA application_id = {}", applicationID));
        database.exec(fmt::format("PRAGMA user_version = {}", schema.version));
    }
    transaction.commit();
}

// SQLite opens a file that it can't write for reading, and tells only the first change that it can't be made.
void refuseReadOnly(const DatabaseSchema& schema, const std::filesystem::path& file) {
    bool isReadOnly = ::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0 && errno != ENOENT;
    if (isReadOnly) {
        throw DatabaseError(readOnlyReason(schema.name, file));
    }
}

bool hasLog(const std::filesystem::path& file) {
    std::error_code ignored;
    std::uintmax_t size = std::filesystem::file_size(file.string() + "-wal", ignored);
    return !ignored && size > 0;
}

// Looks at an existing file and leaves it, and the files beside it, as they are.
void inspect(const std::filesystem::path& file, const DatabaseSchema& schema, const std::string& vfs) {
    bool keepsLog = hasLog(file);
    // To be written, or SQLite would leave the empty files behind that reading makes beside the database.
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE, busyTimeoutMilliseconds, vfs);
    if (keepsLog) {
        sqlite3_db_config(database.getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    if (!isEmpty(database) && database.execAndGet("PRAGMA application_id").getInt() != applicationID) {
        throw DatabaseError(fmt::format(
            "The file {} is a database, but not one of Marlet's. Move it away, or choose another data folder.",
            file.string()));
    }
    refuseNewerVersion(userVersion(database), schema, file);
}

// Takes from an existing file whatever others may do with it. By its name: closing a descriptor would drop the locks
// that this process holds on the file through another connection.
void closeToOthers(const std::filesystem::path& file) {
    using std::filesystem::perms;
    std::error_code ignored;
    if (std::filesystem::is_regular_file(file, ignored)) {
        std::filesystem::permissions(file, perms::all & ~(perms::owner_read | perms::owner_write),
                                     std::filesystem::perm_options::remove, ignored);
    }
}

// Makes the file before SQLite does, so that it and the files beside it are the user's alone, whatever the umask.
// What can't be made or changed here, SQLite reports when it opens the file.
void makePrivateFile(const std::filesystem::path& file) {
    int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor >= 0) {
        ::fchmod(descriptor, S_IRUSR | S_IWUSR);
        ::close(descriptor);
    }
    // A backup that was put back, or an inspection, may have left a log that others can read.
    for (const char* part : {"", "-wal", "-shm"}) {
        closeToOthers(file.string() + part);
    }
}

}  // namespace

ModelContainer ModelContainer::onDisk(const DatabaseSchema& schema, const std::filesystem::path& folder,
                                      const std::string& vfs) {
    std::filesystem::path file = folder / (schema.name + ".sqlite");
    try {
        refuseReadOnly(schema, file);
        std::error_code ignored;
        if (std::filesystem::file_size(file, ignored) > 0 && !ignored) {
            inspect(file, schema, vfs);
        }
        makePrivateFile(file);
        auto database = std::make_shared<SQLite::Database>(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                                                           busyTimeoutMilliseconds, vfs);
        configure(*database);
        database->exec("PRAGMA journal_mode = WAL");
        create(*database, schema);
        return ModelContainer(std::move(database));
    } catch (const SQLite::Exception& error) {
        throw DatabaseError(reason(error, schema.name, file));
    }
}

ModelContainer ModelContainer::inMemory(const DatabaseSchema& schema) {
    auto database = std::make_shared<SQLite::Database>(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    configure(*database);
    create(*database, schema);
    return ModelContainer(std::move(database));
}

std::optional<std::string> databaseDamage(const std::filesystem::path& folder, const std::string& name) {
    std::filesystem::path file = folder / (name + ".sqlite");
    try {
        SQLite::Database database(file.string(), SQLite::OPEN_READONLY, busyTimeoutMilliseconds);
        std::string verdict = database.execAndGet("PRAGMA quick_check(1)").getString();
        return verdict == "ok" ? std::nullopt : std::optional(damagedReason(name, file));
    } catch (const SQLite::Exception& error) {
        return reason(error, name, file);
    }
}

ModelContext::ModelContext(ModelContainer container) : connection(std::move(container.database)) {}

ModelContext::~ModelContext() = default;

SQLite::Statement& ModelContext::statement(std::string_view sql) {
    std::string text(sql);
    auto found = statements.find(text);
    if (found == statements.end()) {
        auto prepared = std::make_unique<SQLite::Statement>(*connection, text);
        found = statements.emplace(std::move(text), std::move(prepared)).first;
    }
    SQLite::Statement& statement = *found->second;
    statement.tryReset();
    statement.clearBindings();
    return statement;
}

void ModelContext::resetStatements() {
    for (auto& [sql, statement] : statements) {
        statement->tryReset();
    }
}

ModelContext::TransactionScope::TransactionScope(ModelContext& owner, bool isWriting)
    : context(owner), isOutermost(!owner.isInTransaction) {
    if (isOutermost) {
        context.statement(isWriting ? "BEGIN IMMEDIATE" : "BEGIN").exec();
        context.isInTransaction = true;
    }
}

void ModelContext::TransactionScope::commit() {
    if (isOutermost) {
        // A reading statement that was left half way would hold the commit up.
        context.resetStatements();
        context.statement("COMMIT").exec();
        context.isInTransaction = false;
    }
    isFinished = true;
}

ModelContext::TransactionScope::~TransactionScope() {
    if (isFinished || !isOutermost) {
        return;
    }
    context.resetStatements();
    context.isInTransaction = false;
    // Some failures, such as a full disk, have already rolled back.
    if (sqlite3_get_autocommit(context.connection->getHandle()) == 0) {
        context.statement("ROLLBACK").tryExecuteStep();
    }
}

}  // namespace marlet
