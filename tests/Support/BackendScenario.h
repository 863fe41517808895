#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MarletCore/BackendError.h"
#include "TestSupport/ScriptedTransport.h"
#include "TestSupport/TestLoop.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

using Lines = std::vector<std::string>;

// What a backend needs around it, whatever its service: a server that is the test's, and the time.
struct BackendScenario {
    void answer(const std::string& route, int status, std::string body,
                std::vector<std::pair<std::string, std::string>> headers = {});

    // Of the last request; "(none)" where there is none.
    std::string lastBody() const { return server->lastRequest().body.value_or("(none)"); }
    std::string lastHeader(const std::string& name) const;

    std::shared_ptr<ScriptedTransport> server = std::make_shared<ScriptedTransport>();
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
};

// The text of a file, such as an answer in the shape of the real services.
std::string textOfFile(const std::string& path);

// What the operation throws. It fails the test when it throws nothing, or another kind of error.
template <class T>
std::optional<BackendError> errorOf(Async<T> operation) {
    try {
        runToEnd(std::move(operation));
    } catch (const BackendError& error) {
        return error;
    } catch (const std::exception& error) {
        ADD_FAILURE() << "Threw something else: " << error.what();
        return std::nullopt;
    }
    ADD_FAILURE() << "Threw nothing.";
    return std::nullopt;
}

}  // namespace marlet
