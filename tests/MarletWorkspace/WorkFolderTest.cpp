#include "MarletWorkspace/WorkFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

namespace fs = std::filesystem;
using Case = WorkFolderError::Case;

class ReadResultTest : public testing::Test {
protected:
    void write(const std::string& text) const { std::ofstream(result) << text; }
    std::optional<WorkResult> read() const { return readResult(folder.path()); }
    std::string text() const { return read().value_or(WorkResult{"(none)", {}}).text; }

    void expectRefusal(Case kind, const std::string& advice) const {
        try {
            read();
            ADD_FAILURE() << "it was read";
        } catch (const WorkFolderError& error) {
            EXPECT_EQ(error.kind(), kind);
            EXPECT_EQ(error.path(), result.string());
            EXPECT_EQ(error.errorDescription(), result.string() + advice);
        }
    }

    TemporaryFolder folder;
    fs::path result = fs::canonical(folder.path()) / "RESULT.md";
};

constexpr const char* notRegular = " isn't a regular file. Move it away, and try again.";

TEST_F(ReadResultTest, aFolderWithoutAResultHasNone) {
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(ReadResultTest, theResultIsTheFilesTextAndDate) {
    write("Größe fixed.\r\n\n");
    timespec times[] = {{1'700'000'000, 0}, {1'700'000'000, 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, result.c_str(), times, 0), 0);

    EXPECT_EQ(read(), (WorkResult{"Größe fixed.\r\n\n", dateFromSeconds(1'700'000'000.25)}));
}

TEST_F(ReadResultTest, aBlankResultIsNone) {
    for (const char* blank : {"", "\n", " \t\r\n\u00A0\u2028", "\uFEFF\n"}) {
        write(blank);
        EXPECT_EQ(read(), std::nullopt) << blank;
    }
}

TEST_F(ReadResultTest, aByteOrderMarkIsNoText) {
    write("\uFEFFDone");
    EXPECT_EQ(text(), "Done");
}

TEST_F(ReadResultTest, aLinkIsRefusedWhereverItLeads) {
    std::ofstream(folder.path() / "other") << "secret";
    for (const char* target : {"other", "nowhere", "RESULT.md"}) {
        fs::remove(result);
        fs::create_symlink(target, result);
        expectRefusal(Case::notARegularFile, notRegular);
    }
}

TEST_F(ReadResultTest, aFolderIsRefused) {
    fs::create_directory(result);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(ReadResultTest, aPipeIsRefusedAndHoldsUpNobody) {
    ASSERT_EQ(::mkfifo(result.c_str(), S_IRUSR | S_IWUSR), 0);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(ReadResultTest, aSocketIsRefused) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    result.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ::close(socket);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(ReadResultTest, oneMebibyteIsReadAndOneByteMoreIsRefused) {
    std::string most(1 << 20, 'x');
    write(most);
    EXPECT_EQ(text(), most);
    write(most + "x");
    expectRefusal(Case::resultTooLarge, " is larger than 1 MiB. Shorten it, and try again.");
}

TEST_F(ReadResultTest, whatIsNotUTF8IsRefused) {
    write("caf\xE9");
    expectRefusal(Case::resultNotUTF8, " isn't UTF-8 text. Save it as UTF-8, and try again.");
}

class WriteBriefTest : public testing::Test {
protected:
    void write(const std::string& markdown) const { writeBrief(folder.path(), markdown); }
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(brief).rdbuf();
        return text.str();
    }
    void put(const std::string& text) const { std::ofstream(brief) << text; }
    std::ptrdiff_t fileCount() const {
        return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    }
    void expectRefusal(Case kind, const std::string& advice) const {
        try {
            write(ours);
            ADD_FAILURE() << "it was overwritten";
        } catch (const WorkFolderError& error) {
            EXPECT_EQ(error.kind(), kind);
            EXPECT_EQ(error.path(), brief.string());
            EXPECT_EQ(error.errorDescription(), brief.string() + advice);
        }
        EXPECT_EQ(fileCount(), 1);
    }

    const std::string ours = "# Fix login\n\n- Status: open\n- Marlet task_id: 1F2E\n\n## Description\n";
    TemporaryFolder folder;
    fs::path brief = fs::canonical(folder.path()) / "TASK.md";
};

constexpr const char* foreign = " isn't a brief of Marlet's and stays as it is. Move it or rename it, and try again.";

TEST_F(WriteBriefTest, aBriefIsWrittenWholeAndForItsOwnerAlone) {
    std::string markdown = "# Größe\r\n" + std::string(3'000'000, 'x') + std::string("\0\xFF", 2);
    write(markdown);
    EXPECT_EQ(content(), markdown);
    EXPECT_EQ(fs::status(brief).permissions(), fs::perms(0600));
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(WriteBriefTest, theBriefOfBeforeIsReplaced) {
    for (const std::string& before : {ours, ours + std::string(2 << 20, 'x'), std::string("- Marlet task_id: ")}) {
        put(before);
        write("new");
        EXPECT_EQ(content(), "new");
        EXPECT_EQ(fileCount(), 1);
    }
}

TEST_F(WriteBriefTest, whatIsNotABriefStaysAsItIs) {
    for (const std::string& text : {"", "# Tasks\n", "the line - Marlet task_id: 1\n", "- Marlet task_id:1\n"}) {
        put(text);
        expectRefusal(Case::foreignBrief, foreign);
        EXPECT_EQ(content(), text);
    }
}

TEST_F(WriteBriefTest, aLinkIsRefusedAndWhatItLeadsToStays) {
    TemporaryFolder elsewhere;
    fs::path target = elsewhere.path() / "target";
    std::ofstream(target) << ours << "kept";
    fs::create_symlink(target, brief);
    expectRefusal(Case::notARegularFile, notRegular);
    EXPECT_EQ(content(), ours + "kept");
    fs::remove(target);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(WriteBriefTest, aFolderIsRefused) {
    fs::create_directory(brief);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(WriteBriefTest, aPipeIsRefusedAndHoldsUpNobody) {
    ASSERT_EQ(::mkfifo(brief.c_str(), S_IRUSR | S_IWUSR), 0);
    expectRefusal(Case::notARegularFile, notRegular);
}

TEST_F(WriteBriefTest, aFolderThatIsNotThereIsAnError) {
    EXPECT_THROW(writeBrief(folder.path() / "nowhere", ours), std::system_error);
    EXPECT_EQ(fileCount(), 0);
}

TEST_F(WriteBriefTest, aFileThatAppearsMeanwhileIsNotLost) {
    constexpr int rounds = 200;
    for (int round = 0; round < rounds; ++round) {
        bool isUsers = false;
        std::thread user([&] {
            int file = ::open(brief.c_str(), O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
            isUsers = file >= 0 && ::write(file, "mine", 4) == 4;
            ::close(file);
        });
        bool isWritten = true;
        try {
            write(ours);
        } catch (const WorkFolderError&) {
            isWritten = false;
        }
        user.join();
        ASSERT_NE(isUsers, isWritten);
        ASSERT_EQ(content(), isUsers ? "mine" : ours);
        ASSERT_EQ(fileCount(), 1);
        fs::remove(brief);
    }
}

TEST_F(WriteBriefTest, ofSeveralAtOnceOneIsThereWhole) {
    std::vector<std::thread> threads;
    for (char letter : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([this, letter] {
            for (int round = 0; round < 20; ++round) {
                write(ours + std::string(100'000, letter));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::string text = content();
    EXPECT_EQ(text, ours + std::string(100'000, text.back()));
    EXPECT_EQ(fileCount(), 1);
}

}  // namespace
}  // namespace marlet
