#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace marlet {

// The computer's time zone, such as "Asia/Tokyo", for as long as this lives. For tests of one thread.
class TimeZone {
public:
    explicit TimeZone(const std::string& name) {
        if (const char* set = std::getenv("TZ")) {
            earlier = set;
        }
        ::setenv("TZ", name.c_str(), 1);
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        if (earlier) {
            ::setenv("TZ", earlier->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

private:
    std::optional<std::string> earlier;
};

}  // namespace marlet
