#include "LocalBackend/LocalTaskSchema.h"

namespace marlet {
namespace {

// `project` and `task` name the rows above by their `id`. A task is found by its key, by its number in the project,
// by its parent, by what changed since a date, and by the local task that it was made from.
const DatabaseSchema localTaskSchema{"LocalTasks", 1, R"(
CREATE TABLE LocalProjectRecord (
    id INTEGER PRIMARY KEY,
    key TEXT NOT NULL UNIQUE,
    accountID TEXT NOT NULL,
    projectID TEXT NOT NULL,
    name TEXT NOT NULL,
    detail TEXT NOT NULL,
    createdAt REAL NOT NULL,
    nextNumber INTEGER NOT NULL
) STRICT;
CREATE INDEX LocalProjectRecordByAccount ON LocalProjectRecord (accountID);

CREATE TABLE LocalTaskRecord (
    id INTEGER PRIMARY KEY,
    key TEXT NOT NULL UNIQUE,
    accountID TEXT NOT NULL,
    projectID TEXT NOT NULL,
    number INTEGER NOT NULL,
    title TEXT NOT NULL,
    notes TEXT NOT NULL,
    isCompleted INTEGER NOT NULL,
    createdAt REAL NOT NULL,
    updatedAt REAL NOT NULL,
    dueDate REAL,
    priority INTEGER,
    labels TEXT NOT NULL,
    parentNumber INTEGER,
    originID TEXT,
    project INTEGER NOT NULL REFERENCES LocalProjectRecord (id) ON DELETE CASCADE
) STRICT;
CREATE UNIQUE INDEX LocalTaskRecordByNumber ON LocalTaskRecord (project, number);
CREATE INDEX LocalTaskRecordByUpdate ON LocalTaskRecord (project, updatedAt);
CREATE INDEX LocalTaskRecordByParent ON LocalTaskRecord (project, parentNumber) WHERE parentNumber IS NOT NULL;
CREATE UNIQUE INDEX LocalTaskRecordByOrigin ON LocalTaskRecord (project, originID) WHERE originID IS NOT NULL;

CREATE TABLE LocalCommentRecord (
    sequence INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    body TEXT NOT NULL,
    createdAt REAL NOT NULL,
    task INTEGER NOT NULL REFERENCES LocalTaskRecord (id) ON DELETE CASCADE
) STRICT;
CREATE INDEX LocalCommentRecordByTask ON LocalCommentRecord (task, createdAt);
)"};

}  // namespace

ModelContainer LocalTaskSchema::makeContainer(const std::filesystem::path& folder, const std::string& vfs) {
    return ModelContainer::onDisk(localTaskSchema, folder, vfs);
}

ModelContainer LocalTaskSchema::makeInMemoryContainer() {
    return ModelContainer::inMemory(localTaskSchema);
}

}  // namespace marlet
