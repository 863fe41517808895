#include "MarletBase/URL.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <charconv>

namespace marlet {
namespace {

constexpr std::string_view legalPunctuation = "-._~:/?#[]@!$&'()*+,;=%";

// Percent-encodes every byte that no part of a URL may hold.
bool isReadable(const std::string& text) {
    auto parsed = boost::urls::parse_uri_reference(text);
    if (!parsed) {
        return false;
    }
    // The parser takes "http://h:port/" for an empty port and the path "port/", which no authority can have.
    return !parsed->has_authority() || parsed->encoded_path().empty() || parsed->encoded_path().starts_with('/');
}

std::string string(boost::core::string_view view) {
    return {view.data(), view.size()};
}

}  // namespace

std::string percentEncoded(std::string_view text, std::string_view allowedPunctuation) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size());
    for (char character : text) {
        bool isAlphanumeric = (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
                              (character >= 'A' && character <= 'Z');
        if (isAlphanumeric || allowedPunctuation.find(character) != std::string_view::npos) {
            result += character;
        } else {
            auto byte = static_cast<unsigned char>(character);
            result += '%';
            result += digits[byte >> 4];
            result += digits[byte & 15];
        }
    }
    return result;
}

std::string percentDecoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (size_t index = 0; index < text.size(); ++index) {
        std::string_view digits = text[index] == '%' ? text.substr(index + 1, 2) : std::string_view();
        unsigned char byte = 0;
        const char* end = digits.data() + digits.size();
        if (digits.size() == 2 && std::from_chars(digits.data(), end, byte, 16).ptr == end) {
            result += static_cast<char>(byte);
            index += 2;
        } else {
            result += text[index];
        }
    }
    return result;
}

std::optional<URL> URL::parse(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    std::string candidate(text);
    if (isReadable(candidate)) {
        return URL(std::move(candidate));
    }
    candidate = percentEncoded(text, legalPunctuation);
    return isReadable(candidate) ? std::optional(URL(std::move(candidate))) : std::nullopt;
}

std::optional<URL> URL::build(const URLComponents& components) {
    std::string text;
    if (!components.scheme.empty()) {
        text += components.scheme + ":";
    }
    if (components.host) {
        text += "//";
        if (components.userInfo) {
            text += *components.userInfo + "@";
        }
        text += *components.host;
        if (!components.port.empty()) {
            text += ":" + components.port;
        }
    }
    text += components.path;
    if (components.query) {
        text += "?" + *components.query;
    }
    if (components.fragment) {
        text += "#" + *components.fragment;
    }
    return parse(text);
}

URLComponents URL::components() const {
    boost::urls::url_view view = boost::urls::parse_uri_reference(value).value();
    URLComponents result;
    result.scheme = string(view.scheme());
    if (view.has_authority()) {
        if (view.has_userinfo()) {
            result.userInfo = string(view.encoded_userinfo());
        }
        result.host = string(view.encoded_host());
        result.port = string(view.port());
    }
    result.path = string(view.encoded_path());
    if (view.has_query()) {
        result.query = string(view.encoded_query());
    }
    if (view.has_fragment()) {
        result.fragment = string(view.encoded_fragment());
    }
    return result;
}

size_t hash_value(const URL& url) {
    return std::hash<std::string>()(url.text());
}

}  // namespace marlet
