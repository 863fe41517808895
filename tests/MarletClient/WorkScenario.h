#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ClientScenario.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeServer.h"
#include "TestSupport/GitFixture.h"

namespace marlet {

// The real program, real git, and a GitHub on a loopback port whose repository acme/rocket can be cloned. The programs
// of the agents and of the desktop are scripts that write down what they are given.
class WorkScenario {
public:
    enum class Way { withDaemon, inOwnProcess };

    inline static const std::string token = "ghp_0nlyTh3S3rv3rKn0ws";

    explicit WorkScenario(Way way = Way::inOwnProcess);
    // Fails the test when a helper, or a git of one, is left.
    ~WorkScenario();

    // Before the account is added.
    void changeRepository(const std::function<void(FakeRepository& repository)>& change);
    // With the repository's tasks: the issues 1 to 3 and the pull request 4.
    void addAccount();
    void startDaemon();
    void stopDaemon();

    // `work NUMBER --project acme/rocket` and the arguments.
    JSONValue work(int number, const ClientScenario::Arguments& arguments = {}, int status = 0);
    std::string workError(int number, const ClientScenario::Arguments& arguments = {});
    // The same as people see it; fails the test unless it ends well.
    std::string shownWork(int number, const ClientScenario::Arguments& arguments = {});
    static ClientScenario::Arguments named(const std::string& command, int number,
                                           const ClientScenario::Arguments& arguments = {});

    // A program for the PATH: the lines of a shell script. Whatever it is, it writes its arguments, a line each with
    // its name before it, to `record(name)` first.
    void addProgram(const std::string& name, const std::string& script = {});
    void removeProgram(const std::string& name) const;
    // What the program was given, a line for each time: its arguments between blanks.
    std::vector<std::string> record(const std::string& name) const;

    std::filesystem::path root() const { return home() / "Marlet"; }
    std::filesystem::path home() const { return git.folder() / "home"; }
    std::filesystem::path tools() const { return git.folder() / "tools"; }
    std::filesystem::path checkout() const { return root() / "forge.example" / "acme" / "rocket"; }
    std::filesystem::path worktree(const std::string& name) const {
        return root() / "forge.example" / "acme" / "rocket.worktrees" / name;
    }
    // The command lines of what runs on behalf of this scenario.
    std::vector<std::string> processes() const;
    // Those of them whose program has this name.
    std::vector<int> processesNamed(const std::string& program) const;
    std::vector<int> helpers() const { return processesNamed("MarletHelper"); }

    GitFixture git;
    ClientScenario client;
    FakeForge forge;
    std::unique_ptr<FakeServer> server;

private:
    std::map<int, std::string> commandLines() const;

    bool isServed = false;
};

// The link's query, decoded.
std::string linkItem(const std::string& link, const std::string& key);

}  // namespace marlet
