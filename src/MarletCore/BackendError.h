#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "MarletBase/Date.h"
#include "MarletBase/LocalizedError.h"

namespace marlet {

// What a service reports, in the words that the user sees.
class BackendError final : public LocalizedError {
public:
    struct RateLimited {
        std::optional<Date> until;
        bool operator==(const RateLimited&) const = default;
    };
    struct HTTP {
        int status = 0;
        bool operator==(const HTTP&) const = default;
    };
    struct UnknownLabels {
        std::vector<std::string> names;
        bool operator==(const UnknownLabels&) const = default;
    };
    struct Rejected {
        std::string message;
        bool operator==(const Rejected&) const = default;
    };
    struct Unauthorized {
        bool operator==(const Unauthorized&) const = default;
    };
    struct NotFound {
        bool operator==(const NotFound&) const = default;
    };
    struct InvalidURL {
        bool operator==(const InvalidURL&) const = default;
    };
    struct InvalidResponse {
        bool operator==(const InvalidResponse&) const = default;
    };
    using Case =
        std::variant<RateLimited, HTTP, UnknownLabels, Rejected, Unauthorized, NotFound, InvalidURL, InvalidResponse>;

    explicit BackendError(Case error);

    static BackendError rateLimited(std::optional<Date> until) { return BackendError(RateLimited{until}); }
    static BackendError http(int status) { return BackendError(HTTP{status}); }
    static BackendError unknownLabels(std::vector<std::string> names) {
        return BackendError(UnknownLabels{std::move(names)});
    }
    static BackendError rejected(std::string message) { return BackendError(Rejected{std::move(message)}); }
    static BackendError unauthorized() { return BackendError(Unauthorized{}); }
    static BackendError notFound() { return BackendError(NotFound{}); }
    static BackendError invalidURL() { return BackendError(InvalidURL{}); }
    static BackendError invalidResponse() { return BackendError(InvalidResponse{}); }

    const Case& payload() const { return kind; }

    // The payload if this is that case: error.as<BackendError::HTTP>().
    template <class Kind>
    const Kind* as() const {
        return std::get_if<Kind>(&kind);
    }

    bool operator==(const BackendError& other) const { return kind == other.kind; }

private:
    Case kind;
};

}  // namespace marlet
