#include "MarletMCP/HTTPMessages.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace marlet {
namespace {

bool isUpper(char character) {
    return character >= 'A' && character <= 'Z';
}

void appendHeader(std::string& head, std::string_view name, std::string_view value) {
    head += name;
    head += ": ";
    head += value;
    head += "\r\n";
}

}  // namespace

IncomingRequest::IncomingRequest(std::string sentMethod, std::string sentPath, const HTTPHeaders& sentHeaders,
                                 std::string sentBody)
    : method(std::move(sentMethod)), path(std::move(sentPath)), body(std::move(sentBody)) {
    for (const auto& [name, value] : sentHeaders) {
        headers[lowered(name)] = value;
    }
}

const std::string* IncomingRequest::header(std::string_view name) const {
    // A name that is lowered already, as nearly all are, costs no copy.
    auto found = headers.find(name);
    if (found == headers.end() && std::any_of(name.begin(), name.end(), isUpper)) {
        found = headers.find(lowered(name));
    }
    return found == headers.end() ? nullptr : &found->second;
}

OutgoingResponse OutgoingResponse::json(const JSONValue& value, int status, HTTPHeaders headers) {
    headers["Content-Type"] = "application/json";
    return {status, std::move(headers), value.data()};
}

OutgoingResponse OutgoingResponse::text(std::string text, int status, HTTPHeaders headers) {
    headers["Content-Type"] = "text/plain; charset=utf-8";
    return {status, std::move(headers), std::move(text)};
}

std::string OutgoingResponse::head(bool keepAlive) const {
    const std::string length = std::to_string(body.size());
    // In the order of their names, like the response's own.
    const std::array<std::pair<std::string_view, std::string_view>, 2> set = {
        {{"Connection", keepAlive ? "keep-alive" : "close"}, {"Content-Length", length}}};
    auto next = set.begin();
    std::string result;
    result.reserve(256);
    fmt::format_to(std::back_inserter(result), "HTTP/1.1 {} {}\r\n", status, reasonPhrase(status));
    for (const auto& [name, value] : headers) {
        for (; next != set.end() && next->first < name; ++next) {
            appendHeader(result, next->first, next->second);
        }
        bool isReplaced = next != set.end() && next->first == name;
        if (!isReplaced) {
            appendHeader(result, name, value);
        }
    }
    for (; next != set.end(); ++next) {
        appendHeader(result, next->first, next->second);
    }
    result += "\r\n";
    return result;
}

std::string_view reasonPhrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 202:
            return "Accepted";
        case 204:
            return "No Content";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 406:
            return "Not Acceptable";
        case 413:
            return "Content Too Large";
        case 415:
            return "Unsupported Media Type";
        default:
            return status < 500 ? "Error" : "Internal Server Error";
    }
}

std::string_view trimmedBlanks(std::string_view text) {
    size_t start = text.find_first_not_of(" \t");
    if (start == std::string_view::npos) {
        return {};
    }
    return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char character) {
        return isUpper(character) ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

}  // namespace marlet
