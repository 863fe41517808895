// Due dates are days without a zone. They are the days of the computer's own zone, wherever that is.
#include "JiraScenario.h"
#include "TestSupport/TimeZone.h"

namespace marlet {
namespace {

using testing::IsEmpty;

struct JiraZone {
    std::string name;
    std::string day;
    std::string begins;  // in UTC
    std::string ends;    // its last second
};

// East and west of UTC and far from it, and days on which clocks change: Amsterdam 23 and 25 hours, Santiago a day that
// has no midnight.
const std::vector<JiraZone> zones = {
    {"UTC", "2026-03-20", "2026-03-20T00:00:00Z", "2026-03-20T23:59:59Z"},
    {"Asia/Tokyo", "2026-03-20", "2026-03-19T15:00:00Z", "2026-03-20T14:59:59Z"},
    {"Pacific/Kiritimati", "2026-03-20", "2026-03-19T10:00:00Z", "2026-03-20T09:59:59Z"},
    {"America/Los_Angeles", "2026-01-01", "2026-01-01T08:00:00Z", "2026-01-02T07:59:59Z"},
    {"Pacific/Pago_Pago", "2026-03-20", "2026-03-20T11:00:00Z", "2026-03-21T10:59:59Z"},
    {"Europe/Amsterdam", "2026-03-29", "2026-03-28T23:00:00Z", "2026-03-29T21:59:59Z"},
    {"Europe/Amsterdam", "2026-10-25", "2026-10-24T22:00:00Z", "2026-10-25T22:59:59Z"},
    {"America/Santiago", "2026-09-06", "2026-09-06T04:00:00Z", "2026-09-07T02:59:59Z"},
    {"Asia/Kolkata", "2024-02-29", "2024-02-28T18:30:00Z", "2024-02-29T18:29:59Z"},
};

class JiraDatesTest : public testing::TestWithParam<JiraZone> {
protected:
    TimeZone zone{GetParam().name};
    Cloud jira;
    std::string issue = issueJSON("ORCH-41", R"("summary":"Prune","duedate":")" + GetParam().day + "\"");
};

INSTANTIATE_TEST_SUITE_P(Zones, JiraDatesTest, testing::ValuesIn(zones));

TEST_P(JiraDatesTest, aDayIsReadAsItsBeginningHere) {
    jira.answer("GET /search/jql", "{\"issues\":[" + issue + "]}");

    TaskItem task = runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).at(0);

    EXPECT_EQ(task.dueDate, parseISO8601(GetParam().begins));
}

TEST_P(JiraDatesTest, everyTimeOfTheDayHereIsThatDay) {
    jira.answer("GET /issue/ORCH-41", issue);
    for (const std::string& time : {GetParam().begins, GetParam().ends}) {
        TaskItem item = task("ORCH-41");
        item.dueDate = parseISO8601(time);
        runToEnd(jira.backend.updateTask(item));
    }
    EXPECT_THAT(jira.bodies(), IsEmpty());
}

TEST_P(JiraDatesTest, aDayIsWrittenAsItIsHere) {
    jira.answer("GET /project/10301", fixture("project.json"));
    jira.answer("POST /issue", R"({"id":"1","key":"ORCH-41"})", 201);
    jira.answer("GET /issue/ORCH-41", issue);
    for (const std::string& time : {GetParam().begins, GetParam().ends}) {
        TaskItem item = runToEnd(jira.backend.createTask({.title = "Sow", .dueDate = parseISO8601(time)}, "10301"));
        EXPECT_EQ(item.dueDate, parseISO8601(GetParam().begins));
        EXPECT_THAT(jira.bodies().back(), testing::EndsWith(R"("duedate":")" + GetParam().day + R"("}})"));
    }
}

TEST(JiraDueDateTest, onlyTheDayOfALongerTextCountsAndNothingElseIsADay) {
    TimeZone zone("UTC");
    Cloud jira;
    auto due = [&](const std::string& text) {
        jira.server->onRequest = [text](const URLRequest&) -> std::optional<ScriptedTransport::Answer> {
            std::string issue = issueJSON("ORCH-41", R"("duedate":")" + text + "\"");
            return ScriptedTransport::Answer{.body = "{\"issues\":[" + issue + "]}"};
        };
        return runToEnd(jira.backend.fetchTasks("10301", std::nullopt)).at(0).dueDate;
    };

    EXPECT_EQ(due("2026-03-20T17:00:00.000+0100"), parseISO8601("2026-03-20T00:00:00Z"));
    EXPECT_EQ(due("2026-3-5"), parseISO8601("2026-03-05T00:00:00Z"));
    for (const char* text :
         {"", "2026-3-5-1", "2026-13-01", "2026-02-30", "2026", "2026-03", "20/Mar/26", "2026-03-xx", "tomorrow!!"}) {
        EXPECT_EQ(due(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace marlet
