#include "MarletMCP/HTTPRequestParser.h"

#include <gtest/gtest.h>

#include <random>

namespace marlet {
namespace {

using ParseError = HTTPRequestParser::ParseError;

constexpr size_t maximalHeadSize = HTTPRequestParser::maximalHeadSize;
constexpr size_t maximalBodySize = HTTPRequestParser::maximalBodySize;

std::string described(const IncomingRequest& request) {
    std::string text = request.method + " " + request.path;
    for (const auto& [name, value] : request.headers) {
        text += " [" + name + "=" + value + "]";
    }
    return text + " <" + request.body + ">";
}

std::string described(const ParseError& error) {
    return error.kind == ParseError::Kind::tooLarge ? "tooLarge" : "malformed";
}

// What the pure function makes of the bytes.
std::string parsed(std::string_view bytes) {
    try {
        std::optional<HTTPRequestParser::Result> result = HTTPRequestParser::parse(bytes);
        return result ? described(result->request) + " " + std::to_string(result->consumed) : "incomplete";
    } catch (const ParseError& error) {
        return described(error);
    }
}

// All that comes out of a connection whose bytes come in these pieces.
std::vector<std::string> read(const std::vector<std::string_view>& pieces) {
    std::vector<std::string> outcomes;
    HTTPRequestReader reader;
    try {
        for (std::string_view piece : pieces) {
            reader.append(piece);
            while (std::optional<IncomingRequest> request = reader.next()) {
                outcomes.push_back(described(*request));
            }
        }
    } catch (const ParseError& error) {
        outcomes.push_back(described(error));
    }
    return outcomes;
}

std::vector<std::string_view> singleBytes(std::string_view bytes) {
    std::vector<std::string_view> pieces;
    for (size_t index = 0; index < bytes.size(); ++index) {
        pieces.push_back(bytes.substr(index, 1));
    }
    return pieces;
}

std::string post(const std::string& headers, const std::string& rest = "") {
    return "POST /mcp HTTP/1.1\r\n" + headers + "\r\n" + rest;
}

std::string chunked(const std::string& chunks) {
    return post("Transfer-Encoding: chunked\r\n", chunks);
}

const std::string chunkedHead = "POST /mcp [transfer-encoding=chunked] ";

struct Case {
    std::string input;
    std::string outcome;
};

const std::vector<Case>& requestLines() {
    static const std::vector<Case> table = {
        {"GET /x HTTP/1.1\r\n\r\n", "GET /x <> 19"},
        {"GET /x?y=1 HTTP/1.1\r\n\r\n", "GET /x <> 23"},
        {"GET /x?y=1?z HTTP/1.0\r\n\r\n", "GET /x <> 25"},
        {"GET ? HTTP/1.1\r\n\r\n", "GET  <> 18"},
        {"brew /pot HTTP/1.\r\n\r\n", "brew /pot <> 21"},
        {"GET /gr\xC3\xBCn HTTP/1.1\r\n\r\n", "GET /gr\xC3\xBCn <> 23"},
        {"GET /x HTTP/2.0\r\n\r\n", "malformed"},
        {"GET /x http/1.1\r\n\r\n", "malformed"},
        {"GET /x HTTP/1.1 more\r\n\r\n", "malformed"},
        {"GET /x\r\n\r\n", "malformed"},
        {"GET  /x HTTP/1.1\r\n\r\n", "malformed"},
        {" /x HTTP/1.1\r\n\r\n", "malformed"},
        {"GET  HTTP/1.1\r\n\r\n", "malformed"},
        {"\r\n\r\n", "malformed"},
        {"\r\nGET /x HTTP/1.1\r\n\r\n", "malformed"},
        {"GET /x HTTP/1.1\nHost: a\r\n\r\n", "malformed"},
        {"GET /\xFF HTTP/1.1\r\n\r\n", "malformed"},
        {"GET /x HTTP/1.1\r\nA: \xC3\r\n\r\n", "malformed"},
    };
    return table;
}

const std::vector<Case>& headerLines() {
    static const std::vector<Case> table = {
        {post("Host: a\r\n"), "POST /mcp [host=a] <> 31"},
        {post("X-A: a\r\nx-a: b\r\n"), "POST /mcp [x-a=a, b] <> 38"},
        {post("X-A: a\r\nB: c\r\nX-a:\r\n"), "POST /mcp [b=c] [x-a=a, ] <> 42"},
        {post("  Name  : \t value with blanks \t\r\n"), "POST /mcp [name=value with blanks] <> 55"},
        {post("A:b:c\r\n"), "POST /mcp [a=b:c] <> 29"},
        {post(": v\r\n"), "POST /mcp [=v] <> 27"},
        {post("Content-Length : 2\r\n", "ab"), "POST /mcp [content-length=2] <ab> 44"},
        {post("X: a\r\n\tContent-Length:2\r\n", "ab"), "POST /mcp [content-length=2] [x=a] <ab> 49"},
        {post("Content Length: 2\r\n", "ab"), "POST /mcp [content length=2] <> 41"},
        {post("no colon here\r\n"), "malformed"},
        {post("A: b\r\n continued\r\n"), "malformed"},
        {post("A: b\nC: d\r\n"), "POST /mcp [a=b\nC: d] <> 33"},
        {post(std::string("A: x\0y\r\n", 8)), std::string("POST /mcp [a=x\0y] <> 30", 23)},
    };
    return table;
}

const std::vector<Case>& sizedBodies() {
    static const std::vector<Case> table = {
        {post("Content-Length: 5\r\n", "hello and more"), "POST /mcp [content-length=5] <hello> 46"},
        {post("Content-Length: 5\r\n", "hell"), "incomplete"},
        {post("Content-Length: 0\r\n"), "POST /mcp [content-length=0] <> 41"},
        {post("Content-Length: 0002\r\n", "ab"), "POST /mcp [content-length=0002] <ab> 46"},
        {post("Content-Length: 8388608\r\n"), "incomplete"},
        {post("Content-Length: 8388609\r\n"), "tooLarge"},
        {post("Content-Length: 18446744073709551616\r\n"), "tooLarge"},
        {post("Content-Length: " + std::string(500, '9') + "\r\n"), "tooLarge"},
        {post("Content-Length: -1\r\n"), "malformed"},
        {post("Content-Length: +1\r\n"), "malformed"},
        {post("Content-Length: abc\r\n"), "malformed"},
        {post("Content-Length: 1a\r\n"), "malformed"},
        {post("Content-Length: 1.0\r\n"), "malformed"},
        {post("Content-Length:\r\n"), "malformed"},
        {post("Content-Length: 5\r\nContent-Length: 5\r\n", "hello"), "malformed"},
        {post("Content-Length: 5, 5\r\n", "hello"), "malformed"},
        {post("Content-Length: 5 5\r\n", "hello"), "malformed"},
        {post("Content-Length: 0\r\nContent-Length: 5\r\n", "hello"), "malformed"},
        {post("Content-Length: 5\r\nContent-Length:\r\n", "hello"), "malformed"},
        {post("Content-Length: 99999999x\r\n"), "malformed"},
        {post("Transfer-Encoding: gzip\r\nContent-Length: 2\r\n", "ab"),
         "POST /mcp [content-length=2] [transfer-encoding=gzip] <ab> 68"},
        {post("Transfer-Encoding: gzip\r\n"), "POST /mcp [transfer-encoding=gzip] <> 47"},
    };
    return table;
}

const std::vector<Case>& chunkedBodies() {
    static const std::vector<Case> table = {
        {chunked("5\r\nhello\r\n0\r\n\r\n"), chunkedHead + "<hello> 65"},
        {chunked("5;x=y\r\nhello\r\n0\r\n\r\n"), chunkedHead + "<hello> 69"},
        {chunked("5;x\xFF\r\nhello\r\n0\r\n\r\n"), chunkedHead + "<hello> 68"},
        {chunked("3\r\nabc\r\n00A\r\n0123456789\r\n000\r\n\r\nrest"), chunkedHead + "<abc0123456789> 82"},
        {chunked("a\r\n0123\r\n6789\r\n0\r\nTrailer: x\r\nno colon\r\n\r\n"), chunkedHead + "<0123\r\n6789> 92"},
        {chunked("0\r\n\r\n"), chunkedHead + "<> 55"},
        {chunked("0\r\n"), "incomplete"},
        {chunked("0\r\nTrailer: x\r\n"), "incomplete"},
        {chunked("5"), "incomplete"},
        {chunked("5\r\nhello\r"), "incomplete"},
        {chunked("\r\n"), "malformed"},
        {chunked(";x\r\n"), "malformed"},
        {chunked("5 \r\nhello\r\n0\r\n\r\n"), "malformed"},
        {chunked("0x5\r\nhello\r\n0\r\n\r\n"), "malformed"},
        {chunked("-5\r\nhello\r\n"), "malformed"},
        {chunked("+5\r\nhello\r\n"), "malformed"},
        {chunked("5\xC3\xBC\r\n"), "malformed"},
        {chunked("g\r\n"), "malformed"},
        {chunked("800000\r\n"), "incomplete"},
        {chunked("800001\r\n"), "tooLarge"},
        {chunked("FFFFFFFFFFFFFFFF\r\n"), "tooLarge"},
        {chunked("10000000000000005\r\nhello\r\n"), "tooLarge"},
        {chunked("1\r\na\r\n7FFFFF\r\n"), "incomplete"},
        {chunked("1\r\na\r\n800000\r\n"), "tooLarge"},
        {post("Transfer-Encoding: chunked\r\nContent-Length: 2\r\n", "1\r\na\r\n0\r\n\r\nrest"),
         "POST /mcp [content-length=2] [transfer-encoding=chunked] <a> 80"},
        {post("Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", "1\r\na\r\n0\r\n\r\n"),
         "POST /mcp [transfer-encoding=gzip, chunked] <a> 86"},
        {post("Transfer-Encoding: gzip, CHUNKED\r\nContent-Length: abc\r\n", "1\r\na\r\n0\r\n\r\n"),
         "POST /mcp [content-length=abc] [transfer-encoding=gzip, CHUNKED] <a> 88"},
    };
    return table;
}

const std::vector<Case>& unfinishedHeads() {
    static const std::vector<Case> table = {
        {"", "incomplete"},
        {"G", "incomplete"},
        {"GET /x HTTP/1.1\r\n", "incomplete"},
        {"GET /x HTTP/1.1\r\n\r", "incomplete"},
        {"GET /x HTTP/1.1\n\n", "incomplete"},
    };
    return table;
}

std::vector<Case> allCases() {
    std::vector<Case> all;
    for (const auto* table : {&requestLines(), &headerLines(), &sizedBodies(), &chunkedBodies(), &unfinishedHeads()}) {
        all.insert(all.end(), table->begin(), table->end());
    }
    return all;
}

void expectOutcomes(const std::vector<Case>& table) {
    for (const Case& each : table) {
        EXPECT_EQ(parsed(each.input), each.outcome) << each.input;
    }
}

TEST(HTTPRequestParserTest, theRequestLineHasThreePartsAndThePathLosesItsQuery) {
    expectOutcomes(requestLines());
}

TEST(HTTPRequestParserTest, headersAreTrimmedLoweredAndJoined) {
    expectOutcomes(headerLines());
}

TEST(HTTPRequestParserTest, theBodyHasTheLengthThatTheHeaderTells) {
    expectOutcomes(sizedBodies());
}

TEST(HTTPRequestParserTest, aChunkedBodyIsPutTogether) {
    expectOutcomes(chunkedBodies());
}

TEST(HTTPRequestParserTest, aHeadWithoutItsEndWaitsForMore) {
    expectOutcomes(unfinishedHeads());
}

TEST(HTTPRequestParserTest, whereverTheBytesAreCutTheOutcomeIsTheSame) {
    for (const Case& each : allCases()) {
        std::string_view input = each.input;
        std::vector<std::string> whole = read({input});
        for (size_t cut = 0; cut <= input.size(); ++cut) {
            ASSERT_EQ(read({input.substr(0, cut), input.substr(cut)}), whole) << input << " cut at " << cut;
        }
        ASSERT_EQ(read(singleBytes(input)), whole) << input;
    }
}

TEST(HTTPRequestParserTest, severalRequestsInARowComeOutInOrderHoweverTheyAreCut) {
    std::string input = post("Content-Length: 3\r\n", "one") + chunked("3\r\ntwo\r\n0\r\nT: x\r\n\r\n") +
                        "GET /three HTTP/1.1\r\n\r\n" + post("Content-Length: x\r\n");
    const std::vector<std::string> expected = {"POST /mcp [content-length=3] <one>", chunkedHead + "<two>",
                                               "GET /three <>", "malformed"};

    EXPECT_EQ(read({input}), expected);
    EXPECT_EQ(read(singleBytes(input)), expected);
    std::mt19937 random(11);
    for (int round = 0; round < 500; ++round) {
        std::vector<std::string_view> pieces;
        for (std::string_view rest = input; !rest.empty(); rest.remove_prefix(pieces.back().size())) {
            pieces.push_back(rest.substr(0, 1 + random() % 40));
        }
        ASSERT_EQ(read(pieces), expected);
    }
}

TEST(HTTPRequestParserTest, anUnfinishedHeadMayHave65536BytesAndNotOneMore) {
    std::string start = "GET /x HTTP/1.1\r\nA: ";
    std::string full = start + std::string(maximalHeadSize - start.size(), 'a');

    EXPECT_EQ(parsed(full), "incomplete");
    EXPECT_EQ(parsed(full + "a"), "tooLarge");
    EXPECT_EQ(read({full, "\r\n\r\n"}).size(), 1u);
    EXPECT_EQ(read({full, "\r", "\n"}), std::vector<std::string>{"tooLarge"});
}

TEST(HTTPRequestParserTest, aSizeOrTrailerLineWithoutEndIsCutOff) {
    EXPECT_EQ(parsed(chunked("5;" + std::string(maximalHeadSize, 'x'))), "tooLarge");
    EXPECT_EQ(parsed(chunked("0\r\n" + std::string(maximalHeadSize + 1, 'x'))), "tooLarge");
}

TEST(HTTPRequestParserTest, aBodyOf8MiBIsRead) {
    std::string body(maximalBodySize, 'b');
    std::string input = post("Content-Length: 8388608\r\n", body);

    std::optional<HTTPRequestParser::Result> result = HTTPRequestParser::parse(input);

    ASSERT_TRUE(result);
    EXPECT_EQ(result->request.body, body);
    EXPECT_EQ(result->consumed, input.size());
    std::optional<HTTPRequestParser::Result> inOneChunk =
        HTTPRequestParser::parse(chunked("800000\r\n" + body + "\r\n0\r\n\r\n"));
    ASSERT_TRUE(inOneChunk);
    EXPECT_EQ(inOneChunk->request.body, body);
}

TEST(HTTPRequestParserTest, aLongHeadOfTinyHeadersIsRead) {
    std::string headers;
    for (int index = 0; index < 8000; ++index) {
        headers += "h" + std::to_string(index % 4000) + ":\r\n";
    }

    std::optional<HTTPRequestParser::Result> result = HTTPRequestParser::parse(post(headers));

    ASSERT_TRUE(result);
    EXPECT_EQ(result->request.headers.size(), 4000u);
    EXPECT_EQ(result->request.headers.at("h7"), ", ");
}

// Looking at every byte again with every packet would take hours for each of these.
TEST(HTTPRequestParserTest, tinyPiecesTakeTimeInProportionToTheirBytes) {
    std::string oneByteChunks;
    for (int index = 0; index < 300'000; ++index) {
        oneByteChunks += "1\r\nc\r\n";
    }
    std::string input =
        chunked(oneByteChunks + "0\r\n" + std::string(60'000, 't') + "\r\n\r\n") +
        post("A: " + std::string(65'000, 'a') + "\r\nContent-Length: 1000000\r\n", std::string(1'000'000, 'b'));

    std::vector<std::string> outcomes = read(singleBytes(input));

    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0], chunkedHead + "<" + std::string(300'000, 'c') + ">");
    EXPECT_TRUE(outcomes[1].ends_with(std::string(1'000'000, 'b') + ">"));
}

TEST(HTTPRequestParserTest, randomBytesGiveAnOutcomeAndNeverAnotherError) {
    std::mt19937 random(5);
    const std::string_view alphabet = "GET /HTTP/1.1\r\n\r\n: ;0159afchunked,\xC3\xBC\xFF";
    for (int round = 0; round < 20'000; ++round) {
        std::string input = round % 2 == 0 ? "" : chunked("");
        for (size_t length = random() % 60; length > 0; --length) {
            input += alphabet[random() % alphabet.size()];
        }
        ASSERT_EQ(read(singleBytes(input)), read({input})) << input;
    }
}

TEST(IncomingRequestTest, headersAreFoundInAnyCase) {
    IncomingRequest request("GET", "/x", {{"X-Name", "v"}}, "");

    EXPECT_TRUE(request.headers.contains("x-name"));
    ASSERT_NE(request.header("x-NAME"), nullptr);
    EXPECT_EQ(*request.header("x-NAME"), "v");
    EXPECT_EQ(request.header("other"), nullptr);
}

TEST(OutgoingResponseTest, theHeadHasSortedHeadersWithLengthAndConnection) {
    OutgoingResponse response = OutgoingResponse::text("grün", 401, {{"WWW-Authenticate", "Bearer"}, {"Allow", "x"}});

    EXPECT_EQ(response.head(true),
              "HTTP/1.1 401 Unauthorized\r\nAllow: x\r\nConnection: keep-alive\r\nContent-Length: 5\r\n"
              "Content-Type: text/plain; charset=utf-8\r\nWWW-Authenticate: Bearer\r\n\r\n");
    EXPECT_NE(response.head(false).find("Connection: close\r\n"), std::string::npos);
    EXPECT_EQ(response.body, "grün");
}

TEST(OutgoingResponseTest, lengthAndConnectionAreAlwaysThoseOfTheServer) {
    OutgoingResponse response{
        204, {{"Connection", "upgrade"}, {"Connection-Hint", "h"}, {"Content-Length", "7"}, {"Content-Type", "t"}}, ""};

    EXPECT_EQ(response.head(false),
              "HTTP/1.1 204 No Content\r\nConnection: close\r\nConnection-Hint: h\r\nContent-Length: 0\r\n"
              "Content-Type: t\r\n\r\n");
    EXPECT_EQ((OutgoingResponse{200, {{"A", "a"}, {"Z", "z"}}, "x"}).head(true),
              "HTTP/1.1 200 OK\r\nA: a\r\nConnection: keep-alive\r\nContent-Length: 1\r\nZ: z\r\n\r\n");
}

TEST(OutgoingResponseTest, aJSONResponseIsItsEncodedValue) {
    OutgoingResponse response = OutgoingResponse::json(JSONValue::object({{"b", 1}, {"a", "x/y"}}), 400);

    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body, R"({"a":"x/y","b":1})");
    EXPECT_EQ(response.headers, (HTTPHeaders{{"Content-Type", "application/json"}}));
}

TEST(OutgoingResponseTest, everyStatusHasItsReasonPhrase) {
    const std::vector<std::pair<int, std::string>> table = {
        {200, "OK"},
        {202, "Accepted"},
        {204, "No Content"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {406, "Not Acceptable"},
        {413, "Content Too Large"},
        {415, "Unsupported Media Type"},
        {418, "Error"},
        {499, "Error"},
        {500, "Internal Server Error"},
        {503, "Internal Server Error"},
    };
    for (const auto& [status, phrase] : table) {
        EXPECT_EQ(reasonPhrase(status), phrase);
    }
}

}  // namespace
}  // namespace marlet
