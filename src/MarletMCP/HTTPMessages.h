// Requests and responses of the local server, as plain values.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "MarletMCP/JSONValue.h"

namespace marlet {

using HTTPHeaders = std::map<std::string, std::string, std::less<>>;

struct IncomingRequest {
    IncomingRequest() = default;
    // Lowers the names of the headers.
    IncomingRequest(std::string method, std::string path, const HTTPHeaders& headers, std::string body);

    std::string method;
    std::string path;  // without the query
    HTTPHeaders headers;
    std::string body;

    // The value of a header, named in any case; null if there is none.
    const std::string* header(std::string_view name) const;

    bool operator==(const IncomingRequest&) const = default;
};

struct OutgoingResponse {
    int status = 200;
    HTTPHeaders headers;
    std::string body;

    static OutgoingResponse json(const JSONValue& value, int status = 200, HTTPHeaders headers = {});
    static OutgoingResponse text(std::string text, int status, HTTPHeaders headers = {});

    // Status line and headers up to the empty line; what stands in front of `body` on the wire.
    std::string head(bool keepAlive) const;

    bool operator==(const OutgoingResponse&) const = default;
};

std::string_view reasonPhrase(int status);

// Without the blanks and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);

// ASCII letters only: what the names and keywords of HTTP are made of.
std::string lowered(std::string_view text);

}  // namespace marlet
