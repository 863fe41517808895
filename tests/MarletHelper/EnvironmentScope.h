#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace marlet {

// A variable of the test's own environment, for the time of one test.
class EnvironmentScope {
public:
    EnvironmentScope(std::string variable, const std::optional<std::string>& value) : name(std::move(variable)) {
        if (const char* current = std::getenv(name.c_str())) {
            before = current;
        }
        set(value);
    }
    EnvironmentScope(const EnvironmentScope&) = delete;
    EnvironmentScope& operator=(const EnvironmentScope&) = delete;
    ~EnvironmentScope() { set(before); }

private:
    void set(const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

    std::string name;
    std::optional<std::string> before;
};

}  // namespace marlet
