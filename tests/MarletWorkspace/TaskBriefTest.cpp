#include "MarletWorkspace/TaskBrief.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

const UUID localID = UUID::parse("0f8e7d6c-5b4a-4938-8271-605f4e3d2c1b").value();
constexpr const char* localIDText = "0F8E7D6C-5B4A-4938-8271-605F4E3D2C1B";

std::optional<URL> url(std::string_view text) {
    return URL::parse(text);
}

std::optional<Date> date(std::string_view text) {
    return parseISO8601(text).value();
}

User user(const std::string& login, std::optional<std::string> displayName) {
    return User{"u-" + login, login, std::move(displayName), std::nullopt};
}

TaskBrief bare() {
    TaskBrief brief;
    brief.task.id = "42";
    brief.task.kind = TaskKind::issue;
    brief.task.title = "Water the beans";
    brief.localID = localID;
    brief.kind = BackendKind::github;
    brief.accountName = "Work";
    brief.projectName = "ash/garden";
    return brief;
}

TaskBrief full() {
    TaskBrief brief = bare();
    brief.task.notes = "\n  They look dry.\n\n- twice a day \n";
    brief.task.isCompleted = true;
    brief.task.dueDate = date("2026-03-09T23:59:59Z");
    brief.task.priority = 3;
    brief.task.labels = {{"garden", "00ff00"}, {"urgent", std::nullopt}};
    brief.task.assignees = {user("ash", "Ash Grove"), user("rowan", std::nullopt)};
    brief.task.milestone = Milestone{"m", "Summer", std::nullopt, false};
    brief.task.webURL = url("https://github.com/ash/garden/issues/42");
    brief.comments = {
        {"1", user("rowan", std::nullopt), " Which beans? \n", date("2026-03-01T00:00:00Z"), std::nullopt},
        {"2", user("ash", "Ash Grove"), "All of them.", std::nullopt, std::nullopt},
        {"3", std::nullopt, "", date("2026-03-02T12:00:00+13:00"), std::nullopt}};
    brief.mcpAvailable = true;
    return brief;
}

TEST(TaskBriefTest, aBriefHoldsAllThatIsKnownOfATask) {
    EXPECT_EQ(full().markdown(), std::string("# Water the beans\n"
                                             "\n"
                                             "- Source: GitHub \u00B7 Work \u00B7 ash/garden\n"
                                             "- Link: https://github.com/ash/garden/issues/42\n"
                                             "- Status: done\n"
                                             "- Due: 2026-03-09\n"
                                             "- Priority: 3\n"
                                             "- Labels: garden, urgent\n"
                                             "- Assignees: Ash Grove, rowan\n"
                                             "- Milestone: Summer\n"
                                             "- Marlet task_id: ") +
                                     localIDText +
                                     "\n"
                                     "\n"
                                     "## Description\n"
                                     "\n"
                                     "They look dry.\n"
                                     "\n"
                                     "- twice a day\n"
                                     "\n"
                                     "## Comments\n"
                                     "\n"
                                     "### rowan \u00B7 2026-03-01\n"
                                     "\n"
                                     "Which beans?\n"
                                     "\n"
                                     "### Ash Grove\n"
                                     "\n"
                                     "All of them.\n"
                                     "\n"
                                     "### Unknown \u00B7 2026-03-01\n"
                                     "\n"
                                     "\n"
                                     "\n"
                                     "## Working on this task\n"
                                     "\n"
                                     "- Put the outcome (an answer, a summary, or what you changed) in `RESULT.md` in "
                                     "this folder. Marlet offers to post it as a comment on the task.\n"
                                     "- If Marlet's MCP tools are available, use `task_id` " +
                                     localIDText + " to read updates, comment or mark the task done.\n");
}

TEST(TaskBriefTest, aBriefLeavesOutWhatATaskHasNot) {
    EXPECT_EQ(bare().markdown(), std::string("# Water the beans\n"
                                             "\n"
                                             "- Source: GitHub \u00B7 Work \u00B7 ash/garden\n"
                                             "- Status: open\n"
                                             "- Marlet task_id: ") +
                                     localIDText +
                                     "\n"
                                     "\n"
                                     "## Description\n"
                                     "\n"
                                     "_No description._\n"
                                     "\n"
                                     "## Working on this task\n"
                                     "\n"
                                     "- Put the outcome (an answer, a summary, or what you changed) in `RESULT.md` in "
                                     "this folder. Marlet offers to post it as a comment on the task.\n");
}

TEST(TaskBriefTest, theFilesOfAWorkFolderHaveTheirNames) {
    EXPECT_STREQ(TaskBrief::briefFileName, "TASK.md");
    EXPECT_STREQ(TaskBrief::resultFileName, "RESULT.md");
}

TEST(TaskBriefTest, notesOfBlanksAreNoDescription) {
    TaskBrief brief = bare();
    brief.task.notes = " \n\t\u00A0\n";

    EXPECT_NE(brief.markdown().find("## Description\n\n_No description._\n"), std::string::npos);
    EXPECT_EQ(brief.prompt(AgentDestination::code), "Work on issue #42 \u201CWater the beans\u201D in ash/garden.");
}

TEST(TaskBriefTest, aBriefNamesEveryServiceAsPeopleDo) {
    TaskBrief brief = bare();
    brief.kind = BackendKind::local;

    EXPECT_NE(brief.markdown().find("- Source: On This Mac \u00B7 Work \u00B7 ash/garden\n"), std::string::npos);
}

TEST(TaskBriefTest, onlyVikunjasTextsAreTakenForHTML) {
    TaskBrief brief = bare();
    brief.task.notes = "<p>Look at <b>x</b></p>";
    brief.comments = {{"1", std::nullopt, "<p>a &lt; b</p>", std::nullopt, std::nullopt}};

    EXPECT_NE(brief.markdown().find("\n<p>Look at <b>x</b></p>\n"), std::string::npos);
    EXPECT_NE(brief.markdown().find("\n<p>a &lt; b</p>\n"), std::string::npos);

    brief.kind = BackendKind::vikunja;
    EXPECT_NE(brief.markdown().find("\nLook at **x**\n"), std::string::npos);
    EXPECT_NE(brief.markdown().find("\na < b\n"), std::string::npos);
    EXPECT_TRUE(brief.prompt(AgentDestination::code).ends_with("\n\nLook at **x**"));
}

TEST(TaskBriefTest, emptyHTMLIsNoDescription) {
    TaskBrief brief = bare();
    brief.kind = BackendKind::vikunja;
    brief.task.notes = "<p></p>";

    EXPECT_NE(brief.markdown().find("_No description._"), std::string::npos);
    EXPECT_TRUE(brief.prompt(AgentDestination::code).ends_with("ash/garden."));
}

TEST(TaskBriefTest, aTitleStandsInTheBriefAsItIs) {
    TaskBrief brief = bare();
    brief.task.title = "# Use `a` and\nb";

    EXPECT_TRUE(brief.markdown().starts_with("# # Use `a` and\nb\n\n- Source: "));
}

TEST(TaskBriefTest, daysAreThoseOfUTC) {
    TaskBrief brief = bare();
    brief.task.dueDate = date("2026-03-09T00:30:00+02:00");

    EXPECT_NE(brief.markdown().find("- Due: 2026-03-08\n"), std::string::npos);
}

TEST(TaskBriefTest, thePromptForCoworkIsAlwaysTheSame) {
    const std::string expected =
        "Work on the task described in TASK.md (from Marlet). Write the result to RESULT.md in this folder.";

    EXPECT_EQ(full().prompt(AgentDestination::cowork), expected);
    EXPECT_EQ(bare().prompt(AgentDestination::cowork), expected);
}

TEST(TaskBriefTest, aPromptNamesAnIssueWithItsReferenceTitleProjectAndAddress) {
    TaskBrief brief = full();
    brief.mcpAvailable = false;
    brief.task.notes.clear();

    for (AgentDestination destination : {AgentDestination::code, AgentDestination::copilot}) {
        EXPECT_EQ(brief.prompt(destination),
                  "Work on issue #42 \u201CWater the beans\u201D in ash/garden "
                  "(https://github.com/ash/garden/issues/42).");
    }
}

TEST(TaskBriefTest, aPromptCallsThingsAsTheServiceDoes) {
    TaskBrief brief = bare();
    brief.task.kind = TaskKind::pullRequest;
    brief.task.id = "!7";
    brief.kind = BackendKind::gitlab;
    EXPECT_EQ(brief.prompt(AgentDestination::code),
              "Work on merge request !7 \u201CWater the beans\u201D in ash/garden.");

    brief.task.id = "7";
    for (BackendKind kind : {BackendKind::github, BackendKind::forgejo}) {
        brief.kind = kind;
        EXPECT_EQ(brief.prompt(AgentDestination::code),
                  "Work on pull request #7 \u201CWater the beans\u201D in ash/garden.");
    }

    brief.task.kind = TaskKind::task;
    brief.task.id = "BED-7";
    brief.kind = BackendKind::jira;
    EXPECT_EQ(brief.prompt(AgentDestination::code), "Work on task BED-7 \u201CWater the beans\u201D in ash/garden.");
}

TEST(TaskBriefTest, aPromptForANewTaskHasNoReference) {
    TaskBrief brief = bare();
    brief.task.id = "local-1b2c";
    brief.task.kind = TaskKind::task;
    brief.task.title = "Title";
    brief.kind = BackendKind::local;
    brief.projectName = "Project";

    EXPECT_EQ(brief.prompt(AgentDestination::code), "Work on the new task \u201CTitle\u201D in Project.");
}

TEST(TaskBriefTest, withoutTheEndpointAPromptHoldsTheNotes) {
    TaskBrief brief = bare();
    brief.task.notes = " They look dry.\nVery. \n";

    EXPECT_EQ(brief.prompt(AgentDestination::code),
              "Work on issue #42 \u201CWater the beans\u201D in ash/garden.\n\nThey look dry.\nVery.");
}

TEST(TaskBriefTest, withTheEndpointAPromptNamesTheTaskAndHoldsNoNotes) {
    TaskBrief brief = bare();
    brief.task.notes = "They look dry.";
    brief.mcpAvailable = true;

    EXPECT_EQ(brief.prompt(AgentDestination::code),
              std::string("Work on issue #42 \u201CWater the beans\u201D in ash/garden. Its Marlet task_id is ") +
                  localIDText +
                  ": use Marlet's MCP tools to read the description and comments, and to comment when you're done.");
}

}  // namespace
}  // namespace marlet
