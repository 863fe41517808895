// Every command, once with a daemon and once without: both ways give the same answers.
#include <gtest/gtest.h>

#include "ClientScenario.h"

namespace marlet {
namespace {

enum class Way { withDaemon, inOwnProcess };

class CommandsTest : public testing::TestWithParam<Way> {
protected:
    void SetUp() override {
        if (GetParam() == Way::withDaemon) {
            client.startDaemon();
        } else {
            client.addAccount();
        }
    }
    void TearDown() override {
        if (GetParam() == Way::withDaemon) {
            EXPECT_EQ(client.stopDaemon(), 0);
        }
    }

    std::string accountID() { return textsOf(client.json({"account", "list"}), "accounts", "account_id").at(0); }
    std::string projectKey() { return textsOf(client.json({"project", "list"}), "projects", "project_key").at(0); }

    ClientScenario client;
};

INSTANTIATE_TEST_SUITE_P(BothWays, CommandsTest, testing::Values(Way::withDaemon, Way::inOwnProcess),
                         [](const auto& info) {
                             return info.param == Way::withDaemon ? "withDaemon" : "inOwnProcess";
                         });

TEST_P(CommandsTest, statusTellsHowThingsStand) {
    client.addTask("Water the beans");
    JSONValue status = client.json({"status"});
    EXPECT_EQ(memberOf(status, "daemon"), JSONValue(GetParam() == Way::withDaemon));
    EXPECT_EQ(memberOf(status, "endpoint").isNull(), GetParam() == Way::inOwnProcess);
    EXPECT_EQ(memberOf(status, "pending"), JSONValue(0));
    EXPECT_EQ(memberOf(status, "rejected"), JSONValue(0));
    EXPECT_TRUE(memberOf(status, "timer").isNull());
    EXPECT_EQ(textsOf(status, "accounts", "name"), std::vector<std::string>{"On This Mac"});
    const JSONValue project = memberOf(status, "projects").arrayValue()->at(0);
    EXPECT_EQ(textOf(project, "name"), "Tasks");
    EXPECT_EQ(memberOf(project, "open_tasks"), JSONValue(1));
    EXPECT_NE(textOf(project, "last_synced_at"), "");
    EXPECT_NE(client.run({"status"}).output.find("Tasks"), std::string::npos);
}

TEST_P(CommandsTest, accountsAreAddedListedAndRemoved) {
    JSONValue added = client.json({"account", "add", "local", "--name", " Home "});
    EXPECT_EQ(textOf(memberOf(added, "account"), "name"), "Home");
    EXPECT_EQ(textOf(memberOf(added, "account"), "service"), "On This Mac");
    EXPECT_EQ(textsOf(added, "projects", "name"), std::vector<std::string>{"Tasks"});
    EXPECT_EQ(textsOf(client.json({"account", "list"}), "accounts", "name"),
              (std::vector<std::string>{"Home", "On This Mac"}));
    JSONValue removed = client.json({"account", "remove", "home"});
    EXPECT_EQ(memberOf(removed, "removed"), JSONValue(true));
    EXPECT_EQ(textOf(removed, "name"), "Home");
    EXPECT_EQ(textsOf(client.json({"account", "list"}), "accounts", "name"), std::vector<std::string>{"On This Mac"});
}

TEST_P(CommandsTest, anAccountThatCannotBeAddedSoIsRefusedInPlainWords) {
    EXPECT_EQ(client.error({"account", "add", "jira", "--name", "Work"}, 2),
              "Where is the Jira server? Give its address with --url, such as --url https://git.example.org.");
    EXPECT_EQ(client.error({"account", "add", "local", "--name", "Home", "--url", "https://example.org"}),
              "An \"On This Mac\" account has no server, user or token. Leave them out.");
    EXPECT_EQ(client.error({"account", "add", "local", "--name", " "}), "The account's name must not be empty.");
    EXPECT_EQ(client.error({"account", "add", "local", "--name", "Home", "--subscribe", "Garden"}),
              "No project \"Garden\": a new \"On This Mac\" account has one, \"Tasks\".");
}

TEST_P(CommandsTest, accountsWithOneNameAreToldApartById) {
    client.addAccount();
    std::string message = client.error({"account", "remove", "On This Mac"});
    EXPECT_TRUE(message.starts_with("2 accounts are named \"On This Mac\". Use the id: ")) << message;
    EXPECT_NE(message.find(accountID()), std::string::npos);
    EXPECT_EQ(client.error({"account", "remove", "Nobody"}),
              "No account \"Nobody\". Use marlet account list to find it.");
    EXPECT_EQ(textOf(client.json({"account", "remove", accountID()}), "name"), "On This Mac");
}

TEST_P(CommandsTest, projectsOfThisComputerAreCreatedRenamedAndDeleted) {
    JSONValue created = client.json({"project", "create", "Garden", "--account", "On This Mac"});
    EXPECT_EQ(textOf(memberOf(created, "project"), "name"), "Garden");
    EXPECT_EQ(memberOf(memberOf(created, "project"), "subscribed"), JSONValue(true));
    JSONValue renamed = client.json({"project", "rename", "garden", "Orchard"});
    EXPECT_EQ(textOf(memberOf(renamed, "project"), "name"), "Orchard");
    EXPECT_EQ(textsOf(client.json({"project", "list", "--account", accountID()}), "projects", "name"),
              (std::vector<std::string>{"Orchard", "Tasks"}));
    JSONValue deleted = client.json({"project", "delete", "Orchard"});
    EXPECT_EQ(memberOf(deleted, "deleted"), JSONValue(true));
    EXPECT_EQ(textsOf(client.json({"project", "list", "--all"}), "projects", "name"),
              std::vector<std::string>{"Tasks"});
    EXPECT_EQ(client.error({"project", "create", " ", "--account", "On This Mac"}),
              "The project's name must not be empty.");
    EXPECT_EQ(client.error({"project", "rename", "Tasks", ""}), "The project's name must not be empty.");
}

TEST_P(CommandsTest, aProjectIsSubscribedAndUnsubscribed) {
    client.addTask("Water the beans");
    JSONValue off = client.json({"project", "unsubscribe", "Tasks"});
    EXPECT_EQ(memberOf(memberOf(off, "projects").arrayValue()->at(0), "subscribed"), JSONValue(false));
    EXPECT_EQ(textsOf(client.json({"project", "list"}), "projects", "name"), std::vector<std::string>());
    EXPECT_EQ(client.error({"task", "add", "More", "--project", "Tasks"}),
              "Project Tasks isn't subscribed. Subscribe with marlet project subscribe.");
    EXPECT_EQ(client.error({"sync", "--project", "Tasks"}),
              "Project Tasks isn't subscribed. Subscribe with marlet project subscribe.");
    client.json({"project", "subscribe", "Tasks"});
    EXPECT_EQ(textsOf(client.json({"task", "list"}), "tasks", "title"), std::vector<std::string>{"Water the beans"});
    EXPECT_EQ(textsOf(client.json({"project", "refresh", "On This Mac"}), "projects", "name"),
              std::vector<std::string>{"Tasks"});
}

TEST_P(CommandsTest, projectsWithOneNameAreToldApartByKey) {
    client.json({"project", "create", "Tasks", "--account", "On This Mac"});
    std::string message = client.error({"task", "add", "Water", "--project", "Tasks"});
    EXPECT_TRUE(message.starts_with("2 projects are named \"Tasks\". Use the key: ")) << message;
    JSONValue task = client.json({"task", "add", "Water", "--project", projectKey()});
    EXPECT_EQ(textOf(task, "project_key"), projectKey());
    EXPECT_EQ(client.error({"task", "list", "--project", "Nowhere"}),
              "No project \"Nowhere\". Use marlet project list --all to find it.");
}

TEST_P(CommandsTest, syncTellsWhatItFoundAsTheToolDoes) {
    JSONValue all = client.json({"sync"});
    EXPECT_EQ(all, JSONValue::object({{"accounts", JSONValue::array({JSONValue::object(
                                                       {{"account_id", accountID()}, {"sync_error", nullptr}})})},
                                      {"project_errors", JSONValue::Array()},
                                      {"rejected_tasks", JSONValue::Array()}}));
    EXPECT_EQ(client.json({"sync", "--account", "On This Mac", "--full"}), all);
    EXPECT_EQ(client.json({"sync", "--project", "Tasks"}), all);
    EXPECT_EQ(client.error({"sync", "--account", "Nobody"}),
              "No account \"Nobody\". Use marlet account list to find it.");
}

TEST_P(CommandsTest, aProjectOfTheGivenAccountIsMeantWhereOthersHaveItsName) {
    const std::string first = accountID();
    const std::string firstKey = projectKey();
    client.json({"account", "add", "local", "--name", "Elsewhere"});
    JSONValue synced = client.json({"sync", "--account", "Elsewhere", "--project", "Tasks"});
    std::vector<std::string> ids = textsOf(synced, "accounts", "account_id");
    EXPECT_EQ(ids.size(), 1U);
    EXPECT_NE(ids, std::vector<std::string>{first});
    EXPECT_TRUE(client.error({"sync", "--project", "Tasks"}).starts_with("2 projects are named \"Tasks\"."));
    EXPECT_EQ(client.error({"sync", "--account", "Elsewhere", "--project", firstKey}),
              "The project Tasks belongs to another account.");
}

TEST_P(CommandsTest, onlyChangesThatWaitCanBeRetriedOrDiscarded) {
    client.addTask("Water the beans");
    EXPECT_EQ(client.json({"pending", "list"}), JSONValue::object({{"tasks", JSONValue::Array()}}));
    for (const char* command : {"retry", "discard"}) {
        EXPECT_EQ(client.error({"pending", command, "1", "--project", "Tasks"}),
                  "The task \"Water the beans\" has no change that waits. Use marlet pending list to see those that "
                  "have.");
    }
}

TEST_P(CommandsTest, theEndpointIsShownOnceThereIsOne) {
    if (GetParam() == Way::inOwnProcess) {
        EXPECT_EQ(client.error({"mcp", "show"}),
                  "There is no endpoint for agents yet. Start marlet serve once to make it.");
        return;
    }
    JSONValue shown = client.json({"mcp", "show"});
    EXPECT_TRUE(textOf(shown, "endpoint").starts_with("http://127.0.0.1:"));
    EXPECT_EQ(textOf(shown, "token").size(), 43U);
}

TEST_P(CommandsTest, aTimerRunsOnOneTask) {
    std::string first = textOf(client.addTask("Water the beans"), "task_id");
    std::string second = textOf(client.addTask("Water the oaks"), "task_id");
    EXPECT_EQ(client.json({"timer", "status"}), JSONValue::object({{"task", nullptr}}));
    EXPECT_EQ(memberOf(client.json({"timer", "start", first}), "timing"), JSONValue(true));
    client.json({"timer", "start", second});
    EXPECT_EQ(textOf(memberOf(client.json({"timer", "status"}), "task"), "task_id"), second);
    EXPECT_EQ(textOf(memberOf(client.json({"status"}), "timer"), "task_id"), second);
    JSONValue stopped = client.json({"timer", "stop"});
    EXPECT_EQ(memberOf(stopped, "stopped"), JSONValue(true));
    EXPECT_EQ(textOf(memberOf(stopped, "task"), "task_id"), second);
    EXPECT_EQ(client.json({"timer", "stop"}), JSONValue::object({{"stopped", false}, {"task", nullptr}}));
    EXPECT_EQ(client.run({"timer", "status"}).output, "No timer is running.\nLast worked on: Water the oaks\n");
}

}  // namespace
}  // namespace marlet
