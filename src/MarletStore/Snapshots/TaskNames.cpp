#include "MarletStore/Snapshots/TaskNames.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"

namespace marlet {

// The plus keeps SQLite from walking the whole account or project: a number alone has few rows.
std::string rowsNamedStatement(bool inAccount, bool inProject) {
    std::string scope = inAccount ? " AND +accountID = :account" : "";
    scope += inProject ? " AND +projectRemoteID = :project" : "";
    std::string select = "SELECT rowNumber, listDate, remoteID, localID FROM StoredTask WHERE ";
    return select + "remoteID COLLATE NOCASE IN (:name, :folded)" + scope + " UNION " + select + "localID = :localID" +
           scope + " ORDER BY 2 DESC, 1";
}

std::vector<int64_t> rowsNamed(ModelContext& context, const std::string& name, const std::optional<UUID>& accountID,
                               const std::optional<std::string>& projectID) {
    std::optional<UUID> localID = UUID::parse(name);
    SQLite::Statement& statement = context.statement(rowsNamedStatement(accountID.has_value(), projectID.has_value()));
    // SQLite knows the cases of ASCII alone. So do the numbers of all services; what a user types may be anything.
    statement.bind(":name", name);
    statement.bind(":folded", foldedForSearch(name));
    if (localID) {
        statement.bind(":localID", localID->text());
    }
    if (accountID) {
        statement.bind(":account", accountID->text());
    }
    if (projectID) {
        statement.bind(":project", *projectID);
    }
    std::vector<int64_t> rows;
    while (statement.executeStep()) {
        bool isNumber = equalIgnoringCase(columnText(statement.getColumn(2)), name);
        bool isLocalID = localID && columnText(statement.getColumn(3)) == localID->text();
        if (isNumber || isLocalID) {
            rows.push_back(statement.getColumn(0).getInt64());
        }
    }
    statement.reset();
    return rows;
}

}  // namespace marlet
