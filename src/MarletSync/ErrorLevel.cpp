#include "MarletSync/ErrorLevelInternal.h"

#include <variant>

namespace marlet {
namespace {

struct Level {
    ErrorLevel operator()(const BackendError::Rejected&) const { return ErrorLevel::narrow; }
    ErrorLevel operator()(const BackendError::UnknownLabels&) const { return ErrorLevel::narrow; }
    ErrorLevel operator()(const BackendError::NotFound&) const { return ErrorLevel::narrow; }
    ErrorLevel operator()(const BackendError::HTTP& error) const {
        return error.status >= 400 && error.status <= 499 ? ErrorLevel::narrow : ErrorLevel::account;
    }
    ErrorLevel operator()(const BackendError::RateLimited&) const { return ErrorLevel::account; }
    ErrorLevel operator()(const BackendError::Unauthorized&) const { return ErrorLevel::account; }
    ErrorLevel operator()(const BackendError::InvalidURL&) const { return ErrorLevel::account; }
    ErrorLevel operator()(const BackendError::InvalidResponse&) const { return ErrorLevel::account; }
};

}  // namespace

ErrorLevel errorLevel(const BackendError& error) {
    return std::visit(Level{}, error.payload());
}

ErrorLevel errorLevel(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const BackendError& known) {
        return errorLevel(known);
    } catch (...) {
        return ErrorLevel::account;
    }
}

}  // namespace marlet
