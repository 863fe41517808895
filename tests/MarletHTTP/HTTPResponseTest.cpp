#include "MarletHTTP/HTTPResponse.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

HTTPResponse response(std::vector<std::pair<std::string, std::string>> headers) {
    return HTTPResponse::of(TransportAnswer{200, std::move(headers), ""});
}

std::optional<std::string> link(const std::string& header, std::string_view relation = "next") {
    std::optional<URL> url = response({{"Link", header}}).link(relation);
    return url ? std::optional(url->text()) : std::nullopt;
}

TEST(HTTPResponseTest, namesOfHeadersAreLowered) {
    HTTPResponse answer = HTTPResponse::of(TransportAnswer{418, {{"X-ToTal", "7"}, {"ETAG", "\"A\""}}, "tea\0pot"});

    EXPECT_EQ(answer.headers, (std::map<std::string, std::string, std::less<>>{{"etag", "\"A\""}, {"x-total", "7"}}));
    EXPECT_EQ(answer.status, 418);
    EXPECT_EQ(answer.header("x-TOTAL"), "7");
    EXPECT_EQ(answer.header("X-Missing"), std::nullopt);
}

TEST(HTTPResponseTest, theBodyIsTakenByteForByte) {
    std::string bytes("\0\xff{", 3);

    EXPECT_EQ(HTTPResponse::of(TransportAnswer{200, {}, bytes}).data, bytes);
}

TEST(HTTPResponseTest, valuesOfAHeaderThatCameTwiceAreJoined) {
    HTTPResponse answer = response({{"Link", "<https://h/1>; rel=\"prev\""}, {"LINK", "<https://h/3>; rel=\"next\""}});

    EXPECT_EQ(answer.header("link"), "<https://h/1>; rel=\"prev\", <https://h/3>; rel=\"next\"");
    EXPECT_EQ(answer.link("next").value().text(), "https://h/3");
}

TEST(HTTPResponseTest, noLinkHeaderHasNoLink) {
    EXPECT_EQ(response({}).link("next"), std::nullopt);
    EXPECT_EQ(link(""), std::nullopt);
}

TEST(HTTPResponseTest, oneEntryMayHaveSeveralRelations) {
    EXPECT_EQ(link("<https://x/y?page=2>; rel=\"prev next\"", "next"), "https://x/y?page=2");
    EXPECT_EQ(link("<https://x/y?page=2>; rel=\"prev next\"", "prev"), "https://x/y?page=2");
    EXPECT_EQ(link("<https://x/y>; rel=\"prev\"; rel=\"next\""), "https://x/y");
    EXPECT_EQ(link("<https://x/y>;rel=next;rel=\"  prev  last \"", "last"), "https://x/y");
}

TEST(HTTPResponseTest, theRelationIsTakenByItsExactLetters) {
    EXPECT_EQ(link("<u>; REL=\"next\"", "next"), std::nullopt);
    EXPECT_EQ(link("<u>; REL=\"next\"", "prev"), std::nullopt);
    EXPECT_EQ(link("<u>; Rel=\"next\""), std::nullopt);
    EXPECT_EQ(link("<u>; rel=\"Next\""), std::nullopt);
    EXPECT_EQ(link("<u>; rel=\"nextpage\""), std::nullopt);
    EXPECT_EQ(link("<u>; rel =\"next\""), std::nullopt);
    EXPECT_EQ(link("<u>; title=\"rel=next\""), std::nullopt);
}

TEST(HTTPResponseTest, theFirstEntryWithTheRelationIsTaken) {
    EXPECT_EQ(link("<https://h/a>; rel=\"first\", <https://h/b>; rel=\"next\", <https://h/c>; rel=\"next\""),
              "https://h/b");
}

TEST(HTTPResponseTest, whatServicesSendIsRead) {
    EXPECT_EQ(link("<https://api.example.com/repositories/7/issues?after=Y3Vyc29y%3D%3D&per_page=100>; rel=\"next\", "
                   "<https://api.example.com/repositories/7/issues?per_page=100>; rel=\"first\""),
              "https://api.example.com/repositories/7/issues?after=Y3Vyc29y%3D%3D&per_page=100");
    EXPECT_EQ(link("<https://git.example.com/api/v1/user/repos?limit=50&page=2>; rel=\"next\",<https://git.example.com/"
                   "api/v1/user/repos?limit=50&page=4>; rel=\"last\"",
                   "last"),
              "https://git.example.com/api/v1/user/repos?limit=50&page=4");
}

TEST(HTTPResponseTest, entriesWithoutATargetInBracketsArePassedOver) {
    for (const char* broken : {"https://h/a; rel=\"next\"", "<https://h/a; rel=\"next\"", "https://h/a>; rel=\"next\"",
                               "<; rel=\"next\"", ";;", " ", "rel=\"next\"", "\"<https://h/a>\"; rel=\"next\""}) {
        EXPECT_EQ(link(std::string(broken) + ", <https://h/b>; rel=\"next\""), "https://h/b") << broken;
        EXPECT_EQ(link(broken), std::nullopt) << broken;
    }
}

TEST(HTTPResponseTest, emptyPiecesAreDropped) {
    EXPECT_EQ(link(",,<https://h/b>;;; rel=\"next\";,,"), "https://h/b");
    EXPECT_EQ(link(" \t<https://h/b>\t;\trel=\"\"next\"\"\t"), "https://h/b");
}

TEST(HTTPResponseTest, aCommaInATargetBreaksItsEntry) {
    EXPECT_EQ(link("<https://h/a?ids=1,2>; rel=\"next\""), std::nullopt);
    EXPECT_EQ(link("<https://h/a?ids=1,2>; rel=\"next\", <https://h/b>; rel=\"next\""), "https://h/b");
}

TEST(HTTPResponseTest, aTargetThatIsNoURLEndsTheSearch) {
    for (const char* target : {"", "https://h:port/", "http://[::1"}) {
        EXPECT_EQ(link("<" + std::string(target) + ">; rel=\"next\", <https://h/b>; rel=\"next\""), std::nullopt)
            << target;
    }
}

TEST(HTTPResponseTest, aRelationOfNothingButQuotesNamesNone) {
    EXPECT_EQ(link("<https://h/b>; rel=\"\"", ""), std::nullopt);
    EXPECT_EQ(link("<https://h/b>; rel=", ""), std::nullopt);
}

}  // namespace
}  // namespace marlet
