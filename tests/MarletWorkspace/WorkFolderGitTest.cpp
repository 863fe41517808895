#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include "MarletWorkspace/FolderScheme.h"
#include "MarletWorkspace/WorkFolder.h"
#include "TestSupport/FileSizeLimit.h"
#include "TestSupport/GitFixture.h"
#include "TestSupport/OrdinaryUser.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;

constexpr const char* bothPatterns = "/TASK.md\n/RESULT.md\n";

// The names of all files that come to be in a folder.
class FolderWatch {
public:
    explicit FolderWatch(const fs::path& folder) : queue(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        EXPECT_GE(::inotify_add_watch(queue, folder.c_str(), IN_CREATE | IN_MOVED_TO), 0);
    }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;
    ~FolderWatch() { ::close(queue); }

    std::set<std::string> names() const {
        std::set<std::string> seen;
        std::vector<char> buffer(1 << 16);
        ssize_t length = ::read(queue, buffer.data(), buffer.size());
        for (ssize_t position = 0; position < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + position);
            seen.insert(event->name);
            position += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        return seen;
    }

private:
    int queue;
};

// A repository with one commit, checked out.
class WorkFolderGitTest : public testing::Test {
protected:
    WorkFolderGitTest() {
        git.git(git.folder(), {"init", "--quiet", checkout.string()});
        git.git(checkout, {"commit", "--quiet", "--allow-empty", "--message", "Begin"});
    }

    fs::path addWorktree(const std::string& name) const {
        fs::path worktree = git.folder() / name;
        git.git(checkout, {"worktree", "add", "--quiet", "--detach", worktree.string()});
        return worktree;
    }
    // What git would tell of both files, and of all others.
    std::string seenByGit(const fs::path& folder) const {
        writeFile(folder / "TASK.md", "x");
        writeFile(folder / "RESULT.md", "x");
        return git.git(folder, {"status", "--porcelain", "--untracked-files=all"});
    }
    std::string hidden(const std::string& excludes) const {
        writeFile(excludeFile, excludes);
        hideFromGit(checkout);
        return contentOf(excludeFile);
    }
    void expectBrokenLink(const fs::path& folder) const {
        try {
            hideFromGit(folder);
            ADD_FAILURE() << contentOf(folder / ".git") << " leads to a git folder";
        } catch (const WorkFolderError& error) {
            EXPECT_EQ(error.kind(), WorkFolderError::Case::brokenGitLink);
            EXPECT_EQ(error.errorDescription(), (folder / ".git").string() +
                                                    " doesn't lead to a git folder. Run \"git worktree repair\" in the "
                                                    "main checkout, and try again.");
        }
    }

    GitFixture git;
    fs::path checkout = git.folder() / "app";
    fs::path excludeFile = checkout / ".git/info/exclude";
};

TEST_F(WorkFolderGitTest, gitSeesNeitherFileInACheckout) {
    hideFromGit(checkout);
    EXPECT_EQ(seenByGit(checkout), "");
}

TEST_F(WorkFolderGitTest, gitSeesFilesOfThatNameInFoldersBelow) {
    hideFromGit(checkout);
    fs::create_directory(checkout / "docs");
    writeFile(checkout / "docs/TASK.md", "x");
    EXPECT_EQ(seenByGit(checkout), "?? docs/TASK.md");
}

TEST_F(WorkFolderGitTest, gitSeesNeitherFileInAnyWorktree) {
    fs::path one = addWorktree("one");
    fs::path two = addWorktree("zwei größer");
    hideFromGit(one);
    hideFromGit(two);
    for (const fs::path& folder : {checkout, one, two}) {
        EXPECT_EQ(seenByGit(folder), "") << folder;
    }
    EXPECT_TRUE(contentOf(excludeFile).ends_with(bothPatterns));
    EXPECT_EQ(contentOf(excludeFile).find("/TASK.md"), contentOf(excludeFile).rfind("/TASK.md"));
}

TEST_F(WorkFolderGitTest, theLinkOfAWorktreeMayBeRelative) {
    fs::path worktree = addWorktree("one");
    writeFile(worktree / ".git", "gitdir: ../app/.git/worktrees/one\r\n");
    hideFromGit(worktree);
    EXPECT_EQ(seenByGit(worktree), "");
}

TEST_F(WorkFolderGitTest, theLinkToTheCommonFolderMayBeAbsolute) {
    fs::path worktree = addWorktree("one");
    writeFile(checkout / ".git/worktrees/one/commondir", (checkout / ".git").string() + "\n");
    hideFromGit(worktree);
    EXPECT_EQ(seenByGit(worktree), "");
}

TEST_F(WorkFolderGitTest, theGitFolderOfACheckoutMayBeElsewhere) {
    fs::path other = git.folder() / "other";
    git.git(git.folder(), {"init", "--quiet", "--separate-git-dir", (git.folder() / "store").string(), other.string()});
    hideFromGit(other);
    EXPECT_EQ(seenByGit(other), "");
}

TEST_F(WorkFolderGitTest, theFolderAndItsGitFolderMayBeLinks) {
    fs::rename(checkout / ".git", git.folder() / "store");
    fs::create_symlink(git.folder() / "store", checkout / ".git");
    fs::create_symlink(checkout, git.folder() / "link");
    hideFromGit(git.folder() / "link");
    EXPECT_EQ(seenByGit(checkout), "");
}

TEST_F(WorkFolderGitTest, aRepositoryThatHasNoCommitYetIsOne) {
    fs::path fresh = git.folder() / "fresh";
    git.git(git.folder(), {"init", "--quiet", fresh.string()});
    fs::remove(fresh / ".git/HEAD");
    fs::create_symlink("refs/heads/main", fresh / ".git/HEAD");
    hideFromGit(fresh);
    EXPECT_EQ(seenByGit(fresh), "");
}

TEST_F(WorkFolderGitTest, aFolderWithoutAGitFolderOfItsOwnStaysAsItIs) {
    fs::path plain = checkout / "plain";
    fs::create_directories(plain);
    std::string before = contentOf(excludeFile);
    hideFromGit(plain);
    hideFromGit(git.folder() / "nowhere");
    EXPECT_TRUE(fs::is_empty(plain));
    EXPECT_EQ(contentOf(excludeFile), before);
}

TEST_F(WorkFolderGitTest, whatGitTakesForNoRepositoryStaysAsItIs) {
    fs::path plain = git.folder() / "plain";
    fs::create_directories(plain / ".git");
    hideFromGit(plain);
    EXPECT_TRUE(fs::is_empty(plain / ".git"));

    fs::remove(plain / ".git");
    ASSERT_EQ(::mkfifo((plain / ".git").c_str(), S_IRUSR | S_IWUSR), 0);
    hideFromGit(plain);
}

TEST_F(WorkFolderGitTest, aLinkThatLeadsToNoGitFolderIsAnError) {
    fs::path worktree = addWorktree("one");
    for (const char* link : {"", "gitdir:", "gitdir: ", "nonsense\n", "gitdir: /no/such/folder\n", "gitdir: ..\n"}) {
        writeFile(worktree / ".git", link);
        expectBrokenLink(worktree);
    }
}

TEST_F(WorkFolderGitTest, aWorktreeWithoutItsCommonFolderIsAnError) {
    fs::path worktree = addWorktree("one");
    writeFile(checkout / ".git/worktrees/one/commondir", "../../nowhere\n");
    expectBrokenLink(worktree);
}

TEST_F(WorkFolderGitTest, missingFilesAndFoldersAreMade) {
    fs::remove(excludeFile);
    hideFromGit(checkout);
    EXPECT_EQ(contentOf(excludeFile), bothPatterns);

    fs::remove_all(checkout / ".git/info");
    hideFromGit(checkout);
    EXPECT_EQ(contentOf(excludeFile), bothPatterns);
}

TEST_F(WorkFolderGitTest, otherLinesStayByteForByte) {
    EXPECT_EQ(hidden("# mine\n*.o\n"), std::string("# mine\n*.o\n") + bothPatterns);
    EXPECT_EQ(hidden("caf\xE9\n\n \n"), std::string("caf\xE9\n\n \n") + bothPatterns);
}

TEST_F(WorkFolderGitTest, aLastLineWithoutAnEndGetsOne) {
    EXPECT_EQ(hidden("*.o"), std::string("*.o\n") + bothPatterns);
    EXPECT_EQ(hidden("*.o\r"), std::string("*.o\r\n") + bothPatterns);
    EXPECT_EQ(hidden("/RESULT.md"), "/RESULT.md\n/TASK.md\n");
}

TEST_F(WorkFolderGitTest, linesEndAsTheOthersDo) {
    EXPECT_EQ(hidden("*.o\r\n"), "*.o\r\n/TASK.md\r\n/RESULT.md\r\n");
    EXPECT_EQ(hidden("*.o\r\n*.a"), "*.o\r\n*.a\r\n/TASK.md\r\n/RESULT.md\r\n");
    EXPECT_EQ(seenByGit(checkout), "");
}

TEST_F(WorkFolderGitTest, linesThatAreThereAreNotAddedAgain) {
    for (std::string excludes :
         {"/TASK.md\n/RESULT.md\n", "/RESULT.md\r\n*.o\r\n/TASK.md\r\n", "/RESULT.md  \n/TASK.md",
          "/TASK.md\n/RESULT.md", "\xEF\xBB\xBF/TASK.md\n/RESULT.md \r\n", "/TASK.md\n!/TASK.md\n/RESULT.md\n"}) {
        EXPECT_EQ(hidden(excludes), excludes);
    }
}

TEST_F(WorkFolderGitTest, linesThatOnlyResembleThemDoNotCount) {
    for (std::string excludes : {"#/TASK.md\n/RESULT.md.old\n", "TASK.md\nRESULT.md\n", " /TASK.md\n/RESULT.md\\ \n",
                                 "/TASK.md\t\n/docs/RESULT.md\n", "!/TASK.md\n!/RESULT.md\n"}) {
        EXPECT_EQ(hidden(excludes), excludes + bothPatterns);
        EXPECT_EQ(seenByGit(checkout), "");
    }
}

TEST_F(WorkFolderGitTest, onlyTheLineThatIsMissingIsAdded) {
    EXPECT_EQ(hidden("/TASK.md\n*.o\n"), "/TASK.md\n*.o\n/RESULT.md\n");
    EXPECT_EQ(hidden("/RESULT.md\n"), "/RESULT.md\n/TASK.md\n");
}

TEST_F(WorkFolderGitTest, aLinkedFileIsChangedWhereItIs) {
    fs::path shared = git.folder() / "shared-excludes";
    writeFile(shared, "*.o\n");
    fs::permissions(shared, fs::perms(0640));
    fs::remove(excludeFile);
    fs::create_symlink(shared, excludeFile);

    hideFromGit(checkout);

    EXPECT_TRUE(fs::is_symlink(excludeFile));
    EXPECT_EQ(contentOf(shared), std::string("*.o\n") + bothPatterns);
    EXPECT_EQ(fs::status(shared).permissions(), fs::perms(0640));
    EXPECT_EQ(seenByGit(checkout), "");
}

TEST_F(WorkFolderGitTest, aCompleteFileIsNotOpenedForWriting) {
    hidden("");
    fs::permissions(excludeFile, fs::perms(0444));
    fs::permissions(git.folder().parent_path(), fs::perms(0755));
    OrdinaryUser user;
    EXPECT_NO_THROW(hideFromGit(checkout));
}

TEST_F(WorkFolderGitTest, whatIsNoFileIsRefused) {
    fs::remove(excludeFile);
    fs::create_directory(excludeFile);
    EXPECT_THROW(hideFromGit(checkout), WorkFolderError);
    fs::remove(excludeFile);
    ASSERT_EQ(::mkfifo(excludeFile.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_THROW(hideFromGit(checkout), WorkFolderError);
}

TEST_F(WorkFolderGitTest, aFullDiskLeavesNoHalfLine) {
    std::string before = "*.o\n";
    writeFile(excludeFile, before);
    {
        FileSizeLimit limit(before.size() + 5);
        EXPECT_THROW(hideFromGit(checkout), fs::filesystem_error);
    }
    EXPECT_EQ(contentOf(excludeFile), before);
}

TEST_F(WorkFolderGitTest, severalAtOnceAddTheLinesOnce) {
    constexpr int rounds = 50;
    std::vector<fs::path> folders = {checkout, addWorktree("one"), addWorktree("two"), addWorktree("three")};
    for (int round = 0; round < rounds; ++round) {
        fs::remove_all(checkout / ".git/info");
        std::vector<std::thread> threads;
        for (const fs::path& folder : folders) {
            threads.emplace_back([folder] { hideFromGit(folder); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(contentOf(excludeFile), bothPatterns);
    }
}

TEST_F(WorkFolderGitTest, aNULInTheFoldersNameIsRefused) {
    std::string folder = checkout.string() + std::string("\0x", 2);
    EXPECT_THROW(hideFromGit(folder), FolderSchemeError);
    EXPECT_THROW(writeBrief(folder, "x"), FolderSchemeError);
    EXPECT_THROW(readResult(folder), FolderSchemeError);
}

TEST_F(WorkFolderGitTest, aBriefIsTheOnlyFileThatAppearsWhileItIsWritten) {
    for (const fs::path& folder : {checkout, addWorktree("one")}) {
        FolderWatch watch(folder);
        writeBrief(folder, "- Marlet task_id: 1\n");
        writeBrief(folder, "- Marlet task_id: 2\n");
        EXPECT_EQ(watch.names(), std::set<std::string>{"TASK.md"});
        EXPECT_EQ(contentOf(folder / "TASK.md"), "- Marlet task_id: 2\n");
    }
}

TEST_F(WorkFolderGitTest, aBriefIsWrittenAlsoWhereTheGitFolderIsOnAnotherDisk) {
    fs::path elsewhere = fs::path("/dev/shm") / ("marlet-test-" + std::to_string(::getpid()));
    fs::path other = git.folder() / "other";
    git.git(git.folder(), {"init", "--quiet", "--separate-git-dir", elsewhere.string(), other.string()});
    writeBrief(other, "- Marlet task_id: 1\n");
    writeBrief(other, "- Marlet task_id: 2\n");
    EXPECT_EQ(contentOf(other / "TASK.md"), "- Marlet task_id: 2\n");
    fs::remove_all(elsewhere);
    EXPECT_EQ(std::distance(fs::directory_iterator(other), fs::directory_iterator()), 2);
}

TEST_F(WorkFolderGitTest, aFullDiskLeavesTheBriefOfBeforeAndNothingElse) {
    std::string before = "- Marlet task_id: 1\n";
    writeBrief(checkout, before);
    FolderWatch watch(checkout / ".git");
    {
        FileSizeLimit limit(10);
        EXPECT_THROW(writeBrief(checkout, "- Marlet task_id: 2\n"), std::system_error);
    }
    EXPECT_EQ(contentOf(checkout / "TASK.md"), before);
    for (const std::string& name : watch.names()) {
        EXPECT_FALSE(fs::exists(checkout / ".git" / name)) << name;
    }
}

TEST_F(WorkFolderGitTest, aBriefIsNotWrittenWhereTheLinkIsBroken) {
    fs::path worktree = addWorktree("one");
    writeFile(worktree / ".git", "gitdir: /no/such/folder\n");
    EXPECT_THROW(writeBrief(worktree, "x"), WorkFolderError);
    EXPECT_FALSE(fs::exists(worktree / "TASK.md"));
}

TEST_F(WorkFolderGitTest, aWorktreeWithBothFilesCanBeRemoved) {
    fs::path worktree = addWorktree("one");
    hideFromGit(worktree);
    writeBrief(worktree, "- Marlet task_id: 1\n");
    writeFile(worktree / "RESULT.md", "Done");
    git.git(checkout, {"worktree", "remove", worktree.string()});
    EXPECT_FALSE(fs::exists(worktree));
}

}  // namespace
}  // namespace marlet
