#include "VikunjaBackend/VikunjaMappingInternal.h"

#include "MarletHTTP/JSONCoding.h"
#include "VikunjaBackend/VikunjaRequestsInternal.h"
#include "VikunjaScenario.h"

namespace marlet {
namespace {

const URL web = URL::parse("https://tasks.example").value();

TaskItem mapped(const std::string& json) {
    return vikunja::taskItem(JSONCoding::decode<VikunjaTask>(json), web);
}

std::optional<Date> dueDateOf(const std::string& text) {
    return mapped(taskJSON(1, R"(,"due_date":")" + text + "\"")).dueDate;
}

TEST(VikunjaMappingTest, theEmptyDateOfAnyZoneIsNoDate) {
    for (const std::string& text : {"0001-01-01T00:00:00Z", "0001-01-01T00:00:00+01:00", "0001-01-01T00:00:00-1100",
                                    "0001-01-01T00:00:00.000000000Z"}) {
        EXPECT_EQ(dueDateOf(text), std::nullopt) << text;
    }
    EXPECT_EQ(mapped(taskJSON(1, R"(,"due_date":null)")).dueDate, std::nullopt);
}

TEST(VikunjaMappingTest, everyOtherDateStands) {
    Date earliest = dateFromSeconds(-62'000'000'000.0);
    EXPECT_EQ(dueDateOf(iso8601(earliest)), earliest);
    EXPECT_EQ(dueDateOf(iso8601(earliest - 1)), std::nullopt);
    EXPECT_EQ(dueDateOf("0006-01-01T00:00:00Z"), parseISO8601("0006-01-01T00:00:00Z"));
    EXPECT_EQ(dueDateOf("1960-02-29T12:00:00Z"), parseISO8601("1960-02-29T12:00:00Z"));
    EXPECT_EQ(dueDateOf("2026-03-20T23:59:59+0130"), parseISO8601("2026-03-20T22:29:59Z"));
    for (int digits = 1; digits <= 9; ++digits) {
        std::string fraction = "." + std::string(static_cast<size_t>(digits), '5');
        Date expected = parseISO8601("2026-03-20T22:29:59Z").value() + std::stod("0" + fraction);
        EXPECT_NEAR(secondsBetween(expected, dueDateOf("2026-03-20T22:29:59" + fraction + "Z").value()), 0, 1e-6);
    }
}

TEST(VikunjaMappingTest, aDateThatCannotBeReadFailsTheAnswer) {
    EXPECT_THROW(dueDateOf("tomorrow"), LocalizedError);
}

TEST(VikunjaMappingTest, aPriorityOfZeroIsNone) {
    EXPECT_EQ(mapped(taskJSON(1, R"(,"priority":0)")).priority, std::nullopt);
    EXPECT_EQ(mapped(taskJSON(1, R"(,"priority":-3)")).priority, std::nullopt);
    EXPECT_EQ(mapped(taskJSON(1, R"(,"priority":null)")).priority, std::nullopt);
    EXPECT_EQ(mapped(taskJSON(1, R"(,"priority":1)")).priority, 1);
    EXPECT_EQ(mapped(taskJSON(1, R"(,"priority":5)")).priority, 5);
}

TEST(VikunjaMappingTest, theFirstParentIsTheParent) {
    EXPECT_EQ(mapped(taskJSON(1, R"(,"related_tasks":{"subtask":[{"id":2,"title":"b"}],
                                      "parenttask":[{"id":3,"title":"c"},{"id":4,"title":"d"}]})"))
                  .parent,
              (TaskParent{"3", "c"}));
    for (const std::string& relations :
         {"null", "{}", R"({"parenttask":null})", R"({"parenttask":[]})", R"({"subtask":[{"id":2,"title":"b"}]})"}) {
        EXPECT_EQ(mapped(taskJSON(1, R"(,"related_tasks":)" + relations)).parent, std::nullopt) << relations;
    }
}

TEST(VikunjaMappingTest, numbersThatNobodyNeedsMayBeOfAnySize) {
    EXPECT_EQ(mapped(taskJSON(1, R"(,"position":1e400,"index":123456789012345678901234567890)")).title, "Prune");
}

TEST(VikunjaMappingTest, anEditKeepsWhatIsNotKnownByteForByte) {
    const std::string answer =
        R"({"id":71,"title":"Old","description":"Old","done":false,"due_date":"0001-01-01T00:00:00Z",)"
        R"("position":1.10,"big":123456789012345678901234567890,"unsigned":18446744073709551615,"huge":1e400,)"
        R"("tiny":-0.0,"percent_done":0.30000000000000004,"hex_color":"\u00e4\/\ud83c\udf50",)"
        R"("reminders":[{"reminder":"2026-03-20T08:00:00Z","relative_period":-32400 , "x":{"y":[null,true]}}],)"
        R"("related_tasks":{"parenttask":[{"id":3,"title":"}],\"done\":"}]},"repeat_after":0})";
    TaskItem task = taskWithTitle("71", "New \"title\" \\ 🍐");
    task.notes = "<p>New</p>";
    task.isCompleted = true;
    task.dueDate = parseISO8601("2026-03-20T22:59:59.75+01:00");

    EXPECT_EQ(
        vikunja::editedTask(RawJSONObject::parse(answer).value(), task),
        R"({"id":71,"title":"New \"title\" \\ 🍐","description":"<p>New</p>","done":true,"due_date":"2026-03-20T21:59:59Z",)"
        R"("position":1.10,"big":123456789012345678901234567890,"unsigned":18446744073709551615,"huge":1e400,)"
        R"("tiny":-0.0,"percent_done":0.30000000000000004,"hex_color":"\u00e4\/\ud83c\udf50",)"
        R"("reminders":[{"reminder":"2026-03-20T08:00:00Z","relative_period":-32400 , "x":{"y":[null,true]}}],)"
        R"("repeat_after":0})");
}

TEST(VikunjaMappingTest, anEditThatRemovesTheDueDateSaysNull) {
    EXPECT_EQ(vikunja::editedTask(RawJSONObject::parse(R"({"id":71})").value(), taskWithTitle("71", "A")),
              R"({"id":71,"title":"A","description":"","done":false,"due_date":null})");
}

TEST(VikunjaMappingTest, theColourOfALabelDependsOnItsNameInLowerCase) {
    // Worked out by hand: "a" is (5381 * 33 + 97) mod 9 = 1, the empty name 5381 mod 9 = 8.
    EXPECT_EQ(vikunja::labelColor("a"), "f2994a");
    EXPECT_EQ(vikunja::labelColor(""), "4f4f4f");
    std::vector<std::string> palette;
    for (const char* name : {"i", "a", "b", "c", "d", "e", "f", "g", "h"}) {
        palette.push_back(vikunja::labelColor(name));
    }
    EXPECT_THAT(palette, testing::ElementsAre("e8445a", "f2994a", "f2c94c", "27ae60", "2d9cdb", "1973ff", "9b51e0",
                                              "e86fb1", "4f4f4f"));
    EXPECT_EQ(vikunja::labelColor("bug"), vikunja::labelColor("Bug"));
    EXPECT_EQ(vikunja::labelColor("ÄRGER"), vikunja::labelColor("ärger"));
}

TEST(VikunjaMappingTest, theColourComesFromScalarsInThirtyTwoBits) {
    // Against an independent computation: bytes instead of scalars, or more bits, give other colours.
    EXPECT_EQ(vikunja::labelColor("買い物"), "9b51e0");
    EXPECT_EQ(vikunja::labelColor("🌱🌱"), "1973ff");
    EXPECT_EQ(vikunja::labelColor("waits for the board's decision"), "f2c94c");
    EXPECT_EQ(vikunja::labelColor("später"), "2d9cdb");
}

}  // namespace
}  // namespace marlet
