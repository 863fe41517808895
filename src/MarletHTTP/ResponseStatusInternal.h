#pragma once

#include <optional>
#include <string>

#include "MarletBase/Clock.h"
#include "MarletHTTP/HTTPResponse.h"

namespace marlet {

// Throws the BackendError that a status other than 2xx stands for. The one place that knows what statuses and
// rate-limit headers mean.
void checkStatus(const HTTPResponse& response, const Clock& clock);

// What a server says in the body of a refusal; no value if it says nothing that can be read.
std::optional<std::string> refusalMessage(const std::string& body);

// "1.5", read whole. No value for anything else, also not for what numbers can hold beside numerals.
std::optional<double> decimalValue(std::string_view text);

}  // namespace marlet
