#include "MarletKit/FilePasswordItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "MarletKit/KeychainError.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr std::filesystem::perms ownerOnly = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

class FilePasswordItemsTest : public testing::Test {
protected:
    static PasswordQuery query(const std::string& account = "A") { return {"service", account, false}; }
    std::optional<std::string> read(const PasswordQuery& wanted) {
        std::optional<std::string> data;
        EXPECT_EQ(items.copyMatching(wanted, data), keychainDone);
        return data;
    }
    int32_t statusOfReading(const PasswordQuery& wanted) {
        std::optional<std::string> data;
        return items.copyMatching(wanted, data);
    }
    std::string content() const {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    template <class Operation>
    KeychainError errorOf(Operation operation) {
        try {
            operation();
        } catch (const KeychainError& error) {
            return error;
        }
        ADD_FAILURE() << "No error came.";
        return KeychainError(keychainDone);
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "tokens.json";
    FilePasswordItems items{file};
};

TEST_F(FilePasswordItemsTest, aPasswordIsAddedReadChangedAndDeleted) {
    EXPECT_EQ(statusOfReading(query()), keychainItemNotFound);
    EXPECT_EQ(items.update(query(), "early"), keychainItemNotFound);
    EXPECT_EQ(items.remove(query()), keychainItemNotFound);
    EXPECT_FALSE(std::filesystem::exists(file));

    EXPECT_EQ(items.add(query(), "first", "label"), keychainDone);
    EXPECT_EQ(read(query()), "first");
    EXPECT_EQ(items.update(query(), "second"), keychainDone);
    EXPECT_EQ(read(query()), "second");
    EXPECT_EQ(items.remove(query()), keychainDone);
    EXPECT_EQ(statusOfReading(query()), keychainItemNotFound);
}

TEST_F(FilePasswordItemsTest, passwordsAreKeptApartByServiceAndAccount) {
    PasswordQuery elsewhere{"another", "A", false};
    items.add(query("A"), "one", "label");
    items.add(query("B"), "two", "label");
    items.add(elsewhere, "three", "label");

    items.remove(query("A"));

    EXPECT_EQ(statusOfReading(query("A")), keychainItemNotFound);
    EXPECT_EQ(read(query("B")), "two");
    EXPECT_EQ(read(elsewhere), "three");
}

TEST_F(FilePasswordItemsTest, anItemThatCameMeanwhileIsReplaced) {
    items.add(query(), "first", "label");

    EXPECT_EQ(items.add(query(), "second", "label"), keychainDone);

    EXPECT_EQ(read(query()), "second");
}

TEST_F(FilePasswordItemsTest, anyBytesSurviveAndAnotherObjectReadsThem) {
    std::string bytes("\0\xFF\"\\\n\u00FC", 7);
    items.add(query("A"), bytes, "label");
    items.add(query("B"), "", "label");

    FilePasswordItems again(file);
    std::optional<std::string> data;
    EXPECT_EQ(again.copyMatching(query("A"), data), keychainDone);

    EXPECT_EQ(data, bytes);
    EXPECT_EQ(read(query("B")), "");
}

TEST_F(FilePasswordItemsTest, anUpdateKeepsTheLabel) {
    items.add(query(), "first", "A label of its own");

    items.update(query(), "second");

    EXPECT_THAT(content(), HasSubstr("A label of its own"));
}

TEST_F(FilePasswordItemsTest, theFileIsForItsOwnerAloneWhateverTheUmask) {
    mode_t before = ::umask(0);
    items.add(query(), "secret", "label");
    items.update(query(), "other");
    ::umask(before);

    EXPECT_EQ(std::filesystem::status(file).permissions(), ownerOnly);
}

TEST_F(FilePasswordItemsTest, aDamagedFileIsRefusedAndStaysAsItIs) {
    for (const char* damage :
         {"", "{", "[]", R"({"version":1})", R"({"version":1,"passwords":[{"service":"service"}]})",
          R"({"version":"one","passwords":[]})"}) {
        std::ofstream(file, std::ios::trunc) << damage;

        for (const KeychainError& error :
             {errorOf([&] { statusOfReading(query()); }), errorOf([&] { items.add(query(), "tok", "label"); }),
              errorOf([&] { items.update(query(), "tok"); }), errorOf([&] { items.remove(query()); })}) {
            EXPECT_EQ(error.status, keychainDataDamaged) << damage;
            EXPECT_THAT(error.errorDescription(), AllOf(HasSubstr("is damaged"), HasSubstr(file.string())));
        }
        EXPECT_EQ(content(), damage);
    }
}

TEST_F(FilePasswordItemsTest, aPasswordThatIsNotBase64IsDamage) {
    items.add(query(), "secret", "label");
    std::string damaged = content();
    damaged.replace(damaged.find("c2Vj"), 4, "!!!!");
    std::ofstream(file, std::ios::trunc) << damaged;

    KeychainError error = errorOf([&] { statusOfReading(query()); });

    EXPECT_EQ(error.status, keychainDataDamaged);
    EXPECT_THAT(error.errorDescription(), Not(HasSubstr("!!!!")));
}

TEST_F(FilePasswordItemsTest, aFileOfANewerVersionIsRefusedAndStaysAsItIs) {
    const char* newer = R"({"version":2,"vault":"x"})";
    std::ofstream(file) << newer;

    KeychainError error = errorOf([&] { items.add(query(), "token", "label"); });

    EXPECT_THAT(error.errorDescription(), HasSubstr("newer version of Marlet"));
    EXPECT_EQ(content(), newer);
}

TEST_F(FilePasswordItemsTest, aFileThatIsNoFileIsToldWithItsPath) {
    std::filesystem::create_directory(file);

    KeychainError error = errorOf([&] { statusOfReading(query()); });

    EXPECT_EQ(error.status, keychainFileFailed);
    EXPECT_THAT(error.errorDescription(), HasSubstr(file.string()));
}

TEST_F(FilePasswordItemsTest, aFolderThatHasGoneIsToldWithItsPath) {
    FilePasswordItems lost(folder.path() / "gone" / "tokens.json");

    KeychainError error = errorOf([&] { lost.add(query(), "token", "label"); });

    EXPECT_EQ(error.status, keychainFileFailed);
    EXPECT_THAT(error.errorDescription(), HasSubstr("gone/tokens.json"));
}

// Someone whom permissions bind, which they don't do root.
class OrdinaryUser {
public:
    explicit OrdinaryUser(const std::filesystem::path& folder) {
        constexpr uid_t nobody = 65534;
        if (::geteuid() == 0) {
            bool isDone = ::chown(folder.c_str(), nobody, nobody) == 0;
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                isDone = isDone && ::chown(entry.path().c_str(), nobody, nobody) == 0;
            }
            isSwitched = isDone && ::seteuid(nobody) == 0;
            EXPECT_TRUE(isSwitched);
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() {
        if (isSwitched) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }

private:
    bool isSwitched = false;
};

TEST_F(FilePasswordItemsTest, aReadOnlyFolderStillReadsAndSaysWhyItDoesNotWrite) {
    items.add(query(), "secret", "label");
    OrdinaryUser user(folder.path());
    ::chmod(folder.path().c_str(), S_IRUSR | S_IXUSR);

    EXPECT_EQ(read(query()), "secret");
    KeychainError error = errorOf([&] { items.update(query(), "a-new-token"); });
    ::chmod(folder.path().c_str(), S_IRWXU);

    EXPECT_EQ(error.status, keychainFileReadOnly);
    EXPECT_THAT(error.errorDescription(), AllOf(HasSubstr("Check its permissions"), Not(HasSubstr("a-new-token"))));
    EXPECT_EQ(read(query()), "secret");
}

TEST_F(FilePasswordItemsTest, threadsThatWriteAtTheSameTimeLoseNothing) {
    std::vector<std::thread> threads;
    for (const char* name : {"a", "b", "c", "d"}) {
        threads.emplace_back([this, name] {
            FilePasswordItems own(file);
            for (int index = 0; index < 20; ++index) {
                EXPECT_EQ(own.add(query(name + std::to_string(index)), "secret", "label"), keychainDone);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    for (const char* name : {"a", "b", "c", "d"}) {
        for (int index = 0; index < 20; ++index) {
            EXPECT_EQ(read(query(name + std::to_string(index))), "secret");
        }
    }
}

TEST_F(FilePasswordItemsTest, processesThatWriteAtTheSameTimeLoseNothing) {
    ChildProcess one({TOKEN_FILE_WRITER, file.string(), "a", "20"});
    ChildProcess two({TOKEN_FILE_WRITER, file.string(), "b", "20"});
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(two.wait(), 0);

    for (int index = 0; index < 20; ++index) {
        EXPECT_EQ(read(query("a" + std::to_string(index))), "secret");
        EXPECT_EQ(read(query("b" + std::to_string(index))), "secret");
    }
}

}  // namespace
}  // namespace marlet
