// What is asked of Vikunja: paths, queries and bodies.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MarletBase/RawJSONObject.h"
#include "MarletCore/Account.h"
#include "MarletCore/TaskItem.h"
#include "MarletHTTP/HTTPTransport.h"
#include "MarletHTTP/ServerURL.h"
#include "VikunjaBackend/VikunjaRecordsInternal.h"

namespace marlet::vikunja {

inline const std::string parentRelation = "parenttask";

HTTPHeaders requestHeaders(const std::string& token);

// "tasks/12" and what stands below it; "projects/7/tasks". BackendError::notFound for an id that is no number.
std::string taskPath(const std::string& taskID);
std::string newTaskPath(const std::string& projectID);
std::string parentPath(const std::string& taskID, int64_t parentID);

// Ends the query of every list.
URLQueryItem pageSize();
// All tasks that the user sees, or those of a project; the last one changed comes first.
URLQuery changesQuery();
URLQuery tasksQuery(const std::string& projectID);
// One task to a page: the number of pages is that of the tasks.
URLQuery countQuery(const std::string& projectID);
URLQuery commentsQuery();

// The task as it came, with what the user may change as the user has it. Relations stay out: they have their own way.
std::string editedTask(RawJSONObject raw, const TaskItem& task);

// The colour of a new label, by its name in any case.
std::string labelColor(std::string_view name);

// Finds labels by their names, spelt alike or, failing that, in any case.
class LabelIDs {
public:
    explicit LabelIDs(const std::vector<VikunjaLabel>& known);

    std::optional<int64_t> find(const std::string& name) const;
    // Found by this spelling from now on.
    void add(const std::string& name, int64_t id) { exact.emplace(name, id); }

private:
    std::map<std::string, int64_t, std::less<>> exact;
    std::map<std::string, int64_t, std::less<>> lowered;
};

}  // namespace marlet::vikunja
