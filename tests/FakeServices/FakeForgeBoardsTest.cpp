#include "ForgeCaller.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace marlet {
namespace {

using testing::IsEmpty;

const std::string mutation =
    "mutation($input: UpdateProjectV2DraftIssueInput!) { updateProjectV2DraftIssue(input: $input) { draftIssue { id } "
    "} }";

struct BoardCaller : ForgeCaller {
    BoardCaller() {
        board = forge.addBoard(
            {.login = "acme", .number = 12, .title = "Season", .statusOptions = {{"todo", "Todo"}, {"done", "Done"}}});
        item = forge.addBoardItem(board, {.title = "Sow", .statusID = "todo"});
        items = "orgs/acme/projectsV2/12/items";
        forge.with([&](FakeForgeState& state) { field = std::to_string(state.board(board).statusFieldID); });
    }
    std::string itemPath() const { return items + "/" + std::to_string(item); }

    std::string board;
    std::string items;
    std::string field;
    int64_t item = 0;
};

TEST(FakeForgeBoardsTest, anItemTellsItsStatusWhenAsked) {
    BoardCaller caller;

    boost::json::value listed = caller.json(caller.items + "?per_page=100&fields=" + caller.field);

    EXPECT_EQ(listed.at(0).at("content").at("title"), "Sow");
    EXPECT_EQ(listed.at(0).at("fields").at(0).at("value").at("name").at("raw"), "Todo");
    EXPECT_EQ(caller.json(caller.items).at(0).at("fields").at(0).at("name"), "Title");
    EXPECT_EQ(caller.json("orgs/acme/projectsV2?per_page=100").at(0).at("title"), "Season");
    EXPECT_THAT(caller.forge.violations(), IsEmpty());
}

TEST(FakeForgeBoardsTest, aStatusIsSetAndClearedByItsOption) {
    BoardCaller caller;
    auto change = [&](const std::string& value) {
        std::string body = R"({"fields": [{"id": )" + caller.field + R"(, "value": )" + value + "}]}";
        return caller.ask("PATCH", caller.itemPath(), body).status;
    };

    EXPECT_EQ(change("\"done\""), 200);
    EXPECT_EQ(caller.forge.boardItem(caller.board, caller.item).statusID, "done");
    EXPECT_EQ(change("null"), 200);
    EXPECT_FALSE(caller.forge.boardItem(caller.board, caller.item).statusID);
    EXPECT_EQ(change("\"other\""), 422);
}

TEST(FakeForgeBoardsTest, theTextOfADraftChangesByItsMutationAlone) {
    BoardCaller caller;
    boost::json::object body{
        {"query", mutation},
        {"variables",
         {{"input",
           {{"draftIssueId", "DI_fake" + std::to_string(caller.item)}, {"title", "Reap"}, {"body", "in autumn"}}}}}};

    FakeAnswer answer = caller.ask("POST", "https://forge.example/api/graphql", boost::json::serialize(body));

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(caller.forge.boardItem(caller.board, caller.item).title, "Reap");
    body["query"] = "query { viewer { login } }";
    EXPECT_EQ(caller.ask("POST", "https://forge.example/api/graphql", boost::json::serialize(body)).status, 422);
}

TEST(FakeForgeBoardsTest, aDraftOfAUsersBoardGoesByTheUsersID) {
    BoardCaller caller;
    std::string board = caller.forge.addBoard({.isOrganizations = false, .login = "ada", .number = 3, .title = "Mine"});
    std::string user = std::to_string(caller.json("user").at("id").as_int64());
    const std::string draft = R"({"title": "Plan", "body": ""})";

    FakeAnswer answer = caller.ask("POST", "user/" + user + "/projectsV2/3/drafts", draft);

    EXPECT_EQ(answer.status, 201);
    EXPECT_FALSE(boost::json::parse(answer.body).as_object().contains("fields"));
    EXPECT_EQ(caller.forge.boardItems(board).size(), 1u);
    EXPECT_EQ(caller.ask("POST", "orgs/acme/projectsV2/12/drafts", draft).status, 201);
    EXPECT_EQ(caller.ask("POST", "users/ada/projectsV2/3/drafts", draft).status, 404);
}

}  // namespace
}  // namespace marlet
