#include "MarletStore/MarletSchema.h"

namespace marlet {
namespace {

constexpr int version = 1;

// What a service says and what only this computer knows stand side by side on a row. rowNumber is the stable order of
// rows. Raw columns hold the codes of sum types, also those that this version doesn't know.
constexpr const char* tables = R"sql(
CREATE TABLE StoredAccount (
    rowNumber INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    kindRaw TEXT NOT NULL,
    displayName TEXT NOT NULL,
    baseURL TEXT NOT NULL,
    lastProjectRefresh REAL,
    quietProbes INTEGER NOT NULL DEFAULT 0,
    lastProbeAt REAL,
    probedThrough REAL,
    lastHintAt REAL,
    hintedThrough REAL,
    probeRejectedAt REAL,
    hintRejectedAt REAL,
    syncError TEXT,
    agentDestinationRaw TEXT,
    defaultTaskType TEXT
) STRICT;

CREATE TABLE StoredProject (
    rowNumber INTEGER PRIMARY KEY,
    key TEXT NOT NULL UNIQUE,
    accountID TEXT NOT NULL,
    remoteID TEXT NOT NULL,
    name TEXT NOT NULL,
    detail TEXT NOT NULL,
    webURL TEXT,
    cloneURL TEXT,
    sshCloneURL TEXT,
    kindRaw TEXT,
    statusOptions TEXT NOT NULL DEFAULT '[]',
    isSubscribed INTEGER NOT NULL DEFAULT 0,
    deltaCursor REAL,
    lastSyncedAt REAL,
    lastFullSyncAt REAL,
    lastCountCheckAt REAL,
    quietFetches INTEGER NOT NULL DEFAULT 0,
    actedHintAt REAL,
    syncError TEXT,
    claudeDestinationRaw TEXT,
    checkoutPath TEXT,
    account INTEGER REFERENCES StoredAccount ON DELETE CASCADE
) STRICT;

CREATE TABLE StoredTask (
    rowNumber INTEGER PRIMARY KEY,
    key TEXT NOT NULL UNIQUE,
    localID TEXT NOT NULL UNIQUE,
    accountID TEXT NOT NULL,
    remoteID TEXT NOT NULL,
    projectRemoteID TEXT NOT NULL,
    kindRaw TEXT NOT NULL,
    title TEXT NOT NULL,
    notes TEXT NOT NULL,
    isCompleted INTEGER NOT NULL,
    createdAt REAL,
    updatedAt REAL,
    dueDate REAL,
    priority INTEGER,
    labels TEXT NOT NULL,
    assignees TEXT NOT NULL,
    milestone TEXT,
    parent TEXT,
    typeName TEXT,
    canHaveChildren INTEGER NOT NULL DEFAULT 0,
    canChangeParent INTEGER NOT NULL DEFAULT 1,
    status TEXT,
    estimate REAL,
    webURL TEXT,
    isNext INTEGER NOT NULL DEFAULT 0,
    isStarred INTEGER NOT NULL DEFAULT 0,
    viewedAt REAL,
    lastStartedAt REAL,
    claudeFolder TEXT,
    claudeHandoffAt REAL,
    claudeResultPostedAt REAL,
    worktreePath TEXT,
    pendingOperationRaw TEXT,
    pendingSince REAL,
    localRevision INTEGER NOT NULL DEFAULT 0,
    pushError TEXT,
    project INTEGER REFERENCES StoredProject ON DELETE CASCADE,

    -- What lists sort by; the distant past when there is no date.
    listDate REAL NOT NULL AS (COALESCE(updatedAt, createdAt, -62135769600.0)) VIRTUAL,
    isUnread INTEGER NOT NULL AS (updatedAt IS NOT NULL AND (viewedAt IS NULL OR viewedAt < updatedAt)) VIRTUAL,
    parentID TEXT AS (parent ->> '$.id') VIRTUAL
) STRICT;

CREATE TABLE StoredTimeLog (
    rowNumber INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    startedAt REAL NOT NULL,
    endedAt REAL,
    task INTEGER REFERENCES StoredTask ON DELETE CASCADE
) STRICT;

-- What text search reads from end to end, apart from the tasks so that it passes over nothing else. See TaskSearch.h.
CREATE TABLE TaskSearch (
    task INTEGER PRIMARY KEY REFERENCES StoredTask ON DELETE CASCADE,
    folded BLOB NOT NULL
) STRICT;
)sql";

// Every list reads its rows in the order of an index and stops at its limit. Rows of equal dates follow in row order.
constexpr const char* indices = R"sql(
CREATE INDEX projectsOfAccount ON StoredProject (account);
CREATE INDEX tasksOfProject ON StoredTask (project);
CREATE INDEX tasksInProject ON StoredTask (accountID, projectRemoteID, isCompleted, listDate DESC);
CREATE INDEX tasksInAccount ON StoredTask (accountID, isCompleted, listDate DESC);
CREATE INDEX tasksByDate ON StoredTask (isCompleted, listDate DESC);
CREATE INDEX nextTasks ON StoredTask (isCompleted, listDate DESC) WHERE isNext = 1;
CREATE INDEX starredTasks ON StoredTask (isCompleted, listDate DESC) WHERE isStarred = 1;
CREATE INDEX unreadTasks ON StoredTask (isCompleted, listDate DESC) WHERE isUnread = 1;
CREATE INDEX startedTasks ON StoredTask (isCompleted, lastStartedAt DESC) WHERE lastStartedAt IS NOT NULL;
CREATE INDEX tasksByNumber ON StoredTask (remoteID COLLATE NOCASE);
CREATE INDEX childTasks ON StoredTask (parentID) WHERE parentID IS NOT NULL;
CREATE INDEX pendingTasks ON StoredTask (accountID, pendingSince) WHERE pendingOperationRaw IS NOT NULL;
CREATE INDEX logsOfTask ON StoredTimeLog (task);
CREATE INDEX runningLogs ON StoredTimeLog (startedAt) WHERE endedAt IS NULL;
)sql";

DatabaseSchema schema() {
    return {"Marlet", version, std::string(tables) + indices};
}

}  // namespace

ModelContainer MarletSchema::makeContainer(const std::filesystem::path& folder, const std::string& vfs) {
    return ModelContainer::onDisk(schema(), folder, vfs);
}

ModelContainer MarletSchema::makeInMemoryContainer() {
    return ModelContainer::inMemory(schema());
}

}  // namespace marlet
