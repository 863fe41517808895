#include <boost/json/array.hpp>

#include "TestSupport/FakeGitLab.h"

namespace marlet {
namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

constexpr std::string_view hierarchyDocument =
    "query($ids: [ID!], $iids: [String!]) { projects(ids: $ids) { nodes { workItems(iids: $iids) { nodes { id iid "
    "widgets { ... on WorkItemWidgetHierarchy { parent { id iid title } } } } } } } }";
constexpr std::string_view countDocument =
    "query($ids: [ID!]) { projects(ids: $ids) { nodes { mergeRequests(first: 0) { count } } } }";
constexpr std::string_view parentDocument =
    "mutation($input: WorkItemUpdateInput!) { workItemUpdate(input: $input) { errors } }";
constexpr size_t largestConnection = 100;

value failed(const std::string& message) {
    return object{{"errors", array{object{{"message", message}}}}};
}

value updated(const array& errors) {
    return object{{"data", object{{"workItemUpdate", object{{"errors", errors}}}}}};
}

object projectNodes(array nodes) {
    return {{"data", object{{"projects", object{{"nodes", std::move(nodes)}}}}}};
}

const value* member(const object& holder, std::string_view key) {
    return holder.if_contains(key);
}

}  // namespace

FakeAnswer FakeGitLab::graphQL(const FakeCall& call) {
    const object& variables = call.body.at("variables").as_object();
    std::string document = call.text("query").value_or("");
    if (document == hierarchyDocument) {
        return hierarchy(variables);
    }
    if (document == countDocument) {
        return mergeRequestCount(variables);
    }
    if (document == parentDocument) {
        return changeParent(variables);
    }
    return violation("unknown GraphQL document: " + document);
}

// The project whose global id the variables name, and no other.
FakeGitLabProject* FakeGitLab::projectOf(const object& variables, size_t variableCount) {
    constexpr std::string_view prefix = "gid://gitlab/Project/";
    const value* ids = member(variables, "ids");
    bool isOne = ids && ids->is_array() && ids->get_array().size() == 1 && ids->get_array()[0].is_string();
    std::string id = isOne ? ids->get_array()[0].get_string().c_str() : "";
    if (!id.starts_with(prefix) || variables.size() != variableCount) {
        violation("the GraphQL variables aren't those of the document");
        return nullptr;
    }
    auto found = projects.find(std::stoll(id.substr(prefix.size())));
    return found == projects.end() ? nullptr : &found->second;
}

FakeAnswer FakeGitLab::hierarchy(const object& variables) {
    FakeGitLabProject* project = projectOf(variables, 2);
    const value* numbers = member(variables, "iids");
    if (!numbers || !numbers->is_array() || numbers->get_array().size() > largestConnection) {
        return violation("the GraphQL variable iids is no list of a hundred at the most");
    }
    if (!project) {
        return json(projectNodes({}));
    }
    array nodes;
    for (const auto& [iid, item] : project->issues) {
        bool isAsked = false;
        for (const value& number : numbers->get_array()) {
            isAsked = isAsked || number == value(std::to_string(iid));
        }
        if (!isAsked) {
            continue;
        }
        value parent = nullptr;
        if (item.parent) {
            const FakeGitLabItem& above = project->issues.at(*item.parent);
            parent = object{{"id", above.globalID()}, {"iid", std::to_string(above.iid)}, {"title", above.title}};
        }
        array widgets{object{}, object{}, object{{"parent", parent}}, object{}};
        nodes.push_back(object{{"id", item.globalID()}, {"iid", std::to_string(iid)}, {"widgets", widgets}});
    }
    return json(projectNodes({object{{"workItems", object{{"nodes", std::move(nodes)}}}}}));
}

FakeAnswer FakeGitLab::mergeRequestCount(const object& variables) {
    FakeGitLabProject* project = projectOf(variables, 1);
    if (!project) {
        return json(projectNodes({}));
    }
    return json(projectNodes({object{{"mergeRequests", object{{"count", project->mergeRequests.size()}}}}}));
}

std::pair<FakeGitLabProject*, FakeGitLabItem*> FakeGitLab::workItem(const std::string& globalID) {
    for (auto& [projectID, project] : projects) {
        for (auto& [iid, item] : project.issues) {
            if (item.globalID() == globalID) {
                return {&project, &item};
            }
        }
    }
    return {nullptr, nullptr};
}

FakeAnswer FakeGitLab::changeParent(const object& variables) {
    const value* input = member(variables, "input");
    const value* id = input && input->is_object() ? member(input->get_object(), "id") : nullptr;
    const value* widget = id ? member(input->get_object(), "hierarchyWidget") : nullptr;
    const value* parentID = widget && widget->is_object() ? member(widget->get_object(), "parentId") : nullptr;
    bool isWhole = parentID && id->is_string() && (parentID->is_null() || parentID->is_string());
    if (!isWhole || variables.size() != 1 || input->get_object().size() != 2 || widget->get_object().size() != 1) {
        return violation("the GraphQL input isn't that of the mutation");
    }
    auto [project, child] = workItem(id->get_string().c_str());
    if (!child) {
        return json(failed("The resource that you are attempting to access does not exist"));
    }
    if (parentID->is_null()) {
        child->parent.reset();
    } else {
        auto [owner, parent] = workItem(parentID->get_string().c_str());
        if (!parent) {
            return json(failed("No object found for `parentId`"));
        }
        if (child->type != "task" || parent->type == "task") {
            std::string problem =
                "#" + std::to_string(child->iid) + " cannot be added: it's not allowed to add this type of parent item";
            return json(updated({value(problem)}));
        }
        child->parent = parent->iid;
    }
    settle(*project, *child, FakeActor::client);
    return json(updated({}));
}

}  // namespace marlet
