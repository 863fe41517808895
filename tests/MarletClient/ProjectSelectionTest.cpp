#include "MarletClient/ProjectSelection.h"

#include <gtest/gtest.h>

#include "MarletClient/Naming.h"

namespace marlet {
namespace {

using IDs = std::set<std::string>;

Project project(const std::string& id, const std::string& name) {
    Project made;
    made.id = id;
    made.name = name;
    return made;
}

const std::vector<Project> projects{
    project("acme/rocket", "acme/rocket"),     project("acme/launchpad", "acme/launchpad"),
    project("jo/notes", "jo/notes"),           project("projects/orgs/acme/1", "Roadmap"),
    project("projects/users/jo/4", "Roadmap"), project("projects/users/jo/5", "Chores"),
};

std::string refusal(const std::string& name) {
    try {
        selectedProjectIDs(projects, {name});
    } catch (const NamingError& error) {
        return error.errorDescription();
    }
    return "(taken)";
}

TEST(ProjectSelectionTest, projectsAreNamedByIDByNameOrAllTogether) {
    EXPECT_EQ(selectedProjectIDs(projects, {}), IDs{});
    EXPECT_EQ(selectedProjectIDs(projects, {"acme/rocket", "Chores", "acme/rocket"}),
              (IDs{"acme/rocket", "projects/users/jo/5"}));
    EXPECT_EQ(selectedProjectIDs(projects, {"ACME/Rocket", "chores", "projects/orgs/acme/1"}),
              (IDs{"acme/rocket", "projects/users/jo/5", "projects/orgs/acme/1"}));
    EXPECT_EQ(selectedProjectIDs(projects, {"all"}).size(), projects.size());
    EXPECT_EQ(selectedProjectIDs({}, {"all"}), IDs{});
}

TEST(ProjectSelectionTest, aNameOfSeveralIsRefusedWithTheirIDs) {
    EXPECT_EQ(refusal("roadmap"),
              "2 projects are named \"roadmap\". Use the id: projects/orgs/acme/1, projects/users/jo/4.");
}

TEST(ProjectSelectionTest, anUnknownNameIsRefusedWithWhatMayBeMeant) {
    EXPECT_EQ(refusal("rocket"), "No project \"rocket\" on the server. Did you mean acme/rocket?");
    EXPECT_EQ(refusal("acme/rokcet"), "No project \"acme/rokcet\" on the server. Did you mean acme/rocket?");
    EXPECT_EQ(refusal("Acme"),
              "No project \"Acme\" on the server. Did you mean acme/rocket, acme/launchpad, projects/orgs/acme/1 "
              "(Roadmap)?");
    EXPECT_EQ(refusal("spaceship"),
              "No project \"spaceship\" on the server. It has: acme/rocket, acme/launchpad, jo/notes, "
              "projects/orgs/acme/1 (Roadmap), projects/users/jo/4 (Roadmap), projects/users/jo/5 (Chores).");
}

TEST(ProjectSelectionTest, oneWrongNameAmongGoodOnesRefusesAll) {
    EXPECT_THROW(selectedProjectIDs(projects, {"acme/rocket", "spaceship"}), NamingError);
    EXPECT_THROW(selectedProjectIDs(projects, {"all", ""}), NamingError);
}

TEST(ProjectSelectionTest, aTokenThatSeesNothingIsToldSo) {
    try {
        selectedProjectIDs({}, {"acme/rocket"});
        FAIL();
    } catch (const NamingError& error) {
        EXPECT_EQ(error.errorDescription(), "No project \"acme/rocket\": the server lists none for this token.");
    }
}

}  // namespace
}  // namespace marlet
