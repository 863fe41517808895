// Due dates are days on the wire, and moments in the computer's time zone here.
#include <gmock/gmock.h>

#include "GitLabScenario.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

Date utc(const char* text) {
    return parseISO8601(text).value();
}

std::optional<Date> dueDateRead(const std::string& day) {
    GitLabScenario gitLab;
    gitLab.answerLists("[" + issueJSON(1, R"(,"due_date":)" + day) + "]");
    return gitLab.fetchTasks().at(0).dueDate;
}

std::string bodySent(std::optional<Date> dueDate) {
    GitLabScenario gitLab;
    gitLab.answerItem("issues/1", issueJSON(1), issueJSON(1));
    TaskItem task = taskWithTitle("1");
    task.dueDate = dueDate;
    gitLab.update(task);
    return gitLab.lastBody();
}

TEST(GitLabDueDateTest, aDayIsReadInTheComputersZone) {
    TimeZone tokyo("Asia/Tokyo");
    EXPECT_EQ(dueDateRead(R"("2026-03-20")"), utc("2026-03-19T15:00:00Z"));
    TimeZone losAngeles("America/Los_Angeles");
    EXPECT_EQ(dueDateRead(R"("2026-03-20")"), utc("2026-03-20T07:00:00Z"));
    TimeZone nowhere("UTC");
    EXPECT_EQ(dueDateRead(R"("2026-03-20")"), utc("2026-03-20T00:00:00Z"));
}

TEST(GitLabDueDateTest, aDateIsSentAsItsDayInTheComputersZone) {
    TimeZone tokyo("Asia/Tokyo");
    EXPECT_THAT(bodySent(utc("2026-03-20T16:00:00Z")), EndsWith(R"("due_date":"2026-03-21"})"));
    TimeZone losAngeles("America/Los_Angeles");
    EXPECT_THAT(bodySent(utc("2026-03-20T06:00:00Z")), EndsWith(R"("due_date":"2026-03-19"})"));
}

TEST(GitLabDueDateTest, aDayComesBackAsItWasWhereverTheComputerIs) {
    for (const char* zone : {"Asia/Tokyo", "America/Los_Angeles", "America/Sao_Paulo", "Africa/Cairo", "Asia/Kathmandu",
                             "Pacific/Kiritimati", "Pacific/Pago_Pago", "Europe/Berlin"}) {
        TimeZone here(zone);
        // With clocks that go forward, at midnight in São Paulo (2018) and Cairo (2010), and back.
        for (const char* day : {"2018-11-04", "2018-02-18", "2010-04-30", "2010-10-01", "2026-03-29", "2026-10-25",
                                "2024-02-29", "1969-12-31"}) {
            std::optional<Date> dueDate = dueDateRead("\"" + std::string(day) + "\"");
            EXPECT_THAT(bodySent(dueDate), HasSubstr(R"("due_date":")" + std::string(day) + "\"")) << zone;
        }
    }
}

TEST(GitLabDueDateTest, aDayWithoutAMidnightBeginsAnHourLater) {
    TimeZone saoPaulo("America/Sao_Paulo");
    EXPECT_EQ(dueDateRead(R"("2018-11-04")"), utc("2018-11-04T03:00:00Z"));
}

TEST(GitLabDueDateTest, whatIsNoDayIsNoDate) {
    for (const char* day : {"null", R"("")", R"("2026-02-30")", R"("2026-03-20T00:00:00Z")", R"("tomorrow")"}) {
        EXPECT_EQ(dueDateRead(day), std::nullopt) << day;
    }
}

TEST(GitLabDueDateTest, aMilestonesDayIsReadInTheComputersZone) {
    TimeZone tokyo("Asia/Tokyo");
    GitLabScenario gitLab;
    gitLab.answerLists(
        "[" + issueJSON(1, R"(,"milestone":{"id":4,"title":"Spring","state":"active","due_date":"2026-04-30"})") + "]");
    EXPECT_EQ(gitLab.fetchTasks().at(0).milestone->dueDate, utc("2026-04-29T15:00:00Z"));
}

TEST(GitLabDueDateTest, aDateThatIsRemovedIsSentAsNull) {
    EXPECT_THAT(bodySent(std::nullopt), EndsWith(R"(,"due_date":null})"));
}

TEST(GitLabDueDateTest, aDateIsSetOnANewIssue) {
    TimeZone tokyo("Asia/Tokyo");
    GitLabScenario gitLab;
    gitLab.answer("POST /api/v4/projects/31/issues", 201, issueJSON(9, R"(,"due_date":"2026-03-21")"));
    TaskDraft draft;
    draft.title = "Dredge";
    draft.dueDate = utc("2026-03-20T16:00:00Z");

    TaskItem task = runToEnd(gitLab.backend.createTask(draft, "31"));

    EXPECT_EQ(gitLab.lastBody(), R"({"title":"Dredge","description":"","due_date":"2026-03-21"})");
    EXPECT_EQ(task.dueDate, utc("2026-03-20T15:00:00Z")) << "the day, not the hour";
}

}  // namespace
}  // namespace marlet
