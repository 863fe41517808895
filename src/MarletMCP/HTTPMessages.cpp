#include "MarletMCP/HTTPMessages.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace marlet {

IncomingRequest::IncomingRequest(std::string sentMethod, std::string sentPath, const HTTPHeaders& sentHeaders,
                                 std::string sentBody)
    : method(std::move(sentMethod)), path(std::move(sentPath)), body(std::move(sentBody)) {
    for (const auto& [name, value] : sentHeaders) {
        headers[lowered(name)] = value;
    }
}

const std::string* IncomingRequest::header(std::string_view name) const {
    auto found = headers.find(lowered(name));
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
    HTTPHeaders all = headers;
    all["Content-Length"] = std::to_string(body.size());
    all["Connection"] = keepAlive ? "keep-alive" : "close";
    std::string result;
    fmt::format_to(std::back_inserter(result), "HTTP/1.1 {} {}\r\n", status, reasonPhrase(status));
    for (const auto& [name, value] : all) {
        result += name;
        result += ": ";
        result += value;
        result += "\r\n";
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
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

}  // namespace marlet
