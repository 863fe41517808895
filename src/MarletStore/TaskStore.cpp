#include "MarletStore/TaskStore.h"

#include "MarletStore/TaskSearch.h"

namespace marlet {

TaskStore::TaskStore(ModelContainer container, std::function<Date()> now)
    : currentTime(std::move(now)), executor(std::move(container), "io.tolvane.Marlet.store") {
    installTaskSearch(executor.modelContext());
}

TaskStore::~TaskStore() = default;

}  // namespace marlet
