#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>

#include "MarletBase/ColumnCoding.h"
#include "MarletBase/Text.h"
#include "MarletStore/Operation.h"
#include "MarletStore/Rows.h"
#include "MarletStore/TaskStore.h"

namespace marlet {
namespace {

AccountSyncState syncState(const StoredAccount& row) {
    return {row.account(),       row.lastProjectRefresh, row.syncError,      row.quietProbes,
            row.lastProbeAt,     row.probedThrough,      row.lastHintAt,     row.hintedThrough,
            row.probeRejectedAt, row.hintRejectedAt,     row.defaultTaskType};
}

// The last parameter of `sql` is the account's id.
template <class... Values>
void writeAccount(ModelContext& context, const char* sql, const UUID& id, const Values&... values) {
    SQLite::Statement& statement = context.statement(sql);
    bindAll(statement, values..., id);
    if (statement.exec() == 0) {
        throw StoreError::accountNotFound();
    }
}

}  // namespace

Async<void> TaskStore::addAccount(Account account) {
    return writing<void>(executor,
                         [account = std::move(account)](ModelContext& context) { insertAccount(context, account); });
}

Async<void> TaskStore::removeAccount(UUID id) {
    return writing<void>(
        executor, [id](ModelContext& context) { writeAccount(context, "DELETE FROM StoredAccount WHERE id = ?", id); });
}

Async<std::vector<AccountSyncState>> TaskStore::accounts() {
    using States = std::vector<AccountSyncState>;
    return reading<States>(executor, [](ModelContext& context) {
        States states;
        for (const StoredAccount& row : allAccounts(context)) {
            states.push_back(syncState(row));
        }
        std::stable_sort(states.begin(), states.end(), [](const auto& left, const auto& right) {
            return std::is_lt(localizedStandardCompare(left.account.displayName, right.account.displayName));
        });
        return states;
    });
}

Async<void> TaskStore::setSyncError(std::optional<std::string> message, UUID accountID) {
    return writing<void>(executor, [message = std::move(message), accountID](ModelContext& context) {
        writeAccount(context, "UPDATE StoredAccount SET syncError = ? WHERE id = ?", accountID, message);
    });
}

Async<void> TaskStore::setAgentDestination(std::optional<std::string> raw, UUID accountID) {
    return writing<void>(executor, [raw = std::move(raw), accountID](ModelContext& context) {
        writeAccount(context, "UPDATE StoredAccount SET agentDestinationRaw = ? WHERE id = ?", accountID, raw);
    });
}

Async<void> TaskStore::setDefaultTaskType(std::optional<std::string> name, UUID accountID) {
    return writing<void>(executor, [name = std::move(name), accountID](ModelContext& context) {
        if (storedAccount(context, accountID).kind() != BackendKind::jira) {
            throw StoreError::taskTypesUnsupported();
        }
        std::optional<std::string> chosen;
        if (name) {
            chosen = trimmed(*name);
        }
        if (chosen && chosen->empty()) {
            chosen.reset();
        }
        writeAccount(context, "UPDATE StoredAccount SET defaultTaskType = ? WHERE id = ?", accountID, chosen);
    });
}

Async<void> TaskStore::setQuietProbes(int64_t count, UUID accountID) {
    return writing<void>(executor, [count, accountID](ModelContext& context) {
        writeAccount(context, "UPDATE StoredAccount SET quietProbes = ? WHERE id = ?", accountID, count);
    });
}

Async<void> TaskStore::setChangeChecks(UUID accountID, ChangeChecks checks) {
    return writing<void>(executor, [accountID, checks](ModelContext& context) {
        writeAccount(context,
                     "UPDATE StoredAccount SET lastProbeAt = COALESCE(?, lastProbeAt), "
                     "probedThrough = COALESCE(?, probedThrough), lastHintAt = COALESCE(?, lastHintAt), "
                     "hintedThrough = COALESCE(?, hintedThrough) WHERE id = ?",
                     accountID, checks.lastProbeAt, checks.probedThrough, checks.lastHintAt, checks.hintedThrough);
    });
}

Async<void> TaskStore::setProbeRejected(std::optional<Date> date, UUID accountID) {
    return writing<void>(executor, [date, accountID](ModelContext& context) {
        writeAccount(context, "UPDATE StoredAccount SET probeRejectedAt = ? WHERE id = ?", accountID, date);
    });
}

Async<void> TaskStore::setHintRejected(std::optional<Date> date, UUID accountID) {
    return writing<void>(executor, [date, accountID](ModelContext& context) {
        writeAccount(context, "UPDATE StoredAccount SET hintRejectedAt = ? WHERE id = ?", accountID, date);
    });
}

}  // namespace marlet
