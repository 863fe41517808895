#include <gtest/gtest.h>

#include "MarletBase/Coding.h"
#include "MarletCore/TaskItem.h"

namespace marlet {
namespace {

TEST(TaskParentTest, onlyAGitHubParentInAnotherRepositoryCarriesItsProject) {
    EXPECT_EQ(TaskParent::idOf("7", "a/b", "c/d", BackendKind::github), "a/b#7");
    EXPECT_EQ(TaskParent::idOf("7", "a/b", "a/b", BackendKind::github), "7");
    for (BackendKind kind : allCases<BackendKind>()) {
        if (kind != BackendKind::github) {
            EXPECT_EQ(TaskParent::idOf("7", "a", "b", kind), "7");
        }
    }
}

TEST(TaskParentTest, refersToTheTaskWhoseIdItHolds) {
    TaskParent parent{"a/b#7", "Title"};
    EXPECT_TRUE(parent.refers("7", "a/b", "c/d", BackendKind::github));
    EXPECT_FALSE(parent.refers("7", "a/b", "a/b", BackendKind::github));
    EXPECT_FALSE(parent.refers("7", "x/y", "c/d", BackendKind::github));
}

TEST(TaskParentTest, theLocationLeadsBackToTheTask) {
    struct Row {
        BackendKind kind;
        const char* id;
        TaskParent::Location location;
    };
    using enum BackendKind;
    const std::vector<Row> rows{
        {github, "a/b#7", {"a/b", "7"}},     {github, "a#b#7", {"a#b", "7"}}, {github, "7", {"c/d", "7"}},
        {github, "#7", {"c/d", "#7"}},       {gitlab, "7", {"c/d", "7"}},     {forgejo, "7", {"c/d", "7"}},
        {jira, "PROJ-7", {"c/d", "PROJ-7"}}, {local, "7", {"c/d", "7"}},      {vikunja, "7", {std::nullopt, "7"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(code(row.kind)) + " " + row.id);
        EXPECT_EQ((TaskParent{row.id, ""}.location("c/d", row.kind)), row.location);
    }
}

TEST(TaskParentTest, theLastHashOfAGitHubIdPartsTheProjectFromTheTaskUnlessItStandsFirst) {
    EXPECT_EQ((TaskParent{"#", ""}.location("c/d", BackendKind::github)), (TaskParent::Location{"c/d", "#"}));
    EXPECT_EQ((TaskParent{"#a#7", ""}.location("c/d", BackendKind::github)), (TaskParent::Location{"#a", "7"}));
}

}  // namespace
}  // namespace marlet
