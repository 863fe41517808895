#include "MarletCore/BackendError.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace marlet {
namespace {

struct Describe {
    std::string operator()(const BackendError::RateLimited& error) const {
        return error.until ? fmt::format("Rate limited until {}.", shortLocalTime(*error.until))
                           : "Rate limited by the server.";
    }
    std::string operator()(const BackendError::HTTP& error) const {
        return fmt::format("The server responded with HTTP {}.", error.status);
    }
    std::string operator()(const BackendError::UnknownLabels& error) const {
        return fmt::format("Unknown labels: {}.", fmt::join(error.names, ", "));
    }
    std::string operator()(const BackendError::Rejected& error) const { return error.message; }
    std::string operator()(const BackendError::Unauthorized&) const { return "The server rejected the access token."; }
    std::string operator()(const BackendError::NotFound&) const { return "Not found on the server."; }
    std::string operator()(const BackendError::InvalidURL&) const { return "The server URL is invalid."; }
    std::string operator()(const BackendError::InvalidResponse&) const {
        return "The server sent an unexpected response.";
    }
};

}  // namespace

BackendError::BackendError(Case error) : LocalizedError(std::visit(Describe{}, error)), kind(std::move(error)) {}

}  // namespace marlet
