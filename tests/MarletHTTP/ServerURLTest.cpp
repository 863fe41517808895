#include "MarletHTTP/ServerURL.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

URL url(const std::string& text) {
    return URL::parse(text).value();
}

std::string appended(const std::string& base, const std::string& path) {
    return appendingPath(url(base), path).text();
}

TEST(ServerURLTest, everythingButTheUnreservedCharactersIsEncodedInAQuery) {
    EXPECT_EQ(encodedQuery({{"path", "a b+c/d"}}), "path=a%20b%2Bc%2Fd");
    EXPECT_EQ(encodedQuery({{"updated after", "2026-03-14T09:26:53+01:00"}}),
              "updated%20after=2026-03-14T09%3A26%3A53%2B01%3A00");

    std::string encoded = encodedQuery({{"", "ÿ🌱\n%&=?#[]@!$'()*,;\"<>\\^`{|}"}});
    EXPECT_EQ(encoded,
              "=%C3%BF%F0%9F%8C%B1%0A%25%26%3D%3F%23%5B%5D%40%21%24%27%28%29%2A%2C%3B%22%3C%3E%5C%5E%60%7B%7C%7D");
}

TEST(ServerURLTest, everyUnreservedCharacterStaysAsItIsInAQuery) {
    std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

    EXPECT_EQ(unreserved.size(), 66u);
    EXPECT_EQ(encodedQuery({{unreserved, unreserved}}), unreserved + "=" + unreserved);
}

TEST(ServerURLTest, theItemsOfAQueryKeepTheirOrderAndTheirDoubles) {
    EXPECT_EQ(encodedQuery({{"b", "2"}, {"a", "1"}, {"b", "2"}, {"c", std::nullopt}}), "b=2&a=1&b=2&c=");
    EXPECT_EQ(encodedQuery({{"name", std::nullopt}}), "name=");
    EXPECT_EQ(encodedQuery({}), "");
}

TEST(ServerURLTest, aPathGoesBehindTheBasesWithOneSlashBetween) {
    EXPECT_EQ(appended("https://h", "user/repos"), "https://h/user/repos");
    EXPECT_EQ(appended("https://h/", "user/repos"), "https://h/user/repos");
    EXPECT_EQ(appended("https://h/api/v4", "/user"), "https://h/api/v4/user");
    EXPECT_EQ(appended("https://h:8080/api/v4/", "/user"), "https://h:8080/api/v4/user");
    EXPECT_EQ(appended("https://h/api//", "//user"), "https://h/api/user");
}

TEST(ServerURLTest, aPathThatNamesAFolderStaysOne) {
    EXPECT_EQ(appended("https://h", "user/"), "https://h/user/");
    EXPECT_EQ(appended("https://h/api/", ""), "https://h/api/");
    EXPECT_EQ(appended("https://h/api", "/"), "https://h/api");
}

TEST(ServerURLTest, whatAPathCannotHoldIsEncoded) {
    EXPECT_EQ(appended("https://h", "repos/a b/ü"), "https://h/repos/a%20b/%C3%BC");
    EXPECT_EQ(appended("https://h", "a?b#c;d[e]"), "https://h/a%3Fb%23c%3Bd%5Be%5D");
    EXPECT_EQ(appended("https://h", "~a.b_c-d/!$&'()*+,=:@"), "https://h/~a.b_c-d/!$&'()*+,=:@");
}

TEST(ServerURLTest, aPercentSignInAPathIsData) {
    EXPECT_EQ(appended("https://h", "projects/group%2Fproject"), "https://h/projects/group%252Fproject");
    EXPECT_EQ(appended("https://h/a%20b", "100%"), "https://h/a%20b/100%25");
}

TEST(ServerURLTest, theOtherPartsOfTheBaseStay) {
    EXPECT_EQ(appended("https://u@h:1/a?q=1#f", "b"), "https://u@h:1/a/b?q=1#f");
}

TEST(ServerURLTest, anAPIPathIsAppendedOnce) {
    EXPECT_EQ(appendingAPIPath(url("https://h"), "api/v4").text(), "https://h/api/v4");
    EXPECT_EQ(appendingAPIPath(url("https://h/git/"), "api/v4").text(), "https://h/git/api/v4");
    EXPECT_EQ(appendingAPIPath(url("https://h/git/api/v4"), "api/v4").text(), "https://h/git/api/v4");
}

TEST(ServerURLTest, aURLThatHasTheAPIPathStaysAsItIsWithItsSlash) {
    EXPECT_EQ(appendingAPIv1(url("https://h/api/v1/")).text(), "https://h/api/v1/");
}

TEST(ServerURLTest, onlyAWholeComponentCountsAsTheAPIPath) {
    EXPECT_EQ(appendingAPIv1(url("https://h/myapi/v1")).text(), "https://h/myapi/v1/api/v1");
    EXPECT_EQ(appendingAPIv1(url("https://h/api/v1/x")).text(), "https://h/api/v1/x/api/v1");
    EXPECT_EQ(appendingAPIv1(url("https://h/api/v1//")).text(), "https://h/api/v1/api/v1");
}

TEST(ServerURLTest, theAPIPathIsRemovedWithWhicheverSlash) {
    EXPECT_EQ(removingAPIv1(url("https://h/api/v1")).text(), "https://h/");
    EXPECT_EQ(removingAPIv1(url("https://h/todo/api/v1/")).text(), "https://h/todo/");
}

TEST(ServerURLTest, aURLWithoutTheAPIPathStaysAsItIs) {
    for (const char* text : {"https://h", "https://h/", "https://h/myapi/v1", "https://h/api/v1/x", "https://h/api/v2",
                             "https://h/api/v1//"}) {
        EXPECT_EQ(removingAPIv1(url(text)).text(), text);
    }
}

TEST(ServerURLTest, theOriginIsSchemeHostAndPort) {
    EXPECT_TRUE(isSameOrigin(url("https://h/a"), url("HTTPS://H:443/b?c")));
    EXPECT_TRUE(isSameOrigin(url("http://h:80"), url("http://h")));
    EXPECT_TRUE(isSameOrigin(url("http://[::1]:3456/a"), url("http://[::1]:3456/b")));
    EXPECT_FALSE(isSameOrigin(url("https://h"), url("http://h")));
    EXPECT_FALSE(isSameOrigin(url("https://h:80"), url("http://h")));
    EXPECT_FALSE(isSameOrigin(url("https://h"), url("https://h:444")));
    EXPECT_FALSE(isSameOrigin(url("https://h"), url("https://h.evil.com")));
    EXPECT_FALSE(isSameOrigin(url("https://h"), url("https://h@evil.com")));
    EXPECT_FALSE(isSameOrigin(url("https://h"), url("/path")));
}

}  // namespace
}  // namespace marlet
