#pragma once

#include <exception>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "MarletCore/BackendError.h"

namespace marlet {

// Every kind of failure, with how far it reaches.
struct FailureCase {
    std::string name;
    std::exception_ptr error;
    bool isNarrow = false;
    std::string message;

    friend void PrintTo(const FailureCase& failure, std::ostream* stream) { *stream << failure.name; }
};

inline FailureCase failureCase(const std::string& name, const BackendError& error, bool isNarrow) {
    return {name, std::make_exception_ptr(error), isNarrow, error.errorDescription()};
}

inline std::vector<FailureCase> failureCases() {
    return {
        failureCase("rejected", BackendError::rejected("Not on a Sunday."), true),
        failureCase("unknownLabels", BackendError::unknownLabels({"red", "blue"}), true),
        failureCase("notFound", BackendError::notFound(), true),
        failureCase("http 400", BackendError::http(400), true),
        failureCase("http 403", BackendError::http(403), true),
        failureCase("http 499", BackendError::http(499), true),
        failureCase("http 399", BackendError::http(399), false),
        failureCase("http 304", BackendError::http(304), false),
        failureCase("http 500", BackendError::http(500), false),
        failureCase("http 503", BackendError::http(503), false),
        failureCase("rateLimited", BackendError::rateLimited(std::nullopt), false),
        failureCase("unauthorized", BackendError::unauthorized(), false),
        failureCase("invalidURL", BackendError::invalidURL(), false),
        failureCase("invalidResponse", BackendError::invalidResponse(), false),
        {"another error", std::make_exception_ptr(std::runtime_error("The cable is out")), false,
         "The operation failed: The cable is out."},
        {"no exception type of the library", std::make_exception_ptr(7), false,
         "The operation failed for an unknown reason."},
    };
}

}  // namespace marlet
