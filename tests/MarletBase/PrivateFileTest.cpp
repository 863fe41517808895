#include "MarletBase/PrivateFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <system_error>
#include <thread>
#include <vector>

#include "TestSupport/FileSizeLimit.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

constexpr std::filesystem::perms ownerOnly = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

// A test of one thread may change what belongs to the process.
class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : before(::umask(mask)) {}
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;
    ~ScopedUmask() { ::umask(before); }

private:
    mode_t before;
};

class PrivateFileTest : public testing::Test {
protected:
    std::filesystem::perms permissions() const { return std::filesystem::status(file).permissions(); }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "secrets";
};

TEST_F(PrivateFileTest, aFileThatIsNotThereIsNone) {
    EXPECT_EQ(readPrivateFile(file), std::nullopt);
}

TEST_F(PrivateFileTest, whatWasWrittenReadsBackByteForByte) {
    std::string bytes("a\0b\n\xFF", 5);

    replacePrivateFile(file, bytes);
    EXPECT_EQ(readPrivateFile(file), bytes);

    replacePrivateFile(file, "");
    EXPECT_EQ(readPrivateFile(file), "");
}

TEST_F(PrivateFileTest, aNewFileTakesThePlaceOfALinkAndLeavesWhatItLeadsTo) {
    std::filesystem::path other = folder.path() / "other";
    std::ofstream(other) << "kept";
    std::filesystem::create_symlink(other, file);
    ScopedUmask scope(0);

    writeNewPrivateFile(file, "new");

    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(file)));
    EXPECT_EQ(permissions(), ownerOnly);
    EXPECT_EQ(readPrivateFile(file), "new");
    EXPECT_EQ(readPrivateFile(other), "kept");
}

TEST_F(PrivateFileTest, aNewFileTakesNoFoldersPlace) {
    std::filesystem::create_directory(file);
    EXPECT_THROW(writeNewPrivateFile(file, "new"), std::system_error);
}

TEST_F(PrivateFileTest, nobodyElseMayReadTheFileWhateverTheUmask) {
    for (mode_t mask : {0000, 0022, 0777}) {
        ScopedUmask scope(mask);

        replacePrivateFile(file, "secret");

        EXPECT_EQ(permissions(), ownerOnly) << mask;
    }
}

TEST_F(PrivateFileTest, aFileThatOthersMayReadIsClosedToThemWhenItIsRead) {
    std::ofstream(file) << "secret";
    std::filesystem::permissions(file, ownerOnly | std::filesystem::perms::others_read);

    EXPECT_EQ(readPrivateFile(file), "secret");

    EXPECT_EQ(permissions(), ownerOnly);
}

TEST_F(PrivateFileTest, whatACrashLeftBehindIsReplaced) {
    std::ofstream(folder.path() / "secrets.new") << "half a sec";

    replacePrivateFile(file, "secret");

    EXPECT_EQ(readPrivateFile(file), "secret");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "secrets.new"));
}

TEST_F(PrivateFileTest, aLinkInTheWayOfTheNewFileIsNotFollowed) {
    std::filesystem::path elsewhere = folder.path() / "elsewhere";
    std::filesystem::create_symlink(elsewhere, folder.path() / "secrets.new");

    replacePrivateFile(file, "secret");

    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

TEST_F(PrivateFileTest, anythingButAPlainFileIsRefused) {
    std::filesystem::create_directory(file);
    EXPECT_THROW(readPrivateFile(file), std::system_error);
    std::filesystem::remove(file);

    std::filesystem::create_symlink("elsewhere", file);
    EXPECT_THROW(readPrivateFile(file), std::system_error);
    std::filesystem::remove(file);

    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_THROW(readPrivateFile(file), std::system_error);
}

TEST_F(PrivateFileTest, aRegularFileIsReadAsItIsAlsoThroughALink) {
    EXPECT_EQ(readRegularFile(file), std::nullopt);
    std::ofstream(folder.path() / "elsewhere") << "shared";
    std::filesystem::permissions(folder.path() / "elsewhere", ownerOnly | std::filesystem::perms::others_read);
    std::filesystem::create_symlink("elsewhere", file);

    EXPECT_EQ(readRegularFile(file), "shared");

    EXPECT_EQ(permissions(), ownerOnly | std::filesystem::perms::others_read);
}

TEST_F(PrivateFileTest, onlyARegularFileIsReadAsOne) {
    std::filesystem::create_directory(file);
    EXPECT_THROW(readRegularFile(file), std::system_error);
    std::filesystem::remove(file);

    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_THROW(readRegularFile(file), std::system_error);
}

TEST_F(PrivateFileTest, aReplacementThatFailsLeavesNothingBehind) {
    std::filesystem::create_directory(file);
    std::ofstream(file / "inside") << "x";

    EXPECT_THROW(replacePrivateFile(file, "secret"), std::system_error);

    EXPECT_FALSE(std::filesystem::exists(folder.path() / "secrets.new"));
    EXPECT_TRUE(std::filesystem::exists(file / "inside"));
}

TEST_F(PrivateFileTest, onAFullDiskTheOldFileStaysAndNothingElse) {
    replacePrivateFile(file, "old");
    bool isRefused = false;
    {
        FileSizeLimit limit(10);
        try {
            replacePrivateFile(file, "a longer secret");
        } catch (const std::system_error&) {
            isRefused = true;
        }
    }

    EXPECT_TRUE(isRefused);
    EXPECT_EQ(readPrivateFile(file), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(PrivateFileTest, aNewFileThatDoesNotFitLeavesNothing) {
    bool isRefused = false;
    {
        FileSizeLimit limit(10);
        try {
            writeNewPrivateFile(file, "a longer secret");
        } catch (const std::system_error&) {
            isRefused = true;
        }
    }

    EXPECT_TRUE(isRefused);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(PrivateFileTest, aFolderIsLockedByOneAtATime) {
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this] {
            for (int round = 0; round < 25; ++round) {
                FolderLock held(folder.path());
                std::string content = readPrivateFile(file).value_or("");
                replacePrivateFile(file, content + "x");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(readPrivateFile(file)->size(), 100U);
}

TEST_F(PrivateFileTest, aFolderThatIsNotThereCannotBeLocked) {
    EXPECT_THROW(FolderLock(folder.path() / "nowhere"), std::system_error);
}

}  // namespace
}  // namespace marlet
