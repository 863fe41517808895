#include "MarletClient/Tools.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "MarletClient/Commands.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

class ToolsTest : public testing::Test {
protected:
    std::string makeFile(const std::string& name, mode_t mode) {
        std::filesystem::path file = folder.path() / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << "#!/bin/sh\n";
        ::chmod(file.c_str(), mode);
        return file.string();
    }
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }

    TemporaryFolder folder;
};

TEST_F(ToolsTest, theFirstFolderThatHasTheProgramWins) {
    makeFile("one/other", 0755);
    makeFile("two/git", 0644);
    std::string found = makeFile("three/git", 0755);
    makeFile("four/git", 0755);
    std::string folders = path("one") + ":" + path("two") + ":" + path("three") + ":" + path("four");
    EXPECT_EQ(programIn(folders, "git"), found);
    EXPECT_EQ(programIn(folders, "claude"), std::nullopt);
}

TEST_F(ToolsTest, aSlashAtTheEndOfAFolderDoesNotDouble) {
    std::string found = makeFile("bin/git", 0755);
    EXPECT_EQ(programIn(path("bin") + "//", "git"), found);
}

TEST_F(ToolsTest, foldersThatAreNotAbsoluteArePassedOver) {
    makeFile("git", 0755);
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const char* folders : {".", "", ":", "./", "::."}) {
        EXPECT_EQ(programIn(folders, "git"), std::nullopt) << folders;
    }
    std::filesystem::current_path(before);
}

TEST_F(ToolsTest, aFolderWhoseNameIsNoTextIsPassedOver) {
    makeFile("b\xff/git", 0755);
    std::string found = makeFile("c/git", 0755);
    EXPECT_EQ(programIn(path("b\xff") + ":" + path("c"), "git"), found);
}

TEST_F(ToolsTest, aMissingGitIsToldWithWhatToDo) {
    try {
        requireGit({.git = GitChoice::automatic, .gitPath = "", .claudePath = "/usr/bin/claude"});
        FAIL() << "nothing was thrown";
    } catch (const CommandError& error) {
        EXPECT_EQ(error.errorDescription(), "git wasn't found on the PATH. Install it, then try again.");
    }
    EXPECT_NO_THROW(requireGit({.git = GitChoice::custom, .gitPath = "/usr/bin/git", .claudePath = ""}));
}

}  // namespace
}  // namespace marlet
