#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <vector>

#include "MarletBase/URL.h"
#include "MarletBase/UUID.h"

namespace marlet {

enum class ProjectKind { repository, board, list };
BOOST_DESCRIBE_ENUM(ProjectKind, repository, board, list)

// A place that holds tasks.
struct Project {
    std::string id;  // identity within the account, in the service's own form
    UUID accountID;
    std::string name;
    std::string detail;
    std::optional<URL> webURL;
    std::optional<URL> cloneURL;
    std::optional<std::string> sshCloneURL;
    ProjectKind kind = ProjectKind::list;
    std::vector<std::string> statusOptions;  // a board's columns, in order

    // The status that completes a task: "done" in any case, else the last column.
    std::optional<std::string> doneStatus() const;
    // The status that a reopened task gets: the first column that isn't the done one.
    std::optional<std::string> openStatus() const;

    bool operator==(const Project&) const = default;
};
BOOST_DESCRIBE_STRUCT(Project, (), (id, accountID, name, detail, webURL, cloneURL, sshCloneURL, kind, statusOptions))

// `given`, or what the clone addresses say: a project with one is a repository.
ProjectKind projectKind(std::optional<ProjectKind> given, const std::optional<URL>& cloneURL,
                        const std::optional<std::string>& sshCloneURL);

}  // namespace marlet
