#include "SyntheticStore.h"

#include <random>

#include "MarletStore/MarletSchema.h"

namespace marlet {
namespace {

constexpr int largeStoreProjects = 20;
constexpr int tasksPerProject = 5'000;

constexpr Date epoch = dateFromSeconds(1'700'000'000);

const char* const words[] = {"garden", "water", "the",  "beans", "before",  "noon",   "prune", "every",
                             "second", "rose",  "path", "gate",  "shed",    "autumn", "seeds", "frost",
                             "paint",  "fence", "with", "care",  "Compost", "Ladder", "north", "wall"};

std::string prose(std::mt19937_64& generator, size_t bytes) {
    std::string text;
    while (text.size() < bytes) {
        text += words[generator() % std::size(words)];
        text += ' ';
    }
    return text;
}

}  // namespace

std::vector<TaskItem> syntheticTasks(const std::string& projectID, int count, size_t noteBytes, int firstNumber) {
    std::mt19937_64 generator(static_cast<uint64_t>(firstNumber));
    std::vector<TaskItem> tasks;
    tasks.reserve(static_cast<size_t>(count));
    for (int number = firstNumber; number < firstNumber + count; ++number) {
        TaskItem task;
        task.id = std::to_string(number);
        task.projectID = projectID;
        task.kind = TaskKind::issue;
        task.title = prose(generator, 40);
        task.notes = prose(generator, noteBytes);
        task.isCompleted = number % 3 == 0;
        task.createdAt = epoch + static_cast<double>(number);
        task.updatedAt = epoch + static_cast<double>(generator() % 50'000'000);
        task.labels = {{"garden", "#00aa00"}, {"spring", "#ffee00"}};
        task.assignees = {{"u1", "ann", "Ann", URL::parse("https://example.org/ann.png")}};
        task.webURL = URL::parse("https://example.org/" + projectID + "/" + task.id);
        tasks.push_back(std::move(task));
    }
    return tasks;
}

SyntheticStore::SyntheticStore(int projects)
    : tasks(std::make_unique<TaskStore>(MarletSchema::makeContainer(folder.path()), [] { return epoch; })),
      account(UUID::random()) {
    runToEnd(tasks->addAccount({account, BackendKind::github, "Home", URL::parse("https://example.org").value()}));
    std::vector<Project> listed;
    for (int number = 0; number < projects; ++number) {
        Project project;
        project.id = "p" + std::to_string(number);
        project.accountID = account;
        project.name = "Project " + std::to_string(number);
        listed.push_back(project);
    }
    runToEnd(tasks->replaceProjects(listed, account, epoch));
}

FetchedTasks SyntheticStore::fullFetch(std::vector<TaskItem> items, const std::string& projectID) const {
    return {std::move(items), account, projectID, true, true, epoch};
}

SyntheticStore& largeStore() {
    static std::unique_ptr<SyntheticStore> large = [] {
        auto store = std::make_unique<SyntheticStore>(largeStoreProjects);
        for (int project = 0; project < largeStoreProjects; ++project) {
            std::string id = "p" + std::to_string(project);
            std::vector<TaskItem> tasks = syntheticTasks(id, tasksPerProject, 1000, 1 + project * tasksPerProject);
            runToEnd(store->store().applyFetchedTasks(store->fullFetch(std::move(tasks), id)));
        }
        return store;
    }();
    return *large;
}

}  // namespace marlet
