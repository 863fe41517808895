#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <charconv>
#include <cmath>
#include <map>
#include <vector>

#include "MarletBase/Coding.h"
#include "MarletBase/Text.h"
#include "MarletCore/BackendError.h"
#include "MarletHTTP/ResponseStatusInternal.h"

namespace marlet {
namespace {

std::string string(const boost::json::string& text) {
    return {text.data(), text.size()};
}

// Jira's general messages. One element of another kind spoils the list.
std::vector<std::string> errorMessages(const boost::json::object& body) {
    const boost::json::value* found = body.if_contains("errorMessages");
    const boost::json::array* array = found ? found->if_array() : nullptr;
    std::vector<std::string> messages;
    for (size_t index = 0; array && index < array->size(); ++index) {
        const boost::json::string* text = (*array)[index].if_string();
        if (!text) {
            return {};
        }
        messages.push_back(string(*text));
    }
    return messages;
}

// Jira's messages by field, in the order of the fields' names. One value of another kind spoils the object.
std::map<std::string, std::string> fieldErrors(const boost::json::object& body) {
    const boost::json::value* found = body.if_contains("errors");
    const boost::json::object* object = found ? found->if_object() : nullptr;
    std::map<std::string, std::string> messages;
    if (!object) {
        return messages;
    }
    for (const auto& member : *object) {
        const boost::json::string* text = member.value().if_string();
        if (!text) {
            return {};
        }
        messages.emplace(std::string(member.key().data(), member.key().size()), string(*text));
    }
    return messages;
}

std::optional<std::string> joined(const std::vector<std::string>& messages) {
    std::string result;
    for (const std::string& message : messages) {
        std::string text = trimmed(message);
        result += result.empty() || text.empty() ? "" : " ";
        result += text;
    }
    return result.empty() ? std::nullopt : std::optional(result);
}

std::optional<double> numberIn(const HTTPResponse& response, std::string_view header) {
    std::optional<std::string> text = response.header(header);
    return text ? decimalValue(*text) : std::nullopt;
}

BackendError refusal(const HTTPResponse& response) {
    std::optional<std::string> message = refusalMessage(response.data);
    return message ? BackendError::rejected(std::move(*message)) : BackendError::http(response.status);
}

// A 403 may mean that the limit is reached, a 429 always does.
BackendError limitOrRefusal(const HTTPResponse& response, const Clock& clock) {
    if (std::optional<double> seconds = numberIn(response, "Retry-After")) {
        return BackendError::rateLimited(clock.now() + *seconds);
    }
    if (response.header("X-RateLimit-Remaining") == "0") {
        std::optional<double> reset = numberIn(response, "X-RateLimit-Reset");
        return BackendError::rateLimited(reset ? std::optional(dateFromSeconds(*reset)) : std::nullopt);
    }
    return response.status == 429 ? BackendError::rateLimited(std::nullopt) : BackendError::http(response.status);
}

// Without its plus sign, which from_chars doesn't take.
std::optional<std::string_view> unsignedOrNegative(std::string_view text) {
    if (!text.starts_with('+')) {
        return text;
    }
    text.remove_prefix(1);
    return text.starts_with('-') ? std::nullopt : std::optional(text);
}

template <class Number>
std::optional<Number> wholeNumber(std::string_view text) {
    std::optional<std::string_view> digits = unsignedOrNegative(text);
    if (!digits) {
        return std::nullopt;
    }
    Number value{};
    auto [end, failure] = std::from_chars(digits->data(), digits->data() + digits->size(), value);
    bool isWhole = failure == std::errc() && end == digits->data() + digits->size();
    return isWhole ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<double> decimalValue(std::string_view text) {
    std::optional<double> value = wholeNumber<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<int64_t> decimalInteger(std::string_view text) {
    return wholeNumber<int64_t>(text);
}

std::optional<std::string> refusalMessage(const std::string& body) {
    boost::json::value json;
    try {
        json = parseJSON(body);
    } catch (const DecodingError&) {
        return std::nullopt;
    }
    const boost::json::object* object = json.if_object();
    if (!object) {
        return std::nullopt;
    }
    std::vector<std::string> messages = errorMessages(*object);
    for (auto& [field, message] : fieldErrors(*object)) {
        messages.push_back(message);
    }
    const boost::json::value* message = object->if_contains("message");
    if (messages.empty() && message && message->is_string()) {
        messages.push_back(string(message->get_string()));
    }
    return joined(messages);
}

void checkStatus(const HTTPResponse& response, const Clock& clock) {
    int status = response.status;
    if (status >= 200 && status <= 299) {
        return;
    }
    if (status == 401) {
        throw BackendError::unauthorized();
    }
    if (status == 404) {
        throw BackendError::notFound();
    }
    if (status == 403 || status == 429) {
        throw limitOrRefusal(response, clock);
    }
    throw status >= 400 && status <= 499 ? refusal(response) : BackendError::http(status);
}

}  // namespace marlet
