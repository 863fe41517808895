#include "MarletHTTP/HTTPTransport.h"

#include <algorithm>

namespace marlet {
namespace {

constexpr char lowercased(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

std::string_view requestName(HTTPMethod method) {
    switch (method) {
        case HTTPMethod::get:
            return "GET";
        case HTTPMethod::post:
            return "POST";
        case HTTPMethod::put:
            return "PUT";
        case HTTPMethod::patch:
            return "PATCH";
        case HTTPMethod::delete_:
            return "DELETE";
    }
    return "GET";
}

bool HTTPHeaderOrder::operator()(std::string_view left, std::string_view right) const {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](char one, char other) { return lowercased(one) < lowercased(other); });
}

}  // namespace marlet
