#include "MarletStore/Snapshots/TaskQueries.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"
#include "MarletCore/TaskItem.h"
#include "MarletStore/Rows.h"

namespace marlet {
namespace {

// What the text of a query is looked for as.
struct SearchedText {
    std::string exact;  // a task's whole id
    std::string folded;
};

std::optional<SearchedText> searchedText(const TaskQuery& query) {
    std::string text = trimmed(query.text.value_or(""));
    return text.empty() ? std::nullopt : std::optional(SearchedText{text, foldedForSearch(text)});
}

// The account alone narrows when a parent's children may lie in any of its projects.
bool isWithinProject(const TaskQuery& query) {
    return query.accountID && query.projectID && !query.parentID;
}

const char* sortColumn(const TaskQuery& query) {
    return query.list == TaskList::timing ? "lastStartedAt" : "listDate";
}

// The index whose order is the query's and that holds the fewest rows besides those wanted.
const char* indexFor(const TaskQuery& query) {
    if (query.list) {
        switch (*query.list) {
            case TaskList::next:
                return "nextTasks";
            case TaskList::starred:
                return "starredTasks";
            case TaskList::timing:
                return "startedTasks";
            case TaskList::updated:
                return isWithinProject(query) ? "tasksInProject" : "unreadTasks";
        }
    }
    if (isWithinProject(query)) {
        return "tasksInProject";
    }
    return query.accountID ? "tasksInAccount" : "tasksByDate";
}

// Lists that are small beside the store, so that looking into each of their tasks beats a pass over all texts.
bool isSmall(const TaskQuery& query) {
    return isWithinProject(query) || (query.list && *query.list != TaskList::updated);
}

const char* listCondition(TaskList list) {
    switch (list) {
        case TaskList::next:
            return " AND StoredTask.isNext = 1";
        case TaskList::starred:
            return " AND StoredTask.isStarred = 1";
        case TaskList::updated:
            return " AND StoredTask.isUnread = 1";
        case TaskList::timing:
            return " AND StoredTask.lastStartedAt IS NOT NULL";
    }
    return "";
}

std::string conditions(const TaskQuery& query) {
    std::string text;
    if (query.accountID) {
        text += " AND StoredTask.accountID = :account";
    }
    if (isWithinProject(query)) {
        text += " AND StoredTask.projectRemoteID = :project";
    }
    if (query.canHaveChildren) {
        text += " AND StoredTask.canHaveChildren = :canHaveChildren";
    }
    return query.list ? text + listCondition(*query.list) : text;
}

constexpr const char* textCondition = "taskTextMatches(TaskSearch.folded, :folded, :exact)";

// The open tasks, or the completed ones, in the order of an index.
std::string inIndexOrder(const TaskQuery& query, bool isCompleted, bool hasText) {
    std::string text = std::string("SELECT StoredTask.rowNumber, StoredTask.") + sortColumn(query) +
                       " FROM StoredTask INDEXED BY " + indexFor(query);
    text += " WHERE StoredTask.isCompleted = " + std::string(isCompleted ? "1" : "0") + conditions(query);
    if (hasText) {
        text += std::string(" AND EXISTS (SELECT 1 FROM TaskSearch WHERE task = StoredTask.rowNumber AND ") +
                textCondition + ")";
    }
    return text;
}

// One pass over all texts, in the order in which they lie in the file; the tasks found are sorted then.
std::string inTextOrder(const TaskQuery& query) {
    return std::string("SELECT StoredTask.rowNumber, StoredTask.") + sortColumn(query) +
           " FROM TaskSearch CROSS JOIN StoredTask ON StoredTask.rowNumber = TaskSearch.task WHERE " + textCondition +
           (query.includeCompleted ? "" : " AND StoredTask.isCompleted = 0") + conditions(query);
}

constexpr const char* newestFirst = " ORDER BY 2 DESC, 1";

void bindQuery(SQLite::Statement& statement, const TaskQuery& query, const std::optional<SearchedText>& text) {
    if (query.accountID) {
        statement.bind(":account", query.accountID->text());
    }
    if (isWithinProject(query)) {
        statement.bind(":project", *query.projectID);
    }
    if (query.canHaveChildren) {
        statement.bind(":canHaveChildren", *query.canHaveChildren ? 1 : 0);
    }
    if (text) {
        statement.bind(":folded", text->folded);
        statement.bind(":exact", text->exact);
    }
}

std::optional<BackendKind> accountKind(ModelContext& context, const std::optional<UUID>& accountID) {
    if (!accountID) {
        return std::nullopt;
    }
    SQLite::Statement& statement = context.statement("SELECT kindRaw FROM StoredAccount WHERE id = ?");
    bindAll(statement, *accountID);
    std::optional<BackendKind> kind;
    if (statement.executeStep()) {
        readColumn(statement.getColumn(0), kind.emplace(BackendKind::github));
    }
    statement.reset();
    return kind;
}

std::string childrenStatement(const TaskQuery& query, bool isOneProject, bool hasText) {
    std::string text = std::string("SELECT StoredTask.rowNumber, StoredTask.") + sortColumn(query) +
                       ", StoredTask.parentID, StoredTask.projectRemoteID, StoredAccount.kindRaw FROM StoredTask "
                       "INDEXED BY childTasks LEFT JOIN StoredProject ON StoredProject.rowNumber = StoredTask.project "
                       "LEFT JOIN StoredAccount ON StoredAccount.rowNumber = StoredProject.account "
                       "WHERE StoredTask.parentID IN (:parent, :qualifiedParent)" +
                       conditions(query) + (query.includeCompleted ? "" : " AND StoredTask.isCompleted = 0");
    if (isOneProject) {
        text += " AND StoredTask.projectRemoteID = :project";
    }
    if (hasText) {
        text += std::string(" AND EXISTS (SELECT 1 FROM TaskSearch WHERE task = StoredTask.rowNumber AND ") +
                textCondition + ")";
    }
    return text + newestFirst;
}

// A task without a project or account goes by the rules of the strictest service.
BackendKind kindOfRow(const SQLite::Column& kindRaw) {
    BackendKind kind = kindRaw.isNull() ? BackendKind::jira : BackendKind::github;
    readColumn(kindRaw, kind);
    return kind;
}

// How a child names its parent depends on the service and on where the two are, so SQL finds those that may be children
// and TaskParent decides.
std::vector<int64_t> childRows(ModelContext& context, const TaskQuery& query, const std::optional<SearchedText>& text) {
    std::optional<BackendKind> kind = accountKind(context, query.accountID);
    bool spansProjects = kind == BackendKind::github || kind == BackendKind::vikunja;
    bool isOneProject = query.accountID && query.projectID && !spansProjects;
    SQLite::Statement& statement = context.statement(childrenStatement(query, isOneProject, text.has_value()));
    bindQuery(statement, query, text);
    statement.bind(":parent", *query.parentID);
    statement.bind(":qualifiedParent", query.projectID.value_or("") + "#" + *query.parentID);
    if (isOneProject) {
        statement.bind(":project", *query.projectID);
    }
    std::vector<int64_t> rows;
    while (static_cast<int64_t>(rows.size()) < query.limit && statement.executeStep()) {
        TaskParent parent;
        std::string project;
        readColumn(statement.getColumn(2), parent.id);
        readColumn(statement.getColumn(3), project);
        BackendKind childKind = kind ? *kind : kindOfRow(statement.getColumn(4));
        if (parent.refers(*query.parentID, query.projectID.value_or(project), project, childKind)) {
            rows.push_back(statement.getColumn(0).getInt64());
        }
    }
    statement.reset();
    return rows;
}

}  // namespace

std::string taskRowsStatement(const TaskQuery& query, bool hasText) {
    std::string text;
    if (hasText && !isSmall(query)) {
        text = inTextOrder(query);
    } else {
        text = inIndexOrder(query, false, hasText);
        // SQLite merges the two as they come, each in the order of the index.
        text += query.includeCompleted ? " UNION ALL " + inIndexOrder(query, true, hasText) : "";
    }
    return text + newestFirst + " LIMIT :limit";
}

std::vector<int64_t> taskRows(ModelContext& context, const TaskQuery& query) {
    std::optional<SearchedText> text = searchedText(query);
    if (query.parentID) {
        return childRows(context, query, text);
    }
    SQLite::Statement& statement = context.statement(taskRowsStatement(query, text.has_value()));
    bindQuery(statement, query, text);
    statement.bind(":limit", std::max<int64_t>(query.limit, 0));
    std::vector<int64_t> rows;
    while (statement.executeStep()) {
        rows.push_back(statement.getColumn(0).getInt64());
    }
    statement.reset();
    return rows;
}

}  // namespace marlet
