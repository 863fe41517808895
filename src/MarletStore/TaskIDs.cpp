#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <cctype>

#include "MarletBase/ColumnCoding.h"
#include "MarletStore/Operation.h"
#include "MarletStore/TaskStore.h"

namespace marlet {
namespace {

// The first and the last text of an id's form that begin so.
struct Bounds {
    std::string first;
    std::string last;
};

Bounds boundsOf(std::string beginning) {
    std::transform(beginning.begin(), beginning.end(), beginning.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return {beginning, beginning + "~"};
}

}  // namespace

Async<std::vector<UUID>> TaskStore::taskIDs(std::string beginning, int64_t limit) {
    return reading<std::vector<UUID>>(executor, [beginning, limit](ModelContext& context) {
        Bounds bounds = boundsOf(beginning);
        SQLite::Statement& statement = context.statement(
            "SELECT localID FROM StoredTask WHERE localID >= ? AND localID < ? ORDER BY localID "
            "LIMIT ?");
        bindAll(statement, bounds.first, bounds.last, limit);
        std::vector<UUID> ids;
        while (statement.executeStep()) {
            readColumn(statement.getColumn(0), ids.emplace_back());
        }
        statement.reset();
        return ids;
    });
}

}  // namespace marlet
