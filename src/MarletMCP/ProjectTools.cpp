// The tools about projects: list_projects, set_project_subscription.
#include "MarletMCP/MarletToolsInternal.h"
#include "MarletMCP/ToolLookup.h"
#include "MarletMCP/ToolSchema.h"
#include "MarletMCP/ToolShapes.h"

namespace marlet {
namespace {

Async<JSONValue> listProjects(ToolContext context, ToolArguments arguments) {
    std::optional<UUID> accountID = arguments.uuid("account_id");
    bool includeUnsubscribed = arguments.boolean("include_unsubscribed").value_or(false);
    std::vector<ProjectSnapshot> projects =
        co_await context.services.store().projectSnapshots(accountID, !includeUnsubscribed);
    JSONValue::Array listed;
    for (const ProjectSnapshot& project : projects) {
        listed.push_back(projectJSON(project));
    }
    co_return JSONValue::object({{"projects", std::move(listed)}});
}

Async<JSONValue> setProjectSubscription(ToolContext context, ToolArguments arguments) {
    MarletServices& services = context.services;
    std::string key = arguments.requiredText("project_key");
    ProjectSnapshot project = co_await findProject(services.store(), key);
    bool isSubscribed = arguments.requiredBoolean("subscribed");
    co_await services.store().setSubscribed(isSubscribed, project.accountID, project.projectID);
    if (isSubscribed) {
        co_await services.sync().syncNow(project.accountID, project.projectID, SyncEngine::Mode::full,
                                         services.clock().now());
    }
    ProjectSnapshot changed = co_await findProject(services.store(), key);
    co_return projectJSON(changed);
}

}  // namespace

MCPTool listProjectsTool(ToolContext context) {
    return {
        .name = "list_projects",
        .title = "List projects",
        .description =
            "Lists projects (GitHub/GitLab/Forgejo repositories, Vikunja and Jira projects). By default only those "
            "subscribed for syncing, whose tasks are available locally.",
        .inputSchema = inputSchema(
            {
                {"account_id", textProperty("Only projects of this account.")},
                {"include_unsubscribed", switchProperty("Also list projects that aren't synced.")},
            },
            {}),
        .annotations = toolAnnotations({.readOnly = true, .idempotent = true}),
        .handler = toolHandler(context, listProjects),
    };
}

MCPTool setProjectSubscriptionTool(ToolContext context) {
    return {
        .name = "set_project_subscription",
        .title = "Subscribe to a project",
        .description =
            "Starts or stops syncing a project. Subscribing fetches its tasks; unsubscribing removes them locally "
            "(except tasks with unsynced changes or tracked time).",
        .inputSchema = inputSchema({{"project_key", textProperty()}, {"subscribed", booleanProperty()}},
                                   {"project_key", "subscribed"}),
        .annotations = toolAnnotations({.destructive = true, .idempotent = true, .openWorld = true}),
        .handler = toolHandler(context, setProjectSubscription),
    };
}

}  // namespace marlet
