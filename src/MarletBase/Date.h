// Absolute points in time, and their text forms.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace marlet {

// Seconds since 1970-01-01 00:00 UTC, with a fraction.
using Date = std::chrono::sys_time<std::chrono::duration<double>>;

// Before and after every date that a service or a user can name.
inline constexpr Date distantPast{std::chrono::duration<double>(-62135769600.0)};
inline constexpr Date distantFuture{std::chrono::duration<double>(64092211200.0)};

constexpr Date dateFromSeconds(double secondsSince1970) {
    return Date(std::chrono::duration<double>(secondsSince1970));
}
constexpr double secondsSince1970(Date date) {
    return date.time_since_epoch().count();
}
constexpr double secondsBetween(Date start, Date end) {
    return (end - start).count();
}
constexpr Date operator+(Date date, double seconds) {
    return date + std::chrono::duration<double>(seconds);
}
constexpr Date operator-(Date date, double seconds) {
    return date - std::chrono::duration<double>(seconds);
}

// "2026-01-31T09:05:00Z": UTC, cut to whole seconds.
std::string iso8601(Date date);

// An RFC 3339 date-time with a zone, such as "2026-01-31T09:05:00.25+01:00". No value for anything else.
std::optional<Date> parseISO8601(std::string_view text);

// As the services write it: "2026-03-14T09:26:53Z" or "…53+01:00", or with a fraction of a second and then with a zone
// or none, which means UTC: "…53.589Z", "…53.589+0100", "…53.589". No value for anything else.
std::optional<Date> parseServiceDate(std::string_view text);

// "2026-01-31", read as the first moment of that day in the computer's time zone. No value for anything else, also not
// for February 30.
std::optional<Date> parseLocalDay(std::string_view text);
// The way back: the day that a date falls on in the computer's time zone.
std::string localDay(Date date);

// The time of day in the user's short form, such as "15:30" or "3:30 PM".
std::string shortLocalTime(Date date);

}  // namespace marlet
