#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>

#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "MarletBase/ColumnCoding.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/TaskStore.h"

namespace marlet {
namespace {

constexpr const char* unavailableMessage = "This project is no longer available on the server.";

// The last parameter of `sql` is the project's key.
template <class... Values>
void writeProject(ModelContext& context, const char* sql, const UUID& accountID, const std::string& projectID,
                  const Values&... values) {
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, values..., projectKey(accountID, projectID));
    if (statement.exec() == 0) {
        throw StoreError::projectNotFound();
    }
}

// Takes the service's record; subscription and sync state stay.
void applyProject(ModelContext& context, int64_t rowNumber, const Project& project) {
    SQLite::Statement& statement = context.statement(
        "UPDATE StoredProject SET name = ?, detail = ?, webURL = ?, cloneURL = ?, sshCloneURL = ?, kindRaw = ?, "
        "statusOptions = ? WHERE rowNumber = ?");
    bindAll(statement, project.name, project.detail, project.webURL, project.cloneURL, project.sshCloneURL,
            project.kind, project.statusOptions, rowNumber);
    statement.exec();
}

// A task that would be lost with its row: it waits to go out, or its time was tracked.
constexpr std::string_view holdsLocalDataCondition =
    "(COALESCE(pendingOperationRaw, '') IN ('create', 'update') "
    "OR EXISTS (SELECT 1 FROM StoredTimeLog WHERE task = StoredTask.rowNumber))";

bool holdsLocalData(ModelContext& context, int64_t project) {
    static const std::string sql =
        fmt::format("SELECT EXISTS (SELECT 1 FROM StoredTask WHERE project = ? AND {})", holdsLocalDataCondition);
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, project);
    statement.executeStep();
    return statement.getColumn(0).getInt() != 0;
}

void giveUpProject(ModelContext& context, int64_t project) {
    if (holdsLocalData(context, project)) {
        SQLite::Statement& statement = context.statement("UPDATE StoredProject SET syncError = ? WHERE rowNumber = ?");
        bindAll(statement, std::string(unavailableMessage), project);
        statement.exec();
    } else {
        SQLite::Statement& statement = context.statement("DELETE FROM StoredProject WHERE rowNumber = ?");
        bindAll(statement, project);
        statement.exec();
    }
}

void replaceProjectRows(ModelContext& context, const std::vector<Project>& projects, const UUID& accountID,
                        Date refreshedAt) {
    StoredAccount account = storedAccount(context, accountID);
    std::vector<StoredProject> rows = projectsOfAccount(context, accountID);
    std::unordered_map<std::string, const StoredProject*> known;
    for (const StoredProject& row : rows) {
        known.emplace(row.remoteID, &row);
    }
    std::unordered_map<std::string, int64_t> added;
    std::unordered_set<std::string> listed;
    for (const Project& project : projects) {
        listed.insert(project.id);
        auto found = known.find(project.id);
        if (found == known.end()) {
            // A project that a service lists twice is one project.
            auto [own, isFirst] = added.try_emplace(project.id, 0);
            if (isFirst) {
                insertProject(context, project, account);
                own->second = context.database().getLastInsertRowid();
            } else {
                applyProject(context, own->second, project);
            }
        } else {
            applyProject(context, found->second->rowNumber, project);
        }
    }
    for (const StoredProject& row : rows) {
        if (!listed.contains(row.remoteID)) {
            giveUpProject(context, row.rowNumber);
        }
    }
    SQLite::Statement& statement =
        context.statement("UPDATE StoredAccount SET lastProjectRefresh = ? WHERE rowNumber = ?");
    bindAll(statement, refreshedAt, account.rowNumber);
    statement.exec();
}

void unsubscribe(ModelContext& context, int64_t project) {
    static const std::string sql =
        fmt::format("DELETE FROM StoredTask WHERE project = ? AND NOT {}", holdsLocalDataCondition);
    SQLite::Statement& tasks = context.statement(sql);
    bindAll(tasks, project);
    tasks.exec();
    SQLite::Statement& memory = context.statement(
        "UPDATE StoredProject SET isSubscribed = 0, deltaCursor = NULL, lastSyncedAt = NULL, lastFullSyncAt = NULL, "
        "lastCountCheckAt = NULL, actedHintAt = NULL, syncError = NULL, quietFetches = 0 WHERE rowNumber = ?");
    bindAll(memory, project);
    memory.exec();
}

}  // namespace

Async<void> TaskStore::replaceProjects(std::vector<Project> projects, UUID accountID, Date refreshedAt) {
    return writing<void>(executor, [projects = std::move(projects), accountID, refreshedAt](ModelContext& context) {
        replaceProjectRows(context, projects, accountID, refreshedAt);
    });
}

Async<void> TaskStore::removeProject(UUID accountID, std::string projectID) {
    return writing<void>(executor, [accountID, projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "DELETE FROM StoredProject WHERE key = ?", accountID, projectID);
    });
}

Async<void> TaskStore::setAgentDestination(std::optional<std::string> raw, UUID accountID, std::string projectID) {
    return writing<void>(executor,
                         [raw = std::move(raw), accountID, projectID = std::move(projectID)](ModelContext& context) {
                             writeProject(context, "UPDATE StoredProject SET claudeDestinationRaw = ? WHERE key = ?",
                                          accountID, projectID, raw);
                         });
}

Async<void> TaskStore::setCheckoutPath(std::optional<std::string> path, UUID accountID, std::string projectID) {
    return writing<void>(executor, [path = std::move(path), accountID,
                                    projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "UPDATE StoredProject SET checkoutPath = ? WHERE key = ?", accountID, projectID, path);
    });
}

Async<void> TaskStore::setSyncError(std::optional<std::string> message, UUID accountID, std::string projectID) {
    return writing<void>(executor, [message = std::move(message), accountID,
                                    projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "UPDATE StoredProject SET syncError = ? WHERE key = ?", accountID, projectID, message);
    });
}

Async<void> TaskStore::setSubscribed(bool flag, UUID accountID, std::string projectID) {
    return writing<void>(executor, [flag, accountID, projectID = std::move(projectID)](ModelContext& context) {
        if (flag) {
            writeProject(context, "UPDATE StoredProject SET isSubscribed = 1 WHERE key = ?", accountID, projectID);
        } else {
            unsubscribe(context, storedProject(context, accountID, projectID).rowNumber);
        }
    });
}

Async<std::vector<ProjectSyncState>> TaskStore::subscribedProjects(UUID accountID) {
    using States = std::vector<ProjectSyncState>;
    return reading<States>(executor, [accountID](ModelContext& context) {
        States states;
        for (const StoredProject& row : projectsOfAccount(context, accountID)) {
            if (row.isSubscribed) {
                states.push_back({row.accountID, row.remoteID, row.deltaCursor, row.lastSyncedAt, row.lastFullSyncAt,
                                  row.lastCountCheckAt, row.quietFetches, row.actedHintAt});
            }
        }
        return states;
    });
}

Async<void> TaskStore::setQuietFetches(int64_t count, UUID accountID, std::string projectID) {
    return writing<void>(executor, [count, accountID, projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "UPDATE StoredProject SET quietFetches = ? WHERE key = ?", accountID, projectID, count);
    });
}

Async<void> TaskStore::setActedHint(Date date, UUID accountID, std::string projectID) {
    return writing<void>(executor, [date, accountID, projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "UPDATE StoredProject SET actedHintAt = ? WHERE key = ?", accountID, projectID, date);
    });
}

Async<void> TaskStore::setCountChecked(Date at, UUID accountID, std::string projectID) {
    return writing<void>(executor, [at, accountID, projectID = std::move(projectID)](ModelContext& context) {
        writeProject(context, "UPDATE StoredProject SET lastCountCheckAt = ? WHERE key = ?", accountID, projectID, at);
    });
}

Async<void> TaskStore::resetQuietCounts() {
    return writing<void>(executor, [](ModelContext& context) {
        context.statement("UPDATE StoredAccount SET quietProbes = 0 WHERE quietProbes <> 0").exec();
        context.statement("UPDATE StoredProject SET quietFetches = 0 WHERE quietFetches <> 0").exec();
    });
}

Async<int64_t> TaskStore::remoteTaskCount(UUID accountID, std::string projectID) {
    return reading<int64_t>(executor, [accountID, projectID = std::move(projectID)](ModelContext& context) {
        SQLite::Statement& statement = context.statement(
            "SELECT COUNT(*) FROM StoredTask WHERE accountID = ? AND projectRemoteID = ? "
            "AND remoteID NOT GLOB 'local-*'");
        bindAll(statement, accountID, projectID);
        statement.executeStep();
        return statement.getColumn(0).getInt64();
    });
}

}  // namespace marlet
