#pragma once

#include <exception>
#include <string>

namespace marlet {

// An error with a text for the user that says what happened and, where it helps, what to do next.
class LocalizedError : public std::exception {
public:
    explicit LocalizedError(std::string errorDescription) : description(std::move(errorDescription)) {}

    const std::string& errorDescription() const { return description; }
    const char* what() const noexcept override { return description.c_str(); }

private:
    std::string description;
};

// The text that crosses a boundary: a LocalizedError's own, and a sentence for errors of the libraries below.
std::string localizedDescription(std::exception_ptr error);

// A mistake of the program itself, not of its input: prints `message` and ends the process.
[[noreturn]] void programmingError(const char* message);

}  // namespace marlet
