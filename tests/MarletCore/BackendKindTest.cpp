#include "MarletCore/BackendKind.h"

#include <gtest/gtest.h>

#include "MarletBase/Coding.h"

namespace marlet {
namespace {

TEST(BackendKindTest, theServicesAreListedInTheirOrder) {
    EXPECT_EQ(allCases<BackendKind>(), (std::vector{BackendKind::github, BackendKind::gitlab, BackendKind::vikunja,
                                                    BackendKind::forgejo, BackendKind::jira, BackendKind::local}));
}

TEST(BackendKindTest, everyServiceHasItsNameItsServerAndItsAbilities) {
    struct Row {
        BackendKind kind;
        const char* code;
        const char* name;
        const char* baseURL;
        NotesFormat notes;
        TaskKind newTask;
        bool supportsParent;
        std::optional<std::string> taskType;
        ParentScope scope;
        bool acceptsUsername;
        bool supportsEstimate;
    };
    using enum BackendKind;
    const std::vector<Row> rows{
        {github,
         "github",
         "GitHub",
         "https://api.github.com",
         NotesFormat::markdown,
         TaskKind::issue,
         true,
         {},
         ParentScope::account,
         false,
         false},
        {gitlab,
         "gitlab",
         "GitLab",
         "https://gitlab.com",
         NotesFormat::markdown,
         TaskKind::issue,
         true,
         {},
         ParentScope::project,
         false,
         false},
        {vikunja,
         "vikunja",
         "Vikunja",
         nullptr,
         NotesFormat::html,
         TaskKind::task,
         true,
         {},
         ParentScope::account,
         false,
         false},
        {forgejo,
         "forgejo",
         "Forgejo",
         nullptr,
         NotesFormat::markdown,
         TaskKind::issue,
         false,
         {},
         ParentScope::project,
         false,
         false},
        {jira, "jira", "Jira", nullptr, NotesFormat::markdown, TaskKind::issue, true, "Task", ParentScope::project,
         true, true},
        {local,
         "local",
         "On This Mac",
         "marlet://local",
         NotesFormat::markdown,
         TaskKind::task,
         true,
         {},
         ParentScope::project,
         false,
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.code);
        EXPECT_EQ(code(row.kind), row.code);
        EXPECT_EQ(fromCode<BackendKind>(row.code), row.kind);
        EXPECT_EQ(displayName(row.kind), row.name);
        EXPECT_EQ(defaultBaseURL(row.kind), row.baseURL ? URL::parse(row.baseURL) : std::nullopt);
        EXPECT_EQ(isSelfHosted(row.kind), row.baseURL == nullptr);
        EXPECT_EQ(isLocal(row.kind), row.kind == local);
        EXPECT_EQ(notesFormat(row.kind), row.notes);
        EXPECT_EQ(newTaskKind(row.kind), row.newTask);
        EXPECT_EQ(supportsParent(row.kind), row.supportsParent);
        EXPECT_EQ(defaultTaskType(row.kind), row.taskType);
        EXPECT_EQ(parentScope(row.kind), row.scope);
        EXPECT_EQ(acceptsUsername(row.kind), row.acceptsUsername);
        EXPECT_EQ(supportsEstimate(row.kind), row.supportsEstimate);
    }
}

TEST(BackendKindTest, anUnknownCodeIsNoService) {
    EXPECT_FALSE(fromCode<BackendKind>("GitHub"));
}

TEST(BackendKindTest, theNotesFormatsHaveNames) {
    EXPECT_EQ(displayName(NotesFormat::markdown), "Markdown");
    EXPECT_EQ(displayName(NotesFormat::html), "HTML");
}

TEST(BackendKindTest, aCredentialOfJiraJoinsTheTrimmedUsernameAndToken) {
    EXPECT_EQ(credential(BackendKind::jira, " me@x ", "t\n"), "me@x:t");
}

TEST(BackendKindTest, aCredentialOfJiraWithoutUsernameIsTheToken) {
    EXPECT_EQ(credential(BackendKind::jira, "", "t"), "t");
    EXPECT_EQ(credential(BackendKind::jira, " \n", " t"), "t");
}

TEST(BackendKindTest, otherServicesIgnoreTheUsername) {
    EXPECT_EQ(credential(BackendKind::github, "me", "\tt "), "t");
}

}  // namespace
}  // namespace marlet
