#pragma once

#include <ctime>
#include <string>

#include "TestSupport/EnvironmentVariable.h"

namespace marlet {

// The computer's time zone, such as "Asia/Tokyo", for as long as this lives. For tests of one thread.
class TimeZone {
public:
    explicit TimeZone(const std::string& name) : variable(std::in_place, "TZ", name) { ::tzset(); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        variable.reset();
        ::tzset();
    }

private:
    std::optional<EnvironmentVariable> variable;
};

}  // namespace marlet
