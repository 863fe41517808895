// What GitLab tells by GraphQL alone: the parents of tasks, and how many merge requests a long list has.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "MarletCore/TaskItem.h"
#include "MarletHTTP/HTTPClient.h"

namespace marlet {

template <class Node>
struct GitLabNodes {
    std::vector<Node> nodes;

    BOOST_DESCRIBE_CLASS(GitLabNodes, (), (nodes), (), ())
};

struct GitLabParent {
    std::string id;
    std::string iid;
    std::string title;
};
BOOST_DESCRIBE_STRUCT(GitLabParent, (), (id, iid, title))

// Of its many kinds only the hierarchy is asked for; the others are empty.
struct GitLabWidget {
    std::optional<GitLabParent> parent;
};
BOOST_DESCRIBE_STRUCT(GitLabWidget, (), (parent))

struct GitLabWorkItem {
    std::string id;  // "gid://gitlab/WorkItem/1077"
    std::string iid;
    std::optional<std::vector<GitLabWidget>> widgets;
};
BOOST_DESCRIBE_STRUCT(GitLabWorkItem, (), (id, iid, widgets))

struct GitLabWorkItemProject {
    GitLabNodes<GitLabWorkItem> workItems;
};
BOOST_DESCRIBE_STRUCT(GitLabWorkItemProject, (), (workItems))

struct GitLabWorkItems {
    GitLabNodes<GitLabWorkItemProject> projects;
};
BOOST_DESCRIBE_STRUCT(GitLabWorkItems, (), (projects))

struct GitLabCount {
    int64_t count = 0;
};
BOOST_DESCRIBE_STRUCT(GitLabCount, (), (count))

struct GitLabMergeRequestProject {
    GitLabCount mergeRequests;
};
BOOST_DESCRIBE_STRUCT(GitLabMergeRequestProject, (), (mergeRequests))

struct GitLabMergeRequestCount {
    GitLabNodes<GitLabMergeRequestProject> projects;
};
BOOST_DESCRIBE_STRUCT(GitLabMergeRequestCount, (), (projects))

struct GitLabUpdateErrors {
    std::vector<std::string> errors;
};
BOOST_DESCRIBE_STRUCT(GitLabUpdateErrors, (), (errors))

struct GitLabWorkItemUpdate {
    GitLabUpdateErrors workItemUpdate;
};
BOOST_DESCRIBE_STRUCT(GitLabWorkItemUpdate, (), (workItemUpdate))

}  // namespace marlet

namespace marlet::gitlab {

using ParentsByNumber = std::unordered_map<int64_t, TaskParent>;

// The parents of these tasks, as far as they have one.
Async<ParentsByNumber> parentsOf(const HTTPClient& client, URL graphQLURL, std::string projectID,
                                 std::vector<int64_t> numbers);

// Gives the work item what the task names as its parent, or none, and tells the parent that it then has. Throws
// BackendError::notFound if the project doesn't have the work item, and rejected if it doesn't have the parent or the
// service refuses it.
Async<std::optional<TaskParent>> bringParentInLine(const HTTPClient& client, URL graphQLURL, TaskItem task,
                                                   int64_t number);

// No value if the project can't be seen, or the service can't tell or what it tells can't be read.
Async<std::optional<int64_t>> mergeRequestCount(const HTTPClient& client, URL graphQLURL, std::string projectID);

}  // namespace marlet::gitlab
