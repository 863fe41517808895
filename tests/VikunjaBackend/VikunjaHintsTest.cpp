#include "VikunjaScenario.h"

namespace marlet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string changes = api + "tasks?sort_by=updated&order_by=desc&per_page=50";
const std::string notifications = api + "notifications?per_page=50";
const Date since = dateFromSeconds(1'768'377'600);  // 2026-01-14T08:00:00Z

using Headers = std::vector<std::pair<std::string, std::string>>;
using Updates = std::map<std::string, Date>;

Date at(const std::string& text) {
    return parseISO8601(text).value();
}

std::string change(int64_t id, int64_t projectID, const std::string& updated) {
    return R"({"id":)" + std::to_string(id) + R"(,"project_id":)" + std::to_string(projectID) +
           R"(,"title":"A","done":false,"updated":)" + updated + "}";
}

// A server that always has one more page of 50 such elements.
void answerEndlessly(Vikunja& vikunja, const std::string& page) {
    vikunja.server->onRequest = [page](const URLRequest&) {
        return ScriptedTransport::Answer{.headers = {{"x-pagination-total-pages", "900"}}, .body = page};
    };
}

std::optional<int64_t> countGiven(const Headers& headers) {
    Vikunja vikunja;
    vikunja.answer("GET " + api + "tasks?filter=project%20%3D%2012&per_page=1", 200, "[]", headers);
    std::optional<int64_t> count = runToEnd(vikunja.backend.taskCount("12"));
    EXPECT_EQ(vikunja.server->requests().size(), 1u);
    return count;
}

TEST(VikunjaHintsTest, theProbeGivesTheLatestChangeOfEachProject) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 200,
                   "[" + change(1, 12, R"("2026-01-14T11:00:00Z")") + "," + change(2, 3, R"("2026-01-14T10:00:00Z")") +
                       "," + change(3, 12, R"("2026-01-14T09:00:00Z")") + "," + change(4, 15, "null") + "," +
                       change(5, 3, R"("2026-01-14T09:00:00+01:00")") + "," +
                       change(6, 16, R"("2026-01-14T07:59:59Z")") + "]",
                   {{"x-pagination-total-pages", "3"}});

    std::optional<Updates> updates = runToEnd(vikunja.backend.latestTaskUpdates(since));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + changes)) << "nothing older is looked for";
    EXPECT_EQ(updates,
              (Updates{{"12", at("2026-01-14T11:00:00Z")}, {"3", at("2026-01-14T10:00:00Z")}, {"15", distantFuture}}));
}

TEST(VikunjaHintsTest, aChangeThatDoesNotSayWhenIsTheLatestOfItsProject) {
    for (const std::string& first : {R"("2026-01-14T11:00:00Z")", "null"}) {
        Vikunja vikunja;
        std::string second = first == "null" ? R"("2026-01-14T11:00:00Z")" : "null";
        vikunja.answer("GET /api/v1/tasks", 200, "[" + change(1, 12, first) + "," + change(2, 12, second) + "]");
        EXPECT_EQ(runToEnd(vikunja.backend.latestTaskUpdates(since)), (Updates{{"12", distantFuture}})) << first;
    }
}

TEST(VikunjaHintsTest, aProbeThatFindsNothingGivesAnEmptyMap) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 200, tasksJSON(3, "2026-01-14T07:00:00Z"));
    EXPECT_EQ(runToEnd(vikunja.backend.latestTaskUpdates(since)), Updates());
}

TEST(VikunjaHintsTest, twoHundredChangesAreTooManyToTellAnything) {
    Vikunja vikunja;
    answerEndlessly(vikunja, tasksJSON(50, "2026-01-14T09:00:00Z"));

    EXPECT_EQ(runToEnd(vikunja.backend.latestTaskUpdates(since)), std::nullopt);
    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + changes, "GET " + changes + "&page=2",
                                                   "GET " + changes + "&page=3", "GET " + changes + "&page=4"));
}

TEST(VikunjaHintsTest, exactlyTwoHundredChangesAreTooManyAndOneLessIsNot) {
    for (int last : {50, 49}) {
        Vikunja vikunja;
        for (int page = 1; page <= 4; ++page) {
            std::string place = page == 1 ? "" : "&page=" + std::to_string(page);
            vikunja.answer("GET " + changes + place, 200, tasksJSON(page == 4 ? last : 50, "2026-01-14T09:00:00Z"),
                           {{"x-pagination-total-pages", "4"}});
        }
        std::optional<Updates> updates = runToEnd(vikunja.backend.latestTaskUpdates(since));
        EXPECT_EQ(updates.has_value(), last == 49);
    }
}

TEST(VikunjaHintsTest, aProbeThatIsRefusedSaysSo) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/tasks", 404, R"({"message":"Not Found"})");
    EXPECT_EQ(errorOf(vikunja.backend.latestTaskUpdates(since)), BackendError::notFound());
}

TEST(VikunjaHintsTest, notificationsAboutTasksTellWhereToLookAndWhatWasDeleted) {
    Vikunja vikunja;
    vikunja.answer("GET /api/v1/notifications", 200, fixture("notifications.json"));

    ChangeHints hints = runToEnd(vikunja.backend.notifiedTaskUpdates(at("2026-01-01T00:00:00Z")));

    EXPECT_THAT(vikunja.server->log(), ElementsAre("GET " + notifications));
    Date deleted = at("2026-01-14T07:00:00Z");
    EXPECT_EQ(hints, (ChangeHints{{"12", {at("2026-01-14T09:00:00Z"), std::nullopt}},
                                  {"13", {deleted, deleted}},
                                  {"3", {at("2026-01-14T06:00:00Z"), std::nullopt}}}));
}

TEST(VikunjaHintsTest, everyNameCountsOrDoesNot) {
    const std::map<std::string, bool> names{
        {"task.comment", true},         {"task.assigned", true},  {"task.created", true},
        {"task.mentioned", true},       {"task.deleted", true},   {"task.updated", false},
        {"task.undone.overdue", false}, {"task.reminder", false}, {"project.created", false},
        {"team.member.added", false},   {"TASK.DELETED", false},  {"", false}};
    for (const auto& [name, counts] : names) {
        Vikunja vikunja;
        vikunja.answer("GET /api/v1/notifications", 200,
                       R"([{"name":")" + name +
                           R"(","created":"2026-01-14T09:00:00Z","notification":{"task":{"project_id":12}}}])");
        ChangeHints hints = runToEnd(vikunja.backend.notifiedTaskUpdates(since));
        EXPECT_EQ(hints.size(), counts ? 1u : 0u) << name;
        EXPECT_EQ(counts && hints.at("12").latestDeletion.has_value(), name == "task.deleted") << name;
    }
}

TEST(VikunjaHintsTest, aNotificationWithoutAProjectIsPassedOver) {
    Vikunja vikunja;
    std::string list;
    for (const std::string& payload :
         {R"("notification":null)", R"("notification":{})", R"("notification":{"task":null})",
          R"("notification":{"task":{"id":5}})", R"("notification":{"task":{"project_id":null}})",
          R"("notification":[1])", R"("notification":{"task":"gone"})", R"("read":true)"}) {
        list += R"({"name":"task.comment","created":"2026-01-14T09:00:00Z",)" + payload + "},";
    }
    list += R"({"name":"task.comment","created":"2026-01-14T08:30:00Z","notification":{"task":{"project_id":9}}})";
    vikunja.answer("GET /api/v1/notifications", 200, "[" + list + "]");

    ChangeHints hints = runToEnd(vikunja.backend.notifiedTaskUpdates(since));

    EXPECT_EQ(hints, (ChangeHints{{"9", {at("2026-01-14T08:30:00Z"), std::nullopt}}}));
}

TEST(VikunjaHintsTest, anOlderDeletionIsRememberedBehindANewerChange) {
    Vikunja vikunja;
    vikunja.answer(
        "GET /api/v1/notifications", 200,
        R"([{"name":"task.comment","created":"2026-01-14T11:00:00Z","notification":{"task":{"project_id":1}}},
                       {"name":"task.deleted","created":"2026-01-14T10:00:00Z","notification":{"task":{"project_id":1}}},
                       {"name":"task.deleted","created":"2026-01-14T09:00:00Z","notification":{"task":{"project_id":1}}}])");
    EXPECT_EQ(runToEnd(vikunja.backend.notifiedTaskUpdates(since)),
              (ChangeHints{{"1", {at("2026-01-14T11:00:00Z"), at("2026-01-14T10:00:00Z")}}}));
}

TEST(VikunjaHintsTest, notificationsEndAtTheFirstThatIsOlder) {
    Vikunja vikunja;
    vikunja.answer(
        "GET /api/v1/notifications", 200,
        R"([{"name":"task.created","created":"2026-01-14T08:00:00Z","notification":{"task":{"project_id":1}}},
                       {"name":"task.created","created":"2026-01-14T07:59:59.9Z","notification":{"task":{"project_id":2}}},
                       {"name":"task.created","created":"2026-01-14T09:00:00Z","notification":{"task":{"project_id":3}}}])",
        {{"x-pagination-total-pages", "5"}});

    ChangeHints hints = runToEnd(vikunja.backend.notifiedTaskUpdates(since));

    EXPECT_EQ(hints.size(), 1u);
    EXPECT_TRUE(hints.contains("1"));
    EXPECT_EQ(vikunja.server->requests().size(), 1u);
}

TEST(VikunjaHintsTest, noMoreThanTwoHundredNotificationsAreRead) {
    Vikunja vikunja;
    std::string page;
    for (int count = 0; count < 50; ++count) {
        page += page.empty() ? "[" : ",";
        page += R"({"name":"task.created","created":"2026-01-14T09:00:00Z","notification":null})";
    }
    answerEndlessly(vikunja, page + "]");

    EXPECT_THAT(runToEnd(vikunja.backend.notifiedTaskUpdates(since)), IsEmpty());
    EXPECT_EQ(vikunja.server->requests().size(), 4u);
    EXPECT_EQ(vikunja.server->log().back(), "GET " + notifications + "&page=4");
}

TEST(VikunjaHintsTest, theNumberOfPagesOfOneTaskEachIsTheCount) {
    EXPECT_EQ(countGiven({{"x-pagination-total-pages", "104"}, {"x-pagination-result-count", "1"}}), 104);
    EXPECT_EQ(countGiven({{"X-Pagination-Total-Pages", "+3"}}), 3);
    EXPECT_EQ(countGiven({{"x-pagination-total-pages", "0"}}), 0);
}

TEST(VikunjaHintsTest, aHeaderThatIsNoNumberIsNoCount) {
    EXPECT_EQ(countGiven({}), std::nullopt);
    for (const std::string& value : {"", "many", "1.5", " 1", "99999999999999999999"}) {
        EXPECT_EQ(countGiven({{"x-pagination-total-pages", value}}), std::nullopt) << value;
    }
}

}  // namespace
}  // namespace marlet
