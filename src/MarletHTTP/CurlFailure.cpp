#include <fmt/format.h>
#include <openssl/x509_vfy.h>

#include <cerrno>

#include "MarletCore/BackendError.h"
#include "MarletHTTP/CurlFailureInternal.h"
#include "MarletHTTP/NetworkError.h"

namespace marlet {
namespace {

using Kind = NetworkError::Kind;

std::string certificateText(long problem, const std::string& host) {
    switch (problem) {
        // Of the chain nothing is said: it was the name, which libcurl looks at first.
        case X509_V_OK:
        case X509_V_ERR_UNSPECIFIED:
            return fmt::format("The certificate of {} was issued for another name. Check the account's address.", host);
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return fmt::format(
                "The certificate of {} has expired. Ask the server's administrator to renew it, and check this "
                "computer's date.",
                host);
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return fmt::format("The certificate of {} isn't valid yet. Check this computer's date and time.", host);
        default:
            return fmt::format(
                "The certificate of {} isn't trusted. Check the account's address, or add the authority that issued "
                "the certificate to this computer's trusted ones.",
                host);
    }
}

std::string connectText(long systemError, const std::string& host) {
    switch (systemError) {
        case ECONNREFUSED:
            return fmt::format("The server {} refused the connection. Check the account's address, or try again later.",
                               host);
        case ENETUNREACH:
        case ENETDOWN:
            return fmt::format("There is no network connection to {}. Try again when this computer is online.", host);
        default:
            return fmt::format(
                "The server {} can't be reached. Check the network connection and the account's address.", host);
    }
}

std::string sizeText(size_t limit, const std::string& host) {
    constexpr size_t megabyte = size_t(1) << 20;
    std::string size = limit >= megabyte ? fmt::format("{} MB", limit / megabyte) : fmt::format("{} bytes", limit);
    return fmt::format("The answer of {} is larger than {} and wasn't read. Check the account's address.", host, size);
}

NetworkError describe(const CurlFailure& failure, const std::string& host) {
    switch (failure.code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return {Kind::unreachable,
                    fmt::format("The server {} can't be found. Check the account's address and the network connection.",
                                host)};
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_PROXY:
            return {Kind::unreachable,
                    fmt::format("The proxy on the way to {} can't be used. Check the proxy settings.", host)};
        case CURLE_COULDNT_CONNECT:
        case CURLE_INTERFACE_FAILED:
            return {Kind::unreachable, connectText(failure.systemError, host)};
        case CURLE_OPERATION_TIMEDOUT:
            return {Kind::timedOut, fmt::format("The server {} didn't answer in time. Try again later.", host)};
        case CURLE_PEER_FAILED_VERIFICATION:
            return {Kind::certificate, certificateText(failure.certificateProblem, host)};
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return {Kind::certificate, certificateText(X509_V_ERR_CERT_UNTRUSTED, host)};
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CIPHER:
        case CURLE_USE_SSL_FAILED:
        case CURLE_SSL_SHUTDOWN_FAILED:
            return {Kind::tls,
                    fmt::format("No secure connection to {} can be made. Check the account's address, or ask the "
                                "server's administrator.",
                                host)};
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CLIENTCERT:
            return {Kind::tls,
                    fmt::format("The server {} asks for a certificate of this computer, which isn't supported. Ask its "
                                "administrator for another address.",
                                host)};
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_ENGINE_INITFAILED:
            return {Kind::certificate,
                    fmt::format("The server {} can't be verified: this computer's list of trusted authorities can't be "
                                "read. Install the package ca-certificates.",
                                host)};
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_FAIL_REWIND:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return {Kind::interrupted,
                    fmt::format("The connection to {} was closed before the answer had ended. Try again later.", host)};
        case CURLE_OUT_OF_MEMORY:
            return {Kind::other, fmt::format("There isn't enough memory for the answer of {}.", host)};
        default:
            return {Kind::other, fmt::format("The request to {} failed (network error {}). Try again later.", host,
                                             static_cast<int>(failure.code))};
    }
}

}  // namespace

std::exception_ptr networkError(const CurlFailure& failure, const std::string& host) {
    if (failure.sizeLimit > 0) {
        return std::make_exception_ptr(NetworkError(Kind::tooLarge, sizeText(failure.sizeLimit, host)));
    }
    switch (failure.code) {
        // The first is what a status line of another protocol or of none at all gives: the address was looked at
        // before.
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
            return std::make_exception_ptr(BackendError::invalidResponse());
        default:
            return std::make_exception_ptr(describe(failure, host));
    }
}

}  // namespace marlet
