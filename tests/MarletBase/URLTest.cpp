#include "MarletBase/URL.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

TEST(URLTest, takesAURLApartAndPutsItTogether) {
    URL url = *URL::parse("https://me:pw@h.org:8443/a%2Fb/c?q=1&r=%20#top");
    URLComponents parts = url.components();
    EXPECT_EQ(parts.scheme, "https");
    EXPECT_EQ(parts.userInfo, "me:pw");
    EXPECT_EQ(parts.host, "h.org");
    EXPECT_EQ(parts.port, "8443");
    EXPECT_EQ(parts.path, "/a%2Fb/c");
    EXPECT_EQ(parts.query, "q=1&r=%20");
    EXPECT_EQ(parts.fragment, "top");
    EXPECT_EQ(URL::build(parts), url);
}

TEST(URLTest, anIPv6HostKeepsItsBrackets) {
    EXPECT_EQ(URL::parse("http://[::1]:80/x")->components().host, "[::1]");
}

TEST(URLTest, anEmptyPartDiffersFromNone) {
    EXPECT_EQ(URL::parse("https://h/?")->components().query, "");
    EXPECT_EQ(URL::parse("https://h/")->components().query, std::nullopt);
    EXPECT_EQ(URL::parse("/only/a/path")->components().host, std::nullopt);
}

TEST(URLTest, whatAURLCannotHoldIsPercentEncoded) {
    EXPECT_EQ(URL::parse("https://h/a b/ü")->text(), "https://h/a%20b/%C3%BC");
}

TEST(URLTest, escapesStandForTheirBytes) {
    EXPECT_EQ(percentDecoded("a%20b/%C3%bC%2F"), "a b/ü/");
    EXPECT_EQ(percentDecoded("%FF%00"), std::string("\xFF\0", 2));
    EXPECT_EQ(percentDecoded(""), "");
}

TEST(URLTest, whatIsNoEscapeStays) {
    EXPECT_EQ(percentDecoded("100%"), "100%");
    EXPECT_EQ(percentDecoded("%2"), "%2");
    EXPECT_EQ(percentDecoded("%g0%-1%+1% 1%4g"), "%g0%-1%+1% 1%4g");
    EXPECT_EQ(percentDecoded("%%41"), "%A");
}

TEST(URLTest, whatIsNoURLGivesNone) {
    for (const char* text : {"", "http://[::1", "http://h:port/", "://x"}) {
        EXPECT_FALSE(URL::parse(text)) << text;
    }
}

TEST(URLTest, urlsAreEqualWhenTheirTextsAre) {
    EXPECT_EQ(URL::parse("https://h/"), URL::parse("https://h/"));
    EXPECT_NE(URL::parse("https://h/"), URL::parse("https://H/"));
}

}  // namespace
}  // namespace marlet
