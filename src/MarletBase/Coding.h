// JSON coding of described records: BOOST_DESCRIBE_STRUCT is all that a record declares.
//
// Keys are the member names in the style's form, enumerators their own names. An absent optional is left out, and a
// null reads as absent. A member that is missing or of another kind throws DecodingError, unknown members are passed
// over. The keys of a map are data and stay as they are in every style.
//
// A type with a form of its own overloads, in its own namespace, encode(const X&, const CodingStyle&) and
// decode(const boost::json::value&, X&, const DecodingPath&); the path knows the style.
#pragma once

#include <boost/json/storage_ptr.hpp>
#include <boost/json/value.hpp>
#include <string>
#include <string_view>

#include "MarletBase/Decoding.h"
#include "MarletBase/Encoding.h"

namespace marlet {

template <class T>
T decoded(const boost::json::value& json, const CodingStyle& style = DateCoding::seconds) {
    T result{};
    decode(json, result, DecodingPath(style));
    return result;
}

// Throws DecodingError for bytes that aren't JSON. Nesting is bounded. The value lives in `storage`.
boost::json::value parseJSON(std::string_view bytes, boost::json::storage_ptr storage = {});

// Objects with their keys in ascending order, "/" not escaped.
std::string sortedJSON(const boost::json::value& value);

}  // namespace marlet
