#include "MarletClient/CommandShapes.h"

#include <algorithm>

namespace marlet {

Async<std::vector<TaskSnapshot>> readAgain(TaskStore& store, std::vector<TaskSnapshot> tasks) {
    std::vector<TaskSnapshot> current;
    for (const TaskSnapshot& task : tasks) {
        std::optional<TaskSnapshot> found = co_await store.taskSnapshot(task.localID);
        if (found) {
            current.push_back(std::move(*found));
        }
    }
    co_return current;
}

std::vector<UUID> accountsOf(const std::vector<TaskSnapshot>& tasks) {
    std::vector<UUID> accounts;
    for (const TaskSnapshot& task : tasks) {
        if (std::find(accounts.begin(), accounts.end(), task.accountID) == accounts.end()) {
            accounts.push_back(task.accountID);
        }
    }
    return accounts;
}

}  // namespace marlet
