#include "MarletClient/TokenInput.h"

#include <csignal>

#include "ClientScenario.h"
#include "MarletBase/Clock.h"
#include "TerminalSession.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeServer.h"

namespace marlet {
namespace {

// A port that nobody listens on: what is asked there fails at once.
const char* const nowhere = "http://127.0.0.1:1";

const ClientScenario::Arguments addWork{"account", "add", "github", "--name", "Work", "--url", nowhere};

std::string refusal(const std::string& token) {
    try {
        checkedCredential(BackendKind::github, "", token);
    } catch (const TokenInputError& error) {
        return error.errorDescription();
    }
    return "(taken)";
}

TEST(TokenInputTest, aTokenIsOneWordOfPlainCharacters) {
    EXPECT_EQ(checkedCredential(BackendKind::github, "someone", " ghp_a1-.~ \r\n"), "ghp_a1-.~");
    EXPECT_EQ(checkedCredential(BackendKind::jira, " me@example.org ", "t\n"), "me@example.org:t");
    const std::string noToken =
        "What was given isn't an access token: a token is one word of plain letters, digits and signs.";
    for (const char* token : {"two words", "line\nX-Header: end", "tab\there", "gr\xc3\xbcn", "\x01x", "x\x7f y"}) {
        EXPECT_EQ(refusal(token), noToken);
    }
    EXPECT_EQ(refusal(std::string(20'000, 'x')), noToken);
    for (const char* token : {"", " \r\n"}) {
        EXPECT_EQ(refusal(token), "There is no token in what was given. Make one on the server's settings page.");
    }
}

TEST(TokenInputTest, theTerminalShowsNothingOfTheTokenAndIsAsItWasAfterwards) {
    ClientScenario client;
    TerminalSession session(client.commandLine(addWork), client.environment);
    ASSERT_TRUE(session.waitFor("Access token for Work: ")) << session.screen;
    EXPECT_FALSE(session.showsTyping());
    session.type("ghp_secret\n");
    EXPECT_EQ(session.wait(), 1);
    EXPECT_TRUE(session.showsTyping());
    EXPECT_EQ(session.screen.find("ghp_secret"), std::string::npos) << session.screen;
    EXPECT_NE(session.screen.find("marlet: "), std::string::npos) << session.screen;
}

TEST(TokenInputTest, whoGivesUpAtTheQuestionGetsTheTerminalBackAsItWas) {
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ClientScenario client;
        TerminalSession session(client.commandLine(addWork), client.environment);
        ASSERT_TRUE(session.waitFor("Access token for Work: ")) << session.screen;
        if (signal == SIGINT) {
            session.type("ghp_se\x03");
        } else {
            ::kill(session.pid(), signal);
        }
        EXPECT_EQ(session.wait(), -signal);
        EXPECT_TRUE(session.showsTyping());
        EXPECT_EQ(session.screen.find("ghp_"), std::string::npos) << session.screen;
    }
}

TEST(TokenInputTest, whoStopsAtTheQuestionIsAskedAgainLater) {
    ClientScenario client;
    TerminalSession session(client.commandLine(addWork), client.environment);
    ASSERT_TRUE(session.waitFor("Access token for Work: ")) << session.screen;
    ::kill(session.pid(), SIGSTOP);
    ::kill(session.pid(), SIGCONT);
    session.type("\n");
    EXPECT_EQ(session.wait(), 1);
    EXPECT_NE(session.screen.find("There is no token in what was given."), std::string::npos) << session.screen;
}

TEST(TokenInputTest, anEndOfInputIsNoToken) {
    ClientScenario client;
    TerminalSession session(client.commandLine(addWork), client.environment);
    ASSERT_TRUE(session.waitFor("Access token for Work: ")) << session.screen;
    session.type("\x04");
    EXPECT_EQ(session.wait(), 1);
    EXPECT_TRUE(session.showsTyping());
    EXPECT_NE(session.screen.find("There is no token in what was given."), std::string::npos) << session.screen;
}

TEST(TokenInputTest, withoutATerminalTheTokenHasToBePipedIn) {
    ClientScenario client;
    EXPECT_EQ(client.error(addWork),
              "There is no terminal to ask for the token. Pipe the token in and add --token-stdin.");
    ClientScenario::Arguments piped = addWork;
    piped.emplace_back("--token-stdin");
    EXPECT_EQ(client.error(piped), "There is no token in what was given. Make one on the server's settings page.");
}

TEST(TokenInputTest, anAccountThatCannotHaveATokenIsToldBeforeOneIsAskedFor) {
    FakeForge forge(
        FakeForgeKind::forgejo, [] { return SystemClock().now(); }, "good");
    FakeServer server(forge);
    ClientScenario client;
    const ClientScenario::Arguments addition{"account", "add", "forgejo", "--name", "Work", "--url", server.url()};
    ClientScenario::Arguments piped = addition;
    piped.emplace_back("--token-stdin");
    client.json(piped, 0, "good");
    client.json({"account", "add", "local", "--name", "Home"});

    EXPECT_TRUE(client.error(addition).starts_with("There is already an account \"Work\""));
    EXPECT_EQ(client.error({"account", "token", "Nobody"}),
              "No account \"Nobody\". Use marlet account list to find it.");
    EXPECT_EQ(client.error({"account", "token", "Home"}), "An \"On This Mac\" account has no token.");
    EXPECT_EQ(client.error({"account", "token", "Work"}),
              "There is no terminal to ask for the token. Pipe the token in and add --token-stdin.");
}

TEST(TokenInputTest, whatIsWrongBesidesIsToldBeforeATokenIsAskedFor) {
    ClientScenario client;
    using Arguments = ClientScenario::Arguments;
    EXPECT_EQ(client.error({"account", "add", "vikunja", "--name", "Work"}, 2),
              "Where is the Vikunja server? Give its address with --url, such as --url https://git.example.org.");
    EXPECT_EQ(client.error({"account", "add", "github", "--name", " "}), "The account's name must not be empty.");
    EXPECT_EQ(client.error({"account", "add", "forgejo", "--name", "Forge"}, 2),
              "Where is the Forgejo server? Give its address with --url, such as --url https://git.example.org.");
    EXPECT_EQ(client.error({"account", "add", "local", "--name", "Home", "--token-stdin"}),
              "An \"On This Mac\" account has no server, user or token. Leave them out.");
    for (const Arguments& command : {Arguments{"account", "add", "github", "--name", "W", "--token", "ghp_secret"},
                                     Arguments{"account", "add", "github", "--name", "W", "--token=ghp_secret"},
                                     Arguments{"account", "token", "W", "--token=ghp_secret"}}) {
        EXPECT_EQ(client.error(command, 2),
                  "A token is never taken as an argument, where others could read it. Pipe it in and add "
                  "--token-stdin, or leave it out to be asked.");
    }
    EXPECT_EQ(client.run({"account", "token", "W", "--token-stdin=ghp_secret"}).errors.find("ghp_secret"),
              std::string::npos);
}

}  // namespace
}  // namespace marlet
