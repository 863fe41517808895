#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace marlet {

// A variable of this process's environment with another value, or without one, for as long as this lives. For tests of
// one thread.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string name, const std::optional<std::string>& value) : name(std::move(name)) {
        if (const char* current = std::getenv(this->name.c_str())) {
            earlier = current;
        }
        set(value);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { set(earlier); }

private:
    void set(const std::optional<std::string>& value) const {
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }

    std::string name;
    std::optional<std::string> earlier;
};

}  // namespace marlet
