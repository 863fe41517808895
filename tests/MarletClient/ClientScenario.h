#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletMCP/JSONValue.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// The real program on a data folder of its own.
class ClientScenario {
public:
    ClientScenario() : data(folder.path() / "data") {}
    explicit ClientScenario(std::filesystem::path dataFolder) : data(std::move(dataFolder)) {}

    using Arguments = std::vector<std::string>;

    ChildOutcome run(const Arguments& arguments, const std::string& input = {});
    // With --json: the one value it prints. Fails the test unless the command ends with `status`.
    JSONValue json(const Arguments& arguments, int status = 0, const std::string& input = {});
    // The text of the one error line, which --json must repeat. Fails the test unless the command ends with `status`.
    std::string error(const Arguments& arguments, int status = 1);

    // Starts the daemon and waits until it is ready; gives what it says then.
    JSONValue startDaemon(const Arguments& options = {});
    // By SIGTERM; gives its exit status.
    int stopDaemon();
    ChildProcess& daemon() { return *running; }
    std::unique_ptr<ChildProcess> start(const Arguments& arguments) const;

    // A project "Tasks" of an account "On This Mac", as a daemon's first run makes them.
    void addAccount();
    JSONValue addTask(const std::string& title, const Arguments& options = {});

    TemporaryFolder folder;
    // Without a session bus, and thus without the keyring of whoever runs the tests.
    std::vector<std::string> environment{"TZ=Europe/Berlin", "LC_ALL=C.UTF-8", "DBUS_SESSION_BUS_ADDRESS=disabled:",
                                         "XDG_RUNTIME_DIR=" + folder.path().string()};
    std::filesystem::path data;

    // The program, the data folder and these.
    Arguments commandLine(const Arguments& arguments) const;

private:
    std::unique_ptr<ChildProcess> running;
};

// The member as text; empty if it isn't one.
std::string textOf(const JSONValue& object, std::string_view key);
// The member; null if there is none.
JSONValue memberOf(const JSONValue& object, std::string_view key);
std::vector<std::string> textsOf(const JSONValue& object, std::string_view listKey, std::string_view key);

}  // namespace marlet
