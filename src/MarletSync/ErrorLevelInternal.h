#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "MarletBase/Async.h"
#include "MarletCore/BackendError.h"

namespace marlet {

// How far a failure reaches.
enum class ErrorLevel {
    narrow,   // the one task, project or question that the request was about: the pass goes on
    account,  // everything asked of this account: its part of the pass ends
};

ErrorLevel errorLevel(const BackendError& error);
// What isn't a BackendError is the account's.
ErrorLevel errorLevel(std::exception_ptr error);

// What a service said to one request: a value, or a refusal in words.
template <class T>
struct Answer {
    std::optional<T> value;
    std::string refusal;
};

// Turns a narrow failure of the request into a refusal; throws any other on.
template <class T>
Async<Answer<T>> answer(Async<T> request) {
    Answer<T> result;
    try {
        result.value.emplace(co_await std::move(request));
    } catch (const BackendError& error) {
        if (errorLevel(error) != ErrorLevel::narrow) {
            throw;
        }
        result.refusal = error.errorDescription();
    }
    co_return result;
}

}  // namespace marlet
