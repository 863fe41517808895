// What comes back.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "CurlScenario.h"
#include "MarletCore/BackendError.h"

namespace marlet {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

// Answers the first request of each connection with these bytes and closes it.
SocketServer::Script saying(std::string bytes) {
    return [bytes = std::move(bytes)](ServerConnection& connection) {
        if (connection.readRequest()) {
            connection.write(bytes);
        }
    };
}

TransportAnswer answerTo(const std::string& bytes, CurlTransport::Options options = {}) {
    SocketServer server(saying(bytes));
    CurlScenario scenario(std::move(options));
    return scenario.send(get(server.url()));
}

NetworkError failureOf(const std::string& bytes, CurlTransport::Options options = {}) {
    SocketServer server(saying(bytes));
    CurlScenario scenario(std::move(options));
    return scenario.failure(get(server.url()));
}

std::string chunked(std::string_view body, size_t size, std::string_view head = {}) {
    std::string bytes = fmt::format("HTTP/1.1 200 OK\r\n{}Transfer-Encoding: chunked\r\n\r\n", head);
    for (size_t start = 0; start < body.size(); start += size) {
        std::string_view chunk = body.substr(start, size);
        bytes += fmt::format("{:x}\r\n{}\r\n", chunk.size(), chunk);
    }
    return bytes + "0\r\n\r\n";
}

// So many zero bytes, packed about 150 to one: matches as long as the format allows, in its built-in code.
std::string gzipOfZeros(size_t count) {
    std::string result("\x1f\x8b\x08\0\0\0\0\0\x02\x03", 10);
    uint32_t held = 0;
    int heldBits = 0;
    auto write = [&](std::string_view bits) {
        for (char bit : bits) {
            held |= static_cast<uint32_t>(bit - '0') << heldBits;
            if (++heldBits == 8) {
                result += static_cast<char>(held);
                held = 0;
                heldBits = 0;
            }
        }
    };
    write("110");       // the last block, in the built-in code
    write("00110000");  // a zero
    for (size_t done = 1; done < count; done += 258) {
        write("1100010100000");  // 258 times the byte before
    }
    write("00000000000000");
    return result;
}

TEST(CurlTransportAnswerTest, repeatedHeadersComeInTheirOrder) {
    TransportAnswer answer = answerTo(
        "HTTP/1.1 201 Created\r\nLink: <a>; rel=\"next\"\r\nETag: W/\"7\"\r\nLINK: <b>; rel=\"last\"\r\n"
        "Content-Length: 2\r\n\r\n{}");

    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.body, "{}");
    EXPECT_EQ(answer.headers, (Headers{{"Link", "<a>; rel=\"next\""},
                                       {"ETag", "W/\"7\""},
                                       {"LINK", "<b>; rel=\"last\""},
                                       {"Content-Length", "2"}}));
}

TEST(CurlTransportAnswerTest, oddHeadersAreRead) {
    struct Row {
        std::string head;
        int status;
        Headers headers;
    };
    const std::vector<Row> rows = {
        {"HTTP/1.1 200\r\nA: b\r\n", 200, {{"A", "b"}}},
        {"HTTP/1.0 299 Whatever Else\r\nA:b\r\n", 299, {{"A", "b"}}},
        {"HTTP/1.1 200 OK\r\nA:   b \t\r\nEmpty:\r\n", 200, {{"A", "b"}, {"Empty", ""}}},
        {"HTTP/1.1 200 OK\r\nA: caf\xe9 \xc3\xa9\r\n", 200, {{"A", "caf\xe9 \xc3\xa9"}}},
        {"HTTP/1.1 200 OK\nA: b\n", 200, {{"A", "b"}}},
        {"HTTP/1.1 200 OK\r\nA: b:c\r\n", 200, {{"A", "b:c"}}},
        {"HTTP/1.1 599 Odd\r\n", 599, {}},
    };
    for (const Row& row : rows) {
        TransportAnswer answer = answerTo(row.head + "\r\nbody");

        EXPECT_EQ(answer.status, row.status) << row.head;
        EXPECT_EQ(answer.headers, row.headers) << row.head;
        EXPECT_EQ(answer.body, "body") << row.head;
    }
}

TEST(CurlTransportAnswerTest, aFoldedHeaderIsOneValue) {
    TransportAnswer answer = answerTo("HTTP/1.1 200 OK\r\nA: one,\r\n two\r\nB: c\r\nContent-Length: 0\r\n\r\n");

    ASSERT_EQ(answer.headers.size(), 3U);
    EXPECT_EQ(answer.headers[0], (Headers::value_type{"A", "one, two"}));
    EXPECT_EQ(answer.headers[1], (Headers::value_type{"B", "c"}));
}

TEST(CurlTransportAnswerTest, onlyTheFinalAnswersHeadersCount) {
    TransportAnswer answer = answerTo(
        "HTTP/1.1 103 Early Hints\r\nLink: <early>\r\n\r\nHTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nA: b\r\n\r\n"
        "2\r\nhi\r\n0\r\nTrailer: late\r\n\r\n");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers, (Headers{{"Transfer-Encoding", "chunked"}, {"A", "b"}}));
    EXPECT_EQ(answer.body, "hi");
}

TEST(CurlTransportAnswerTest, anyStatusIsAnAnswer) {
    for (int status : {200, 204, 300, 304, 305, 400, 401, 403, 404, 407, 429, 500, 503}) {
        TransportAnswer answer = answerTo(fmt::format(
            "HTTP/1.1 {} Text\r\nLocation: /x\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n",
            status));

        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, "") << status;
    }
}

TEST(CurlTransportAnswerTest, aBodyInChunksOrUpToTheEndIsWhole) {
    EXPECT_EQ(answerTo(chunked("the kettle sings", 3)).body, "the kettle sings");
    EXPECT_EQ(answerTo("HTTP/1.1 200 OK\r\n\r\nthe kettle sings").body, "the kettle sings");
    EXPECT_EQ(answerTo(chunked("", 1)).body, "");
}

TEST(CurlTransportAnswerTest, aPackedBodyIsUnpacked) {
    const std::string packed(
        "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x2b\xc9\x48\x55\xc8\x4e\x2d\x29\xc9\x49\x55\x28\xce\xcc\x4b\x2f\x06"
        "\x00\x83\x18\x36\xfb\x10\x00\x00\x00",
        36);
    constexpr const char* head = "Content-Encoding: gzip\r\n";

    EXPECT_EQ(answerTo(SocketServer::answer("200 OK", packed, head)).body, "the kettle sings");
    EXPECT_EQ(answerTo(chunked(packed, 5, head)).body, "the kettle sings");
}

TEST(CurlTransportAnswerTest, aBodyThatUnpacksBeyondTheBoundIsTooLarge) {
    constexpr size_t bound = size_t(4) << 20;
    std::string bomb = gzipOfZeros(size_t(64) << 20);
    ASSERT_LT(bomb.size(), bound / 8);
    const std::string answer = SocketServer::answer("200 OK", bomb, "Content-Encoding: gzip\r\n");

    NetworkError error = failureOf(answer, {.maximalBodySize = bound});

    EXPECT_EQ(error.kind(), NetworkError::Kind::tooLarge);
    EXPECT_NE(error.errorDescription().find("4 MB"), std::string::npos) << error.errorDescription();
}

TEST(CurlTransportAnswerTest, theBoundItselfIsReadAndOneByteMoreIsNot) {
    constexpr size_t bound = 100'000;
    const std::string fitting(bound, 'x');
    const std::string larger(bound + 1, 'x');
    const CurlTransport::Options options{.maximalBodySize = bound};

    EXPECT_EQ(answerTo(SocketServer::answer("200 OK", fitting), options).body, fitting);
    EXPECT_EQ(answerTo(chunked(fitting, 7'000), options).body, fitting);
    for (const std::string& bytes : {SocketServer::answer("200 OK", larger), chunked(larger, 7'000)}) {
        NetworkError error = failureOf(bytes, options);
        EXPECT_EQ(error.kind(), NetworkError::Kind::tooLarge);
        EXPECT_NE(error.errorDescription().find("127.0.0.1"), std::string::npos) << error.errorDescription();
    }
}

TEST(CurlTransportAnswerTest, fiftyMegabytesArriveUnchanged) {
    std::string body(50'000'000, '\0');
    for (size_t index = 0; index < body.size(); ++index) {
        body[index] = static_cast<char>(index * 2654435761U >> 24);
    }

    EXPECT_TRUE(answerTo(SocketServer::answer("200 OK", body)).body == body);
}

TEST(CurlTransportAnswerTest, aLongHeaderIsReadAndAnEndlessHeadIsTooLarge) {
    const std::string value(60'000, 'v');
    EXPECT_EQ(answerTo(SocketServer::answer("200 OK", "", "Long: " + value + "\r\n")).headers.at(0).second, value);

    std::string endless = "HTTP/1.1 200 OK\r\n";
    for (int count = 0; count < 40; ++count) {
        endless += fmt::format("H{}: {}\r\n", count, std::string(10'000, 'v'));
    }
    EXPECT_EQ(failureOf(endless + "\r\n").kind(), NetworkError::Kind::tooLarge);
}

TEST(CurlTransportAnswerTest, aPeerThatDoesNotSpeakHTTPGivesAnInvalidResponse) {
    for (const char* bytes : {"SSH-2.0-OpenSSH_9.2\r\n", "220 mail.example ESMTP\r\n", "{\"only\":\"json\"}",
                              "HTTP/1.1 hello\r\n\r\n", "HTTP/7.1 200 OK\r\n\r\n"}) {
        SocketServer server(saying(bytes));
        CurlScenario scenario;
        auto outcome = scenario.start(get(server.url()));
        scenario.finish(outcome);
        ASSERT_TRUE(outcome->error) << bytes;
        try {
            std::rethrow_exception(outcome->error);
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::invalidResponse()) << bytes;
        } catch (const NetworkError& error) {
            ADD_FAILURE() << bytes << ": " << error.errorDescription();
        }
    }
}

TEST(CurlTransportAnswerTest, aBodyThatIsCutIsNoAnswer) {
    const std::string packed = SocketServer::answer("200 OK", gzipOfZeros(100'000), "Content-Encoding: gzip\r\n");
    for (const std::string& bytes :
         {std::string(), std::string("HTTP/1.1 20"), std::string("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345"),
          std::string("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n12345\r\n"),
          packed.substr(0, packed.size() - 20)}) {
        NetworkError error = failureOf(bytes);

        EXPECT_EQ(error.kind(), NetworkError::Kind::interrupted) << bytes;
        EXPECT_NE(error.errorDescription().find("127.0.0.1"), std::string::npos) << error.errorDescription();
    }
}

TEST(CurlTransportAnswerTest, theCallerResumesOnItsOwnThread) {
    SocketServer server(saying(SocketServer::answer("200 OK", "")));
    CurlScenario scenario;
    auto sending = [](CurlScenario& own, std::string url) -> Async<std::thread::id> {
        co_await own.sending(get(url));
        co_return std::this_thread::get_id();
    };

    EXPECT_EQ(scenario.loop.runToEnd(sending(scenario, server.url())), std::this_thread::get_id());
}

}  // namespace
}  // namespace marlet
