#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/URL.h"
#include "MarletHTTP/HTTPTransport.h"
#include "MarletHTTP/JSONCoding.h"

namespace marlet {

struct HTTPResponse {
    std::string data;
    int status = 0;
    std::map<std::string, std::string, std::less<>> headers;  // names in lower case

    // The values of a header that came more than once are joined by ", ".
    static HTTPResponse of(TransportAnswer answer);

    // Any case of the name will do.
    std::optional<std::string> header(std::string_view name) const;
    // The target of the first "Link" entry with this relation.
    std::optional<URL> link(std::string_view relation) const;

    // Throws DecodingError.
    template <class T>
    T decode() const {
        return JSONCoding::decode<T>(data);
    }

    bool operator==(const HTTPResponse&) const = default;
};

// "12", "+12", "-12": a number as headers and queries hold it. No value for anything else.
std::optional<int64_t> decimalInteger(std::string_view text);

}  // namespace marlet
