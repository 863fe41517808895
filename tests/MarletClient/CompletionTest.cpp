// The completion scripts, held against the tree of commands and run by the shells that are here: bash always.
#include "MarletClient/Completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <fstream>

#include "ClientScenario.h"
#include "MarletBase/Description.h"
#include "MarletBase/Text.h"
#include "MarletClient/CommandLine.h"
#include "MarletClient/Tools.h"
#include "TerminalSession.h"

namespace marlet {
namespace {

using Words = std::vector<std::string>;

// In zsh the functions that talk to the line editor are replaced by some that print.
constexpr const char* zshStage = R"stage(
compdef() { :; }
compset() { :; }
compadd() { (( ${#${(P)argv[-1]}} )) && print -rl -- "${(@P)argv[-1]}"; }
_describe() { print -rl -- "${(@)${(@P)argv[-1]}%%:*}"; }
_files() { print -r -- "(folders)";
}
source $1
shift
words=("$@")
CURRENT=$#
_marlet
)stage";
constexpr const char* bashStage = R"stage(
source "$0"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_marlet
((${#COMPREPLY[@]})) && printf '%s\n' "${COMPREPLY[@]}"
true
)stage";
constexpr const char* fishStage = R"stage(
set -e HOME
source $argv[1]
set -l line (string join ' ' -- (string escape -- $argv[2..-2]) $argv[-1])
complete -C "$line"
)stage";

Words lines(const std::string& text) {
    Words result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

class CompletionTest : public testing::Test {
protected:
    CompletionTest() : tree(commandTree(line)) {}

    std::vector<Shell> shells() const {
        std::vector<Shell> found;
        for (Shell shell : allCases<Shell>()) {
            if (programOnPath(std::string(code(shell)))) {
                found.push_back(shell);
            }
        }
        return found;
    }

    std::filesystem::path written(Shell shell, const std::string& script) const {
        std::filesystem::path file = client.folder.path() / fmt::format("marlet.{}", code(shell));
        std::ofstream(file, std::ios::binary) << script;
        return file;
    }

    // What the shell offers for the last of the words, which begins with it.
    Words offers(Shell shell, const std::string& script, const Words& words) const {
        std::string file = written(shell, script).string();
        Words arguments{*programOnPath(std::string(code(shell)))};
        if (shell == Shell::bash) {
            arguments.insert(arguments.end(), {"--norc", "-c", bashStage, file});
        } else if (shell == Shell::zsh) {
            arguments.insert(arguments.end(), {"-f", "-c", zshStage, "zsh", file});
        } else {
            arguments.insert(arguments.end(), {"--no-config", "-c", fishStage, file});
        }
        arguments.push_back("marlet");
        arguments.insert(arguments.end(), words.begin(), words.end());
        ChildOutcome outcome = runChild(arguments, "", client.environment);
        EXPECT_EQ(outcome.errors, "") << code(shell);
        Words result;
        for (const std::string& offered : lines(outcome.output)) {
            std::string name = offered.substr(0, offered.find('\t'));
            if (name.starts_with(words.back())) {
                result.push_back(name);
            }
        }
        return result;
    }

    void expectOffers(const Words& words, const Words& expected) const {
        for (Shell shell : shells()) {
            EXPECT_THAT(offers(shell, completionScript(shell, *tree), words),
                        testing::UnorderedElementsAreArray(expected))
                << code(shell) << ": " << fmt::format("{}", fmt::join(words, " "));
        }
    }

    CommandLine line;
    std::unique_ptr<CLI::App> tree;
    ClientScenario client;
};

// The part of the script about one command.
std::string blockOf(const std::string& script, Shell shell, const std::string& path) {
    std::string label =
        shell == Shell::fish ? fmt::format("\n    case '{}'\n", path) : fmt::format("\n    '{}')\n", path);
    size_t start = script.find(label);
    if (start == std::string::npos) {
        return {};
    }
    size_t end = script.find(shell == Shell::fish ? "\n    case '" : "\n        ;;\n", start + label.size());
    return script.substr(start, end - start);
}

// Every command and option that the help shows is in the script.
void expectWhole(const std::string& script, Shell shell, const CLI::App& app, const std::string& path) {
    std::string block = blockOf(script, shell, path);
    ASSERT_NE(block, "") << code(shell) << ": " << path;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_group().empty()) {
            continue;
        }
        for (const std::string& name : option->get_lnames()) {
            EXPECT_NE(block.find("'--" + name + "'"), std::string::npos) << code(shell) << ": " << path << " " << name;
        }
        for (const std::string& name : option->get_snames()) {
            EXPECT_NE(block.find("'-" + name + "'"), std::string::npos) << code(shell) << ": " << path << " " << name;
        }
    }
    for (const CLI::App* child : app.get_subcommands([](const CLI::App*) { return true; })) {
        EXPECT_NE(block.find("'" + child->get_name() + "'"), std::string::npos) << code(shell) << ": " << path;
        expectWhole(script, shell, *child, path.empty() ? child->get_name() : path + " " + child->get_name());
    }
}

TEST_F(CompletionTest, everyCommandAndOptionIsInEveryScript) {
    for (Shell shell : allCases<Shell>()) {
        ChildOutcome printed = client.run({"completion", std::string(code(shell))});
        EXPECT_EQ(printed.status, 0);
        EXPECT_EQ(printed.output, completionScript(shell, *tree));
        expectWhole(printed.output, shell, *tree, "");
    }
    EXPECT_FALSE(std::filesystem::exists(client.data)) << "nothing is made for it";
}

TEST_F(CompletionTest, whatTheHelpHidesIsNotOffered) {
    for (Shell shell : allCases<Shell>()) {
        EXPECT_EQ(completionScript(shell, *tree).find("'--token'"), std::string::npos) << code(shell);
    }
}

TEST_F(CompletionTest, theScriptIsTheSameOnEveryComputer) {
    const std::string home = client.folder.path().string();
    client.environment.push_back("HOME=" + home);
    client.environment.push_back("XDG_DATA_HOME=" + home);
    for (Shell shell : allCases<Shell>()) {
        EXPECT_EQ(client.run({"completion", std::string(code(shell))}).output, completionScript(shell, *tree));
    }
}

TEST_F(CompletionTest, commandsOptionsAndValuesAreOffered) {
    expectOffers({"tas"}, {"task"});
    expectOffers({"task", "d"}, {"done", "delete"});
    expectOffers({"task", "list", "--l"}, {"--list", "--limit"});
    expectOffers({"task", "list", "--list", ""}, {"next", "starred", "updated", "timing"});
    expectOffers({"task", "list", "--list", "st"}, {"starred"});
    expectOffers({"account", "add", ""}, {"github", "gitlab", "vikunja", "forgejo", "jira", "local"});
    expectOffers({"account", "agent", "Work", "co"}, {"code", "cowork", "copilot"});
    expectOffers({"completion", ""}, {"bash", "zsh", "fish"});
    expectOffers({"timer", ""}, {"start", "stop", "status"});
    expectOffers({"task", "edit", "abcd", "--no-"}, {"--no-labels", "--no-due", "--no-parent", "--no-estimate"});
}

TEST_F(CompletionTest, theOptionsOfAllCommandsAreOfferedEverywhere) {
    expectOffers({"--js"}, {"--json"});
    expectOffers({"task", "--js"}, {"--json"});
    expectOffers({"task", "list", "--js"}, {"--json"});
    expectOffers({"--ver"}, {"--version"});
    expectOffers({"task", "list", "--hel"}, {"--help"});
}

TEST_F(CompletionTest, theOptionsOfACommandAreNotThoseOfTheCommandsBelowIt) {
    CLI::App root("Test", "marlet");
    root.require_subcommand(1);
    root.add_flag("--everywhere");
    CLI::App* work = root.add_subcommand("work", "A command with commands below it");
    work->add_flag("--here");
    work->add_option("AGENT")->type_name("code|copilot");
    work->add_subcommand("result", "Below");
    for (Shell shell : shells()) {
        std::string script = completionScript(shell, root);
        EXPECT_THAT(offers(shell, script, {"work", ""}), testing::UnorderedElementsAre("result", "code", "copilot"));
        EXPECT_THAT(offers(shell, script, {"work", "--"}),
                    testing::UnorderedElementsAre("--help", "--here", "--everywhere"));
        EXPECT_THAT(offers(shell, script, {"work", "code", "--h"}), testing::UnorderedElementsAre("--help", "--here"));
        EXPECT_THAT(offers(shell, script, {"work", "result", "--"}),
                    testing::UnorderedElementsAre("--help", "--everywhere"));
        EXPECT_EQ(offers(shell, script, {"work", "code", "res"}), Words{});
    }
}

TEST_F(CompletionTest, whatIsTypedBeforeIsUnderstood) {
    expectOffers({"--json", "--data", "/tmp", "mcp", "sh"}, {"show"});
    expectOffers({"--data", "task", "tim"}, {"timer"});
    expectOffers({"account", "add", "--name", "gitlab", "git"}, {"github", "gitlab"});
    expectOffers({"account", "add", "--name", "--json", "github", "--sub"}, {"--subscribe"});
    expectOffers({"account", "add", "github", ""}, {});
    expectOffers({"account", "list", "add", ""}, {});
    expectOffers({"account", "agent", "agent", "non"}, {"none"});
    expectOffers({"task", "done", "abcd", ""}, {});
    expectOffers({"task", "add", "--project", ""}, {});
    expectOffers({"task", "list", "--query", "--l"}, {});
    expectOffers({"task", "add", "--", "--pro"}, {});
    expectOffers({"account", "--", "add", ""}, {});
    expectOffers({"task", "add", "-", "--proj"}, {"--project"});
    expectOffers({"nonsense", ""}, {});
}

TEST_F(CompletionTest, aValueBehindAnEqualsSignIsOffered) {
    std::string bash = completionScript(Shell::bash, *tree);
    EXPECT_EQ(offers(Shell::bash, bash, {"task", "list", "--list", "=", "st"}), Words{"starred"});
    EXPECT_EQ(offers(Shell::bash, bash, {"task", "list", "--list=st"}), Words{"--list=starred"});
    EXPECT_EQ(offers(Shell::bash, bash, {"task", "list", "--list", "=", "next", "--lim"}), Words{"--limit"});
    // The sign itself is the word until there is another one.
    std::string all = "printf '%s ' \"${COMPREPLY[@]}\"";
    ChildOutcome outcome =
        runChild({*programOnPath("bash"), "--norc", "-c",
                  "source \"$0\"; COMP_WORDS=(marlet task list --list =); COMP_CWORD=4; _marlet; " + all,
                  written(Shell::bash, bash).string()});
    EXPECT_EQ(outcome.output, "next starred updated timing ");
    if (programOnPath("fish")) {
        EXPECT_EQ(offers(Shell::fish, completionScript(Shell::fish, *tree), {"task", "list", "--list=st"}),
                  Words{"--list=starred"});
    }
}

TEST_F(CompletionTest, foldersAreOfferedForTheDataFolder) {
    std::filesystem::create_directory(client.folder.path() / "first garden");
    std::filesystem::create_directory(client.folder.path() / "second");
    std::ofstream(client.folder.path() / "file") << "no folder";
    std::string bash = completionScript(Shell::bash, *tree);
    std::string prefix = client.folder.path().string() + "/";
    EXPECT_THAT(offers(Shell::bash, bash, {"task", "list", "--data", prefix}),
                testing::UnorderedElementsAre(prefix + "first garden", prefix + "second"));
    EXPECT_EQ(offers(Shell::bash, bash, {"--data=" + prefix + "s"}), Words{"--data=" + prefix + "second"});
}

TEST_F(CompletionTest, whatTheTreeSaysIsNeverRunByTheShell) {
    std::string trap = (client.folder.path() / "trapped").string();
    std::string evil =
        fmt::format(R"evil(it's "$(touch {0})" `touch {0}` [a]: b\c $HOME; touch {0}; (touch {0}) 100%)evil", trap);
    CLI::App root(evil, "marlet");
    root.add_flag("--odd", evil);
    root.add_option("VALUE", evil)->type_name("$(touch " + trap + ")|it's|`touch " + trap + "`|\\n*");
    root.add_subcommand("odd", evil);
    Words expected{"$(touch " + trap + ")", "it's", "`touch " + trap + "`", "\\n*", "odd"};
    for (Shell shell : shells()) {
        std::string script = completionScript(shell, root);
        EXPECT_THAT(offers(shell, script, {""}), testing::UnorderedElementsAreArray(expected)) << code(shell);
        EXPECT_EQ(offers(shell, script, {"--o"}), Words{"--odd"}) << code(shell);
    }
    EXPECT_FALSE(std::filesystem::exists(trap));
}

TEST_F(CompletionTest, theTabKeyOfARealBashCompletes) {
    std::string file = written(Shell::bash, completionScript(Shell::bash, *tree)).string();
    TerminalSession session({*programOnPath("bash"), "--norc", "--noprofile", "-i"},
                            {"TERM=dumb", "PS1=ready> ", "HISTFILE=", "INPUTRC=/dev/null"});
    ASSERT_TRUE(session.waitFor("ready> "));
    session.type("source " + file + "; echo so\"\"urced\n");
    ASSERT_TRUE(session.waitFor("sourced\r\n"));
    session.type("marlet acc\tag\tWork coD\b\t\b");
    EXPECT_TRUE(session.waitFor("marlet account agent Work co")) << session.screen;
    session.type("\x15marlet task list --list=sta\t");
    EXPECT_TRUE(session.waitFor("--list=starred ")) << session.screen;
    session.type(
        "\x15"
        "exit 0\n");
    EXPECT_EQ(session.wait(), 0) << session.screen;
}

TEST_F(CompletionTest, withJSONTheScriptIsAValueToo) {
    JSONValue printed = client.json({"completion", "bash"});
    EXPECT_EQ(textOf(printed, "script"), completionScript(Shell::bash, *tree));
    EXPECT_EQ(client.error({"completion", "ksh"}, 2), "Unknown shell \"ksh\". Use bash, zsh or fish.");
}

}  // namespace
}  // namespace marlet
