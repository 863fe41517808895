#include "TestSupport/BackendContract.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace marlet {

void PrintTo(const ServerTask& task, std::ostream* stream) {
    *stream << fmt::format("\"{}\" \"{}\" {} [{}] due {} parent {} [{}] {}", task.title, task.notes,
                           task.isCompleted ? "completed" : "open", fmt::join(task.labels, ", "),
                           task.dueDate ? iso8601(*task.dueDate) : "never", task.parentID.value_or("none"),
                           fmt::join(task.assignees, ", "), task.rest);
}

std::vector<ContractCase> contractServicesWith(bool ContractCase::Abilities::*ability) {
    std::vector<ContractCase> services = contractServices();
    std::erase_if(services, [&](const ContractCase& service) { return !(service.abilities.*ability); });
    return services;
}

BackendContract::BackendContract() : service(GetParam().make(clock)), backend(service->makeBackend(itemLimit)) {}

void BackendContract::TearDown() {
    EXPECT_THAT(service->service().violations(), testing::IsEmpty()) << service->service().printedLog();
}

std::vector<TaskItem> BackendContract::fetch(std::optional<Date> since) {
    return run(backend->fetchTasks(service->projectID(), since));
}

TaskItem BackendContract::fetchOne(const std::string& taskID) {
    for (TaskItem& item : fetch()) {
        if (item.id == taskID) {
            return item;
        }
    }
    throw std::runtime_error("The backend gives no task " + taskID + ".");
}

TaskItem BackendContract::update(const std::string& taskID, const std::function<void(TaskItem& item)>& change) {
    TaskItem item = fetchOne(taskID);
    change(item);
    return run(backend->updateTask(item));
}

TaskItem BackendContract::completed(TaskItem answer, const TaskItem& fetched) {
    if (answer.parent && fetched.parent) {
        answer.parent->title = fetched.parent->title;
    }
    bool hasAllLabels = answer.labels.size() == fetched.labels.size();
    for (size_t index = 0; !GetParam().abilities.coloredAnswers && hasAllLabels && index < answer.labels.size();
         ++index) {
        std::optional<std::string>& color = answer.labels[index].colorHex;
        color = color ? color : fetched.labels[index].colorHex;
    }
    return answer;
}

std::vector<std::string> labelNames(const TaskItem& item) {
    std::vector<std::string> names;
    for (const TaskLabel& label : item.labels) {
        names.push_back(label.name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> taskIDs(const std::vector<TaskItem>& items) {
    std::vector<std::string> ids;
    for (const TaskItem& item : items) {
        ids.push_back(item.id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace marlet
