#include "MarletBase/Date.h"

#include <fmt/format.h>
#include <unicode/datefmt.h>

#include <cmath>
#include <ctime>
#include <memory>

namespace marlet {
namespace {

// Reads exactly `count` ASCII digits at the front and moves past them.
std::optional<int> takeDigits(std::string_view& text, size_t count) {
    if (text.size() < count) {
        return std::nullopt;
    }
    int value = 0;
    for (char digit : text.substr(0, count)) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        value = value * 10 + (digit - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool takeCharacter(std::string_view& text, char expected) {
    if (text.empty() || text.front() != expected) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

std::optional<std::chrono::year_month_day> takeDay(std::string_view& text) {
    std::optional<int> year = takeDigits(text, 4);
    if (!year || !takeCharacter(text, '-')) {
        return std::nullopt;
    }
    std::optional<int> month = takeDigits(text, 2);
    if (!month || !takeCharacter(text, '-')) {
        return std::nullopt;
    }
    std::optional<int> day = takeDigits(text, 2);
    if (!day) {
        return std::nullopt;
    }
    std::chrono::year_month_day result{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                                       std::chrono::day(static_cast<unsigned>(*day))};
    return result.ok() ? std::optional(result) : std::nullopt;
}

// "Z", "+02:00", "-0330": the offset from UTC in seconds.
std::optional<int> takeZone(std::string_view& text) {
    if (takeCharacter(text, 'Z') || takeCharacter(text, 'z')) {
        return 0;
    }
    bool isWest = !text.empty() && text.front() == '-';
    if (!takeCharacter(text, '+') && !takeCharacter(text, '-')) {
        return std::nullopt;
    }
    std::optional<int> hours = takeDigits(text, 2);
    takeCharacter(text, ':');
    std::optional<int> minutes = takeDigits(text, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    int offset = (*hours * 60 + *minutes) * 60;
    return isWest ? -offset : offset;
}

// The digits behind the decimal point, as a part of a second.
std::optional<double> takeFraction(std::string_view& text) {
    double value = 0;
    double place = 0.1;
    size_t length = 0;
    for (; length < text.size() && text[length] >= '0' && text[length] <= '9'; ++length) {
        value += (text[length] - '0') * place;
        place /= 10;
    }
    text.remove_prefix(length);
    return length > 0 ? std::optional(value) : std::nullopt;
}

struct TimeOfDay {
    int64_t seconds = 0;
    double fraction = 0;
    bool hasFraction = false;
};

// "09:26:53", also with a fraction.
std::optional<TimeOfDay> takeTime(std::string_view& text) {
    std::optional<int> hour = takeDigits(text, 2);
    if (!hour || !takeCharacter(text, ':')) {
        return std::nullopt;
    }
    std::optional<int> minute = takeDigits(text, 2);
    if (!minute || !takeCharacter(text, ':')) {
        return std::nullopt;
    }
    std::optional<int> second = takeDigits(text, 2);
    // A leap second is a valid second 60.
    if (!second || *hour > 23 || *minute > 59 || *second > 60) {
        return std::nullopt;
    }
    TimeOfDay time{(*hour * 60 + *minute) * 60 + *second};
    if (takeCharacter(text, '.')) {
        std::optional<double> fraction = takeFraction(text);
        if (!fraction) {
            return std::nullopt;
        }
        time.fraction = *fraction;
        time.hasFraction = true;
    }
    return time;
}

Date date(std::chrono::year_month_day day, const TimeOfDay& time, int zone) {
    std::chrono::sys_seconds midnight = std::chrono::sys_days(day);
    int64_t whole = midnight.time_since_epoch().count() + time.seconds - zone;
    return dateFromSeconds(static_cast<double>(whole) + time.fraction);
}

// The day in the computer's zone.
std::chrono::sys_days localDays(std::time_t seconds) {
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return std::chrono::year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
}

// The first moment of a day in the computer's zone. Where the clocks go forward at midnight that is a later hour, and
// where they go back over it, midnight comes twice: mktime alone may then answer with the day before, or once so and
// once so.
Date beginningOf(std::chrono::year_month_day day) {
    std::tm local{};
    local.tm_year = static_cast<int>(day.year()) - 1900;
    local.tm_mon = static_cast<int>(static_cast<unsigned>(day.month())) - 1;
    local.tm_mday = static_cast<int>(static_cast<unsigned>(day.day()));
    local.tm_isdst = -1;
    std::time_t found = std::mktime(&local);
    std::chrono::sys_days wanted(day);
    if (localDays(found) != wanted || localDays(found - 1) >= wanted) {
        constexpr std::time_t farthestZone = 26 * 3600;
        std::time_t midnight = std::chrono::sys_seconds(wanted).time_since_epoch().count();
        std::time_t before = midnight - farthestZone;
        found = midnight + farthestZone;
        while (found - before > 1) {
            std::time_t middle = before + (found - before) / 2;
            (localDays(middle) < wanted ? before : found) = middle;
        }
    }
    return dateFromSeconds(static_cast<double>(found));
}

}  // namespace

std::string iso8601(Date date) {
    auto seconds = static_cast<int64_t>(std::floor(secondsSince1970(date)));
    std::chrono::sys_seconds point{std::chrono::seconds(seconds)};
    auto midnight = std::chrono::floor<std::chrono::days>(point);
    std::chrono::year_month_day day(midnight);
    std::chrono::hh_mm_ss time(point - midnight);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(day.year()),
                       static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), time.hours().count(),
                       time.minutes().count(), time.seconds().count());
}

std::optional<Date> parseISO8601(std::string_view text) {
    std::optional<std::chrono::year_month_day> day = takeDay(text);
    if (!day || !(takeCharacter(text, 'T') || takeCharacter(text, 't') || takeCharacter(text, ' '))) {
        return std::nullopt;
    }
    std::optional<TimeOfDay> time = takeTime(text);
    std::optional<int> zone = takeZone(text);
    if (!time || !zone || !text.empty()) {
        return std::nullopt;
    }
    return date(*day, *time, *zone);
}

std::optional<Date> parseServiceDate(std::string_view text) {
    std::optional<std::chrono::year_month_day> day = takeDay(text);
    if (!day || !takeCharacter(text, 'T')) {
        return std::nullopt;
    }
    std::optional<TimeOfDay> time = takeTime(text);
    bool isZoneKnown = time && time->hasFraction && text.empty();
    std::optional<int> zone = isZoneKnown ? 0 : takeZone(text);
    if (!time || !zone || !text.empty()) {
        return std::nullopt;
    }
    return date(*day, *time, *zone);
}

std::optional<Date> parseLocalDay(std::string_view text) {
    std::optional<std::chrono::year_month_day> day = takeDay(text);
    return day && text.empty() ? std::optional(beginningOf(*day)) : std::nullopt;
}

std::string localDay(Date date) {
    ::tzset();  // the computer may have moved to another zone
    std::chrono::year_month_day day(localDays(static_cast<std::time_t>(std::floor(secondsSince1970(date)))));
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                       static_cast<unsigned>(day.day()));
}

std::string shortLocalTime(Date date) {
    std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createTimeInstance(icu::DateFormat::kShort));
    if (!format) {
        return iso8601(date).substr(11, 5);
    }
    icu::UnicodeString text;
    format->format(secondsSince1970(date) * 1000.0, text);
    std::string result;
    return text.toUTF8String(result);
}

}  // namespace marlet
