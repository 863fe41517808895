#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "MarletStore/TaskStore.h"
#include "Measure.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// Tasks as a busy repository has them: notes of about `noteBytes`, two labels, an assignee, dates, every third closed.
// The same for the same arguments.
std::vector<TaskItem> syntheticTasks(const std::string& projectID, int count, size_t noteBytes, int firstNumber = 1);

// A store on disk with one GitHub account and its projects "p0", "p1" and so on, empty.
class SyntheticStore {
public:
    explicit SyntheticStore(int projects);
    TaskStore& store() { return *tasks; }
    const UUID& accountID() const { return account; }
    std::filesystem::path file() const { return folder.path() / "Marlet.sqlite"; }
    FetchedTasks fullFetch(std::vector<TaskItem> items, const std::string& projectID) const;

private:
    TemporaryFolder folder;
    std::unique_ptr<TaskStore> tasks;
    UUID account;
};

// 100,000 tasks with 1 KB notes in 20 projects; made once.
SyntheticStore& largeStore();

}  // namespace marlet
