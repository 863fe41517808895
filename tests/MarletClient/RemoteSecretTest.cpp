// Nobody but the secret store gets to see a token.
#include <gmock/gmock.h>
#include <sodium.h>
#include <sys/stat.h>

#include <fstream>

#include "RemoteScenario.h"

namespace marlet {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string secondToken = "ghp_Th3S3c0ndOn3";
const std::string wrongToken = "ghp_Th3Wr0ng0n3";

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// In base64, as the file-based secret store writes it.
std::string encoded(const std::string& text) {
    std::string result(sodium_base64_encoded_len(text.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(result.data(), result.size(), reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    result.pop_back();
    return result;
}

bool holds(const std::string& text, const std::string& token) {
    return text.find(token) != std::string::npos || text.find(encoded(token)) != std::string::npos;
}

bool holdsToken(const std::string& text) {
    return holds(text, RemoteScenario::token) || holds(text, secondToken) || holds(text, wrongToken);
}

// The files below the folder that hold a token.
std::vector<std::filesystem::path> filesWithToken(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && holdsToken(contents(entry.path()))) {
            found.push_back(entry.path());
        }
    }
    return found;
}

class RemoteSecretTest : public testing::Test {
protected:
    RemoteScenario remote;
    ClientScenario& client = remote.client;

    // Runs it and sees to it that it tells no token.
    void run(const ClientScenario::Arguments& line, const std::string& input = {}) {
        for (bool asJSON : {false, true}) {
            ClientScenario::Arguments full = line;
            if (asJSON) {
                full.insert(full.begin(), "--json");
            }
            ChildOutcome outcome = client.run(full, input);
            EXPECT_FALSE(holdsToken(outcome.output + outcome.errors)) << testing::PrintToString(full);
        }
    }
    static void checkProcess(pid_t process) {
        for (const char* file : {"cmdline", "environ"}) {
            EXPECT_FALSE(holdsToken(contents("/proc/" + std::to_string(process) + "/" + file))) << file;
        }
    }
};

TEST_F(RemoteSecretTest, aTokenIsInNoFileButTheSecretStoresAndInNoOutput) {
    std::filesystem::path temporary = client.folder.path() / "tmp";
    std::filesystem::create_directory(temporary);
    client.environment.push_back("TMPDIR=" + temporary.string());
    remote.restartDaemon();

    run(remote.addition({"all"}), RemoteScenario::token);
    run(remote.addition({"spaceship"}), RemoteScenario::token);
    run(remote.addition(), wrongToken);
    run({"account", "token", "Work", "--token-stdin"}, wrongToken);
    remote.forge.setToken(secondToken);
    run({"sync"});
    run({"account", "token", "Work", "--token-stdin"}, secondToken);
    for (const FakeFailure& failure :
         {FakeFailure::status(422, "{\"message\": \"No.\"}"), FakeFailure::status(502), FakeFailure::html(),
          FakeFailure::cut(), FakeFailure::status(301, "", {{"Location", "http://127.0.0.1:1/"}})}) {
        remote.forge.fail("", failure);
        run({"sync"});
        remote.forge.fail("", failure);
        run({"task", "edit", "1", "--project", "acme/rocket", "--title", "Fuel"});
    }
    for (const char* command : {"status", "sync"}) {
        run({command});
    }
    run({"account", "list"});
    run({"project", "refresh", "Work"});
    run({"pending", "list"});
    run({"task", "show", "1", "--project", "acme/rocket", "--comments", "--raw"});

    std::vector<std::filesystem::path> files = filesWithToken(client.folder.path());
    ASSERT_EQ(files.size(), 1U) << testing::PrintToString(files);
    struct stat info {};
    EXPECT_EQ(::stat(files.front().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
    EXPECT_TRUE(holds(contents(files.front()), secondToken));
    EXPECT_FALSE(holds(contents(files.front()), RemoteScenario::token));
    EXPECT_FALSE(holds(contents(files.front()), wrongToken));

    client.json({"account", "remove", "Work"});
    EXPECT_THAT(filesWithToken(client.folder.path()), IsEmpty());
}

TEST_F(RemoteSecretTest, noProcessShowsATokenInItsArgumentsOrEnvironment) {
    auto gate = std::make_shared<FakeGate>();
    remote.forge.fail("GET /user/repos", FakeFailure::held(gate));
    ChildProcess command(client.commandLine(remote.addition({"all"})), RemoteScenario::token, client.environment);
    ASSERT_TRUE(gate->awaitReached());
    checkProcess(command.pid());
    checkProcess(client.daemon().pid());
    gate->open();
    EXPECT_EQ(command.wait(), 0) << command.errors;
    checkProcess(client.daemon().pid());
}

}  // namespace
}  // namespace marlet
