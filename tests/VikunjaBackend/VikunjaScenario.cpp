#include "VikunjaScenario.h"

#include <fmt/format.h>

namespace marlet {

std::string fixture(const std::string& name) {
    return textOfFile(std::string(MARLET_VIKUNJA_FIXTURES) + "/" + name);
}

Vikunja::Vikunja(const std::string& address, int64_t itemLimit)
    : account{UUID::parse("0D5AF0C1-3E0B-4B5E-9B1C-6A1B1C7B0002").value(), BackendKind::vikunja, "Tasks",
              URL::parse(address).value()},
      backend(account, "tk_k3y", server, itemLimit, clock) {}

std::string taskJSON(int64_t id, const std::string& more) {
    return fmt::format(R"({{"id":{},"project_id":7,"title":"Prune","done":false{}}})", id, more);
}

std::string tasksJSON(int count, const std::string& updated) {
    std::string list;
    for (int number = 1; number <= count; ++number) {
        list += (list.empty() ? "" : ",") + taskJSON(number, R"(,"updated":")" + updated + "\"");
    }
    return "[" + list + "]";
}

TaskItem taskWithTitle(const std::string& id, const std::string& title) {
    TaskItem task;
    task.id = id;
    task.projectID = "7";
    task.title = title;
    return task;
}

}  // namespace marlet
