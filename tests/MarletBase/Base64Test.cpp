#include "MarletBase/Base64.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(Base64Test, everyByteIsWrittenAndTheLengthIsFilledUp) {
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("a"), "YQ==");
    EXPECT_EQ(base64("ab"), "YWI=");
    EXPECT_EQ(base64("abc"), "YWJj");
    EXPECT_EQ(base64(std::string_view("\0\xff\xfe", 3)), "AP/+");
}

}  // namespace
}  // namespace marlet
