// What the doctor finds on this computer, with tools that the test plays.
#include "MarletClient/Doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <fstream>

#include "ClientScenario.h"
#include "DoctorScenario.h"
#include "TestSupport/DesktopSession.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class DoctorTest : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        scenario.client.startDaemon();
        if (!GetParam()) {
            scenario.client.stopDaemon();
        }
    }
    void TearDown() override {
        if (GetParam()) {
            EXPECT_EQ(scenario.client.stopDaemon(), 0);
        }
    }

    DoctorScenario scenario;
    ClientScenario& client = scenario.client;
};

INSTANTIATE_TEST_SUITE_P(BothWays, DoctorTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "withDaemon" : "inOwnProcess"; });

TEST_P(DoctorTest, whereAllIsInOrderItSaysSo) {
    JSONValue result = scenario.examine();

    EXPECT_EQ(memberOf(result, "ok"), JSONValue(true));
    EXPECT_EQ(textsOf(result, "checks", "name"),
              (std::vector<std::string>{"git", "claude", "xdg-open", "helper", "data folder", "store", "secrets",
                                        "daemon", "endpoint", "changes"}));
    JSONValue git = checkOf(result, "git");
    EXPECT_EQ(git, JSONValue::object({{"name", "git"},
                                      {"subject", nullptr},
                                      {"status", "ok"},
                                      {"message", scenario.tool("git") + ", git version 9.9"},
                                      {"advice", nullptr},
                                      {"path", scenario.tool("git")},
                                      {"version", "git version 9.9"}}));
    EXPECT_EQ(textOf(checkOf(result, "claude"), "version"), "7.7 (played)");
    EXPECT_EQ(textOf(checkOf(result, "xdg-open"), "path"), scenario.tool("xdg-open"));
    EXPECT_EQ(textOf(checkOf(result, "helper"), "way"), "child");
    EXPECT_EQ(textOf(checkOf(result, "secrets"), "store"), "file");
    EXPECT_EQ(textOf(checkOf(result, "data folder"), "path"), client.data.string());
    EXPECT_EQ(memberOf(checkOf(result, "daemon"), "running"), JSONValue(GetParam()));
    EXPECT_EQ(textOf(checkOf(result, "daemon"), "status"), GetParam() ? "ok" : "note");
    EXPECT_EQ(textOf(checkOf(result, "endpoint"), "endpoint"), textOf(client.json({"mcp", "show"}), "endpoint"));
    EXPECT_EQ(textOf(checkOf(result, "endpoint"), "status"), "ok");
    EXPECT_EQ(result.data().find(textOf(client.json({"mcp", "show"}), "token")), std::string::npos);
}

TEST_P(DoctorTest, peopleGetAlignedLines) {
    ChildOutcome outcome = client.run({"doctor"});

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("git          " + scenario.tool("git") + ", git version 9.9\n"));
    EXPECT_TRUE(outcome.output.ends_with("\nEverything is in order.\n")) << outcome.output;
}

TEST_P(DoctorTest, whatIsOptionalIsOnlyNoted) {
    std::filesystem::remove(scenario.tool("claude"));
    std::filesystem::remove(scenario.tool("xdg-open"));

    JSONValue result = scenario.examine();

    JSONValue claude = checkOf(result, "claude");
    EXPECT_EQ(textOf(claude, "status"), "note");
    EXPECT_EQ(textOf(claude, "message"), "The claude command wasn't found. Install Claude Code or choose the command.");
    EXPECT_TRUE(memberOf(claude, "path").isNull());
    EXPECT_EQ(textOf(checkOf(result, "xdg-open"), "message"),
              "xdg-open wasn't found on the PATH: marlet work prints links instead of opening them.");
}

TEST_P(DoctorTest, aMissingGitNeedsAttention) {
    std::filesystem::remove(scenario.tool("git"));

    JSONValue result = scenario.examine(1);

    EXPECT_EQ(memberOf(result, "ok"), JSONValue(false));
    EXPECT_EQ(textOf(checkOf(result, "git"), "message"), "git wasn't found on the PATH, and marlet work needs it.");
    EXPECT_EQ(textOf(checkOf(result, "git"), "advice"), "Install it.");
    ChildOutcome told = client.run({"doctor"});
    EXPECT_EQ(told.errors, "marlet: One thing needs attention.\n");
    EXPECT_THAT(told.output, HasSubstr("attention  git          git wasn't found on the PATH, and marlet work needs "
                                       "it.\n                        Install it.\n"));
}

TEST_P(DoctorTest, aGitThatCannotBeRunNeedsAttention) {
    std::ofstream(scenario.tool("git")) << "\x7f"
                                           "ELF that is none";

    JSONValue git = checkOf(scenario.examine(1), "git");

    EXPECT_EQ(textOf(git, "status"), "attention");
    EXPECT_EQ(textOf(git, "message"), scenario.tool("git") + " can't be run.");
}

TEST_P(DoctorTest, aToolThatTellsNoVersionIsNotInOrder) {
    for (const char* name : {"git", "claude"}) {
        std::ofstream(scenario.tool(name)) << "#!/usr/bin/env an-interpreter-that-is-nowhere\n";
    }

    JSONValue result = scenario.examine(1);

    for (const std::string name : {"git", "claude"}) {
        EXPECT_EQ(textOf(checkOf(result, name), "status"), name == "git" ? "attention" : "note");
        EXPECT_EQ(textOf(checkOf(result, name), "message"),
                  scenario.tool(name) + " doesn't tell its version, and may not work.");
        EXPECT_THAT(textOf(checkOf(result, name), "advice"), StartsWith("Run " + name + " --version in a shell."));
    }
}

TEST_P(DoctorTest, whatOthersCanGetAtNeedsAttention) {
    ::chmod(client.data.c_str(), 0755);
    std::string file = (client.data / "endpoint.json").string();
    ::chmod(file.c_str(), 0640);

    JSONValue result = scenario.examine(1);

    std::vector<std::string> messages = scenario.messages(result, "data folder");
    EXPECT_EQ(messages,
              (std::vector<std::string>{"Other users of this computer can get at " + client.data.string() + ".",
                                        "Other users of this computer can get at " + file + "."}));
    EXPECT_EQ(textOf(checkOf(result, "data folder"), "advice"),
              "Take that from them: chmod go= '" + client.data.string() + "'");
}

TEST_P(DoctorTest, whatBelongsToAnotherUserNeedsAttention) {
    std::string foreign = "/usr";
    if (::geteuid() == 0) {
        foreign = (client.data / "notes").string();
        std::ofstream stream(foreign);
        ASSERT_EQ(::chown(foreign.c_str(), 1, 1), 0);
    } else {
        // Only the superuser gives files away; nobody else's is this one.
        client.data = foreign;
    }

    EXPECT_THAT(scenario.messages(scenario.examine(1), "data folder"),
                testing::Contains(foreign + " belongs to another user."));
}

TEST_P(DoctorTest, aDatabaseThatIsDamagedInsideIsFound) {
    client.json({"task", "add", "Water the beans", "--project", "Tasks", "--notes", "-"}, 0, std::string(200'000, 'n'));
    if (GetParam()) {
        client.stopDaemon();
        scenario.damage("Marlet");
        client.startDaemon();
    } else {
        scenario.damage("Marlet");
    }

    JSONValue store = checkOf(scenario.examine(1), "store");

    EXPECT_EQ(textOf(store, "status"), "attention");
    EXPECT_THAT(textOf(store, "message"), StartsWith("The Marlet database " + client.data.string()));
    EXPECT_THAT(textOf(store, "message"), HasSubstr("is damaged."));
}

TEST_P(DoctorTest, aHelperOfTheSessionIsTold) {
    std::string socket = client.folder.path().string() + "/io.tolvane.Marlet.Helper.sock";
    ChildProcess helper({MARLET_HELPER, "--socket", socket}, "", client.environment);
    scenario.waitForSocket(socket);

    EXPECT_EQ(textOf(checkOf(scenario.examine(), "helper"), "way"), "service");
}

TEST(DoctorKeyringTest, aLockedKeyringThatHoldsTokensNeedsAttention) {
    DoctorScenario scenario;
    DesktopSession session;
    std::erase_if(scenario.client.environment,
                  [](const std::string& variable) { return variable.starts_with("DBUS_SESSION_BUS_ADDRESS="); });
    scenario.client.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + session.address());
    session.startKeyring();
    EXPECT_EQ(textOf(checkOf(scenario.examine(), "secrets"), "store"), "keyring");
    scenario.addRemoteAccount();
    EXPECT_EQ(textOf(checkOf(scenario.examine(), "secrets"), "status"), "ok");

    BusConnection(session.address()).lockCollection("/org/freedesktop/secrets/collection/login");

    JSONValue secrets = checkOf(scenario.examine(1), "secrets");
    EXPECT_EQ(textOf(secrets, "status"), "attention");
    EXPECT_THAT(textOf(secrets, "message"), StartsWith("The secret store is locked. Unlock it"));
}

TEST(DoctorKeyringTest, aTokenFileThatMakesNoSenseNeedsAttention) {
    DoctorScenario scenario;
    scenario.client.addAccount();
    std::ofstream(scenario.client.data / "tokens.json") << "{";
    ::chmod((scenario.client.data / "tokens.json").c_str(), 0600);

    JSONValue secrets = checkOf(scenario.examine(1), "secrets");

    EXPECT_EQ(textOf(secrets, "status"), "attention");
    EXPECT_THAT(textOf(secrets, "message"), StartsWith("The token file "));
}

TEST(DoctorKeyringTest, anAccountWhoseTokenCannotBeReadIsNotToldToTryLater) {
    DoctorScenario scenario;
    scenario.addRemoteAccount();
    std::ofstream(scenario.client.data / "tokens.json") << "{";

    JSONValue account = checkOf(scenario.examine(1), "account");

    EXPECT_THAT(textOf(account, "message"), StartsWith("The token file "));
    EXPECT_TRUE(memberOf(account, "advice").isNull());
}

TEST(DoctorEndpointTest, aPortThatAnotherProgramUsesNeedsAttention) {
    DoctorScenario scenario;
    ClientScenario other;
    JSONValue ready = other.startDaemon();
    std::string port = textOf(ready, "endpoint").substr(std::string("http://127.0.0.1:").size());
    port = port.substr(0, port.find('/'));
    scenario.client.addAccount();
    std::ofstream(scenario.client.data / "endpoint.json") << "{\"port\":" << port << ",\"token\":\"s3cret\"}";
    ::chmod((scenario.client.data / "endpoint.json").c_str(), 0600);

    JSONValue result = scenario.examine(1);

    EXPECT_EQ(textOf(checkOf(result, "endpoint"), "message"),
              "Another program uses port " + port + ", with which agents are registered.");
    EXPECT_THAT(textOf(checkOf(result, "endpoint"), "advice"), HasSubstr("marlet serve --port 0"));
    EXPECT_EQ(result.data().find("s3cret"), std::string::npos);
    other.stopDaemon();
}

TEST(DoctorEndpointTest, whatIsLeftOfAConnectionHoldsNoPort) {
    DoctorScenario scenario;
    std::string endpoint = textOf(scenario.client.startDaemon(), "endpoint");
    size_t place = std::string("http://127.0.0.1:").size();
    auto port = static_cast<unsigned short>(std::stoi(endpoint.substr(place)));
    boost::asio::io_context loop;
    boost::asio::ip::tcp::socket agent(loop);
    agent.connect({boost::asio::ip::address_v4::loopback(), port});
    scenario.client.stopDaemon();
    agent.close();

    EXPECT_EQ(textOf(checkOf(scenario.examine(), "endpoint"), "status"), "ok");
}

TEST(DoctorEndpointTest, beforeTheFirstServeThereIsNone) {
    DoctorScenario scenario;

    JSONValue endpoint = checkOf(scenario.examine(), "endpoint");

    EXPECT_EQ(textOf(endpoint, "status"), "note");
    EXPECT_EQ(textOf(endpoint, "message"), "There is no endpoint for agents yet: marlet serve makes it.");
}

TEST(DoctorHelperTest, withoutAHelperThePathTellsOfTheTools) {
    DoctorScenario scenario;
    std::filesystem::path alone = scenario.client.folder.path() / "marlet";
    std::filesystem::copy_file(MARLET_PROGRAM, alone);

    ChildOutcome outcome = runChild({alone.string(), "--json", "--data", scenario.client.data.string(), "doctor"}, "",
                                    scenario.client.environment);

    EXPECT_EQ(outcome.status, 1);
    JSONValue result = JSONValue::decode(outcome.output);
    EXPECT_EQ(textOf(checkOf(result, "helper"), "message"),
              "MarletHelper wasn't found. It belongs beside marlet, or on the PATH: install Marlet again.");
    EXPECT_EQ(textOf(checkOf(result, "git"), "message"), scenario.tool("git"));
    EXPECT_EQ(textOf(checkOf(result, "git"), "status"), "ok");
}

TEST(DoctorHelperTest, aHelperThatIsSilentHoldsNobodyUpForLong) {
    DoctorScenario scenario;
    std::string path = scenario.client.folder.path().string() + "/io.tolvane.Marlet.Helper.sock";
    boost::asio::io_context loop;
    boost::asio::local::stream_protocol::acceptor silent(loop, {path});

    JSONValue result = scenario.client.json({"doctor"}, 1);

    EXPECT_EQ(textOf(checkOf(result, "helper"), "message"), "The helper didn't answer within 15 seconds.");
    EXPECT_THAT(textOf(checkOf(result, "helper"), "advice"), HasSubstr("end MarletHelper"));
    EXPECT_EQ(textOf(checkOf(result, "git"), "message"), scenario.tool("git"));
}

TEST(DoctorReportTest, longLinesAreBrokenBetweenWordsWhereTheTerminalEnds) {
    std::vector<Finding> findings{{"git", Standing::ok, "/usr/bin/git, git version 2.39.5"},
                                  {"account",
                                   Standing::attention,
                                   "The server refused \x1b[31mthe token, and that is all it said.",
                                   "Give the account a new one with marlet account token.",
                                   "Büro",
                                   {}}};
    CommandReply reply = doctorReply(findings);
    Terminal terminal{.isTerminal = true, .width = 60, .hasColor = false};

    EXPECT_EQ(presentedFindings(reply.result, terminal),
              "ok         git           /usr/bin/git, git version 2.39.5\n"
              "attention  account Büro  The server refused \xef\xbf\xbd[31mthe token,\n"
              "                         and that is all it said.\n"
              "                         Give the account a new one with\n"
              "                         marlet account token.\n");
    EXPECT_EQ(*reply.error, "One thing needs attention.");
}

}  // namespace
}  // namespace marlet
