#include "MarletClient/CommandLine.h"

#include <gtest/gtest.h>

#include "ClientScenario.h"
#include "MarletBase/Coding.h"
#include "MarletClient/DataFolder.h"
#include "MarletClient/Options.h"

namespace marlet {
namespace {

using Arguments = std::vector<std::string>;

std::string usageError(const Arguments& arguments) {
    try {
        parseCommandLine(arguments);
    } catch (const UsageError& error) {
        return error.errorDescription();
    }
    return "(accepted)";
}

TEST(CommandLineTest, whatCannotBeFollowedIsToldInOneSentenceWithAHint) {
    const std::vector<std::pair<Arguments, std::string>> table{
        {{}, "A command is missing. See marlet --help."},
        {{"--json"}, "A command is missing. See marlet --help."},
        {{"task"}, "A command is missing. See marlet task --help."},
        {{"[nonsense]"}, "Unknown command \"[nonsense]\". See marlet --help."},
        {{"nonsense"}, "Unknown command \"nonsense\". See marlet --help."},
        {{"rest", "abcd"}, "Unknown command \"rest\". See marlet --help."},
        {{"task", "nonsense"}, "Unknown command \"nonsense\". See marlet task --help."},
        {{"task", "list", "extra"}, "There is no use here for \"extra\". See marlet task list --help."},
        {{"task", "list", "--nonsense"}, "There is no use here for \"--nonsense\". See marlet task list --help."},
        {{"task", "show"}, "TASK is required. See marlet task show --help."},
        {{"task", "add", "Water"}, "--project is required. See marlet task add --help."},
        {{"task", "list", "--list", "later"}, "Unknown list \"later\". Use next, starred, updated or timing."},
        {{"account", "add", "trello", "--name", "x"},
         "Unknown kind \"trello\". Use github, gitlab, vikunja, forgejo, jira or local."},
        {{"account", "add", "LOCAL", "--name", "x"},
         "Unknown kind \"LOCAL\". Use github, gitlab, vikunja, forgejo, jira or local."},
        {{"task", "add", "W", "--project", "T", "--due", "tomorrow"},
         "--due \"tomorrow\" must be YYYY-MM-DD or an RFC 3339 date-time."},
        {{"task", "add", "W", "--project", "T", "--due", "2026-02-30"},
         "--due \"2026-02-30\" must be YYYY-MM-DD or an RFC 3339 date-time."},
        {{"task", "edit", "abcd", "--estimate", "many"}, "--estimate \"many\" must be a number of at least 0."},
        {{"task", "edit", "abcd", "--estimate=-1"}, "--estimate \"-1\" must be a number of at least 0."},
        {{"task", "edit", "abcd", "--estimate", "nan"}, "--estimate \"nan\" must be a number of at least 0."},
        {{"task", "list", "--limit", "\xff"}, "The argument \"\xef\xbf\xbd\" isn't UTF-8 text."},
    };
    for (const auto& [arguments, message] : table) {
        EXPECT_EQ(usageError(arguments), message);
    }
}

TEST(CommandLineTest, numbersOutsideTheirRangeAreRefused) {
    for (const char* port : {"-1", "65536", "http", "8.5", "99999999999999999999"}) {
        EXPECT_EQ(usageError({"serve", std::string("--port=") + port}).find("must be a number from 0 to 65535"),
                  std::string("--port \"").size() + std::string(port).size() + 2)
            << port;
    }
    EXPECT_NE(usageError({"serve", "--port="}), "(accepted)");
    for (const char* limit : {"0", "-3", "1.5", "ten"}) {
        EXPECT_EQ(usageError({"task", "list", std::string("--limit=") + limit}),
                  std::string("--limit \"") + limit + "\" must be a whole number of at least 1.");
    }
}

TEST(CommandLineTest, whatExcludesEachOtherIsNotTakenTogether) {
    for (const Arguments& pair :
         {Arguments{"--label", "a", "--no-labels"}, Arguments{"--due", "2026-01-31", "--no-due"},
          Arguments{"--parent", "1", "--no-parent"}, Arguments{"--estimate", "1", "--no-estimate"}}) {
        Arguments arguments{"task", "edit", "abcd"};
        arguments.insert(arguments.end(), pair.begin(), pair.end());
        EXPECT_NE(usageError(arguments).find("excludes"), std::string::npos) << usageError(arguments);
    }
}

TEST(CommandLineTest, generalOptionsStandBeforeOrBehindTheCommand) {
    for (const Arguments& arguments :
         {Arguments{"--json", "--data", "/tmp/x", "status"}, Arguments{"status", "--json", "--data=/tmp/x"}}) {
        CommandLine line = parseCommandLine(arguments);
        EXPECT_TRUE(line.wantsJSON);
        EXPECT_EQ(line.dataFolder, "/tmp/x");
        EXPECT_EQ(line.request.command, "status");
    }
}

TEST(CommandLineTest, textKeepsItsBracketsAndDashes) {
    CommandLine line = parseCommandLine(
        {"--data", "[d]", "task", "add", "--project", "[T]", "--label", "[a,b]", "--label", "c", "--", "-[x]"});
    auto options = decoded<TaskAddOptions>(line.request.options);
    EXPECT_EQ(options.title, "-[x]");
    EXPECT_EQ(options.project, "[T]");
    EXPECT_EQ(options.labels, (std::vector<std::string>{"[a,b]", "c"}));
    EXPECT_EQ(line.dataFolder, "[d]");
    CommandLine names = parseCommandLine({"project", "subscribe", "[a,b]", "c d"});
    EXPECT_EQ(decoded<ProjectsOptions>(names.request.options).projects, (std::vector<std::string>{"[a,b]", "c d"}));
}

TEST(CommandLineTest, helpAndVersionAreNoErrors) {
    ClientScenario client;
    EXPECT_TRUE(parseCommandLine({"--help"}).information->starts_with("Keeps the tasks"));
    EXPECT_NE(parseCommandLine({"--help"}).information->find(DataFolder::defaultPath().string()), std::string::npos);
    EXPECT_NE(parseCommandLine({"task", "add", "--help"}).information->find("--notes"), std::string::npos);
    EXPECT_NE(parseCommandLine({"task", "list", "--help"}).information->find("--list next|starred|updated|timing"),
              std::string::npos);
    ChildOutcome version = client.run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.output.starts_with("marlet "));
}

TEST(CommandLineTest, aUsageErrorEndsWithStatusTwoInTheFormOfEveryError) {
    ClientScenario client;
    EXPECT_EQ(client.error({"nonsense"}, 2), "Unknown command \"nonsense\". See marlet --help.");
    EXPECT_EQ(client.error({"task", "list", "--limit", "0"}, 2), "--limit \"0\" must be a whole number of at least 1.");
    EXPECT_FALSE(std::filesystem::exists(client.data)) << "nothing is made for a command that can't be followed";
}

}  // namespace
}  // namespace marlet
