// The object context over SQLite that the task store and the local task database stand on.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "MarletBase/LocalizedError.h"

namespace SQLite {
class Database;
class Statement;
}  // namespace SQLite

namespace marlet {

// A database file that can't be used. The file is left as it is; the text says what to do.
class DatabaseError final : public LocalizedError {
public:
    using LocalizedError::LocalizedError;
};

// What a database of one kind looks like when it is new.
struct DatabaseSchema {
    std::string name;        // "Marlet": names the file, and the database in errors
    int version = 1;         // kept as SQLite's user_version
    std::string statements;  // makes the tables and indices
};

// An open database. A copy is another handle on the same one.
class ModelContainer {
public:
    // Opens or makes `folder`/`schema.name`.sqlite, readable by the user alone. Throws DatabaseError for a file that
    // can't be opened or written, is damaged, or was written by a newer version. `vfs` names SQLite's file layer.
    static ModelContainer onDisk(const DatabaseSchema& schema, const std::filesystem::path& folder,
                                 const std::string& vfs = {});
    static ModelContainer inMemory(const DatabaseSchema& schema);

private:
    friend class ModelContext;
    explicit ModelContainer(std::shared_ptr<SQLite::Database> opened) : database(std::move(opened)) {}

    std::shared_ptr<SQLite::Database> database;
};

// What is wrong with the database file `folder`/`name`.sqlite, in a sentence for the user; no value when SQLite looks
// through all of it and finds it sound. Changes nothing, and takes as long as reading the file does.
std::optional<std::string> databaseDamage(const std::filesystem::path& folder, const std::string& name);

// Statements and transactions on a container's database. Used from one thread at a time.
class ModelContext {
public:
    explicit ModelContext(ModelContainer container);
    ModelContext(const ModelContext&) = delete;
    ModelContext& operator=(const ModelContext&) = delete;
    ~ModelContext();

    // A prepared statement, reset and without bindings. It is kept: `sql` must be one of a bounded number of texts,
    // and one text is used by one caller at a time.
    SQLite::Statement& statement(std::string_view sql);

    // Runs `body` in one transaction: whatever it threw, or a failing commit, leaves the database as it was.
    // Inside a transaction it only runs `body`.
    template <class Body>
    auto transaction(Body&& body) {
        return inTransaction(std::forward<Body>(body), true);
    }

    // Runs `body`, which only reads, on one state of the database.
    template <class Body>
    auto reading(Body&& body) {
        return inTransaction(std::forward<Body>(body), false);
    }

    SQLite::Database& database() { return *connection; }

private:
    template <class Body>
    auto inTransaction(Body&& body, bool isWriting) {
        TransactionScope scope(*this, isWriting);
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            scope.commit();
        } else {
            auto result = body();
            scope.commit();
            return result;
        }
    }

    class TransactionScope {
    public:
        TransactionScope(ModelContext& owner, bool isWriting);
        TransactionScope(const TransactionScope&) = delete;
        TransactionScope& operator=(const TransactionScope&) = delete;
        ~TransactionScope();
        void commit();

    private:
        ModelContext& context;
        bool isOutermost;
        bool isFinished = false;
    };

    void resetStatements();

    std::shared_ptr<SQLite::Database> connection;
    std::unordered_map<std::string, std::unique_ptr<SQLite::Statement>> statements;
    bool isInTransaction = false;
};

}  // namespace marlet
