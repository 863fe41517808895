#include "VikunjaBackend/VikunjaTaskBackend.h"

#include <algorithm>

#include "MarletCore/BackendError.h"
#include "VikunjaBackend/VikunjaMappingInternal.h"
#include "VikunjaBackend/VikunjaRecordsInternal.h"
#include "VikunjaBackend/VikunjaRequestsInternal.h"

namespace marlet {
namespace {

// Changes and notifications are hints where to look: what is behind so many of them costs more than a look at all.
constexpr size_t maximalHints = 200;

Account requireVikunja(Account account) {
    if (account.kind != BackendKind::vikunja) {
        programmingError("A Vikunja backend needs an account of Vikunja.");
    }
    return account;
}

// The id of every label, in order and each once; what the service doesn't have is made there.
Async<std::vector<VikunjaIdentity>> resolveLabels(const HTTPClient& client, std::vector<std::string> names) {
    std::vector<VikunjaIdentity> result;
    if (names.empty()) {
        co_return result;
    }
    std::vector<VikunjaLabel> known = co_await client.paginate<VikunjaLabel>("labels", {vikunja::pageSize()});
    vikunja::LabelIDs ids(known);
    for (const std::string& name : names) {
        std::optional<int64_t> id = ids.find(name);
        if (!id) {
            NewLabel label{name, vikunja::labelColor(name)};
            VikunjaIdentity made = co_await client.send<VikunjaIdentity>(HTTPMethod::put, "labels", std::move(label));
            ids.add(name, made.id);
            id = made.id;
        }
        bool isKnown =
            std::any_of(result.begin(), result.end(), [&](const auto& earlier) { return earlier.id == *id; });
        if (!isKnown) {
            result.push_back({*id});
        }
    }
    co_return result;
}

// Gives the task as the service has it then.
Async<VikunjaTask> setLabels(const HTTPClient& client, std::string path, std::vector<std::string> names) {
    LabelBulk labels;
    labels.labels = co_await resolveLabels(client, std::move(names));
    URL url = client.url(path + "/labels/bulk");
    co_await client.send(HTTPMethod::post, std::move(url), JSONCoding::encode(labels), true);
    VikunjaTask task = co_await client.get<VikunjaTask>(std::move(path));
    co_return task;
}

// A task has one parent for us, so the old one goes before the new one comes.
Async<void> changeParent(const HTTPClient& client, std::string taskID, std::optional<int64_t> current,
                         std::optional<int64_t> wanted) {
    if (current) {
        URL url = client.url(vikunja::parentPath(taskID, *current));
        co_await client.send(HTTPMethod::delete_, std::move(url), std::nullopt, true);
    }
    if (wanted) {
        NewRelation relation{decimalInteger(taskID).value_or(0), *wanted, vikunja::parentRelation};
        URL url = client.url(vikunja::taskPath(taskID) + "/relations");
        co_await client.send(HTTPMethod::put, std::move(url), JSONCoding::encode(relation), true);
    }
}

}  // namespace

VikunjaTaskBackend::VikunjaTaskBackend(Account account, const std::string& token,
                                       std::shared_ptr<HTTPTransport> transport, int64_t itemLimit,
                                       std::shared_ptr<Clock> clock)
    : ownAccount(requireVikunja(std::move(account))),
      webBase(removingAPIv1(ownAccount.baseURL)),
      client(appendingAPIv1(ownAccount.baseURL), vikunja::requestHeaders(token), std::move(transport),
             std::move(clock)),
      limit(itemLimit) {}

Async<std::vector<Project>> VikunjaTaskBackend::fetchProjects() {
    std::vector<VikunjaProject> found = co_await client.paginate<VikunjaProject>("projects", {vikunja::pageSize()});
    co_return vikunja::projects(std::move(found), ownAccount.id, webBase);
}

Async<std::vector<TaskItem>> VikunjaTaskBackend::fetchTasks(std::string projectID, std::optional<Date> updatedSince) {
    PageWalk<VikunjaTask> walk;
    if (updatedSince) {
        walk.goesOn = [since = *updatedSince](const VikunjaTask& task) { return vikunja::isChanged(task, since); };
    } else {
        walk.maxItems = static_cast<size_t>(std::max<int64_t>(limit, 0));
    }
    std::vector<VikunjaTask> tasks =
        co_await client.paginate<VikunjaTask>("tasks", vikunja::tasksQuery(projectID), std::move(walk));
    std::vector<TaskItem> result;
    result.reserve(tasks.size());
    for (VikunjaTask& task : tasks) {
        result.push_back(vikunja::taskItem(std::move(task), webBase));
    }
    co_return result;
}

Async<TaskItem> VikunjaTaskBackend::createTask(TaskDraft draft, std::string projectID) {
    NewTask task{draft.title, draft.notes, draft.dueDate};
    CreatedVikunjaTask created =
        co_await client.send<CreatedVikunjaTask>(HTTPMethod::put, vikunja::newTaskPath(projectID), std::move(task));
    co_return vikunja::taskItem(std::move(created), draft, projectID, webBase);
}

Async<TaskItem> VikunjaTaskBackend::updateTask(TaskItem task) {
    std::string path = vikunja::taskPath(task.id);
    HTTPResponse before = co_await client.get(path);
    std::optional<RawJSONObject> raw = RawJSONObject::parse(before.data);
    if (!raw) {
        throw BackendError::invalidResponse();
    }
    std::optional<VikunjaRelated> parent = vikunja::parentOf(before.decode<VikunjaTaskParents>());

    std::string edited = vikunja::editedTask(std::move(*raw), task);
    HTTPResponse answer = co_await client.send(HTTPMethod::post, client.url(path), std::move(edited), true);
    auto written = answer.decode<VikunjaTask>();
    // The answer to a write shows no relations, though they stand: without them the next edit would remove the parent.
    if (parent && written.relatedTasks.value_or(VikunjaRelations()).empty()) {
        written.relatedTasks = VikunjaRelations{{vikunja::parentRelation, std::vector{*parent}}};
    }
    if (!haveSameNames(vikunja::taskLabels(written.labels), task.labels)) {
        VikunjaTask labelled = co_await setLabels(client, path, labelNames(task.labels));
        if (!labelled.relatedTasks) {
            labelled.relatedTasks = std::move(written.relatedTasks);
        }
        written = std::move(labelled);
    }
    TaskItem updated = vikunja::taskItem(std::move(written), webBase);

    std::optional<int64_t> current = parent ? std::optional(parent->id) : std::nullopt;
    std::optional<int64_t> wanted = task.parent ? decimalInteger(task.parent->id) : std::nullopt;
    if (wanted != current) {
        co_await changeParent(client, task.id, current, wanted);
        updated.parent = task.parent;
    }
    co_return updated;
}

Async<std::vector<TaskComment>> VikunjaTaskBackend::fetchComments(TaskItem task) {
    std::string path = vikunja::taskPath(task.id) + "/comments";
    std::vector<VikunjaComment> comments =
        co_await client.paginate<VikunjaComment>(std::move(path), vikunja::commentsQuery());
    std::vector<TaskComment> result;
    result.reserve(comments.size());
    for (VikunjaComment& comment : comments) {
        result.push_back(vikunja::taskComment(std::move(comment)));
    }
    co_return result;
}

Async<TaskComment> VikunjaTaskBackend::addComment(std::string body, TaskItem task) {
    std::string path = vikunja::taskPath(task.id) + "/comments";
    NewComment comment{body};
    CreatedVikunjaComment created =
        co_await client.send<CreatedVikunjaComment>(HTTPMethod::put, std::move(path), std::move(comment));
    co_return vikunja::taskComment(std::move(created), body);
}

Async<std::string> VikunjaTaskBackend::rawTask(TaskItem task) {
    HTTPResponse response = co_await client.get(vikunja::taskPath(task.id));
    co_return std::move(response.data);
}

Async<std::optional<int64_t>> VikunjaTaskBackend::taskCount(std::string projectID) {
    HTTPResponse response = co_await client.get("tasks", vikunja::countQuery(projectID));
    co_return decimalInteger(response.header("x-pagination-total-pages").value_or(""));
}

Async<std::optional<std::map<std::string, Date>>> VikunjaTaskBackend::latestTaskUpdates(Date since) {
    PageWalk<VikunjaTask> walk;
    walk.maxItems = maximalHints;
    walk.goesOn = [since](const VikunjaTask& task) { return vikunja::isChanged(task, since); };
    std::vector<VikunjaTask> tasks =
        co_await client.paginate<VikunjaTask>("tasks", vikunja::changesQuery(), std::move(walk));
    if (tasks.size() >= maximalHints) {
        co_return std::nullopt;
    }
    co_return vikunja::latestUpdates(tasks);
}

Async<ChangeHints> VikunjaTaskBackend::notifiedTaskUpdates(Date since) {
    PageWalk<VikunjaNotification> walk;
    walk.maxItems = maximalHints;
    walk.goesOn = [since](const VikunjaNotification& notification) { return notification.created >= since; };
    std::vector<VikunjaNotification> notifications =
        co_await client.paginate<VikunjaNotification>("notifications", {vikunja::pageSize()}, std::move(walk));
    co_return vikunja::changeHints(notifications);
}

}  // namespace marlet
