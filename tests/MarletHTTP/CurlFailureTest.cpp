#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

#include <cerrno>

#include "MarletCore/BackendError.h"
#include "MarletHTTP/CurlFailureInternal.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

using Kind = NetworkError::Kind;

CurlFailure failure(CURLcode code, long certificateProblem = 0, long systemError = 0, size_t sizeLimit = 0) {
    return {code, certificateProblem, systemError, sizeLimit};
}

NetworkError described(const CurlFailure& failure) {
    try {
        std::rethrow_exception(networkError(failure, "tasks.example"));
    } catch (const NetworkError& error) {
        return error;
    }
}

TEST(CurlFailureTest, everyFailureHasItsKindAndText) {
    struct Row {
        CurlFailure failure;
        Kind kind;
        const char* text;
    };
    constexpr const char* interrupted =
        "The connection to tasks.example was closed before the answer had ended. Try again later.";
    constexpr const char* insecure =
        "No secure connection to tasks.example can be made. Check the account's address, or ask the server's "
        "administrator.";
    constexpr const char* untrusted =
        "The certificate of tasks.example isn't trusted. Check the account's address, or add the authority that issued "
        "the certificate to this computer's trusted ones.";
    const std::vector<Row> rows = {
        {failure(CURLE_COULDNT_RESOLVE_HOST), Kind::unreachable,
         "The server tasks.example can't be found. Check the account's address and the network connection."},
        {failure(CURLE_COULDNT_RESOLVE_PROXY), Kind::unreachable,
         "The proxy on the way to tasks.example can't be used. Check the proxy settings."},
        {failure(CURLE_PROXY), Kind::unreachable,
         "The proxy on the way to tasks.example can't be used. Check the proxy settings."},
        {failure(CURLE_COULDNT_CONNECT, 0, ECONNREFUSED), Kind::unreachable,
         "The server tasks.example refused the connection. Check the account's address, or try again later."},
        {failure(CURLE_COULDNT_CONNECT, 0, ENETUNREACH), Kind::unreachable,
         "There is no network connection to tasks.example. Try again when this computer is online."},
        {failure(CURLE_COULDNT_CONNECT, 0, EHOSTUNREACH), Kind::unreachable,
         "The server tasks.example can't be reached. Check the network connection and the account's address."},
        {failure(CURLE_OPERATION_TIMEDOUT), Kind::timedOut,
         "The server tasks.example didn't answer in time. Try again later."},
        {failure(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY), Kind::certificate,
         untrusted},
        {failure(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT), Kind::certificate, untrusted},
        {failure(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_CERT_HAS_EXPIRED), Kind::certificate,
         "The certificate of tasks.example has expired. Ask the server's administrator to renew it, and check this "
         "computer's date."},
        {failure(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_CERT_NOT_YET_VALID), Kind::certificate,
         "The certificate of tasks.example isn't valid yet. Check this computer's date and time."},
        {failure(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_UNSPECIFIED), Kind::certificate,
         "The certificate of tasks.example was issued for another name. Check the account's address."},
        {failure(CURLE_SSL_ISSUER_ERROR), Kind::certificate, untrusted},
        {failure(CURLE_SSL_INVALIDCERTSTATUS), Kind::certificate, untrusted},
        {failure(CURLE_SSL_CONNECT_ERROR), Kind::tls, insecure},
        {failure(CURLE_SSL_CIPHER), Kind::tls, insecure},
        {failure(CURLE_SSL_CLIENTCERT), Kind::tls,
         "The server tasks.example asks for a certificate of this computer, which isn't supported. Ask its "
         "administrator for another address."},
        {failure(CURLE_SSL_CACERT_BADFILE), Kind::certificate,
         "The server tasks.example can't be verified: this computer's list of trusted authorities can't be read. "
         "Install the package ca-certificates."},
        {failure(CURLE_GOT_NOTHING), Kind::interrupted, interrupted},
        {failure(CURLE_PARTIAL_FILE), Kind::interrupted, interrupted},
        {failure(CURLE_SEND_ERROR), Kind::interrupted, interrupted},
        {failure(CURLE_RECV_ERROR), Kind::interrupted, interrupted},
        {failure(CURLE_HTTP2), Kind::interrupted, interrupted},
        {failure(CURLE_HTTP2_STREAM), Kind::interrupted, interrupted},
        {failure(CURLE_WRITE_ERROR, 0, 0, size_t(256) << 20), Kind::tooLarge,
         "The answer of tasks.example is larger than 256 MB and wasn't read. Check the account's address."},
        {failure(CURLE_FILESIZE_EXCEEDED, 0, 0, 1000), Kind::tooLarge,
         "The answer of tasks.example is larger than 1000 bytes and wasn't read. Check the account's address."},
        {failure(CURLE_OUT_OF_MEMORY), Kind::other, "There isn't enough memory for the answer of tasks.example."},
        {failure(CURLE_BAD_FUNCTION_ARGUMENT), Kind::other,
         "The request to tasks.example failed (network error 43). Try again later."},
    };
    for (const Row& row : rows) {
        NetworkError error = described(row.failure);
        EXPECT_EQ(error.errorDescription(), row.text) << row.failure.code;
        EXPECT_EQ(error.kind(), row.kind) << row.failure.code;
    }
}

TEST(CurlFailureTest, anAnswerThatIsNotHTTPIsAnInvalidResponse) {
    for (CURLcode code : {CURLE_UNSUPPORTED_PROTOCOL, CURLE_WEIRD_SERVER_REPLY, CURLE_BAD_CONTENT_ENCODING}) {
        try {
            std::rethrow_exception(networkError(failure(code), "tasks.example"));
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::invalidResponse()) << code;
        } catch (const NetworkError& error) {
            ADD_FAILURE() << code << ": " << error.errorDescription();
        }
    }
}

TEST(CurlFailureTest, everyOtherCodeNamesTheHostInASentence) {
    for (int code = 1; code < CURL_LAST; ++code) {
        try {
            std::rethrow_exception(networkError(failure(static_cast<CURLcode>(code)), "tasks.example"));
        } catch (const NetworkError& error) {
            EXPECT_NE(error.errorDescription().find("tasks.example"), std::string::npos) << code;
            EXPECT_TRUE(error.errorDescription().ends_with('.')) << code;
        } catch (const BackendError&) {
            continue;  // says of itself what happened
        }
    }
}

}  // namespace
}  // namespace marlet
