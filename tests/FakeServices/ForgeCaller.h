#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/value.hpp>
#include <string>

#include "TestSupport/FakeForge.h"
#include "TestSupport/VirtualClock.h"

namespace marlet {

// A fake forge with one repository, "o/r", and a client that asks it as it should be asked.
struct ForgeCaller {
    explicit ForgeCaller(FakeForgeKind kind = FakeForgeKind::github);

    FakeRequest request(const std::string& method, const std::string& path, const std::string& body = {}) const;
    FakeAnswer ask(const std::string& method, const std::string& path, const std::string& body = {});
    FakeAnswer get(const std::string& path) { return ask("GET", path); }
    boost::json::value json(const std::string& path);
    // The numbers in a list of issues.
    std::vector<int64_t> numbers(const FakeAnswer& answer) const;

    VirtualClock clock;
    FakeForgeKind kind;
    FakeForge forge;
};

}  // namespace marlet
