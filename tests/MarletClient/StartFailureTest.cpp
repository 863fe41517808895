// What keeps the engine from starting: told in plain words, with status 1, and nothing is changed.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "ClientScenario.h"

namespace marlet {
namespace {

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

class StartFailureTest : public testing::TestWithParam<std::string> {
protected:
    // The command and the daemon both refuse, and leave the file as it was.
    void expectRefusal(const std::filesystem::path& file, const std::string& words) {
        std::string before = contentOf(file);
        EXPECT_NE(client.error({"status"}).find(words), std::string::npos) << client.error({"status"});
        EXPECT_NE(client.error({"serve"}).find(words), std::string::npos);
        EXPECT_EQ(contentOf(file), before);
    }

    ClientScenario client;
};

INSTANTIATE_TEST_SUITE_P(BothDatabases, StartFailureTest, testing::Values("Marlet", "LocalTasks"),
                         [](const auto& info) { return info.param; });

TEST_P(StartFailureTest, aDatabaseOfANewerVersionIsLeftAlone) {
    client.addAccount();
    std::filesystem::path file = client.data / (GetParam() + ".sqlite");
    SQLite::Database(file.string(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");
    expectRefusal(file, "written by a newer version of Marlet");
}

TEST_P(StartFailureTest, aDamagedDatabaseIsLeftAlone) {
    client.addAccount();
    std::filesystem::path file = client.data / (GetParam() + ".sqlite");
    std::ofstream(file, std::ios::binary) << std::string(50'000, 'x');
    expectRefusal(file, "is damaged. It was left as it is.");
}

struct FolderFailureTest : testing::Test {
    // The program with `shell` run before it, as a user who may do that.
    ChildOutcome runBehind(const std::string& shell, const std::vector<std::string>& arguments) {
        std::vector<std::string> line{"unshare",
                                      ::geteuid() == 0 ? "-m" : "-rm",
                                      "sh",
                                      "-c",
                                      shell + " && exec \"$@\"",
                                      "sh",
                                      MARLET_PROGRAM,
                                      "--data",
                                      client.data.string()};
        line.insert(line.end(), arguments.begin(), arguments.end());
        return runChild(line, "", client.environment);
    }

    ClientScenario client;
};

TEST_F(FolderFailureTest, aFullDiskIsTold) {
    std::filesystem::create_directory(client.data);
    std::string shell = "mount -t tmpfs -o size=32k tmpfs " + client.data.string();
    for (const char* command : {"status", "serve"}) {
        ChildOutcome outcome = runBehind(shell, {command});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors.find("Make room and try again."), std::string::npos) << outcome.errors;
    }
}

TEST_F(FolderFailureTest, aReadOnlyFolderIsTold) {
    client.addAccount();
    std::string folder = client.data.string();
    std::string shell = "mount --bind " + folder + " " + folder + " && mount -o remount,ro,bind " + folder;
    for (const char* command : {"status", "serve"}) {
        ChildOutcome outcome = runBehind(shell, {command});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "marlet: There is no way to use the data folder " + folder +
                                      ": Read-only file system. Check its permissions, or choose another data folder "
                                      "with --data.\n");
    }
}

TEST_F(FolderFailureTest, aFileInTheFoldersPlaceIsTold) {
    std::ofstream(client.data) << "mine";
    EXPECT_NE(client.error({"status"}).find("The data folder can't be made at " + client.data.string()),
              std::string::npos);
    EXPECT_EQ(contentOf(client.data), "mine");
}

TEST_F(FolderFailureTest, anEndpointFileThatMakesNoSenseIsTold) {
    client.addAccount();
    std::ofstream(client.data / "endpoint.json") << "{\"port\":";
    EXPECT_NE(client.error({"serve"}).find("endpoint.json can't be understood. Remove it"), std::string::npos);
    EXPECT_NE(client.error({"mcp", "show"}).find("can't be understood"), std::string::npos);
}

TEST_F(FolderFailureTest, outputThatCannotBeWrittenIsAFailure) {
    client.addAccount();
    ChildOutcome outcome = runChild({"sh", "-c", "exec \"$@\" > /dev/full", "sh", MARLET_PROGRAM, "--data",
                                     client.data.string(), "account", "list"},
                                    "", client.environment);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "marlet: The output can't be written.\n");
}

TEST_F(FolderFailureTest, aFileThatMayNotGrowAnyFurtherIsToldAndNothingIsKept) {
    client.addAccount();
    ClientScenario::Arguments add =
        client.commandLine({"task", "add", "Water the beans", "--project", "Tasks", "--notes", "-"});
    ClientScenario::Arguments words{"sh", "-c", "ulimit -f 100; exec \"$@\"", "sh"};
    words.insert(words.end(), add.begin(), add.end());

    ChildOutcome outcome = runChild(words, std::string(1'000'000, 'n'), client.environment);

    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "marlet: The database reported an error: disk I/O error.\n");
    EXPECT_EQ(textsOf(client.json({"task", "list"}), "tasks", "title"), std::vector<std::string>());
}

}  // namespace
}  // namespace marlet
