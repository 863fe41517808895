#include <fmt/format.h>

#include <boost/json/basic_parser_impl.hpp>
#include <charconv>
#include <cmath>

#include "MarletMCP/JSONValue.h"

namespace marlet {
namespace {

using ParserText = boost::json::string_view;
using ParserError = boost::json::error_code;

// Builds the value while the parser reads. Between two callbacks `open` holds the containers from the outermost to the
// one being filled.
class ValueBuilder {
public:
    static constexpr size_t max_object_size = static_cast<size_t>(-1);
    static constexpr size_t max_array_size = static_cast<size_t>(-1);
    static constexpr size_t max_key_size = static_cast<size_t>(-1);
    static constexpr size_t max_string_size = static_cast<size_t>(-1);

    bool on_document_begin(ParserError&) { return true; }
    bool on_document_end(ParserError&) { return true; }
    bool on_array_begin(ParserError&) { return begin(JSONValue::Array()); }
    bool on_array_end(size_t, ParserError&) { return end(); }
    bool on_object_begin(ParserError&) { return begin(JSONValue::Object()); }
    bool on_object_end(size_t, ParserError&) { return end(); }
    bool on_key_part(ParserText part, size_t, ParserError&) { return collect(part); }
    bool on_key(ParserText part, size_t, ParserError&) {
        collect(part);
        open.back().key = std::exchange(text, {});
        return true;
    }
    bool on_string_part(ParserText part, size_t, ParserError&) { return collect(part); }
    bool on_string(ParserText part, size_t, ParserError&) {
        collect(part);
        return place(std::exchange(text, {}));
    }
    bool on_number_part(ParserText part, ParserError&) { return collect(part); }
    bool on_int64(int64_t number, ParserText, ParserError&) { return placeNumber(static_cast<double>(number)); }
    bool on_uint64(uint64_t number, ParserText, ParserError&) { return placeNumber(static_cast<double>(number)); }
    bool on_double(double approximation, ParserText part, ParserError& error);
    bool on_bool(bool flag, ParserError&) { return place(flag); }
    bool on_null(ParserError&) { return place(nullptr); }
    bool on_comment_part(ParserText, ParserError&) { return true; }
    bool on_comment(ParserText, ParserError&) { return true; }

    JSONValue takeResult() { return std::move(result); }

private:
    struct Container {
        JSONValue value;
        std::string key;  // of the member that is being read
    };

    bool collect(ParserText part) {
        text.append(part.data(), part.size());
        return true;
    }

    bool begin(JSONValue container) {
        open.push_back({std::move(container), {}});
        return true;
    }

    bool end() {
        JSONValue finished = std::move(open.back().value);
        open.pop_back();
        return place(std::move(finished));
    }

    bool placeNumber(double number) {
        text.clear();
        return place(number);
    }

    bool place(JSONValue finished) {
        if (open.empty()) {
            result = std::move(finished);
        } else if (JSONValue::Array* elements = open.back().value.arrayValue()) {
            elements->push_back(std::move(finished));
        } else {
            open.back().value.objectValue()->insert_or_assign(std::move(open.back().key), std::move(finished));
        }
        return true;
    }

    std::vector<Container> open;
    std::string text;
    JSONValue result;
};

// The parser's own conversion may be off in the last bit; the nearest double is wanted.
bool ValueBuilder::on_double(double approximation, ParserText part, ParserError& error) {
    collect(part);
    double exact = 0;
    std::errc failure = std::from_chars(text.data(), text.data() + text.size(), exact).ec;
    if (failure == std::errc::result_out_of_range && std::fabs(approximation) < 1) {
        exact = 0;
    } else if (failure != std::errc()) {
        error = boost::json::error::exponent_overflow;
        return false;
    }
    return placeNumber(exact);
}

}  // namespace

JSONValue JSONValue::decode(std::string_view bytes) {
    boost::json::parse_options options;
    options.max_depth = maximalDepth;
    boost::json::basic_parser<ValueBuilder> parser(options);
    ParserError failure;
    size_t read = parser.write_some(false, bytes.data(), bytes.size(), failure);
    if (!failure && read < bytes.size()) {
        failure = boost::json::error::extra_data;
    }
    if (failure) {
        throw JSONError(fmt::format("The text isn't JSON: {} at byte {}.", failure.message(), read));
    }
    return parser.handler().takeResult();
}

}  // namespace marlet
