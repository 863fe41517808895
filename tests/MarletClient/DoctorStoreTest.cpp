// The doctor comes to those whose engine can't be started, and tells of accounts and changes where it can.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "DoctorScenario.h"

namespace marlet {
namespace {

using testing::HasSubstr;

class DoctorAccountTest : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam()) {
            client.startDaemon();
        }
        scenario.addRemoteAccount();
    }
    void TearDown() override {
        if (GetParam()) {
            EXPECT_EQ(client.stopDaemon(), 0);
        }
    }
    std::string host() const { return scenario.server->url().substr(std::string("http://").size()); }

    DoctorScenario scenario;
    ClientScenario& client = scenario.client;
};

INSTANTIATE_TEST_SUITE_P(BothWays, DoctorAccountTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "withDaemon" : "inOwnProcess"; });

TEST_P(DoctorAccountTest, anAccountThatWorksIsTold) {
    JSONValue account = checkOf(scenario.examine(), "account");

    EXPECT_EQ(textOf(account, "subject"), "Work");
    EXPECT_EQ(textOf(account, "status"), "ok");
    EXPECT_EQ(textOf(account, "message"), host() + " takes the token, and lists 1 project.");
    EXPECT_EQ(textOf(account, "server"), scenario.server->url());
    EXPECT_NE(textOf(account, "account_id"), "");
}

TEST_P(DoctorAccountTest, aTokenThatIsRefusedNeedsANewOne) {
    scenario.forge.setToken("another");

    JSONValue account = checkOf(scenario.examine(1), "account");

    EXPECT_EQ(textOf(account, "status"), "attention");
    EXPECT_EQ(textOf(account, "message"), "The server rejected the access token.");
    EXPECT_EQ(textOf(account, "advice"), "Give the account a new one with marlet account token.");
}

TEST_P(DoctorAccountTest, aServerThatIsNotReachedIsToldApart) {
    scenario.server.reset();

    JSONValue account = checkOf(scenario.examine(1), "account");

    EXPECT_EQ(textOf(account, "status"), "attention");
    EXPECT_THAT(textOf(account, "message"), HasSubstr("127.0.0.1"));
    EXPECT_EQ(textOf(account, "advice"), "Changes wait meanwhile, and none is lost. Try again later.");
}

TEST_P(DoctorAccountTest, aServerThatIsSilentHoldsNobodyUpForLong) {
    scenario.addRemoteAccount("Home");
    auto gate = std::make_shared<FakeGate>();
    // The daemon's own requests may take some of them.
    for (int request = 0; request < 8; ++request) {
        scenario.forge.fail("", FakeFailure::held(gate));
    }
    auto start = std::chrono::steady_clock::now();

    JSONValue result = client.json({"doctor"}, 1);

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(18)) << "all are asked at once";
    for (const char* name : {"Work", "Home"}) {
        EXPECT_EQ(textOf(checkOf(result, "account", name), "message"), host() + " didn't answer within 10 seconds.");
    }
    gate->open();
}

TEST_P(DoctorAccountTest, aTokenThatIsMissingIsTold) {
    std::string id = textOf(checkOf(scenario.examine(), "account"), "account_id");
    if (GetParam()) {
        client.stopDaemon();
    }
    std::filesystem::remove(client.data / "tokens.json");
    if (GetParam()) {
        client.startDaemon();
    }

    JSONValue account = checkOf(scenario.examine(1), "account");

    EXPECT_EQ(textOf(account, "message"), "Its token isn't on this computer.");
    EXPECT_EQ(textOf(account, "advice"), "Give the account a new one with marlet account token.");
}

TEST_P(DoctorAccountTest, refusedChangesNeedAttentionAndThoseThatWaitAreNoted) {
    scenario.forge.addIssue("garden/beans", {.title = "Water"});
    client.json({"sync"});
    scenario.forge.fail("PATCH ", FakeFailure::status(422, "{\"message\": \"No.\"}"));
    client.json({"task", "edit", "1", "--project", "garden/beans", "--title", "Drown"});

    JSONValue changes = checkOf(scenario.examine(1), "changes");
    EXPECT_EQ(textOf(changes, "status"), "attention");
    EXPECT_EQ(textOf(changes, "message"), "Refused by a server: 1. Waiting to be sent: 0.");
    EXPECT_EQ(memberOf(changes, "rejected"), JSONValue(1));

    scenario.server.reset();
    client.json({"pending", "retry", "1", "--project", "garden/beans"});
    JSONValue waiting = checkOf(scenario.examine(1), "changes");
    EXPECT_EQ(textOf(waiting, "status"), "note");
    EXPECT_EQ(textOf(waiting, "message"),
              std::string("Waiting to be sent: 1.") + (GetParam() ? "" : " marlet sync sends them."));
}

class DoctorStoreTest : public testing::TestWithParam<std::string> {
protected:
    DoctorScenario scenario;
    ClientScenario& client = scenario.client;
};

INSTANTIATE_TEST_SUITE_P(BothDatabases, DoctorStoreTest, testing::Values("Marlet", "LocalTasks"),
                         [](const auto& info) { return info.param; });

TEST_P(DoctorStoreTest, aDatabaseThatCannotBeOpenedIsAFindingAmongOthers) {
    client.addAccount();
    std::filesystem::path file = client.data / (GetParam() + ".sqlite");
    SQLite::Database(file.string(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");

    JSONValue result = scenario.examine(1);

    EXPECT_EQ(textOf(checkOf(result, "store"), "status"), "attention");
    EXPECT_THAT(textOf(checkOf(result, "store"), "message"), HasSubstr("written by a newer version of Marlet"));
    EXPECT_EQ(textOf(checkOf(result, "git"), "status"), "ok");
    EXPECT_EQ(textOf(checkOf(result, "secrets"), "status"), "ok");
    EXPECT_EQ(textOf(checkOf(result, "data folder"), "status"), "ok");
    EXPECT_TRUE(checkOf(result, "account").isNull());
}

// With `shell` run before the program, by a user who may do that.
JSONValue examineBehind(const DoctorScenario& scenario, const std::string& shell) {
    std::string tools = std::filesystem::path(scenario.tool("git")).parent_path().string();
    std::string script = shell + " && PATH=" + tools + " && exec \"$@\"";
    ClientScenario::Arguments line{
        "/usr/bin/env", "PATH=/usr/bin:/bin", "unshare", ::geteuid() == 0 ? "-m" : "-rm", "sh", "-c", script, "sh"};
    ClientScenario::Arguments command = scenario.client.commandLine({"--json", "doctor"});
    line.insert(line.end(), command.begin(), command.end());
    ChildOutcome outcome = runChild(line, "", scenario.client.environment);
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    return JSONValue::decode(outcome.output);
}

TEST(DoctorFolderTest, aReadOnlyFolderIsAFinding) {
    DoctorScenario scenario;
    scenario.client.addAccount();
    std::string folder = scenario.client.data.string();

    JSONValue result =
        examineBehind(scenario, "mount --bind " + folder + " " + folder + " && mount -o remount,ro,bind " + folder);

    EXPECT_EQ(textOf(checkOf(result, "data folder"), "message"),
              "There is no way to use the data folder " + folder + ": Read-only file system.");
    EXPECT_EQ(textOf(checkOf(result, "git"), "status"), "ok");
}

TEST(DoctorFolderTest, aFileInTheFoldersPlaceIsAFinding) {
    DoctorScenario scenario;
    std::ofstream(scenario.client.data) << "mine";

    JSONValue result = scenario.examine(1);

    EXPECT_EQ(textOf(checkOf(result, "data folder"), "message"),
              "There is no folder " + scenario.client.data.string() + ".");
    EXPECT_THAT(textOf(checkOf(result, "store"), "message"), HasSubstr("The data folder can't be made at"));
}

TEST(DoctorFolderTest, littleSpaceIsAFinding) {
    DoctorScenario scenario;
    std::string folder = scenario.client.data.string();
    std::filesystem::create_directory(folder);

    JSONValue result = examineBehind(scenario, "mount -t tmpfs -o size=20m,mode=700 tmpfs " + folder);

    EXPECT_THAT(textOf(checkOf(result, "data folder"), "message"),
                testing::MatchesRegex("Only 1[0-9] MB are left on the disk of .*"));
}

}  // namespace
}  // namespace marlet
