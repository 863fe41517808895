#include "MarletBase/UUID.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(UUIDTest, theTextIsUpperCaseAndReadsInAnyCase) {
    std::optional<UUID> uuid = UUID::parse("0d9e9f84-94BB-4a0c-8a3d-2f0e3c8f6a11");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->text(), "0D9E9F84-94BB-4A0C-8A3D-2F0E3C8F6A11");
    EXPECT_EQ(uuid->lowercaseText(), "0d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a11");
}

TEST(UUIDTest, anythingElseIsNoUUID) {
    for (const char* text : {"", "abc", "0d9e9f8494bb4a0c8a3d2f0e3c8f6a11", "0d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a1",
                             "0d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a111", "0d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a1g",
                             "{d9e9f84-94bb-4a0c-8a3d-2f0e3c8f6a1}", "0d9e9f84+94bb-4a0c-8a3d-2f0e3c8f6a11"}) {
        EXPECT_FALSE(UUID::parse(text)) << text;
    }
}

TEST(UUIDTest, aRandomOneIsOfVersion4) {
    std::string text = UUID::random().text();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
}

}  // namespace
}  // namespace marlet
