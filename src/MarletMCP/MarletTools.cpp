#include "MarletMCP/MarletTools.h"

#include "MarletMCP/MarletToolsInternal.h"

namespace marlet {

const char* const marletInstructions =
    "Marlet is a Mac task client that keeps tasks from GitHub, GitLab, Forgejo, Vikunja and Jira in a local store and "
    "syncs them in the background. Accounts of the service \"On This Mac\" keep their tasks only on this Mac.\n"
    "\n"
    "- Projects are identified by `project_key`, tasks by `task_id`. Get them from list_projects and list_tasks; don't "
    "construct them.\n"
    "- Changes are saved locally and pushed to the server in the background. A task's `sync_state` is \"synced\", "
    "\"pending\" or \"rejected\" (see `sync_error`). Call `sync` to push and fetch right away.\n"
    "- Notes and comments are Markdown on GitHub, GitLab, Forgejo and On This Mac, HTML on Vikunja and Jira wiki "
    "markup on Jira.\n"
    "- Only tasks of \"On This Mac\" accounts can be deleted (delete_task). Close other tasks with update_task.\n"
    "- Tasks can belong to a parent: a Jira issue to its epic, a GitHub sub-issue or GitLab task to its issue, a "
    "Vikunja or On This Mac subtask to its task (Forgejo has none). Tasks show `parent`, `can_have_children` and "
    "`can_change_parent`. Find a task's children with list_tasks (`parent`), change or remove a parent with "
    "update_task (`parent`). A GitHub parent in another repository is written `owner/repo#12`.\n"
    "- GitHub Projects are projects of kind \"board\": their tasks are the project's draft tickets, with a `status` "
    "from the project's `status_options` (list_projects). Change it with update_task (`status`); the done status "
    "completes a ticket.\n"
    "- \"next\", \"starred\", \"unread\" and time tracking are local to Marlet and never sent to the server.";

std::vector<MCPTool> marletTools(ToolContext context) {
    return {
        listAccountsTool(context), setDefaultTaskTypeTool(context),
        listProjectsTool(context), setProjectSubscriptionTool(context),
        listTasksTool(context),    getTaskTool(context),
        createTaskTool(context),   updateTaskTool(context),
        deleteTaskTool(context),   addCommentTool(context),
        setTaskFlagsTool(context), startTimerTool(context),
        stopTimerTool(context),    syncTool(context),
    };
}

}  // namespace marlet
