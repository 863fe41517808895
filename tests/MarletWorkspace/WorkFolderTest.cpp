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

}  // namespace
}  // namespace marlet
