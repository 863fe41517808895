#pragma once

#include "MarletBase/LocalizedError.h"

namespace marlet {

// No answer came. The text names the host and says what to do; it never holds a token, a header or a query.
class NetworkError final : public LocalizedError {
public:
    enum class Kind {
        unreachable,
        tls,          // there is no way to speak with encryption
        certificate,  // there is one, but who answers isn't known to be the right one
        timedOut,
        interrupted,
        tooLarge,
        redirect,
        other,
    };

    NetworkError(Kind kind, std::string text) : LocalizedError(std::move(text)), reason(kind) {}

    Kind kind() const { return reason; }

private:
    Kind reason;
};

}  // namespace marlet
