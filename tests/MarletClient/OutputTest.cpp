#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "MarletClient/Presentation.h"
#include "MarletClient/Terminal.h"
#include "MarletClient/TextTable.h"

namespace marlet {
namespace {

constexpr Terminal file{};
constexpr Terminal narrow{.isTerminal = true, .width = 40, .hasColor = false};

TEST(OutputTest, columnsAreAlignedAlsoForWideAndCombiningCharacters) {
    TextTable table({{"TITLE"}, {"STATE"}});
    table.add({"日本", "a"});
    table.add({"cafe\xcc\x81", "b"});
    table.add({"x", ""});
    EXPECT_EQ(table.text(file), "TITLE  STATE\n日本   a\ncafe\xcc\x81   b\nx\n");
}

TEST(OutputTest, aColumnWithoutContentIsLeftOut) {
    TextTable table({{"ID"}, {"ERROR"}, {"TITLE"}});
    table.add({"1", "", "Water"});
    EXPECT_EQ(table.text(file), "ID  TITLE\n1   Water\n");
}

TEST(OutputTest, linesFitTheTerminalAndAreWholeInAFile) {
    TextTable table({{"ID"}, {"TITLE", true}, {"PROJECT", true}});
    std::string longTitle(60, 't');
    table.add({"12345678", longTitle, "Garden"});
    std::string shown = table.text(narrow);
    for (size_t start = 0; start < shown.size(); start = shown.find('\n', start) + 1) {
        EXPECT_LE(displayWidth(shown.substr(start, shown.find('\n', start) - start)), narrow.width);
    }
    EXPECT_NE(shown.find("…"), std::string::npos);
    EXPECT_NE(shown.find("Garden"), std::string::npos);
    EXPECT_NE(table.text(file).find(longTitle), std::string::npos);
}

TEST(OutputTest, noLineIsWiderThanTheNarrowestTerminal) {
    TextTable table({{"IDENTIFIER"}, {"TITLE", true}});
    table.add({"12345678", "Water the beans"});
    EXPECT_EQ(table.text({.isTerminal = true, .width = 8, .hasColor = false}), "IDENTIF…\n1234567…\n");
}

TEST(OutputTest, aTitleLineIsBoldOnlyWhereThereIsColor) {
    TextTable table({{"ID"}});
    table.add({"1"});
    EXPECT_EQ(table.text({.isTerminal = true, .width = 80, .hasColor = true}), "\x1b[1mID\x1b[0m\n1\n");
    EXPECT_EQ(table.text(narrow), "ID\n1\n");
}

TEST(OutputTest, textIsCutBetweenCharacters) {
    EXPECT_EQ(fitted("Water", 5), "Water");
    EXPECT_EQ(fitted("Water", 4), "Wat…");
    EXPECT_EQ(fitted("日本語", 4), "日…");
    EXPECT_EQ(fitted("Water", 0), "");
}

TEST(OutputTest, harmlessJSONMeansTheSame) {
    std::string json = JSONValue("a\x7f\xc2\x9b\xe2\x80\xae\xf0\x9f\x98\x80\xf3\xa0\x80\x81z").data();
    std::string harmless = harmlessJSON(json);
    EXPECT_EQ(harmless, "\"a\\u007f\\u009b\\u202e\xf0\x9f\x98\x80\\udb40\\udc01z\"");
    EXPECT_EQ(JSONValue::decode(harmless), JSONValue::decode(json));
}

// A terminal of the test's own.
class PseudoTerminal {
public:
    PseudoTerminal() : controller(::posix_openpt(O_RDWR | O_NOCTTY)) {
        ::grantpt(controller);
        ::unlockpt(controller);
        device = ::open(::ptsname(controller), O_RDWR | O_NOCTTY);
        winsize size{.ws_row = 24, .ws_col = 57, .ws_xpixel = 0, .ws_ypixel = 0};
        ::ioctl(device, TIOCSWINSZ, &size);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal() {
        ::close(device);
        ::close(controller);
    }

    int controller;
    int device = -1;
};

TEST(OutputTest, colorIsForTerminalsAndNeverWithNoColor) {
    PseudoTerminal pseudo;
    ::setenv("TERM", "xterm", 1);
    ::unsetenv("NO_COLOR");
    Terminal terminal = Terminal::of(pseudo.device);
    EXPECT_TRUE(terminal.isTerminal);
    EXPECT_EQ(terminal.width, 57U);
    EXPECT_TRUE(terminal.hasColor);
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(Terminal::of(pseudo.device).hasColor);
    ::unsetenv("NO_COLOR");
    ::setenv("TERM", "dumb", 1);
    EXPECT_FALSE(Terminal::of(pseudo.device).hasColor);
}

TEST(OutputTest, anEmptyResultIsSaidInWords) {
    CommandReply reply;
    reply.result = JSONValue::object({{"tasks", JSONValue::Array()}});
    EXPECT_EQ(presented("task list", reply, file), "No tasks.\n");
    reply.result = JSONValue::object({{"accounts", JSONValue::Array()}});
    EXPECT_EQ(presented("account list", reply, file), "No accounts. Add one with marlet account add.\n");
}

TEST(OutputTest, aRefusedChangeIsShownWithWhatCanBeDone) {
    const std::string advice =
        "What was refused waits: change it with marlet task edit, send it again with marlet pending retry, or give it "
        "up with marlet pending discard.\n";
    auto shown = [](const std::string& command, const char* state) {
        JSONValue task = JSONValue::object({{"task_id", "A"}, {"title", "Water"}, {"sync_state", state}});
        CommandReply reply;
        reply.result = command == "task edit" ? task : JSONValue::object({{"tasks", JSONValue::array({task})}});
        return presented(command, reply, file);
    };
    EXPECT_EQ(shown("pending list", "rejected"), "ID  TITLE  STATE\nA   Water  rejected\n" + advice);
    EXPECT_EQ(shown("pending list", "pending"), "ID  TITLE  STATE\nA   Water  pending\n");
    EXPECT_TRUE(shown("task edit", "rejected").ends_with(advice));
    EXPECT_FALSE(shown("task edit", "pending").ends_with(advice));
}

TEST(OutputTest, aSyncIsWellOnlyWhenNothingWentWrong) {
    const JSONValue well = JSONValue::object({{"account_id", "A"}, {"sync_error", nullptr}});
    const JSONValue offline = JSONValue::object({{"account_id", "A"}, {"sync_error", "Offline."}});
    const JSONValue gone = JSONValue::object({{"project_key", "A|p"}, {"sync_error", "Gone."}});
    auto outcome = [](const JSONValue& account, JSONValue::Array projects) {
        CommandReply reply;
        reply.remark = "Home: Offline.\n";
        reply.result = JSONValue::object({{"accounts", JSONValue::array({account})},
                                          {"project_errors", std::move(projects)},
                                          {"rejected_tasks", JSONValue::Array()}});
        return presented("sync", reply, file);
    };
    EXPECT_EQ(outcome(well, {}), "Everything is in step.\nHome: Offline.\n");
    EXPECT_EQ(outcome(offline, {}), "Home: Offline.\n");
    EXPECT_EQ(outcome(well, {gone}), "Home: Offline.\n");
}

}  // namespace
}  // namespace marlet
