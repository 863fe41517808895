#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/URL.h"

namespace marlet {

// The format in which a service keeps a task's notes.
enum class NotesFormat { markdown, html };
BOOST_DESCRIBE_ENUM(NotesFormat, markdown, html)

std::string displayName(NotesFormat format);

// Where a task's parent may live.
enum class ParentScope { project, account };
BOOST_DESCRIBE_ENUM(ParentScope, project, account)

enum class TaskKind { task, issue, pullRequest };
BOOST_DESCRIBE_ENUM(TaskKind, task, issue, pullRequest)

// The services, in the order in which users see them.
enum class BackendKind { github, gitlab, vikunja, forgejo, jira, local };
BOOST_DESCRIBE_ENUM(BackendKind, github, gitlab, vikunja, forgejo, jira, local)

std::string displayName(BackendKind kind);
bool isLocal(BackendKind kind);
// The user has to say where the server is.
bool isSelfHosted(BackendKind kind);
std::optional<URL> defaultBaseURL(BackendKind kind);
NotesFormat notesFormat(BackendKind kind);
TaskKind newTaskKind(BackendKind kind);
bool supportsParent(BackendKind kind);
std::optional<std::string> defaultTaskType(BackendKind kind);
ParentScope parentScope(BackendKind kind);
bool acceptsUsername(BackendKind kind);
bool supportsEstimate(BackendKind kind);

// The one secret string that is stored, made of what the user typed.
std::string credential(BackendKind kind, std::string_view username, std::string_view token);

}  // namespace marlet
