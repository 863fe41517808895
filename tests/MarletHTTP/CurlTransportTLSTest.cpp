// Encrypted connections, and HTTP/2 over them.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <system_error>

#include "CurlScenario.h"
#include "TestSupport/ChildProcess.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

SocketServer::Script answeringFine() {
    return SocketServer::answering([](const ReceivedRequest&) { return SocketServer::answer("200 OK", "fine"); });
}

class CurlTransportTLSTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& text) const {
        std::filesystem::path path = folder.path() / name;
        std::ofstream(path) << text;
        return path.string();
    }

    CurlTransport::Options trusting(const TestAuthority& trusted) const {
        return {.certificateAuthorities = write("authorities.pem", trusted.certificate())};
    }

    // The failure of a request to a server with this certificate.
    NetworkError failureWith(const ServerIdentity& identity, CurlTransport::Options options,
                             NetworkError::Kind kind = NetworkError::Kind::certificate) const {
        SocketServer server(answeringFine(), identity);
        CurlScenario scenario(std::move(options));
        NetworkError error = scenario.failure(get(server.url(), {{"Authorization", "secret"}}));
        EXPECT_TRUE(server.requests().empty());
        EXPECT_EQ(error.kind(), kind);
        return error;
    }

    TemporaryFolder folder;
    TestAuthority authority;
};

TEST_F(CurlTransportTLSTest, aCertificateOfATrustedAuthorityIsTaken) {
    SocketServer server(answeringFine(), authority.issue("localhost"));
    CurlScenario scenario(trusting(authority));

    EXPECT_EQ(scenario.send(get(server.url())).body, "fine");
    EXPECT_EQ(scenario.send(post(server.url(), "{}")).body, "fine");
    EXPECT_EQ(scenario.send(post(server.url(), std::string(3'000'000, 'x'))).body, "fine");
    EXPECT_EQ(scenario.send(get(server.url())).body, "fine");
    EXPECT_EQ(server.connectionCount(), 3U);
}

TEST_F(CurlTransportTLSTest, anotherAuthorityIsNotTrusted) {
    NetworkError error = failureWith(authority.issue("localhost"), trusting(TestAuthority("Another authority")));

    EXPECT_TRUE(error.errorDescription().starts_with("The certificate of localhost:"));
    EXPECT_NE(error.errorDescription().find("isn't trusted"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, anAuthorityOfTheSameNameIsNotTrusted) {
    // libcurl tells a signature that doesn't fit as a failure of the protocol.
    failureWith(authority.issue("localhost"), trusting(TestAuthority()), NetworkError::Kind::tls);
}

TEST_F(CurlTransportTLSTest, theSystemsAuthoritiesDoNotTrustThisOne) {
    NetworkError error = failureWith(authority.issue("localhost"), {});

    EXPECT_NE(error.errorDescription().find("isn't trusted"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, aCertificateForAnotherNameIsRefused) {
    NetworkError error = failureWith(authority.issue("other.example"), trusting(authority));

    EXPECT_NE(error.errorDescription().find("issued for another name"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, anExpiredCertificateIsRefused) {
    NetworkError error = failureWith(authority.issue("localhost", -7), trusting(authority));

    EXPECT_NE(error.errorDescription().find("has expired"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, aCertificateOfTomorrowIsRefused) {
    NetworkError error = failureWith(authority.issue("localhost", 7), trusting(authority));

    EXPECT_NE(error.errorDescription().find("isn't valid yet"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, authoritiesThatCannotBeReadAreNamedAsTheProblem) {
    NetworkError error =
        failureWith(authority.issue("localhost"), {.certificateAuthorities = folder.path() / "none.pem"});

    EXPECT_NE(error.errorDescription().find("trusted authorities can't be read"), std::string::npos)
        << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, aServerWithoutEncryptionOnTheSecurePortIsATLSFailure) {
    SocketServer server([](ServerConnection& connection) { connection.write("HTTP/1.1 400 Bad Request\r\n\r\n"); });
    CurlScenario scenario;

    NetworkError error = scenario.failure(get(fmt::format("https://127.0.0.1:{}/", server.port())));

    EXPECT_EQ(error.kind(), NetworkError::Kind::tls);
    EXPECT_NE(error.errorDescription().find("No secure connection"), std::string::npos) << error.errorDescription();
}

TEST_F(CurlTransportTLSTest, theWayFromHttpsToHttpIsNotTaken) {
    SocketServer plain(answeringFine());
    SocketServer server(SocketServer::answering([&](const ReceivedRequest&) {
                            return SocketServer::answer("302 Found", "", "Location: " + plain.url() + "\r\n");
                        }),
                        authority.issue("localhost"));
    CurlScenario scenario(trusting(authority));

    EXPECT_EQ(scenario.failure(get(server.url())).kind(), NetworkError::Kind::redirect);
    EXPECT_EQ(plain.connectionCount(), 0U);
}

// Says how each request came: its protocol, and how many connections there have been.
constexpr const char* http2Server = R"(
const fs = require('fs');
const http2 = require('http2');
let connections = 0;
let refusals = 0;
const seen = {};
const server = http2.createSecureServer(
    { cert: fs.readFileSync(process.argv[1]), key: fs.readFileSync(process.argv[2]), allowHTTP1: true },
    (request, response) => {
        seen[request.method] = (seen[request.method] || 0) + 1;
        if (request.url === '/refuse-first' && request.stream && refusals++ === 0) {
            request.stream.close(http2.constants.NGHTTP2_REFUSED_STREAM);
            return;
        }
        response.setHeader('x-path', request.url);
        request.resume();
        request.on('end', () =>
            response.end(`${request.httpVersion} ${connections} ${seen[request.method]}`));
    });
server.on('secureConnection', () => ++connections);
server.listen(0, '127.0.0.1', () => console.log(server.address().port));
)";

class CurlTransportHTTP2Test : public CurlTransportTLSTest {
protected:
    CurlTransportHTTP2Test() {
        ServerIdentity identity = authority.issue("localhost");
        std::vector<std::string> arguments = {"node", "-e", http2Server, write("certificate.pem", identity.certificate),
                                              write("key.pem", identity.key)};
        try {
            process = std::make_unique<ChildProcess>(arguments);
        } catch (const std::system_error&) {
            throw std::runtime_error("These tests need Node.js: install the program `node`.");
        }
        port = process->readLine().value_or("nowhere");
    }

    std::string url(const std::string& target) const { return fmt::format("https://localhost:{}{}", port, target); }

    std::unique_ptr<ChildProcess> process;
    std::string port;
};

TEST_F(CurlTransportHTTP2Test, aReadTakesHTTP2WhereItIsOffered) {
    CurlScenario scenario(trusting(authority));

    TransportAnswer answer = scenario.send(get(url("/a")));

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "2.0 1 1");
    EXPECT_NE(
        std::find(answer.headers.begin(), answer.headers.end(), std::pair<std::string, std::string>("x-path", "/a")),
        answer.headers.end());
}

TEST_F(CurlTransportHTTP2Test, aHundredReadsAtOnceAreAnsweredOverFewConnections) {
    CurlScenario scenario(trusting(authority));
    std::vector<std::shared_ptr<CurlScenario::Outcome>> outcomes;
    for (int index = 0; index < 100; ++index) {
        outcomes.push_back(scenario.start(get(url(fmt::format("/{}", index)))));
    }
    for (const auto& outcome : outcomes) {
        scenario.finish(outcome);
        ASSERT_TRUE(outcome->value);
        EXPECT_TRUE(outcome->value->body.starts_with("2.0 ")) << outcome->value->body;
        EXPECT_LE(std::stoi(outcome->value->body.substr(4)), 6) << outcome->value->body;
    }
}

TEST_F(CurlTransportHTTP2Test, aWriteGoesOverAProtocolThatRefusesNothingAndIsSentOnce) {
    CurlScenario scenario(trusting(authority));
    scenario.send(get(url("/")));

    EXPECT_EQ(scenario.send(post(url("/refuse-first"), "{}")).body, "1.1 2 1");
    EXPECT_EQ(scenario.send(get(url("/"))).body, "2.0 2 2");
}

TEST_F(CurlTransportHTTP2Test, aReadThatTheServerRefusedIsSentAgain) {
    CurlScenario scenario(trusting(authority));

    std::string body = scenario.send(get(url("/refuse-first"))).body;

    EXPECT_TRUE(body.starts_with("2.0 ") && body.ends_with(" 2")) << body;
}

}  // namespace
}  // namespace marlet
