#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace marlet {

// The parts of a URL, still percent-encoded. A part that is absent differs from one that is empty where RFC 3986 says
// so.
struct URLComponents {
    std::string scheme;
    std::optional<std::string> userInfo;
    std::optional<std::string> host;  // an IPv6 address keeps its brackets
    std::string port;                 // empty when there is none
    std::string path;
    std::optional<std::string> query;
    std::optional<std::string> fragment;

    bool operator==(const URLComponents&) const = default;
};

// A valid URL or relative reference. Equal when the texts are equal.
class URL {
public:
    // The empty reference, which parse never gives: a place for a URL to be read into.
    URL() = default;

    // Characters that a URL can't hold are percent-encoded; no value for an empty text or one that still can't be read.
    static std::optional<URL> parse(std::string_view text);
    static std::optional<URL> build(const URLComponents& components);

    const std::string& text() const { return value; }
    URLComponents components() const;

    bool operator==(const URL&) const = default;

private:
    explicit URL(std::string text) : value(std::move(text)) {}

    std::string value;
};

size_t hash_value(const URL& url);

// Every byte but the letters and digits of ASCII and the allowed punctuation as "%XX".
std::string percentEncoded(std::string_view text, std::string_view allowedPunctuation);

// With the bytes that its "%XX" stand for, whether or not they make up UTF-8. A "%" without two digits behind it stays.
std::string percentDecoded(std::string_view text);

}  // namespace marlet

template <>
struct std::hash<marlet::URL> {
    size_t operator()(const marlet::URL& url) const { return hash_value(url); }
};
