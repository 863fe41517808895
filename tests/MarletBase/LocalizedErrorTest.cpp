#include "MarletBase/LocalizedError.h"

#include <SQLiteCpp/Exception.h>
#include <gtest/gtest.h>

#include <system_error>

namespace marlet {
namespace {

template <class Error>
std::string description(const Error& error) {
    return localizedDescription(std::make_exception_ptr(error));
}

TEST(LocalizedErrorTest, itsOwnTextIsWhatCrossesABoundary) {
    EXPECT_EQ(description(LocalizedError("As told.")), "As told.");
}

TEST(LocalizedErrorTest, errorsOfTheLibrariesBelowBecomeSentences) {
    EXPECT_EQ(description(SQLite::Exception("disk I/O error")), "The database reported an error: disk I/O error.");
    EXPECT_EQ(description(std::system_error(ENOSPC, std::generic_category())),
              "The operation failed: No space left on device.");
    EXPECT_EQ(description(std::system_error(ENOENT, std::generic_category(), "Couldn't start /x/git")),
              "The operation failed: Couldn't start /x/git: No such file or directory.");
    EXPECT_EQ(description(std::bad_alloc()), "There isn't enough memory.");
    EXPECT_EQ(description(std::runtime_error("odd")), "The operation failed: odd.");
    EXPECT_EQ(description(42), "The operation failed for an unknown reason.");
}

TEST(LocalizedErrorTest, aProgrammingErrorEndsTheProcessWithItsMessage) {
    EXPECT_DEATH(programmingError("a row without a key"), "internal error: a row without a key");
}

}  // namespace
}  // namespace marlet
