#pragma once

#include <curl/curl.h>

#include <exception>
#include <string>

namespace marlet {

// How a transfer ended that brought no answer.
struct CurlFailure {
    CURLcode code = CURLE_OK;
    long certificateProblem = 0;  // OpenSSL's X509_V_ERR_… code, 0 for a valid chain
    long systemError = 0;         // errno of a connection that couldn't be made
    size_t sizeLimit = 0;         // above 0: the answer was longer than this
};

// The error for the user: NetworkError, or BackendError::invalidResponse for a peer that doesn't speak HTTP.
std::exception_ptr networkError(const CurlFailure& failure, const std::string& host);

}  // namespace marlet
