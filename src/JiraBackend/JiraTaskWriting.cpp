#include "JiraBackend/JiraChangesInternal.h"
#include "JiraBackend/JiraFieldsInternal.h"
#include "JiraBackend/JiraMappingInternal.h"
#include "JiraBackend/JiraRequestsInternal.h"
#include "JiraBackend/JiraTaskBackend.h"
#include "JiraBackend/JiraWriteRecordsInternal.h"
#include "MarletCore/BackendError.h"
#include "MarletCore/JiraMarkup.h"

namespace marlet {
namespace {

std::optional<std::string> wantedParent(const TaskItem& task) {
    return task.parent ? std::optional(task.parent->id) : std::nullopt;
}

}  // namespace

Async<TaskItem> JiraTaskBackend::createTask(TaskDraft draft, std::string projectID) {
    // All that can fail without harm comes before the issue is made.
    CustomFieldIDs ids = co_await fieldIDs();
    ProjectDetail project = co_await client.get<ProjectDetail>(jira::projectPath(projectID));
    JiraIssueType type = jira::issueTypeFor(draft.typeName, project.issueTypes.value_or(std::vector<JiraIssueType>()));
    boost::json::object body{{"fields", jira::newFields(draft, projectID, type)}};
    URL target = client.url("issue");
    HTTPResponse answer = co_await client.send(HTTPMethod::post, std::move(target), JSONCoding::serialized(body), true);
    auto created = answer.decode<CreatedJiraIssue>();

    JiraIssue asSent = jira::issueAsSent(created.key, draft, projectID, type);
    TaskItem item = jira::taskItem(std::move(asSent), {ids, projectID, webBaseURL, {}});
    try {
        JiraIssue issue = co_await readIssue(created.key, ids);
        item = co_await finished(std::move(issue), ids, projectID);
    } catch (const std::exception&) {
        // It is made: an error would have it made a second time. That goes for a caller who has given up, too, so
        // nothing is awaited from here on.
    }
    co_return item;
}

Async<TaskItem> JiraTaskBackend::updateTask(TaskItem task) {
    CustomFieldIDs ids = co_await fieldIDs();
    JiraIssue current = co_await readIssue(task.id, ids);
    boost::json::object fields = co_await changedFields(task, current, ids);
    if (!fields.empty()) {
        boost::json::object body{{"fields", std::move(fields)}};
        co_await write(HTTPMethod::put, jira::issuePath(task.id), std::move(body));
    }
    if (jira::isCompleted(current) != task.isCompleted) {
        co_await runTransition(task.id, task.isCompleted);
    }
    JiraIssue updated = co_await readIssue(task.id, ids);
    TaskItem item = co_await finished(std::move(updated), std::move(ids), std::move(task.projectID));
    co_return item;
}

Async<boost::json::object> JiraTaskBackend::changedFields(TaskItem task, JiraIssue issue, CustomFieldIDs ids) const {
    boost::json::object fields = jira::changedTexts(task, issue);

    std::optional<std::string> parent = wantedParent(task);
    if (parent != jira::parentKey(issue, ids.epicLink)) {
        if (ids.epicLink) {
            fields[*ids.epicLink] = jira::textOrNull(parent);
        } else {
            bool onCloud = co_await isCloud();
            if (!onCloud) {
                throw BackendError::rejected(
                    "This Jira instance has no Epic Link field, so issues can't be assigned to epics.");
            }
            fields["parent"] = jira::keyOrNull(parent);
        }
    }

    std::optional<jira::StoryPoints> points = jira::storyPoints(issue, ids.storyPoints);
    if (points && task.estimate != points->value) {
        fields[points->fieldID] = jira::numberOrNull(task.estimate);
    } else if (!points && task.estimate) {
        EditMeta screen = co_await client.get<EditMeta>(jira::issuePath(task.id) + "/editmeta");
        fields[jira::storyPointsOnScreen(ids.storyPoints, screen)] = jira::numberOrNull(task.estimate);
    }
    co_return fields;
}

Async<void> JiraTaskBackend::write(HTTPMethod method, std::string path, boost::json::object body) const {
    URL target = client.url(path);
    std::string text = JSONCoding::serialized(body);
    co_await client.send(method, std::move(target), std::move(text), true);
}

Async<void> JiraTaskBackend::runTransition(std::string key, bool completes) const {
    std::string path = jira::issuePath(key) + "/transitions";
    URLQuery query{{"expand", "transitions.fields"}};
    TransitionList list = co_await client.get<TransitionList>(path, std::move(query));
    boost::json::object body = jira::transitionBody(key, completes, list.transitions);
    co_await write(HTTPMethod::post, std::move(path), std::move(body));
}

Async<TaskComment> JiraTaskBackend::addComment(std::string body, TaskItem task) {
    std::string text = JiraMarkup::wiki(body);
    URL target = client.url(jira::issuePath(task.id) + "/comment");
    std::string request = JSONCoding::serialized(boost::json::object{{"body", text}});
    HTTPResponse answer = co_await client.send(HTTPMethod::post, std::move(target), std::move(request), true);
    co_return jira::taskComment(answer.decode<CreatedJiraComment>(), text);
}

}  // namespace marlet
