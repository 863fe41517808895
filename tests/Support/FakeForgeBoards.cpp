#include <boost/json/array.hpp>
#include <charconv>

#include "TestSupport/FakeForge.h"

namespace marlet {
namespace {

constexpr std::string_view draftMutation =
    "mutation($input: UpdateProjectV2DraftIssueInput!) { updateProjectV2DraftIssue(input: $input) "
    "{ draftIssue { id } } }";

int64_t numberIn(const std::string& text) {
    int64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

}  // namespace

void FakeForge::addBoardRoute(std::string method, const std::string& below, std::vector<FakeQueryKey> query,
                              std::vector<FakeBodyKey> body,
                              std::function<FakeAnswer(const FakeCall& call, FakeBoard& board)> answer) {
    for (const std::string owner : {"orgs", "users"}) {
        add({method, owner + "/*/projectsV2/*" + below, query, body, [this, owner, answer](const FakeCall& call) {
                 auto found = state.boards.find("projects/" + owner + "/" + call.captures[0] + "/" + call.captures[1]);
                 return found == state.boards.end() ? refusal(404, "Not Found") : answer(call, found->second);
             }});
    }
}

void FakeForge::addBoardRoutes() {
    std::vector<FakeQueryKey> pageQuery{{"per_page"}, {"page"}, {"after"}};
    add({"GET", "user", {}, {}, [this](const FakeCall&) { return json(shapes().user(state.viewer)); }});
    add({"GET", "users/*", {}, {}, [this](const FakeCall& call) {
             return state.users.contains(call.captures[0]) ? json(shapes().user(call.captures[0]))
                                                           : refusal(404, "Not Found");
         }});
    add({"GET", "orgs/*/projectsV2", pageQuery, {}, [this](const FakeCall& call) { return listBoards(call, true); }});
    add({"GET", "users/*/projectsV2", pageQuery, {}, [this](const FakeCall& call) { return listBoards(call, false); }});
    addBoardRoute("GET", "/fields", pageQuery, {}, [this](const FakeCall& call, FakeBoard& board) {
        boost::json::array fields = shapes().boardFields(board);
        return paged(call, paging(), fields.size(), [&](size_t index) { return fields[index]; });
    });
    std::vector<FakeQueryKey> itemQuery = pageQuery;
    itemQuery.push_back({"fields"});
    addBoardRoute("GET", "/items", itemQuery, {}, [this](const FakeCall& call, FakeBoard& board) {
        std::vector<const FakeBoardItem*> items;
        for (const auto& [id, item] : board.items) {
            items.push_back(&item);
        }
        FakePaging pages = paging();
        pages.usesCursor = true;
        int64_t fieldID = numberIn(call.item("fields").value_or(""));
        return paged(call, pages, items.size(),
                     [&](size_t index) { return shapes().boardItem(board, *items[index], fieldID); });
    });
    auto withItem = [this](auto answer) {
        return [this, answer](const FakeCall& call, FakeBoard& board) {
            auto found = board.items.find(call.number(2));
            return found == board.items.end() ? refusal(404, "Not Found") : answer(call, board, found->second);
        };
    };
    addBoardRoute("GET", "/items/*", {{"fields"}, {"per_page"}}, {},
                  withItem([this](const FakeCall& call, FakeBoard& board, FakeBoardItem& item) {
                      return json(shapes().boardItem(board, item, numberIn(call.item("fields").value_or(""))));
                  }));
    addBoardRoute("PATCH", "/items/*", {}, {{"fields", FakeKind::objects}},
                  withItem([this](const FakeCall& call, FakeBoard& board, FakeBoardItem& item) {
                      return changeFields(call, board, item);
                  }));
    addDraftRoutes();
}

void FakeForge::addDraftRoutes() {
    std::vector<FakeBodyKey> draft{{"title"}, {"body", FakeKind::string, false}};
    add({"POST", "orgs/*/projectsV2/*/drafts", {}, draft, [this](const FakeCall& call) {
             return createDraft(call, "projects/orgs/" + call.captures[0] + "/" + call.captures[1]);
         }});
    add({"POST", "user/*/projectsV2/*/drafts", {}, draft, [this](const FakeCall& call) {
             for (const auto& [login, user] : state.users) {
                 if (user.id == call.number(0)) {
                     return createDraft(call, "projects/users/" + login + "/" + call.captures[1]);
                 }
             }
             return refusal(404, "Not Found");
         }});
    add({"POST", "graphql", {}, {{"query"}, {"variables", FakeKind::object}}, [this](const FakeCall& call) {
             return graphQL(call);
         }});
}

FakeAnswer FakeForge::listBoards(const FakeCall& call, bool isOrganizations) {
    std::vector<const FakeBoard*> found;
    for (const auto& [key, board] : state.boards) {
        if (board.isOrganizations == isOrganizations && board.login == call.captures[0]) {
            found.push_back(&board);
        }
    }
    return paged(call, paging(), found.size(), [&](size_t index) { return shapes().board(*found[index]); });
}

// The answer to a new draft carries no fields.
FakeAnswer FakeForge::createDraft(const FakeCall& call, const std::string& key) {
    auto found = state.boards.find(key);
    if (found == state.boards.end()) {
        return refusal(404, "Not Found");
    }
    std::string title = call.text("title").value_or("");
    if (title.empty()) {
        return refusal(422, "Validation Failed");
    }
    FakeBoard& board = found->second;
    FakeBoardItem draft{.title = title, .body = call.text("body").value_or("")};
    const FakeBoardItem& made = state.addBoardItem(board, std::move(draft), now());
    boost::json::object answer = shapes().boardItem(board, made, 0);
    answer.erase("fields");
    return json(answer, 201);
}

FakeAnswer FakeForge::changeFields(const FakeCall& call, FakeBoard& board, FakeBoardItem& item) {
    for (const boost::json::value& field : call.body.at("fields").as_array()) {
        const boost::json::object& change = field.as_object();
        const boost::json::value* id = change.if_contains("id");
        const boost::json::value* value = change.if_contains("value");
        if (!id || !value || change.size() != 2 || !id->is_int64() || !(value->is_string() || value->is_null())) {
            return violation("a field's change is no id with a value");
        }
        if (board.statusFieldID == 0 || id->as_int64() != board.statusFieldID) {
            return refusal(422, "Field not found");
        }
        if (value->is_null()) {
            item.statusID.reset();
            continue;
        }
        bool isKnown = false;
        for (const FakeStatusOption& option : board.statusOptions) {
            isKnown = isKnown || option.id == value->as_string();
        }
        if (!isKnown) {
            return refusal(422, "The single select option Id does not belong to the field");
        }
        item.statusID = value->as_string().c_str();
    }
    item.updatedAt = std::chrono::floor<std::chrono::seconds>(now());
    return json(shapes().boardItem(board, item, board.statusFieldID));
}

FakeAnswer FakeForge::graphQL(const FakeCall& call) {
    if (call.text("query") != draftMutation) {
        return violation("unknown GraphQL document: " + call.text("query").value_or(""));
    }
    const boost::json::object& variables = call.body.at("variables").as_object();
    const boost::json::value* given = variables.if_contains("input");
    if (!given || !given->is_object() || variables.size() != 1) {
        return violation("the GraphQL variables aren't those of the document");
    }
    boost::json::object input = given->get_object();
    for (const char* key : {"draftIssueId", "title", "body"}) {
        if (!input.contains(key) || !input.at(key).is_string() || input.size() != 3) {
            return violation("the GraphQL input isn't that of the mutation");
        }
    }
    std::string id = input.at("draftIssueId").as_string().c_str();
    for (auto& [key, board] : state.boards) {
        for (auto& [number, item] : board.items) {
            if (item.nodeID() == id) {
                item.title = input.at("title").as_string().c_str();
                item.body = input.at("body").as_string().c_str();
                item.contentUpdatedAt = item.updatedAt = std::chrono::floor<std::chrono::seconds>(now());
                return json({{"data", {{"updateProjectV2DraftIssue", {{"draftIssue", {{"id", id}}}}}}}});
            }
        }
    }
    return json({{"data", {{"updateProjectV2DraftIssue", nullptr}}},
                 {"errors", boost::json::array{
                                {{"type", "NOT_FOUND"},
                                 {"message", "Could not resolve to a node with the global id of '" + id + "'"}}}}});
}

std::string FakeForge::addBoard(FakeBoard board) {
    auto guard = hold();
    return state.addBoard(std::move(board)).key();
}

int64_t FakeForge::addBoardItem(const std::string& board, FakeBoardItem item) {
    auto guard = hold();
    return state.addBoardItem(state.board(board), std::move(item), now()).id;
}

void FakeForge::editBoardItem(const std::string& board, int64_t item,
                              const std::function<void(FakeBoardItem& item)>& change) {
    auto guard = hold();
    FakeBoardItem& edited = state.board(board).items.at(item);
    change(edited);
    edited.contentUpdatedAt = edited.updatedAt = std::chrono::floor<std::chrono::seconds>(now());
}

FakeBoardItem FakeForge::boardItem(const std::string& board, int64_t item) {
    auto guard = hold();
    return state.board(board).items.at(item);
}

std::vector<FakeBoardItem> FakeForge::boardItems(const std::string& board) {
    auto guard = hold();
    std::vector<FakeBoardItem> result;
    for (const auto& [id, item] : state.board(board).items) {
        result.push_back(item);
    }
    return result;
}

}  // namespace marlet
