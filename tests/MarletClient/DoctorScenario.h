#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ClientScenario.h"
#include "TestSupport/FakeForge.h"
#include "TestSupport/FakeServer.h"

namespace marlet {

// The check of this name, and of this subject unless it is empty; null if there is none.
JSONValue checkOf(const JSONValue& result, const std::string& name, const std::string& subject = {});

// The real program on a computer whose git, claude and xdg-open are played, beside a Forgejo server in memory.
class DoctorScenario {
public:
    inline static const std::string token = "0123456789abcdef0123456789abcdef01234567";

    DoctorScenario();

    // With --json. Fails the test unless the command ends with `status`, or when anything tells the token.
    JSONValue examine(int status = 0);
    static std::vector<std::string> messages(const JSONValue& result, const std::string& name);

    std::string tool(const std::string& name) const { return (tools / name).string(); }
    void addRemoteAccount(const std::string& name = "Work");
    // Overwrites a part of the database behind its head.
    void damage(const std::string& database) const;
    static void waitForSocket(const std::string& path);

    FakeForge forge;
    std::unique_ptr<FakeServer> server;
    ClientScenario client;

private:
    void install(const std::string& name, const std::string& words) const;

    std::filesystem::path tools = client.folder.path() / "tools";
};

}  // namespace marlet
