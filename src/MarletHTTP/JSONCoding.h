// The JSON of the services: snake-case keys and the services' spellings of a date. A record only declares its fields.
#pragma once

#include <boost/json/serialize.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "MarletBase/Coding.h"
#include "MarletBase/Date.h"

namespace marlet::JSONCoding {

// `dueDate` is written as "due_date", a date in UTC with whole seconds; an absent optional is left out.
template <class T>
std::string encode(const T& value);

// "due_date" and "dueDate" are both read into `dueDate`. Throws DecodingError, also for bytes that aren't JSON, with
// "Invalid date: " and the text for a date that parseDate can't read.
template <class T>
T decode(std::string_view bytes);

// "2026-03-14T09:26:53Z" or with a fraction of a second, with a zone or in GMT where the latter names none.
std::optional<Date> parseDate(std::string_view text);

}  // namespace marlet::JSONCoding
