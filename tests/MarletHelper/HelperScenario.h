#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MarletIPC/LineClient.h"
#include "MarletWorkspace/HelperMessages.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {

// The real program in a home folder of its own.
class HelperScenario : public testing::Test {
protected:
    HelperScenario();

    // Returns once it listens at `socket`.
    std::unique_ptr<ChildProcess> start(const std::vector<std::string>& furtherEnvironment = {},
                                        ChildDescriptors descriptors = {},
                                        const std::vector<std::string>& furtherArguments = {}) const;
    // With the arguments as they are, in the scenario's environment.
    std::unique_ptr<ChildProcess> launch(const std::vector<std::string>& arguments,
                                         const std::vector<std::string>& furtherEnvironment = {},
                                         ChildDescriptors descriptors = {}) const;
    ChildOutcome runToEnd(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& furtherEnvironment = {}) const;
    // Somebody lets callers in there, within half a minute.
    static bool listens(const std::filesystem::path& path);

    LineClient connect() const;
    std::optional<std::string> ask(const std::string& line) const;
    HelperReply ask(const HelperRequest& request) const;
    // A connection that has sent this line and reads nothing; the caller closes it.
    int sendOnly(const std::string& line) const;
    // The first line of what a program prints that the helper runs as claude.
    std::string whatClaudePrints(const std::string& script);

    // A program of the given name that runs these commands of the shell.
    std::filesystem::path script(const std::string& name, const std::string& commands) const;

    TemporaryFolder folder;
    std::filesystem::path home = folder.path() / "home";
    std::filesystem::path temporary = folder.path() / "tmp";
    std::filesystem::path socket = folder.path() / "helper.sock";
};

extern const std::string helperProgram;
// What the shell has open that runs a script and inherited nothing: the standard files, and the script as the tenth.
inline constexpr const char* scriptDescriptors = "0, 1, 10, 2";

// A pipe with a name, which the test reads or writes without waiting for its other end.
class NamedPipe {
public:
    explicit NamedPipe(const std::filesystem::path& path);
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;
    ~NamedPipe() { close(); }

    void write(const std::string& text) const;
    // The next line; empty when none comes within half a minute.
    std::string readLine() const;
    void close();

private:
    int descriptor;
};

}  // namespace marlet
